// Inversion of a general square matrix by LU factorisation with row pivoting.
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "numeric/kernels.h"

namespace tessel {

int MatInvLu(MATRIX A, int n, double *rcond, int *nsmall) {
    if (rcond) *rcond = 1.0;
    if (nsmall) *nsmall = 0;
    if (!A) return 3;
    if (n < 1) return 0;
    MATRIX LU = MatAlloc(n, n);
    MATRIX Z = MatAlloc(n, n);
    int *perm = new (std::nothrow) int[n];
    auto release = [&]() {
        MatFree(LU);
        MatFree(Z);
        delete[] perm;
    };
    if (!LU || !Z || !perm) {
        release();
        return -1;
    }
    double scale = 0.0;
    for (int i = 0; i < n; ++i) {
        const double *a = A[i];
        double *l = LU[i];
        for (int j = 0; j < n; ++j) {
            l[j] = a[j];
            scale = std::fmax(scale, std::fabs(a[j]));
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
        umax = std::fmax(umax, best);
        umin = std::fmin(umin, best);
        const double *uk = LU[k];
        const double inv = 1.0 / uk[k];
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
    for (int i = 0; i < n; ++i) {
        double *z = Z[perm[i]];
        for (int t = 0; t < i; ++t) z[t] = 0.0;
        z[i] = 1.0;
        for (int r = i + 1; r < n; ++r) z[r] = -VecInner(LU[r] + i, z + i, r - i);
        for (int r = n - 1; r >= 0; --r) {
            const double *u = LU[r];
            z[r] = (z[r] - VecInner(u + r + 1, z + r + 1, n - r - 1)) / u[r];
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
