#include "algebra/smoothing.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "algebra/correlogram.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// Windows up to this many observations each side are summed directly; wider ones by FFT.
constexpr int kDirectKernelReach = 64;

// Range [first, last] of present values; false when there is none.
bool PresentRange(const double *y, int m, int *first, int *last) {
    int f = 0;
    while (f < m && IsMissing(y[f])) ++f;
    if (f >= m) return false;
    int l = m - 1;
    while (IsMissing(y[l])) --l;
    *first = f;
    *last = l;
    return true;
}

// Solves A x = b in place for a symmetric positive definite pentadiagonal A given by its diagonal a0,
// first superdiagonal a1 and second superdiagonal a2 (LDL' factorisation, overwrites the diagonals).
void SolvePentadiagonal(std::vector<double> &a0, std::vector<double> &a1, std::vector<double> &a2,
                        std::vector<double> &b) {
    const int n = static_cast<int>(a0.size());
    // Factor: A = L D L' with unit lower L of bandwidth 2; store D in a0, L(i+1,i) in a1, L(i+2,i) in a2.
    for (int i = 0; i < n; ++i) {
        double d = a0[i];
        if (i >= 1) d -= a1[i - 1] * a1[i - 1] * a0[i - 1];
        if (i >= 2) d -= a2[i - 2] * a2[i - 2] * a0[i - 2];
        a0[i] = d;
        if (i + 1 < n) {
            double e = a1[i];
            if (i >= 1) e -= a2[i - 1] * a1[i - 1] * a0[i - 1];
            a1[i] = e / d;
        }
        if (i + 2 < n) a2[i] = a2[i] / d;
    }
    for (int i = 0; i < n; ++i) {
        if (i >= 1) b[i] -= a1[i - 1] * b[i - 1];
        if (i >= 2) b[i] -= a2[i - 2] * b[i - 2];
    }
    for (int i = n - 1; i >= 0; --i) {
        b[i] /= a0[i];
        if (i + 1 < n) b[i] -= a1[i] * b[i + 1];
        if (i + 2 < n) b[i] -= a2[i] * b[i + 2];
    }
}

}  // namespace

double AlgebraKernelBandwidth(const double *y, int m) {
    double s = 0.0, ss = 0.0;
    int n = 0;
    for (int t = 0; t < m; ++t)
        if (!IsMissing(y[t])) {
            s += t;
            ss += static_cast<double>(t) * t;
            ++n;
        }
    if (n < 2) return 1.0;
    const double mean = s / n;
    const double var = std::max(0.0, ss / n - mean * mean);
    const double h = 1.06 * std::sqrt(var) * std::pow(static_cast<double>(n), -0.2);
    return h > 0.0 ? h : 1.0;
}

bool AlgebraKernelSmooth(const double *y, int m, double h, double *out) {
    int first, last;
    if (m <= 0 || !PresentRange(y, m, &first, &last)) return false;
    if (!(h > 0.0)) h = AlgebraKernelBandwidth(y, m);
    const double reach = std::ceil(8.0 * h);
    const int W = reach >= static_cast<double>(m) ? m : static_cast<int>(reach);
    std::vector<double> w(static_cast<size_t>(W) + 1);
    for (int d = 0; d <= W; ++d) {
        const double z = d / h;
        w[d] = std::exp(-0.5 * z * z);
    }
    // Weighted sum at t over the present values within the window.
    auto direct = [&](int t) {
        const int lo = std::max(first, t - W), hi = std::min(last, t + W);
        double num = 0.0, den = 0.0;
        for (int s = lo; s <= hi; ++s) {
            if (IsMissing(y[s])) continue;
            const double ws = w[s > t ? s - t : t - s];
            num += ws * y[s];
            den += ws;
        }
        return den > 0.0 ? num / den : kMissing;
    };
    for (int t = 0; t < m; ++t) out[t] = kMissing;
    if (W <= kDirectKernelReach) {
        for (int t = first; t <= last; ++t) out[t] = direct(t);
        return true;
    }
    // Wide windows: numerator and denominator are convolutions of the weights with y * present and
    // with the presence indicator; one complex FFT carries both (real and imaginary parts).
    int N = 1;
    while (N < m + W + 1) N <<= 1;
    std::vector<double> zr(static_cast<size_t>(N), 0.0), zi(static_cast<size_t>(N), 0.0);
    std::vector<double> kr(static_cast<size_t>(N), 0.0), ki(static_cast<size_t>(N), 0.0);
    for (int t = first; t <= last; ++t)
        if (!IsMissing(y[t])) {
            zr[t] = y[t];
            zi[t] = 1.0;
        }
    for (int d = 0; d <= W; ++d) kr[d] = kr[(N - d) % N] = w[d];
    AlgebraDft(zr.data(), zi.data(), N, -1);
    AlgebraDft(kr.data(), ki.data(), N, -1);
    for (int j = 0; j < N; ++j) {
        // The kernel is real and symmetric, so its transform is real: kr[j] scales both parts.
        zr[j] *= kr[j];
        zi[j] *= kr[j];
    }
    AlgebraDft(zr.data(), zi.data(), N, +1);
    // Rounding in the transform is about 1e-16 of the total weight (about 2.5 h); where the
    // denominator is below a thousandth of that (deep inside a long gap) the sum is taken directly.
    const double floor_den = 1e-3 * h;
    for (int t = first; t <= last; ++t) {
        const double den = zi[t] / N;
        out[t] = den > floor_den ? (zr[t] / N) / den : direct(t);
    }
    return true;
}

