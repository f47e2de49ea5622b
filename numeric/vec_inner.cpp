// Inner products, four terms at a time with a remainder loop.
#include "numeric/kernels.h"

namespace tessel {

double VecDot(const double *x, const double *y, int n) {
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        s0 += x[i] * y[i];
        s1 += x[i + 1] * y[i + 1];
        s2 += x[i + 2] * y[i + 2];
        s3 += x[i + 3] * y[i + 3];
    }
    double s = (s0 + s1) + (s2 + s3);
    for (; i < n; ++i) s += x[i] * y[i];
    return s;
}

double VecSumSq(const double *x, int n) {
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        s0 += x[i] * x[i];
        s1 += x[i + 1] * x[i + 1];
        s2 += x[i + 2] * x[i + 2];
        s3 += x[i + 3] * x[i + 3];
    }
    double s = (s0 + s1) + (s2 + s3);
    for (; i < n; ++i) s += x[i] * x[i];
    return s;
}

double VecInner(const double *x, const double *y, int n) {
    if (n < 1) return 0.0;
    return x == y ? VecSumSq(x, n) : VecDot(x, y, n);
}

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
