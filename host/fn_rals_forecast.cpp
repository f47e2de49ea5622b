// FnRalsForecast: forecasts of a regression with autoregressive errors, with their standard errors
// from the innovations and the forecasts of the error itself.
// Arguments: 0 theta (beta, alpha_r1..alpha_r2); 1 y, T x 1; 2 X, (T + H) x k; 3 r1; 4 r2; 5 sigma2;
// 6 reference: forecasts, H x 1; optional references 7 standard errors, 8 forecasts of u.
// Returns H, or 0 when there is nothing to forecast (H = 0) or memory is short.
#include <cmath>
#include <cstdint>

#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/rals_forecast.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnRalsForecast(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 7) || !CheckTypeRuns(pv, "3331125")) return;
    const int T = pv[1].ival, r1 = pv[3].ival, r2 = pv[4].ival;
    if (T < 1 || pv[1].cols != 1) return VelaLibArgError(1);
    const int k = pv[2].cols;
    if (k < 1 || pv[2].ival < T) return VelaLibArgError(2);
    const int H = pv[2].ival - T;
    const int lags = r2 >= r1 ? r2 - r1 + 1 : 0;
    // The band must reach back into the sample only: u_{T+h-i} for i in r1..r2.
    if (lags > 0 && r1 < 1) return VelaLibArgError(3);
    if (lags > 0 && r2 > T) return VelaLibArgError(4);
    if (MatrixElements(pv[0]) < int64_t{k} + lags) return VelaLibArgError(0);
    const double sigma2 = pv[5].data.dval;
    if (!(sigma2 >= 0.0) || !std::isfinite(sigma2)) return VelaLibArgError(5);
    VelaValue *yf_target = RequiredRef(pv, 6);
    if (!yf_target) return;
    if (H == 0) return VelaValSetInt(rtn, 0);

    PendingResult res[3] = {
        {yf_target, H, 1},
        {OptionalRef(pv, cArg, 7), H, 1},
        {OptionalRef(pv, cArg, 8), H, 1},
    };
    Guarded(
        [&] {
            if (!AllocateResults(res)) return VelaValSetInt(rtn, 0);
            tessel::RalsForecast(MatrixData(pv[0]), MatrixData(pv[1]), pv[2].data.mat, k, T, H, r1, r2, sigma2,
                                 res[0].data(), res[1].data(), res[2].data());
            DeliverResults(res);
            VelaValSetInt(rtn, H);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
