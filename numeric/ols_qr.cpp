// Least squares through the pivoted QR factorisation.
#include <algorithm>
#include <memory>
#include <new>

#include "numeric/kernels.h"

namespace tessel {

namespace {

// y <- Q' y (forward = true) or Q y, with the reflections left in XT and qraux.
void ApplyQ(CMATRIX XT, const double *qraux, int steps, int T, double *y, bool forward) {
    for (int s = 0; s < steps; ++s) {
        const int l = forward ? s : steps - 1 - s;
        const double v0 = qraux[l];
        if (v0 == 0.0) continue;
        const double *v = XT[l] + l;
        double *z = y + l;
        const int len = T - l;
        const double tau = -(v0 * z[0] + VecInner(v + 1, z + 1, len - 1)) / v0;
        z[0] += tau * v0;
        for (int t = 1; t < len; ++t) z[t] += tau * v[t];
    }
}

}  // namespace

int OlsQr(MATRIX XT, int k, int T, CMATRIX YT, int n, MATRIX B, MATRIX XtXinv, MATRIX resid, double *work) {
    if (!XT || k < 1 || T < 1 || n < 0 || (n > 0 && (!YT || !B))) return 0;
    std::unique_ptr<double[]> own;
    if (!work) {
        own.reset(new (std::nothrow) double[OlsQrWorkSize(k, T)]);
        if (!own) return 0;
        work = own.get();
    }
    int small_perm[64];
    std::unique_ptr<int[]> big_perm(k > 64 ? new (std::nothrow) int[k] : nullptr);
    int *perm = k > 64 ? big_perm.get() : small_perm;
    if (!perm) return 0;
    if (!HookQrPivot(XT, k, T, perm, work)) return 0;
    int rank = 0;
    const int result = MatRankR(XT, k, T, &rank);
    const double *qraux = work;
    double *coef = work + 2 * k;
    double *y = work + 3 * k;
    const int steps = std::min(k, T);

    for (int i = 0; i < n; ++i) {
        std::copy(YT[i], YT[i] + T, y);
        ApplyQ(XT, qraux, steps, T, y, true);
        // Back substitution on the leading rank x rank block of R (R[a][c] = XT[c][a]).
        for (int a = rank - 1; a >= 0; --a) {
            double s = y[a];
            for (int c = a + 1; c < rank; ++c) s -= XT[c][a] * coef[c];
            coef[a] = s / XT[a][a];
        }
        for (int j = 0; j < k; ++j) B[i][j] = 0.0;
        for (int a = 0; a < rank; ++a) B[i][perm[a]] = coef[a];
        if (resid) {
            for (int a = 0; a < rank; ++a) y[a] = 0.0;
            ApplyQ(XT, qraux, steps, T, y, false);
            std::copy(y, y + T, resid[i]);
        }
    }

    if (XtXinv) {
        MatZero(XtXinv, k, k);
        if (rank > 0) {
            MATRIX U = MatAlloc(rank, rank);
            if (!U) return 0;
            // U = R11^-1 (upper triangular), column by column.
            for (int c = 0; c < rank; ++c) {
                for (int a = c + 1; a < rank; ++a) U[a][c] = 0.0;
                U[c][c] = 1.0 / XT[c][c];
                for (int a = c - 1; a >= 0; --a) {
                    double s = 0.0;
                    for (int b = a + 1; b <= c; ++b) s += XT[b][a] * U[b][c];
                    U[a][c] = -s / XT[a][a];
                }
            }
            // (X'X)^-1 = P U U' P' on the leading block.
            for (int a = 0; a < rank; ++a) {
                for (int b = 0; b <= a; ++b) {
                    const double s = VecInner(U[a] + a, U[b] + a, rank - a);
                    XtXinv[perm[a]][perm[b]] = s;
                    XtXinv[perm[b]][perm[a]] = s;
                }
            }
            MatFree(U);
        }
    }
    return result;
}

}  // namespace tessel