bool AlgebraSplineSmooth(const double *y, int m, double lambda, double *out) {
    int first, last;
    if (m <= 0 || !PresentRange(y, m, &first, &last)) return false;
    std::vector<double> x, v;
    for (int t = first; t <= last; ++t)
        if (!IsMissing(y[t])) {
            x.push_back(t);
            v.push_back(y[t]);
        }
    const int n = static_cast<int>(x.size());
    std::vector<double> g(v), gam(static_cast<size_t>(n), 0.0);  // fitted values, second derivatives
    if (!(lambda > 0.0)) lambda = 0.0;
    if (n >= 3) {
        const int k = n - 2;
        std::vector<double> h(static_cast<size_t>(n) - 1);
        for (int i = 0; i + 1 < n; ++i) h[i] = x[i + 1] - x[i];
        // Column j of Q (j = 0 .. n-3, interior knot j+1) has entries q0, q1, q2 in rows j, j+1, j+2.
        std::vector<double> q0(k), q1(k), q2(k);
        for (int j = 0; j < k; ++j) {
            q0[j] = 1.0 / h[j];
            q1[j] = -1.0 / h[j] - 1.0 / h[j + 1];
            q2[j] = 1.0 / h[j + 1];
        }
        // For lambda > 1 solve (R / lambda + Q'Q) delta = Q'y with delta = lambda * gamma, which stays
        // well scaled as lambda grows without bound.
        const bool large = lambda > 1.0;
        const double rs = large ? 1.0 / lambda : 1.0, qs = large ? 1.0 : lambda;
        std::vector<double> a0(k), a1(k, 0.0), a2(k, 0.0), b(k);
        for (int j = 0; j < k; ++j) {
            a0[j] = rs * (h[j] + h[j + 1]) / 3.0 + qs * (q0[j] * q0[j] + q1[j] * q1[j] + q2[j] * q2[j]);
            if (j + 1 < k) a1[j] = rs * h[j + 1] / 6.0 + qs * (q1[j] * q0[j + 1] + q2[j] * q1[j + 1]);
            if (j + 2 < k) a2[j] = qs * q2[j] * q0[j + 2];
            b[j] = q0[j] * v[j] + q1[j] * v[j + 1] + q2[j] * v[j + 2];
        }
        SolvePentadiagonal(a0, a1, a2, b);
        const double scale = large ? 1.0 : lambda;  // g = y - scale * Q * solution
        for (int j = 0; j < k; ++j) {
            const double s = scale * b[j];
            g[j] -= s * q0[j];
            g[j + 1] -= s * q1[j];
            g[j + 2] -= s * q2[j];
            gam[j + 1] = large ? b[j] / lambda : b[j];
        }
    }
    for (int t = 0; t < m; ++t) out[t] = kMissing;
    // Knots take their fitted values; gaps the natural cubic spline through them.
    for (int i = 0; i < n; ++i) {
        const int ti = static_cast<int>(x[i]);
        out[ti] = g[i];
        if (i + 1 == n) break;
        const double hi = x[i + 1] - x[i];
        for (int t = ti + 1; t < static_cast<int>(x[i + 1]); ++t) {
            const double a = t - x[i], c = x[i + 1] - t;
            out[t] = (a * g[i + 1] + c * g[i]) / hi -
                     a * c / 6.0 * ((1.0 + a / hi) * gam[i + 1] + (1.0 + c / hi) * gam[i]);
        }
    }
    return true;
}

}  // namespace tessel
