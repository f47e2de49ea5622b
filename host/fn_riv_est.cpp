// FnRivEst: recursive instrumental-variables estimation of one equation.
#include <cstdint>

#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/riv.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnRivEst(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 7) || !CheckTypeRuns(pv, "3111111")) return;
    const int nEndog = pv[1].ival, k = pv[2].ival, nInstr = pv[3].ival, t1 = pv[4].ival, t2 = pv[5].ival,
              m0 = pv[6].ival;
    if (t2 < t1 || nEndog <= 0 || k <= 0 || nInstr <= 0 || t2 >= pv[0].cols ||
        int64_t{k} + nInstr + 1 > pv[0].ival)
        return;
    if (nEndog > k + 1) return VelaLibArgError(1);  // more endogenous regressors than regressors
    if (t1 < 0) return VelaLibArgError(4);
    if (m0 < 1) return VelaLibArgError(6);  // the first estimate needs at least one observation

    constexpr int kOutputs = 6;
    const int rows[kOutputs] = {k, k, 1, 1, 1, 1};
    PendingResult res[kOutputs];
    for (int o = 0; o < kOutputs; ++o) res[o] = {OptionalRef(pv, cArg, 7 + o), rows[o], t2 + 1};
    Guarded(
        [&] {
            if (!AllocateResults(res)) return VelaValSetInt(rtn, 0);
            auto mat = [&](int o) { return res[o].rows_ptr(); };
            const int ok = tessel::RivRun(pv[0].data.mat, nEndog, k, nInstr, t1, t2, m0, mat(0), mat(1), mat(2),
                                          mat(3), mat(4), mat(5));
            DeliverResults(res);
            VelaValSetInt(rtn, ok);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
