#include "regression/rals.h"

namespace tessel {

namespace {

inline double Fitted(const double *x, const double *beta, int k) {
    double s = 0.0;
    for (int j = 0; j < k; ++j) s += beta[j] * x[j];
    return s;
}

// sum over i = r1..r2 of alpha_i u_{t-i}, alpha_i = theta[k + i - r1]
inline double LagSum(const double *u, int t, const double *alpha, int r1, int r2) {
    double s = 0.0;
    for (int i = r1; i <= r2; ++i) s += alpha[i - r1] * u[t - i];
    return s;
}

}  // namespace

double RalsResiduals(const double *y, double *const *X, int k, int T, const double *theta, int r1, int r2,
                     double *resid) {
    const int head = r2 < T ? r2 : T;
    for (int t = 0; t < head; ++t) resid[t] = y[t] - Fitted(X[t], theta, k);
    if (r2 > T - 1) return 0.0;
    const double *alpha = theta + k;
    double rss = 0.0;
    for (int t = r2; t < T; ++t) {
        resid[t] = y[t] - Fitted(X[t], theta, k);
        const double e = resid[t] - LagSum(resid, t, alpha, r1, r2);
        rss += e * e;
    }
    return rss;
}

void RalsDerivatives(double *const *X, int k, int T, const double *theta, int r1, int r2, const double *u,
                     double *grad, double **H, double *d) {
    const int lags = r2 >= r1 ? r2 - r1 + 1 : 0;
    const int n = k + lags;
    const double *alpha = theta + k;
    if (grad)
        for (int i = 0; i < n; ++i) grad[i] = 0.0;
    if (H)
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) H[i][j] = 0.0;

    for (int t = r2; t < T; ++t) {
        const double e = u[t] - LagSum(u, t, alpha, r1, r2);
        // Regressors filtered by the error autoregression, then the lagged errors.
        const double *x = X[t];
        for (int j = 0; j < k; ++j) d[j] = x[j];
        for (int i = r1; i <= r2; ++i) {
            const double a = alpha[i - r1];
            const double *xl = X[t - i];
            for (int j = 0; j < k; ++j) d[j] -= a * xl[j];
            d[k + i - r1] = u[t - i];
        }
        if (grad)
            for (int i = 0; i < n; ++i) grad[i] -= d[i] * e;
        if (H)
            for (int i = 0; i < n; ++i) {
                const double di = d[i];
                double *row = H[i];
                for (int j = 0; j <= i; ++j) row[j] += di * d[j];
            }
    }
    if (grad)
        for (int i = 0; i < n; ++i) grad[i] *= 2.0;
    if (H)
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < i; ++j) {
                H[i][j] *= 2.0;
                H[j][i] = H[i][j];
            }
            H[i][i] *= 2.0;
        }
}

void RalsInnovations(double *resid, int T, const double *theta, int k, int r1, int r2) {
    const double *alpha = theta + k;
    // Backwards, so that the entries still to be read hold u.
    for (int t = T - 1; t >= r2; --t) resid[t] -= LagSum(resid, t, alpha, r1, r2);
}

}  // namespace tessel
