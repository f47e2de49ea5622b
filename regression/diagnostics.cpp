#include "regression/diagnostics.h"

#include <vector>

namespace tessel {

double SeasonalRsq(double rss, int T, const double *y, int s, double *means) {
    if (T <= 2 * s) return -1.0;
    // Means of the differences d_t = y[t+1] - y[t] per season first, then the spread around them,
    // so that large seasonal levels do not swamp the deviations.
    for (int j = 0; j < s; ++j) {
        double sum = 0.0;
        int count = 0;
        for (int t = j; t <= T - 2; t += s, ++count) sum += y[t + 1] - y[t];
        means[j] = sum / count;  // T > 2s gives every season at least one difference
    }
    double D = 0.0;
    for (int j = 0; j < s; ++j) {
        for (int t = j; t <= T - 2; t += s) {
            double dev = y[t + 1] - y[t] - means[j];
            D += dev * dev;
        }
    }
    return 1.0 - rss / D;
}

void DeSeasonalize(double **X, int T, int k, int s, double *work) {
    for (int c = 0; c < k; ++c) {
        // All means of the column before any is subtracted.
        for (int j = 0; j < s; ++j) {
            double sum = 0.0;
            int count = 0;
            for (int t = j; t < T; t += s, ++count) sum += X[t][c];
            work[j] = count > 0 ? sum / count : 0.0;  // an empty season has nothing to adjust
        }
        for (int j = 0; j < s; ++j)
            for (int t = j; t < T; t += s) X[t][c] -= work[j];
    }
}

void KroneckerSel(double **Out, double *const *A, int ra, int ca, double *const *B, int rb, int cb,
                  const double *rowSel, int nRows, const double *colSel, int nCols) {
    (void)ra;
    (void)ca;
    if (nRows < 1 || nCols < 1) return;
    // Column indices are split once; they are the same for every output row.
    std::vector<int> colA(nCols), colB(nCols);
    for (int l = 0; l < nCols; ++l) {
        int c = colSel ? static_cast<int>(colSel[l]) : l;
        colA[l] = c / cb;
        colB[l] = c % cb;
    }
    for (int i = 0; i < nRows; ++i) {
        int r = rowSel ? static_cast<int>(rowSel[i]) : i;
        const double *a = A[r / rb];
        const double *b = B[r % rb];
        double *out = Out[i];
        for (int l = 0; l < nCols; ++l) out[l] = a[colA[l]] * b[colB[l]];
    }
}

}  // namespace tessel
