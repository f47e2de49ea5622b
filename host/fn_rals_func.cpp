// FnRalsFunc: residual sum of squares, residuals and optionally gradient and Gauss-Newton matrix of a
// regression with autoregressive errors on a band of lags.
#include <cstdint>
#include <vector>

#include "host/export_frame.h"
#include "host/exports.h"
#include "numeric/missing.h"
#include "regression/rals.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnRalsFunc(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 6) || !CheckTypeRuns(pv, "333115")) return;
    SetDouble(rtn, tessel::kMissing);
    const int T = pv[1].ival, r1 = pv[3].ival, r2 = pv[4].ival;
    const int k = (pv[2].ival == T && pv[2].cols >= 1) ? pv[2].cols : 0;
    if (pv[1].cols != 1 || k == 0) return;
    // The lag band must stay inside the sample: u_{t-i} is read for t >= r2 and i in r1..r2.
    if (r2 < 0 || r2 > T) return VelaLibArgError(4);
    if (r1 < 0 && r1 <= r2) return VelaLibArgError(3);
    const int lags = r2 >= r1 ? r2 - r1 + 1 : 0;
    const int64_t n = MatrixElements(pv[0]);
    if (n < int64_t{k} + lags || n > 46340) return VelaLibArgError(0);
    VelaValue *resid_target = RequiredRef(pv, 5);
    if (!resid_target) return;
    const int nn = static_cast<int>(n);
    PendingResult res[3] = {
        {resid_target, T, 1},
        {OptionalRef(pv, cArg, 6), nn, 1},
        {OptionalRef(pv, cArg, 7), nn, nn},
    };
    Guarded(
        [&] {
            if (!AllocateResults(res)) return;
            const double *theta = MatrixData(pv[0]), *y = MatrixData(pv[1]);
            double **X = pv[2].data.mat;
            double *u = res[0].data();
            const double rss = tessel::RalsResiduals(y, X, k, T, theta, r1, r2, u);
            if (res[1].target || res[2].target) {
                std::vector<double> d(k + lags);
                tessel::RalsDerivatives(X, k, T, theta, r1, r2, u, res[1].data(), res[2].rows_ptr(), d.data());
            }
            tessel::RalsInnovations(u, T, theta, k, r1, r2);
            DeliverResults(res);
            SetDouble(rtn, rss);
        },
        [&] { ReleaseResults(res); });
}
