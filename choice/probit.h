// Binary probit: log-likelihood, gradient, expected information, outer product of the gradients,
// fitted probabilities (P0, P1) and per-observation contributions. P1 = Phi(x'theta).
#ifndef TESSEL_CHOICE_PROBIT_H
#define TESSEL_CHOICE_PROBIT_H

#include "choice/lik_outputs.h"

namespace tessel {

struct ProbitData {
    int N = 0;
    const double *const *y = nullptr;  // N rows, outcome 0 or 1 (truncated toward zero)
    const double *const *X = nullptr;  // N x k
    int k = 0;
    const double *w = nullptr;  // N weights, null for unit weights
};

// Sets P0 and P1 for regressors x and returns the normal density at x'theta. P0 = 1 - P1 is clamped
// to [2^-104, 1]; P1 is left as it is, so an outcome 1 with P1 = 0 still gives log 0.
double ProbitProbabilities(const double *theta, const double *x, int k, double *P0, double *P1);

// Adds one observation's gradient, or its expected information to the lower triangle of info.
void ProbitScore(double *g, int c, double P0, double P1, double phi, const double *x, int k, double w);
void ProbitInformation(double *const *info, double P0, double P1, double phi, const double *x, int k, double w);

// The likelihood pass; the fitted-probability rows receive (P0, P1). Every outcome must be 0 or 1
// after truncation and theta must hold at least k values. Requested outputs are zeroed first.
void ProbitLik(int n, const double *theta, double *loglik, const LikOutputs &out, const ProbitData &d);

}  // namespace tessel

#endif
