// Large products: transposed operands are first copied into row order, then Out = A B runs in
// column panels of B and slices of the inner index, so the part of B in use stays in cache while
// every row of A passes over it. The innermost loop runs over contiguous columns and vectorises.
#include "numeric/matmul_blocked.h"

#include <algorithm>
#include <cstring>

namespace tessel {

namespace {

constexpr int kPanelCols = 256;  // columns of B per panel
constexpr int kSliceDepth = 128; // rows of B per slice: a 256 KiB block of B at most
constexpr long long kMinWork = 32LL * 32 * 32;

// o[0..n) += a0 b0 + a1 b1 + a2 b2 + a3 b3, for two rows of Out at once so each load of B
// serves two rows.
inline void Update2(double *o0, double *o1, const double *a0, const double *a1, const double *const *b, int n) {
    const double x0 = a0[0], x1 = a0[1], x2 = a0[2], x3 = a0[3];
    const double y0 = a1[0], y1 = a1[1], y2 = a1[2], y3 = a1[3];
    const double *b0 = b[0], *b1 = b[1], *b2 = b[2], *b3 = b[3];
    for (int j = 0; j < n; ++j) {
        const double v0 = b0[j], v1 = b1[j], v2 = b2[j], v3 = b3[j];
        o0[j] += x0 * v0 + x1 * v1 + x2 * v2 + x3 * v3;
        o1[j] += y0 * v0 + y1 * v1 + y2 * v2 + y3 * v3;
    }
}

inline void Update1(double *o, const double *a, const double *const *b, int n) {
    const double x0 = a[0], x1 = a[1], x2 = a[2], x3 = a[3];
    const double *b0 = b[0], *b1 = b[1], *b2 = b[2], *b3 = b[3];
    for (int j = 0; j < n; ++j) o[j] += x0 * b0[j] + x1 * b1[j] + x2 * b2[j] + x3 * b3[j];
}

void MulRowOrder(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n) {
    for (int i = 0; i < m; ++i) std::memset(Out[i], 0, sizeof(double) * n);
    const double *brows[kSliceDepth];
    for (int j0 = 0; j0 < n; j0 += kPanelCols) {
        const int nb = std::min(kPanelCols, n - j0);
        for (int p0 = 0; p0 < k; p0 += kSliceDepth) {
            const int kb = std::min(kSliceDepth, k - p0);
            for (int p = 0; p < kb; ++p) brows[p] = B[p0 + p] + j0;
            const int k4 = kb & ~3;
            int i = 0;
            for (; i + 2 <= m; i += 2) {
                double *o0 = Out[i] + j0, *o1 = Out[i + 1] + j0;
                const double *a0 = A[i] + p0, *a1 = A[i + 1] + p0;
                for (int p = 0; p < k4; p += 4) Update2(o0, o1, a0 + p, a1 + p, brows + p, nb);
                for (int p = k4; p < kb; ++p) {
                    const double *b = brows[p];
                    const double x = a0[p], y = a1[p];
                    for (int j = 0; j < nb; ++j) {
                        o0[j] += x * b[j];
                        o1[j] += y * b[j];
                    }
                }
            }
            for (; i < m; ++i) {
                double *o = Out[i] + j0;
                const double *a = A[i] + p0;
                for (int p = 0; p < k4; p += 4) Update1(o, a + p, brows + p, nb);
                for (int p = k4; p < kb; ++p) {
                    const double *b = brows[p];
                    const double x = a[p];
                    for (int j = 0; j < nb; ++j) o[j] += x * b[j];
                }
            }
        }
    }
}

// Row-order copy of the transpose of M (r x c).
MATRIX TransposedCopy(CMATRIX M, int r, int c) {
    MATRIX t = MatAlloc(c, r);
    if (!t) return nullptr;
    constexpr int kTile = 32;
    for (int i0 = 0; i0 < r; i0 += kTile)
        for (int j0 = 0; j0 < c; j0 += kTile)
            for (int i = i0; i < std::min(r, i0 + kTile); ++i)
                for (int j = j0; j < std::min(c, j0 + kTile); ++j) t[j][i] = M[i][j];
    return t;
}

}  // namespace

bool MatMulBlocked(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n, bool transA, bool transB) {
    if (static_cast<long long>(m) * k * n < kMinWork) return false;
    // A' B with few columns of Out gains nothing from a copy of A; the straight loops handle it.
    MATRIX at = transA ? TransposedCopy(A, k, m) : nullptr;
    MATRIX bt = transB ? TransposedCopy(B, n, k) : nullptr;
    if ((transA && !at) || (transB && !bt)) {
        MatFree(at);
        MatFree(bt);
        return false;
    }
    MulRowOrder(Out, transA ? at : A, transB ? bt : B, m, k, n);
    MatFree(at);
    MatFree(bt);
    return true;
}

}  // namespace tessel
