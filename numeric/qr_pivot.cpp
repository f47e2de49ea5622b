// Householder QR with column pivoting on a matrix held by variables (each column of X is a
// contiguous row of XT), and the rank decision on its triangular factor.
#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/kernels.h"

namespace tessel {

namespace {

constexpr double kNegligible = 2.220446049250313e-14;

void SwapRows(double *a, double *b, int T) {
    for (int t = 0; t < T; ++t) std::swap(a[t], b[t]);
}

}  // namespace

int MatQrPivot(MATRIX XT, int k, int T, int *perm, double *work) {
    if (!XT || !perm || !work || k < 1 || T < 1) return 0;
    double *qraux = work;     // current column norms, then the leading elements of the reflections
    double *orig = work + k;  // column norms before the factorisation
    for (int j = 0; j < k; ++j) {
        perm[j] = j;
        qraux[j] = orig[j] = std::sqrt(VecInner(XT[j], XT[j], T));
    }
    const int steps = std::min(k, T);
    for (int l = 0; l < steps; ++l) {
        // Pivot: the largest remaining norm; columns reduced to a negligible part rank last.
        int p = l;
        double best = -1.0;
        for (int j = l; j < k; ++j) {
            const double v = qraux[j] > kNegligible * orig[j] ? qraux[j] : 0.0;
            if (v > best) {
                best = v;
                p = j;
            }
        }
        if (p != l) {
            SwapRows(XT[p], XT[l], T);
            std::swap(qraux[p], qraux[l]);
            std::swap(orig[p], orig[l]);
            std::swap(perm[p], perm[l]);
        }
        double *x = XT[l] + l;
        const int len = T - l;
        double nrm = std::sqrt(VecInner(x, x, len));
        if (nrm == 0.0 || !std::isfinite(nrm)) {
            qraux[l] = 0.0;
            continue;
        }
        if (x[0] < 0.0) nrm = -nrm;
        const double inv = 1.0 / nrm;
        for (int t = 0; t < len; ++t) x[t] *= inv;
        x[0] += 1.0;
        // Apply the reflection I - v v' / v0 to the remaining columns and downdate their norms.
        for (int j = l + 1; j < k; ++j) {
            double *y = XT[j] + l;
            const double tau = -VecInner(x, y, len) / x[0];
            for (int t = 0; t < len; ++t) y[t] += tau * x[t];
            if (qraux[j] != 0.0) {
                const double ratio = std::fabs(y[0]) / qraux[j];
                double keep = 1.0 - ratio * ratio;
                if (keep < 0.0) keep = 0.0;
                const double rel = qraux[j] / orig[j];
                if (keep * rel * rel <= std::sqrt(std::numeric_limits<double>::epsilon()))
                    qraux[j] = std::sqrt(VecInner(y + 1, y + 1, len - 1));
                else
                    qraux[j] *= std::sqrt(keep);
            }
        }
        qraux[l] = x[0];
        x[0] = -nrm;
    }
    for (int l = steps; l < k; ++l) qraux[l] = 0.0;
    return 1;
}

int MatRankR(CMATRIX R, int k, int T, int *rank) {
    if (rank) *rank = 0;
    if (!R || k < 1 || T < 1) return -1;
    double mx = 0.0, mn = std::numeric_limits<double>::infinity();
    for (int i = 0; i < k; ++i) {
        const int len = std::min(i, T - 1) + 1;
        const double s = VecInner(R[i], R[i], len);
        mx = std::max(mx, s);
        mn = std::min(mn, s);
    }
    if (mx == 0.0 || !(mx == mx)) return -1;
    const double tol = PivotTolerance;
    int result = mn / mx <= tol ? 2 : 1;
    const double h = tol * std::sqrt(mx);
    int r = 0;
    while (r < k && r < T && std::fabs(R[r][r]) > h) ++r;
    if (r < k - 1) result = -result;
    if (rank) *rank = r;
    return result;
}

}  // namespace tessel
