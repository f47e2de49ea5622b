// FnEgarchVar: EGARCH log conditional variances and in-mean corrected residuals.
#include "host/export_frame.h"
#include "host/exports.h"
#include "switching/garch.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnEgarchVar(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 11) || !CheckTypeRuns(pv, "33222331255")) return;
    const int T = pv[0].ival, p = pv[5].cols, q = pv[6].cols;
    if (T < 1 || MatrixElements(pv[0]) < T) return VelaLibArgError(0);
    if (MatrixElements(pv[1]) < T) return VelaLibArgError(1);
    if (MatrixElements(pv[5]) < p) return VelaLibArgError(5);
    if (MatrixElements(pv[6]) < q) return VelaLibArgError(6);
    VelaValue *l_target = RequiredRef(pv, 9);
    VelaValue *u_target = l_target ? RequiredRef(pv, 10) : nullptr;
    if (!u_target) return;

    PendingResult res[2] = {{l_target, T, 1}, {u_target, T, 1}};
    Guarded(
        [&] {
            if (!AllocateResults(res)) return VelaValSetInt(rtn, 0);
            tessel::EgarchVarRecursion(MatrixData(pv[0]), MatrixData(pv[1]), T, pv[2].data.dval, pv[3].data.dval,
                                       pv[4].data.dval, MatrixData(pv[5]), p, MatrixData(pv[6]), q, pv[7].ival,
                                       pv[8].data.dval, res[0].data(), res[1].data());
            DeliverResults(res);
            VelaValSetInt(rtn, 1);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
