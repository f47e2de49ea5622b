// Criterion, residuals and derivatives of a linear regression whose error follows an autoregression
// on the lags r1..r2 only:
//   y_t = x_t' beta + u_t,   u_t = sum_{i=r1..r2} alpha_i u_{t-i} + e_t,
// with theta = (beta_0 .. beta_{k-1}, alpha_r1 .. alpha_r2) and RSS = sum of e_t^2 over t = r2..T-1.
// All three passes need 0 <= r1 and r2 <= T whenever r1 <= r2 (the caller checks).
#ifndef TESSEL_REGRESSION_RALS_H
#define TESSEL_REGRESSION_RALS_H

namespace tessel {

// Stores u_t in resid[t] for t = 0..T-1 (for t < r2 as well as after) and returns RSS; 0.0 when
// r2 > T - 1. y holds T values, X is T x k.
double RalsResiduals(const double *y, double *const *X, int k, int T, const double *theta, int r1, int r2,
                     double *resid);

// From the u values left by RalsResiduals: grad (n) = dRSS/dtheta = -2 sum d_t e_t and
// H (n x n, full) = 2 sum d_t d_t', with d_t = -de_t/dtheta, n = k + r2 - r1 + 1 (k when r1 > r2).
// Either output may be null. d is a work vector of n doubles.
void RalsDerivatives(double *const *X, int k, int T, const double *theta, int r1, int r2, const double *u,
                     double *grad, double **H, double *d);

// Replaces resid[t], t = r2..T-1, by the innovation e_t; entries before r2 keep u_t.
void RalsInnovations(double *resid, int T, const double *theta, int k, int r1, int r2);

}  // namespace tessel

#endif
