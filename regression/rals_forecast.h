// Forecasts of a regression with autoregressive errors on a band of lags,
//   y_t = x_t' beta + u_t,   u_t = sum_{i=r1..r2} alpha_i u_{t-i} + e_t,  var(e_t) = sigma2,
// with theta = (beta_0 .. beta_{k-1}, alpha_r1 .. alpha_r2) as in the criterion of rals.h.
#ifndef TESSEL_REGRESSION_RALS_FORECAST_H
#define TESSEL_REGRESSION_RALS_FORECAST_H

namespace tessel {

// y holds the T sample values; X has T + H rows (the sample, then the forecast periods) of k
// regressors. The errors u_t = y_t - x_t' beta of the last r2 observations start the
// autoregression, so 1 <= r1 and r2 <= T when r1 <= r2 (an empty band, r1 > r2, forecasts x' beta).
// yf receives the H forecasts of y; se (may be null) sigma * sqrt(psi_0^2 + ... + psi_(h-1)^2)
// with psi the moving-average weights of the error autoregression; uf (may be null) the forecasts
// of u.
void RalsForecast(const double *theta, const double *y, const double *const *X, int k, int T, int H, int r1, int r2,
                  double sigma2, double *yf, double *se, double *uf);

}  // namespace tessel

#endif
