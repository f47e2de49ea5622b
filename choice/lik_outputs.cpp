#include "choice/lik_outputs.h"

#include <algorithm>

namespace tessel {

void AddOuterProduct(double *const *A, const double *g, int n) {
    for (int r = 0; r < n; ++r) {
        const double gr = g[r];
        if (gr == 0.0) continue;  // rows of parameters the observation does not touch
        double *row = A[r];
        for (int k = 0; k < n; ++k) row[k] += g[k] * gr;
    }
}

void ZeroDerivatives(const LikOutputs &out, int n) {
    if (out.grad) std::fill(out.grad, out.grad + n, 0.0);
    for (double *const *m : {out.info, out.outer}) {
        if (!m) continue;
        for (int r = 0; r < n; ++r) std::fill(m[r], m[r] + n, 0.0);
    }
}

void MirrorLower(double *const *A, int n) {
    for (int r = 0; r < n; ++r)
        for (int c = r + 1; c < n; ++c) A[r][c] = A[c][r];
}

}  // namespace tessel
