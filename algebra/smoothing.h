// Whole-series smoothers over the observation index: a Gaussian kernel (Nadaraya-Watson) smoother and
// a cubic smoothing spline. Both fit the present values and fill the gaps between the first and the
// last present value; observations before the first or after the last present value stay missing.
#ifndef TESSEL_ALGEBRA_SMOOTHING_H
#define TESSEL_ALGEBRA_SMOOTHING_H

namespace tessel {

// Bandwidth used by the kernel smoother for a non-positive request: Silverman's rule
// 1.06 * sd(index) * n^(-1/5) over the positions of the n present values (1 for a single value).
double AlgebraKernelBandwidth(const double *y, int m);

// out[t] = sum_s K((t - s) / h) y_s / sum_s K((t - s) / h) over the present y_s, K the standard normal
// density, h the bandwidth in observations (a non-positive h picks AlgebraKernelBandwidth). Weights
// beyond 8 h are dropped (below 1.3e-14 of the central weight), so a point with no present value
// within 8 h is missing. Returns false, writing nothing, when no value is present.
bool AlgebraKernelSmooth(const double *y, int m, double h, double *out);

// Cubic smoothing spline g minimising sum_i (y_i - g(t_i))^2 + lambda * integral g''(t)^2 dt over the
// present values y_i at positions t_i (observation numbers), by the Reinsch algorithm; lambda < 0 counts
// as 0 (interpolation) and an infinite lambda gives the least-squares line. Gaps are filled with the
// spline's value. Returns false, writing nothing, when no value is present.
bool AlgebraSplineSmooth(const double *y, int m, double lambda, double *out);

}  // namespace tessel

#endif
