// The default multiply: Out = op(A) op(B). Small products run straight loops, one per
// transposition case, four terms of the inner index at a time; large ones go through the packed
// blocked kernel.
#include <cstring>

#include "numeric/kernels.h"
#include "numeric/matmul_blocked.h"

namespace tessel {

namespace {

// Out = A B: rows of Out are combinations of rows of B, vectorisable over the columns.
void MulNN(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n) {
    for (int i = 0; i < m; ++i) {
        double *o = Out[i];
        const double *a = A[i];
        std::memset(o, 0, sizeof(double) * n);
        int p = 0;
        for (; p + 4 <= k; p += 4) {
            const double a0 = a[p], a1 = a[p + 1], a2 = a[p + 2], a3 = a[p + 3];
            const double *b0 = B[p], *b1 = B[p + 1], *b2 = B[p + 2], *b3 = B[p + 3];
            for (int j = 0; j < n; ++j) o[j] += a0 * b0[j] + a1 * b1[j] + a2 * b2[j] + a3 * b3[j];
        }
        for (; p < k; ++p) {
            const double ap = a[p];
            const double *b = B[p];
            for (int j = 0; j < n; ++j) o[j] += ap * b[j];
        }
    }
}

// Out = A B': dot products of rows.
void MulNT(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n) {
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j) Out[i][j] = k > 0 ? VecDot(A[i], B[j], k) : 0.0;
}

// Out = A' B with A of k x m and B of k x n.
void MulTN(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n) {
    for (int i = 0; i < m; ++i) std::memset(Out[i], 0, sizeof(double) * n);
    int p = 0;
    for (; p + 4 <= k; p += 4) {
        const double *a0 = A[p], *a1 = A[p + 1], *a2 = A[p + 2], *a3 = A[p + 3];
        const double *b0 = B[p], *b1 = B[p + 1], *b2 = B[p + 2], *b3 = B[p + 3];
        for (int i = 0; i < m; ++i) {
            double *o = Out[i];
            const double c0 = a0[i], c1 = a1[i], c2 = a2[i], c3 = a3[i];
            for (int j = 0; j < n; ++j) o[j] += c0 * b0[j] + c1 * b1[j] + c2 * b2[j] + c3 * b3[j];
        }
    }
    for (; p < k; ++p) {
        const double *a = A[p], *b = B[p];
        for (int i = 0; i < m; ++i) {
            double *o = Out[i];
            const double c = a[i];
            for (int j = 0; j < n; ++j) o[j] += c * b[j];
        }
    }
}

// Out = A' B' with A of k x m and B of n x k.
void MulTT(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            const double *b = B[j];
            double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
            int p = 0;
            for (; p + 4 <= k; p += 4) {
                s0 += A[p][i] * b[p];
                s1 += A[p + 1][i] * b[p + 1];
                s2 += A[p + 2][i] * b[p + 2];
                s3 += A[p + 3][i] * b[p + 3];
            }
            double s = (s0 + s1) + (s2 + s3);
            for (; p < k; ++p) s += A[p][i] * b[p];
            Out[i][j] = s;
        }
    }
}

}  // namespace

void MatMulGeneral(MATRIX Out, CMATRIX A, int ra, int ca, CMATRIX B, int rb, int cb, int transA, int transB) {
    if (!Out || !A || !B) return;
    const int m = transA ? ca : ra;
    const int k = transA ? ra : ca;
    const int kb = transB ? cb : rb;
    const int n = transB ? rb : cb;
    if (k != kb || m < 1 || n < 1) return;
    if (k < 1) {
        MatZero(Out, m, n);
        return;
    }
    if (MatMulBlocked(Out, A, B, m, k, n, transA != 0, transB != 0)) return;
    if (!transA && !transB) MulNN(Out, A, B, m, k, n);
    else if (!transA) MulNT(Out, A, B, m, k, n);
    else if (!transB) MulTN(Out, A, B, m, k, n);
    else MulTT(Out, A, B, m, k, n);
}

}  // namespace tessel
