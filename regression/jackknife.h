// Jackknife heteroskedasticity-consistent covariance of least-squares coefficients.
#ifndef TESSEL_REGRESSION_JACKKNIFE_H
#define TESSEL_REGRESSION_JACKKNIFE_H

#include "numeric/matrix.h"

namespace tessel {

// Over observations first..last (T of them) of X (rows, k columns), residuals e[t] and
// Q = (X'X)^-1 (k x k, symmetric): with h_t = x_t' Q x_t and u_t = e_t / (1 - h_t),
// V = Q Omega Q, Omega = (T-1)/T (sum u_t^2 x_t x_t' - a a' / T), a = sum u_t x_t.
// Returns 1, or 0 when some leverage h_t reaches 1. Gwork and V are k x k.
int JackknifeCov(CMATRIX X, int first, int last, int k, CMATRIX Q, const double *e, MATRIX Gwork, MATRIX V);

}  // namespace tessel

#endif
