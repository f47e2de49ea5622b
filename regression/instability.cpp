#include "regression/instability.h"

#include "numeric/kernels.h"

namespace tessel {

double InstabilityStats(CMATRIX X, int first, int last, int k, const double *u, double rss, MATRIX Fsum,
                        MATRIX Ssum, double *scores, double *sums, double *indiv) {
    const int p = k + 1;
    const double T = last - first + 1;
    const double variance = rss / T;
    MatZero(Fsum, p, p);
    MatZero(Ssum, p, p);
    for (int j = 0; j < p; ++j) sums[j] = indiv[j] = 0.0;

    for (int t = first; t <= last; ++t) {
        const double *x = X[t], ut = u[t];
        for (int j = 0; j < k; ++j) scores[j] = x[j] * ut;
        scores[k] = ut * ut - variance;
        for (int j = 0; j < p; ++j) {
            sums[j] += scores[j];
            indiv[j] += sums[j] * sums[j];
        }
        // Lower triangles only; mirrored below.
        for (int a = 0; a < p; ++a) {
            const double fa = scores[a], sa = sums[a];
            double *frow = Fsum[a], *srow = Ssum[a];
            for (int b = 0; b <= a; ++b) {
                frow[b] += fa * scores[b];
                srow[b] += sa * sums[b];
            }
        }
    }
    for (int a = 0; a < p; ++a)
        for (int b = 0; b < a; ++b) {
            Fsum[b][a] = Fsum[a][b];
            Ssum[b][a] = Ssum[a][b];
        }
    for (int j = 0; j < p; ++j) indiv[j] /= T * Fsum[j][j];
    if (InvSymNoDet(Fsum, p) != 0) return -1.0;
    // trace(F^-1 S) = sum over a, b of F^-1[a][b] S[b][a], without forming the product.
    double trace = 0.0;
    for (int a = 0; a < p; ++a) trace += VecDot(Fsum[a], Ssum[a], p);
    return trace / T;
}

}  // namespace tessel
