// Factorisations and inversion of symmetric matrices: L D L', Cholesky (plain and blocked).
#include <cmath>
#include <new>

#include "numeric/kernels.h"

namespace tessel {

int MatLdl(MATRIX A, double *d, int n) {
    if (!A || !d) return 3;
    const double tol = PivotTolerance;
    int result = 0;
    for (int i = 0; i < n; ++i) {
        double *ai = A[i];
        // Row i of L times D, element by element, from the finished rows above.
        for (int j = 0; j < i; ++j) ai[j] -= VecInner(ai, A[j], j);
        double pivot = ai[i];
        for (int j = 0; j < i; ++j) {
            const double t = ai[j];
            ai[j] = t * d[j];
            pivot -= t * ai[j];
        }
        if (!(pivot > tol)) {  // a NaN pivot fails too
            d[i] = kHugePivotInverse;
            result = 1;
        } else {
            d[i] = 1.0 / pivot;
        }
    }
    return result;
}

int MatInvSymLdl(MATRIX A, int n, double *logdet) {
    if (!A) return 3;
    if (n < 1) {
        if (logdet) *logdet = 0.0;
        return 0;
    }
    // Rows 0..n-1 of W take L^-T, row n the reciprocal pivots.
    MATRIX W = MatAllocCached(n + 1, n);
    if (!W) return 1;
    double *dd = W[n];
    const int rc = MatLdl(A, dd, n);
    if (rc != 0) {
        MatFreeCached(W, n + 1, n);
        return rc;
    }
    if (logdet) {
        double s = 0.0;
        for (int i = 0; i < n; ++i) s -= std::log(dd[i]);
        *logdet = s;
    }
    // W = L^-T (unit upper triangular), row by row from contiguous dot products:
    // (L^-1)_ij = -(L_ij + sum_{j<k<i} L_ik (L^-1)_kj), and (L^-1)_kj = W[j][k].
    for (int i = 0; i < n; ++i) {
        W[i][i] = 1.0;
        const double *li = A[i];
        for (int j = 0; j < i; ++j) W[j][i] = -(li[j] + VecInner(li + j + 1, W[j] + j + 1, i - j - 1));
    }
    // V = W with column k scaled by d_k, kept in the strict upper triangle of A (free until the
    // final mirror); its diagonal is d itself.
    for (int j = 0; j < n; ++j) {
        double *aj = A[j];
        const double *wj = W[j];
        for (int k = j + 1; k < n; ++k) aj[k] = wj[k] * dd[k];
    }
    // Inverse = W D W': X_ij = sum_{k >= i} W[i][k] d_k W[j][k] for j <= i, into the lower triangle.
    for (int i = 0; i < n; ++i) {
        const double *wi = W[i];
        const int len = n - i - 1;
        for (int j = 0; j < i; ++j) A[i][j] = A[j][i] + VecInner(wi + i + 1, A[j] + i + 1, len);
        A[i][i] = dd[i] + VecInner(wi + i + 1, A[i] + i + 1, len);
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j) A[j][i] = A[i][j];
    MatFreeCached(W, n + 1, n);
    return 0;
}

namespace {

// Row-by-row Cholesky; inv holds the reciprocals of the finished diagonal, which take the
// divisions off the dependency chain of each row.
int CholeskyRows(MATRIX A, int n, double *inv) {
    const double tol = PivotTolerance;
    for (int i = 0; i < n; ++i) {
        double *ai = A[i];
        for (int j = 0; j < i; ++j) ai[j] = (ai[j] - VecInner(ai, A[j], j)) * inv[j];
        const double pivot = ai[i] - VecInner(ai, ai, i);
        if (!(pivot > tol)) return 1;
        ai[i] = std::sqrt(pivot);
        inv[i] = 1.0 / ai[i];
        for (int j = i + 1; j < n; ++j) ai[j] = 0.0;
    }
    return 0;
}

}  // namespace

int MatCholesky(MATRIX A, int n) {
    if (!A) return 1;
    if (n <= 64) {
        double inv[64];
        return CholeskyRows(A, n, inv);
    }
    double *inv = new (std::nothrow) double[n];
    if (!inv) {
        // Without room for the reciprocals, divide.
        const double tol = PivotTolerance;
        for (int i = 0; i < n; ++i) {
            double *ai = A[i];
            for (int j = 0; j < i; ++j) ai[j] = (ai[j] - VecInner(ai, A[j], j)) / A[j][j];
            const double pivot = ai[i] - VecInner(ai, ai, i);
            if (!(pivot > tol)) return 1;
            ai[i] = std::sqrt(pivot);
            for (int j = i + 1; j < n; ++j) ai[j] = 0.0;
        }
        return 0;
    }
    const int rc = CholeskyRows(A, n, inv);
    delete[] inv;
    return rc;
}

}  // namespace tessel
