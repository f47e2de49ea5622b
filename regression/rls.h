// Recursive least squares for a system of n equations with k common regressors: coefficients,
// recursive residuals and running fit statistics for every observation of a growing sample.
#ifndef TESSEL_REGRESSION_RLS_H
#define TESSEL_REGRESSION_RLS_H

#include "numeric/matrix.h"

namespace tessel {

// Runs the recursion over observations t1..t2 of y (T x n) and X (T x k), T > t2. Every output that
// is not null has t2 + 1 columns and is first filled with NaN; column t receives:
//   coef   (n k rows)  coefficient j of equation i in row i k + j
//   diagM  (k rows)    diagonal of (X'X)^-1 over t1..t (NaN where it is exactly 0)
//   wres   (n rows)    innovation / sqrt(f), f = 1 + x_t' M x_t
//   innov  (n rows)    one-step prediction error with the previous coefficients
//   rss    (n rows)    residual sum of squares
//   resid  (n rows)    residual of observation t at the new coefficients
//   loglik (1 row)     -0.5 log det(Omega / (t2 - t1 + 1)), Omega the residual cross products
// The inverse moment matrix is carried by rank-one updates; it is recomputed by pivoted QR at the
// first step, at tRestart, after an update with f <= 0 and while the fit is rank deficient. On those
// steps f is taken with the M that already includes observation t.
// The starting cross products X'y come from observations 2 t1 .. 2 t1 + k - 1 (the first k when
// t1 = 0), which must not pass t2. Returns 1 when the recursion reached t2, else 0.
int RlsRun(CMATRIX y, CMATRIX X, int t1, int t2, int tRestart, int n, int k, MATRIX coef, MATRIX diagM,
           MATRIX wres, MATRIX innov, MATRIX rss, MATRIX resid, MATRIX loglik);

// Rank-one update of the symmetric M = (X'X)^-1 for one more observation x (k values):
// h = M x, f = 1 + x'h, M -= h h' / f. Returns f; M is left alone when f <= 0. h (k doubles) is
// left holding h / sqrt(f).
double RlsUpdate(const double *x, MATRIX M, int k, double *h);

// Residuals y[t][i] - b . X[t] for t = from..to, stored in e[t - from] when e is not null; returns
// their sum of squares.
double RlsResidualSS(CMATRIX y, int i, CMATRIX X, int from, int to, int k, const double *b, double *e);

// out = -0.5 log det(Omega / m), or NaN when Omega / m is not positive definite (a pivot of its
// root-free Cholesky factorisation at or below the pivot tolerance, as for its inversion).
// OmegaWork is n x n scratch and pivots n doubles. Always returns 1.
int RlsLogDetTerm(int n, int m, CMATRIX Omega, MATRIX OmegaWork, double *pivots, double *out);

}  // namespace tessel

#endif
