// Count-data regressions with conditional mean mu = exp(x'beta): Poisson, Poisson truncated above at
// S, and the NB-P negative binomial (optionally truncated above at S). Each evaluates the
// log-likelihood and on request its gradient, an information matrix, the outer product of the
// per-observation gradients, the contributions and the table of predicted count probabilities.
#ifndef TESSEL_CHOICE_COUNT_H
#define TESSEL_CHOICE_COUNT_H

namespace tessel {

struct CountData {
    int N = 0;
    const double *const *y = nullptr;  // N rows, the count in column 0 (truncated toward zero)
    const double *const *X = nullptr;  // N x k
    int k = 0;
};

// Requested outputs, null when not wanted. Matrices are n x n row-pointer matrices.
struct CountOutputs {
    double *grad = nullptr;          // n values
    double *const *info = nullptr;   // n x n
    double *table = nullptr;         // K values: summed predicted probabilities of counts 0..K-1
    int K = 0;
    double *contrib = nullptr;       // N values
    double *const *outer = nullptr;  // n x n
};

// theta holds beta in its first k values (n >= k). Returns the log-likelihood.
double PoissonLik(const double *theta, int n, const CountData &d, const CountOutputs &out);
// Counts restricted to 0..S, S >= 1.
double TruncPoissonLik(const double *theta, int n, const CountData &d, int S, const CountOutputs &out);

// NB-P with mean mu and variance mu + mu^(2-P) / a: theta[k] = -log a (n >= k + 1). S < 1 means no
// truncation. The matrix accumulated is the outer product of the gradients, stored in the
// information slot when that is requested (the outer-product slot then stays zero), otherwise in
// the outer-product slot; no analytic information matrix is formed.
double NegBinLik(const double *theta, int n, const CountData &d, int S, double P, const CountOutputs &out);

// Zeroes the requested gradient, matrices and table.
void ZeroCountOutputs(const CountOutputs &out, int n);

}  // namespace tessel

#endif
