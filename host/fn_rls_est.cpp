// FnRlsEst: recursive least squares of a system with common regressors.
#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/rls.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnRlsEst(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 5) || !CheckTypeRuns(pv, "33111")) return;
    const int n = pv[0].cols, k = pv[1].cols, t1 = pv[2].ival, t2 = pv[3].ival;
    if (t2 < t1 || n < 0 || k < 0 || pv[0].ival < t2 + 1 || pv[1].ival < t2 + 1) return;
    if (t1 < 0) return VelaLibArgError(2);
    // The starting cross products read observations up to 2 t1 + k - 1.
    if (n >= 1 && k >= 1 && t1 + k <= t2 && 2 * t1 + k - 1 > t2) return VelaLibArgError(2);

    constexpr int kOutputs = 7;
    const int rows[kOutputs] = {n * k, k, n, n, n, n, 1};
    PendingResult res[kOutputs];
    for (int o = 0; o < kOutputs; ++o) res[o] = {OptionalRef(pv, cArg, 5 + o), rows[o], t2 + 1};
    Guarded(
        [&] {
            if (!AllocateResults(res)) return VelaValSetInt(rtn, 0);
            auto mat = [&](int o) { return res[o].rows_ptr(); };
            const int ok = tessel::RlsRun(pv[0].data.mat, pv[1].data.mat, t1, t2, pv[4].ival, n, k, mat(0), mat(1),
                                          mat(2), mat(3), mat(4), mat(5), mat(6));
            DeliverResults(res);
            VelaValSetInt(rtn, ok);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
