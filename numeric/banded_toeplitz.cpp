#include "numeric/banded_toeplitz.h"

namespace tessel {

namespace {

// Pentadiagonal case (the Hodrick-Prescott system): L D L' with the factor rows kept in work.
int SolvePenta(const double *a, int n, const double *b, double *x, double *work) {
    double *l1 = work, *l2 = work + n, *dinv = work + 2 * static_cast<long>(n);
    const double a0 = a[0], a1 = a[1], a2 = a[2];
    // Forward: factor row i and eliminate in the same pass.
    double dm2 = 0.0, dm1 = 0.0, l1m1 = 0.0, zm2 = 0.0, zm1 = 0.0;
    for (int i = 0; i < n; ++i) {
        double li2 = i >= 2 ? a2 / dm2 : 0.0;
        double li1 = i >= 1 ? (a1 - (i >= 2 ? a2 * l1m1 : 0.0)) / dm1 : 0.0;
        double d = a0 - li1 * li1 * dm1 - li2 * li2 * dm2;
        if (!(d > 0.0)) return -2;
        double z = b[i] - li1 * zm1 - li2 * zm2;
        l1[i] = li1;
        l2[i] = li2;
        dinv[i] = 1.0 / d;
        x[i] = z;
        dm2 = dm1;
        dm1 = d;
        l1m1 = li1;
        zm2 = zm1;
        zm1 = z;
    }
    // Back substitution with L'.
    double xp1 = 0.0, xp2 = 0.0;
    for (int i = n - 1; i >= 0; --i) {
        double v = x[i] * dinv[i];
        if (i + 1 < n) v -= l1[i + 1] * xp1;
        if (i + 2 < n) v -= l2[i + 2] * xp2;
        x[i] = v;
        xp2 = xp1;
        xp1 = v;
    }
    return 0;
}

}  // namespace

int MatSolveSymBandToeplitz(const double *a, int m, int n, const double *b, double *x, double *work) {
    if (!a || !b || !x || !work || n < 0 || m < 0) return -1;
    if (n == 0) return 0;
    if (m == 2) return SolvePenta(a, n, b, x, work);
    // General band: row i of L holds l(i, i-1-k) at L[i*m + k]; D^-1 follows the m*n factors.
    double *L = work, *dinv = work + static_cast<long>(m) * n;
    for (int i = 0; i < n; ++i) {
        double *Li = L + static_cast<long>(i) * m;
        // l(i, j) for j = i-m .. i-1, farthest first, so that each uses the ones already known.
        for (int k = m - 1; k >= 0; --k) {
            int j = i - 1 - k;
            if (j < 0) {
                Li[k] = 0.0;
                continue;
            }
            double s = a[i - j];
            const double *Lj = L + static_cast<long>(j) * m;
            // sum over p < j within both bands: l(i,p) d(p) l(j,p)
            for (int q = k + 1; q < m; ++q) {
                int p = i - 1 - q;
                int kj = j - 1 - p;
                if (p < 0 || kj < 0 || kj >= m) continue;
                s -= Li[q] / dinv[p] * Lj[kj];
            }
            Li[k] = s * dinv[j];
        }
        double d = a[0];
        for (int k = 0; k < m; ++k) {
            int j = i - 1 - k;
            if (j >= 0) d -= Li[k] * Li[k] / dinv[j];
        }
        if (!(d > 0.0)) return -2;
        dinv[i] = 1.0 / d;
    }
    for (int i = 0; i < n; ++i) {
        double z = b[i];
        const double *Li = L + static_cast<long>(i) * m;
        for (int k = 0; k < m && i - 1 - k >= 0; ++k) z -= Li[k] * x[i - 1 - k];
        x[i] = z;
    }
    for (int i = n - 1; i >= 0; --i) {
        double v = x[i] * dinv[i];
        for (int k = 0; k < m && i + 1 + k < n; ++k) v -= L[static_cast<long>(i + 1 + k) * m + k] * x[i + 1 + k];
        x[i] = v;
    }
    return 0;
}

}  // namespace tessel
