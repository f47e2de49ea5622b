// Inversion of a general square matrix by LU factorisation with row pivoting.
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "numeric/kernels.h"

namespace tessel {

namespace {

// d[q] = sum over t < len of u[t] z[q][off + t]: four columns against one row, four terms at a time.
inline void Dot4(const double *u, double *const z[4], int off, int len, double d[4]) {
    const double *z0 = z[0] + off, *z1 = z[1] + off, *z2 = z[2] + off, *z3 = z[3] + off;
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    int t = 0;
    for (; t + 4 <= len; t += 4) {
        const double a = u[t], b = u[t + 1], c = u[t + 2], e = u[t + 3];
        s0 += a * z0[t] + b * z0[t + 1] + c * z0[t + 2] + e * z0[t + 3];
        s1 += a * z1[t] + b * z1[t + 1] + c * z1[t + 2] + e * z1[t + 3];
        s2 += a * z2[t] + b * z2[t + 1] + c * z2[t + 2] + e * z2[t + 3];
        s3 += a * z3[t] + b * z3[t + 1] + c * z3[t + 2] + e * z3[t + 3];
    }
    for (; t < len; ++t) {
        const double a = u[t];
        s0 += a * z0[t];
        s1 += a * z1[t];
        s2 += a * z2[t];
        s3 += a * z3[t];
    }
    d[0] = s0;
    d[1] = s1;
    d[2] = s2;
    d[3] = s3;
}

}  // namespace

int MatInvLu(MATRIX A, int n, double *rcond, int *nsmall) {
    if (rcond) *rcond = 1.0;
    if (nsmall) *nsmall = 0;
    if (!A) return 3;
    if (n < 1) return 0;
    // One block for the factor (rows 0..n-1), the transposed inverse (rows n..2n-1) and the
    // reciprocals of the pivots (row 2n).
    MATRIX W = MatAlloc(2 * n + 1, n);
    int small_perm[64];
    int *perm = n <= 64 ? small_perm : new (std::nothrow) int[n];
    auto release = [&]() {
        MatFree(W);
        if (perm != small_perm) delete[] perm;
    };
    if (!W || !perm) {
        release();
        return -1;
    }
    MATRIX LU = W;
    MATRIX Z = W + n;
    double *rpiv = W[2 * n];
    double scale = 0.0;
    for (int i = 0; i < n; ++i) {
        const double *a = A[i];
        double *l = LU[i];
        for (int j = 0; j < n; ++j) {
            l[j] = a[j];
            const double v = std::fabs(a[j]);
            scale = v > scale || v != v ? v : scale;  // a NaN sticks and fails the check below
        }
        perm[i] = i;
    }
    if (!std::isfinite(scale) || scale == 0.0) {
        release();
        return 1;
    }
    // Right-looking elimination; rows are exchanged by swapping their pointers.
    const double tiny = PivotTolerance * scale;
    double umax = 0.0, umin = std::numeric_limits<double>::infinity();
    for (int k = 0; k < n; ++k) {
        int p = k;
        double best = std::fabs(LU[k][k]);
        for (int i = k + 1; i < n; ++i) {
            const double v = std::fabs(LU[i][k]);
            if (v > best) {
                best = v;
                p = i;
            }
        }
        if (!(best > tiny) || !std::isfinite(best)) {
            release();
            return 1;
        }
        if (p != k) {
            std::swap(LU[p], LU[k]);
            std::swap(perm[p], perm[k]);
        }
        if (best > umax) umax = best;
        if (best < umin) umin = best;
        const double *uk = LU[k];
        const double inv = 1.0 / uk[k];
        rpiv[k] = inv;
        for (int i = k + 1; i < n; ++i) {
            double *li = LU[i];
            const double f = li[k] * inv;
            li[k] = f;
            if (f == 0.0) continue;
            for (int j = k + 1; j < n; ++j) li[j] -= f * uk[j];
        }
    }
    // Row j of Z is column j of the inverse: solve L y = P e_j, then U x = y.
    // perm[i] is the original row now at position i, so P e_j has its 1 where perm[i] == j.
    // Four right-hand sides go together so each pass over the factor serves four columns.
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        double *z[4] = {Z[perm[i]], Z[perm[i + 1]], Z[perm[i + 2]], Z[perm[i + 3]]};
        for (int q = 0; q < 4; ++q) {
            for (int t = 0; t < i + q; ++t) z[q][t] = 0.0;
            z[q][i + q] = 1.0;
            // Rows inside the group: only the columns whose 1 lies above them are computed.
            for (int r = i + q + 1; r < i + 4; ++r) z[q][r] = -VecInner(LU[r] + i, z[q] + i, r - i);
        }
        for (int r = i + 4; r < n; ++r) {
            double d[4];
            Dot4(LU[r] + i, z, i, r - i, d);
            for (int q = 0; q < 4; ++q) z[q][r] = -d[q];
        }
        for (int r = n - 1; r >= 0; --r) {
            double d[4];
            Dot4(LU[r] + r + 1, z, r + 1, n - r - 1, d);
            for (int q = 0; q < 4; ++q) z[q][r] = (z[q][r] - d[q]) * rpiv[r];
        }
    }
    for (; i < n; ++i) {
        double *z = Z[perm[i]];
        for (int t = 0; t < i; ++t) z[t] = 0.0;
        z[i] = 1.0;
        for (int r = i + 1; r < n; ++r) z[r] = -VecInner(LU[r] + i, z + i, r - i);
        for (int r = n - 1; r >= 0; --r) {
            const double *u = LU[r];
            z[r] = (z[r] - VecInner(u + r + 1, z + r + 1, n - r - 1)) * rpiv[r];
        }
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) A[i][j] = Z[j][i];
    if (rcond) *rcond = umin / umax;
    if (nsmall) {
        const double cut = std::sqrt(std::numeric_limits<double>::epsilon()) * umax;
        int count = 0;
        for (int i = 0; i < n; ++i)
            if (std::fabs(LU[i][i]) < cut) ++count;
        *nsmall = count;
    }
    release();
    return 0;
}

}  // namespace tessel
