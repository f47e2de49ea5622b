// Long-run covariance of the scores of a system with common regressors, with optional Bartlett
// (Newey-West) autocovariance terms.
#ifndef TESSEL_REGRESSION_GLS_COVARIANCE_H
#define TESSEL_REGRESSION_GLS_COVARIANCE_H

namespace tessel {

// Bartlett truncation lag used when hac is set: floor(4 (T/100)^(2/9)).
int GlsHacLag(int T);

// Omega ((k n) x (k n)) = sum over t of g_t g_t', plus, when hac is non-zero, the Bartlett-weighted
// cross terms w_l (g_t g_{t-l}' + g_{t-l} g_t') for l = 1..GlsHacLag(T), where
// g_t[i n + j] = X[t][i] E[t][j]. X is T x k, E has at least T rows of n. Not divided by T.
// Omega stays zero when T < 1 or the work storage cannot be had.
void GlsCovariance(double **Omega, double *const *X, int k, double *const *E, int n, int T, int hac);

}  // namespace tessel

#endif
