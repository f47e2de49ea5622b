// Dynamic (multi-step) forecasts of a reduced-form system
//   y_t = A_1 y_(t-1) + ... + A_s y_(t-s) + B z_t + e_t,  var(e_t) = Omega,
// with the forecast error variance from the innovations and, by the delta method, from the
// estimated coefficients.
#ifndef TESSEL_DYNAMICS_DYN_FORECAST_H
#define TESSEL_DYNAMICS_DYN_FORECAST_H

#include "numeric/matrix.h"

namespace tessel {

// All matrices but V are row-major runs of doubles.
struct DynForecastInput {
    const double *Y = nullptr;      // T x n history; its last s rows start the recursion (T >= s)
    int T = 0;
    const double *Z = nullptr;      // H x m exogenous values over the horizon (unused when m = 0)
    const double *A = nullptr;      // n x (n s)
    const double *B = nullptr;      // n x m (unused when m = 0)
    int n = 0, s = 0, m = 0, H = 0;
    const double *Omega = nullptr;  // n x n innovation covariance
    CMATRIX V = nullptr;            // covariance of the row-major vec([A B]), P x P with P = n (n s + m); or null
    const double *actual = nullptr; // H x n outcomes over the horizon, or null
    bool add_param = false;         // include the coefficient part in cov, error and chi2 outputs
};

// Every pointer but forecast may be null. Row h refers to the forecast of observation T + h
// (0-based), h + 1 steps ahead.
struct DynForecastOutput {
    double *forecast = nullptr;   // H x n
    double *se = nullptr;         // H x n, innovations only
    double *se_param = nullptr;   // H x n, innovations and coefficients (NaN without V)
    double *cov = nullptr;        // H x (n n), the forecast error covariance used
    double *error = nullptr;      // H x n, actual minus forecast (NaN without actual values)
    double *std_error = nullptr;  // H x n, error over its standard error
    double *chi2 = nullptr;       // H, e_h' Sigma_h^-1 e_h
    double *psi = nullptr;        // H x (n n), Psi_0 .. Psi_(H-1)
};

// Returns 0, or -1 when working memory is short (outputs then undefined).
int DynForecast(const DynForecastInput &in, const DynForecastOutput &out);

}  // namespace tessel

#endif
