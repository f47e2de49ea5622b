// Cross-products of rows and quadratic forms on the lower triangle.
#include "numeric/kernels.h"

namespace tessel {

void MatCrossRows(CMATRIX A, int n, int from, int to, MATRIX Out) {
    if (!A || !Out || n < 1) return;
    if (from < 0) from = 0;
    const int len = to - from + 1;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j <= i; ++j) {
            double s = len > 0 ? VecInner(A[i] + from, A[j] + from, len) : 0.0;
            Out[i][j] = s;
            Out[j][i] = s;
        }
    }
}

double QuadFormLower(int j, CMATRIX X, CMATRIX S, int k) {
    if (k < 1 || !X || !S) return 0.0;
    double diag = 0.0, off = 0.0;
    for (int a = 0; a < k; ++a) {
        const double xa = X[a][j];
        const double *row = S[a];
        double s = 0.0;
        for (int b = 0; b < a; ++b) s += row[b] * X[b][j];
        off += xa * s;
        diag += xa * xa * row[a];
    }
    return diag + 2.0 * off;
}

}  // namespace tessel
