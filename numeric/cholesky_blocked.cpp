// Cholesky factorisation in 64 x 64 blocks: left-looking, each block column updated by one
// multiply against the finished columns, then factored (diagonal block) or solved (below it).
#include <algorithm>
#include <cmath>

#include "numeric/kernels.h"

namespace tessel {

namespace {

constexpr int kBlock = 64;

}  // namespace

int MatCholeskyBlocked(MATRIX A, int n) {
    if (!A) return 1;
    if (n <= kBlock) return n < 1 ? 0 : MatCholesky(A, n);
    MATRIX W = MatAllocCached(kBlock, kBlock);
    MATRIX Lk = MatAllocCached(kBlock, kBlock);
    if (!W || !Lk) {
        MatFreeCached(W, kBlock, kBlock);
        MatFreeCached(Lk, kBlock, kBlock);
        return MatCholesky(A, n);
    }
    const double tol = PivotTolerance;
    const double *rows_i[kBlock];
    const double *rows_k[kBlock];
    double *diag[kBlock];
    double inv[kBlock];  // reciprocals of the diagonal block's diagonal
    int rc = 0;
    for (int k0 = 0; k0 < n && rc == 0; k0 += kBlock) {
        const int kb = std::min(kBlock, n - k0);
        for (int t = 0; t < kb; ++t) rows_k[t] = A[k0 + t];
        // Diagonal block: subtract L_K L_K' of the finished columns, then factor in place.
        if (k0 > 0) {
            HookMatMul(W, rows_k, kb, k0, rows_k, kb, k0, 0, 1);
            for (int r = 0; r < kb; ++r) {
                double *a = A[k0 + r] + k0;
                for (int c = 0; c <= r; ++c) a[c] -= W[r][c];
            }
        }
        for (int t = 0; t < kb; ++t) diag[t] = A[k0 + t] + k0;
        for (int i = 0; i < kb && rc == 0; ++i) {
            double *ai = diag[i];
            for (int j = 0; j < i; ++j) ai[j] = (ai[j] - VecInner(ai, diag[j], j)) * inv[j];
            const double pivot = ai[i] - VecInner(ai, ai, i);
            if (!(pivot > tol)) rc = 1;
            ai[i] = std::sqrt(pivot);
            inv[i] = 1.0 / ai[i];
        }
        if (rc != 0) break;
        // Copy of the diagonal factor, so the triangular solves read contiguous rows.
        for (int r = 0; r < kb; ++r)
            for (int c = 0; c <= r; ++c) Lk[r][c] = diag[r][c];
        // Blocks below: subtract L_I L_K', then solve X L_KK' = A_IK row by row.
        for (int i0 = k0 + kb; i0 < n; i0 += kBlock) {
            const int ib = std::min(kBlock, n - i0);
            for (int t = 0; t < ib; ++t) rows_i[t] = A[i0 + t];
            if (k0 > 0) {
                HookMatMul(W, rows_i, ib, k0, rows_k, kb, k0, 0, 1);
                for (int r = 0; r < ib; ++r) {
                    double *a = A[i0 + r] + k0;
                    const double *w = W[r];
                    for (int c = 0; c < kb; ++c) a[c] -= w[c];
                }
            }
            for (int r = 0; r < ib; ++r) {
                double *a = A[i0 + r] + k0;
                for (int j = 0; j < kb; ++j) a[j] = (a[j] - VecInner(a, Lk[j], j)) * inv[j];
            }
        }
    }
    MatFreeCached(W, kBlock, kBlock);
    MatFreeCached(Lk, kBlock, kBlock);
    if (rc != 0) return rc;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) A[i][j] = 0.0;
    return 0;
}

}  // namespace tessel
