#include "numeric/banded_toeplitz.h"

#include <cmath>

namespace tessel {

namespace {

// Pentadiagonal case (the Hodrick-Prescott system): L D L' computed and applied in one forward
// pass. Row i of L has l1 = l(i, i-1) and l(i, i-2) = a2 / d(i-2), so only l1 and 1/d are kept.
// For a positive definite Toeplitz matrix the rows of the factor converge geometrically to a
// constant row (the factor of the band's symbol); once they stop changing at rounding level, the
// rest of the solve runs on that row without storing or dividing.
int SolvePenta(const double *a, int n, const double *b, double *x, double *work) {
    double *l1 = work, *dinv = work + n;
    const double a0 = a[0], a1 = a[1], a2 = a[2];
    constexpr double kTol = 4.0 * 2.220446049250313e-16;
    double dm2 = 0.0, dm1 = 0.0, rm2 = 0.0, rm1 = 0.0, l1m1 = 0.0, zm2 = 0.0, zm1 = 0.0;
    int settled = 0;
    int k = n;  // rows from k on use the constant factor row
    for (int i = 0; i < n; ++i) {
        const double li2 = a2 * rm2;  // zero for i < 2
        const double li1 = (a1 - a2 * l1m1) * rm1;
        const double d = a0 - li1 * li1 * dm1 - li2 * li2 * dm2;
        if (!(d > 0.0)) return -2;
        const double r = 1.0 / d;
        const double z = b[i] - li1 * zm1 - li2 * zm2;
        l1[i] = li1;
        dinv[i] = r;
        x[i] = z;
        settled = (i >= 2 && std::fabs(d - dm1) <= kTol * d && std::fabs(li1 - l1m1) <= kTol * std::fabs(li1))
                      ? settled + 1
                      : 0;
        dm2 = dm1;
        dm1 = d;
        rm2 = rm1;
        rm1 = r;
        l1m1 = li1;
        zm2 = zm1;
        zm1 = z;
        if (settled >= 3) {
            k = i + 1;
            break;
        }
    }
    const double L1 = l1m1, R = rm1, L2 = a2 * rm1;
    for (int i = k; i < n; ++i) {
        const double z = b[i] - L1 * zm1 - L2 * zm2;
        x[i] = z;
        zm2 = zm1;
        zm1 = z;
    }
    // Back substitution with L': l(i+1, i) = l1[i+1] and l(i+2, i) = a2 / d(i).
    double xp1 = 0.0, xp2 = 0.0;
    int i = n - 1;
    if (k < n) {
        double l1p1 = 0.0;  // no row below the last
        for (; i >= k; --i) {
            const double v = x[i] * R - l1p1 * xp1 - L2 * xp2;
            x[i] = v;
            xp2 = xp1;
            xp1 = v;
            l1p1 = L1;
        }
    }
    double l1p1 = i + 1 < n ? (i + 1 >= k ? L1 : l1[i + 1]) : 0.0;
    for (; i >= 0; --i) {
        const double v = x[i] * dinv[i] - l1p1 * xp1 - a2 * dinv[i] * xp2;
        x[i] = v;
        xp2 = xp1;
        xp1 = v;
        l1p1 = l1[i];
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
