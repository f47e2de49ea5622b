// Exact autocovariances of ARFIMA(p, d, q) processes by Sowell's method: fractional-noise
// autocorrelations combined with the moving-average autocovariances and, with an autoregressive
// part, a partial-fraction expansion over the reciprocal autoregressive roots whose terms are
// hypergeometric tails.
#ifndef TESSEL_LONGMEMORY_FRAC_SIGMA_H
#define TESSEL_LONGMEMORY_FRAC_SIGMA_H

#include "numeric/complex.h"

namespace tessel {

enum FracStatus {
    kFracOk = 0,
    kFracBadD = 1,            // |d| > 5
    kFracBadSigma2 = 2,       // sigma2 <= 0.0001
    kFracNonStationary = 4, // a reciprocal AR root of modulus >= 0.9999
    kFracRootsFailed = 6,
    kFracCoincidingRoots = 7,  // a root-product term of modulus below 1e-11
    kFracNoMemory = 10,
};

// The series sum over k >= 0 of t_k, t_0 = a/b, t_k = t_(k-1) (k + a) z / (k + b), which is
// (a/b) F(a+1, 1; b+1; z). Stops after the first term below 1e-14 in modulus; after 10000 terms it
// prints a warning and returns the partial sum.
Complex FracHyper(double a, double b, Complex z);

// The autocovariances at lags 0..n-1 of y with (1 - phi_1 L - ... - phi_p L^p)(1 - L)^d y =
// (1 + psi_1 L + ... + psi_q L^q) e, var(e) = sigma2, into gamma[0..n-1].
// theta = (d, phi_1..phi_p, psi_1..psi_q). The AR coefficients are negated in place while the
// routine runs and restored before it returns. Returns a FracStatus; gamma holds zeros after a
// failed test and is untouched when work storage could not be had.
int FracSigma(double *theta, int p, int q, double sigma2, int n, double *gamma);

}  // namespace tessel

#endif
