// FnGarchVar: GARCH(p, q) conditional variances and in-mean corrected residuals.
#include <algorithm>

#include "host/export_frame.h"
#include "host/exports.h"
#include "switching/garch.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnGarchVar(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 11) || !CheckTypeRuns(pv, "33311122255")) return;
    const int T = pv[0].ival, p = pv[3].ival, q = pv[4].ival;
    // The start-up phase covers t < max(p, q, 1) and theta is read up to index max(p, q) + p.
    if (T < 1 || T < std::max(p, q) || MatrixElements(pv[0]) < T) return VelaLibArgError(0);
    if (MatrixElements(pv[1]) < T) return VelaLibArgError(1);
    if (p < 0) return VelaLibArgError(3);
    if (q < 0) return VelaLibArgError(4);
    const int64_t theta_needed = int64_t{p > 0 ? std::max(p, q) + p : q} + 1;
    if (MatrixElements(pv[2]) < theta_needed && (p > 0 || q > 0)) return VelaLibArgError(2);
    VelaValue *h_target = RequiredRef(pv, 9);
    VelaValue *u_target = h_target ? RequiredRef(pv, 10) : nullptr;
    if (!u_target) return;

    PendingResult res[2] = {{h_target, T, 1}, {u_target, T, 1}};
    Guarded(
        [&] {
            if (!AllocateResults(res)) return VelaValSetInt(rtn, 0);
            tessel::GarchVarRecursion(MatrixData(pv[0]), MatrixData(pv[1]), MatrixData(pv[2]), T, p, q, pv[5].ival,
                                      pv[6].data.dval, pv[7].data.dval, pv[8].data.dval, res[0].data(),
                                      res[1].data());
            DeliverResults(res);
            VelaValSetInt(rtn, 1);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
