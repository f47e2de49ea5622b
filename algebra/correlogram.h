// Sample autocorrelations, partial autocorrelations and the periodogram of a series with gaps.
// Missing values count as the mean of the present values: their deviations are zero, so they add
// nothing to any lagged product or Fourier sum.
#ifndef TESSEL_ALGEBRA_CORRELOGRAM_H
#define TESSEL_ALGEBRA_CORRELOGRAM_H

namespace tessel {

// Highest lag of the partial autocorrelations.
inline constexpr int kAlgebraPacfMaxLag = 1000;

// Autocorrelations r[k] = c_k / c_0 for k = 0 .. m-1, with c_k = sum_t d_t d_{t+k} / n over the
// deviations d from the mean of the n present values. Returns false, with r all missing, when there are
// no present values or they do not vary.
bool AlgebraAcf(const double *x, int m, double *r);

// Partial autocorrelations p[0] = 1 and p[k] for k = 1 .. min(m-1, kAlgebraPacfMaxLag) by the
// Durbin-Levinson recursion on the autocorrelations; later entries are missing, as are all entries from
// a lag at which the prediction error variance vanishes. Returns false when AlgebraAcf fails.
bool AlgebraPacf(const double *x, int m, double *p);

// Periodogram I_j = |sum_t d_t exp(-i w_j t)|^2 / (2 pi m) at the Fourier frequencies w_j = 2 pi j / m,
// j = 0 .. m/2, written to I[j] and w[j]; entries m/2+1 .. m-1 become missing. Returns false, with I
// missing, when there are no present values.
bool AlgebraPeriodogram(const double *x, int m, double *I, double *w);

// In-place discrete Fourier transform of n complex values (re, im), any n >= 1: sign -1 for the forward
// transform sum_t x_t exp(-2 pi i j t / n), +1 for the unnormalised inverse.
void AlgebraDft(double *re, double *im, int n, int sign);

}  // namespace tessel

#endif
