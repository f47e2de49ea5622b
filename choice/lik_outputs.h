// Optional outputs of one likelihood evaluation of the choice models: each pointer is null when that
// output is not wanted. Matrices are row-pointer matrices; n is the length of the parameter vector.
#ifndef TESSEL_CHOICE_LIK_OUTPUTS_H
#define TESSEL_CHOICE_LIK_OUTPUTS_H

namespace tessel {

struct LikOutputs {
    double *grad = nullptr;          // n values
    double *const *info = nullptr;   // n x n, minus the Hessian (or its expectation)
    double *const *prob = nullptr;   // fitted probabilities, one row per observation
    double *contrib = nullptr;       // N per-observation log-likelihood contributions
    double *const *outer = nullptr;  // n x n, sum of per-observation gradient outer products
};

// Probabilities are floored here so that their logarithms stay finite (log 2^-104 is about -72.1).
inline constexpr double kProbabilityFloor = 0x1p-104;

// Adds g g' to the n x n matrix A (full matrix).
void AddOuterProduct(double *const *A, const double *g, int n);

// Zeroes the requested n-value gradient and n x n matrices.
void ZeroDerivatives(const LikOutputs &out, int n);

// Copies the lower triangle of an n x n matrix into its strict upper triangle.
void MirrorLower(double *const *A, int n);

}  // namespace tessel

#endif
