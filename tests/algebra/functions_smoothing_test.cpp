// Kernel smoother against the untruncated weighted mean; smoothing spline against a dense solve of the
// penalised least-squares problem and against natural cubic spline interpolation of its fitted values.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "algebra/series.h"
#include "algebra/smoothing.h"
#include "tests/algebra/reference.h"

namespace tessel {
namespace {

std::vector<double> Noisy(int m, unsigned seed) {
    std::mt19937 gen(seed);
    std::normal_distribution<double> e(0.0, 0.3);
    std::vector<double> y(m);
    for (int t = 0; t < m; ++t) y[t] = std::sin(0.4 * t) + e(gen);
    return y;
}

// Fitted values (I + lambda Q R^-1 Q')^-1 y at the knots x.
std::vector<double> DenseSpline(const std::vector<double> &x, const std::vector<double> &y, double lambda) {
    const int n = static_cast<int>(x.size());
    Dense Q(n, std::vector<double>(n - 2, 0.0)), R(n - 2, std::vector<double>(n - 2, 0.0));
    for (int j = 1; j + 1 < n; ++j) {
        const double h0 = x[j] - x[j - 1], h1 = x[j + 1] - x[j];
        Q[j - 1][j - 1] = 1.0 / h0;
        Q[j][j - 1] = -1.0 / h0 - 1.0 / h1;
        Q[j + 1][j - 1] = 1.0 / h1;
        R[j - 1][j - 1] = (h0 + h1) / 3.0;
        if (j < n - 2) R[j - 1][j] = R[j][j - 1] = h1 / 6.0;
    }
    Dense Qt(n - 2, std::vector<double>(n));
    for (int a = 0; a < n - 2; ++a)
        for (int j = 0; j < n; ++j) Qt[a][j] = Q[j][a];
    const Dense RiQt = DenseSolve(R, Qt);
    Dense A(n, std::vector<double>(n, 0.0));
    for (int i = 0; i < n; ++i) {
        A[i][i] = 1.0;
        for (int j = 0; j < n; ++j)
            for (int a = 0; a < n - 2; ++a) A[i][j] += lambda * Q[i][a] * RiQt[a][j];
    }
    return DenseSolve(A, y);
}

// Natural cubic spline through (x_i, g_i) evaluated at t, from the interpolation equations for the
// second derivatives M.
double NaturalSplineAt(const std::vector<double> &x, const std::vector<double> &g, double t) {
    const int n = static_cast<int>(x.size());
    std::vector<double> M(n, 0.0);
    if (n > 2) {
        Dense A(n - 2, std::vector<double>(n - 2, 0.0));
        std::vector<double> b(n - 2);
        for (int i = 1; i + 1 < n; ++i) {
            const double h0 = x[i] - x[i - 1], h1 = x[i + 1] - x[i];
            A[i - 1][i - 1] = 2.0 * (h0 + h1);
            if (i > 1) A[i - 1][i - 2] = h0;
            if (i + 2 < n) A[i - 1][i] = h1;
            b[i - 1] = 6.0 * ((g[i + 1] - g[i]) / h1 - (g[i] - g[i - 1]) / h0);
        }
        const std::vector<double> inner = DenseSolve(A, b);
        for (int i = 0; i < n - 2; ++i) M[i + 1] = inner[i];
    }
    int i = 0;
    while (i + 2 < n && t > x[i + 1]) ++i;
    const double h = x[i + 1] - x[i], a = x[i + 1] - t, c = t - x[i];
    return M[i] * a * a * a / (6 * h) + M[i + 1] * c * c * c / (6 * h) + (g[i] / h - M[i] * h / 6) * a +
           (g[i + 1] / h - M[i + 1] * h / 6) * c;
}

// Weighted mean at t of the present values within 8 h (rounded up); missing when there are none.
double KernelAt(const std::vector<double> &y, int t, double h) {
    double num = 0.0, den = 0.0;
    for (int s = 0; s < static_cast<int>(y.size()); ++s)
        if (!IsMissing(y[s]) && std::abs(t - s) <= std::ceil(8.0 * h)) {
            const double w = std::exp(-0.5 * (t - s) * (t - s) / (h * h));
            num += w * y[s];
            den += w;
        }
    return den > 0.0 ? num / den : kMissing;
}

TEST(AlgebraKernelSmoother, EqualsTheWeightedMeanOfPresentValues) {
    // Narrow windows are summed directly, wide ones by FFT; the last case has a gap wider than 16 h.
    for (auto [m, h] : {std::pair{40, 0.3}, {40, 2.5}, {40, 30.0}, {300, 12.0}, {300, 150.0}, {400, 9.0}}) {
        std::vector<double> y = Noisy(m, 1);
        for (int t : {0, 1, 13, 14, 15, m - 1}) y[t] = kMissing;
        if (m == 400)
            for (int t = 30; t < 370; ++t) y[t] = kMissing;
        std::vector<double> out(m, 99.0);
        ASSERT_TRUE(AlgebraKernelSmooth(y.data(), m, h, out.data()));
        for (int t = 0; t < m; ++t) ExpectSame(out[t], (t < 2 || t > m - 2) ? kMissing : KernelAt(y, t, h), 1e-11, "kernel");
    }
}

TEST(AlgebraKernelSmoother, SilvermanBandwidthAndDegenerateInputs) {
    // A non-positive bandwidth takes Silverman's rule over the positions 0..m-1, whose standard
    // deviation is sqrt((m^2 - 1) / 12).
    const int m = 50;
    const std::vector<double> y = Noisy(m, 2);
    std::vector<double> a(m), b(m);
    ASSERT_TRUE(AlgebraKernelSmooth(y.data(), m, 0.0, a.data()));
    ASSERT_TRUE(AlgebraKernelSmooth(y.data(), m, 1.06 * std::sqrt((m * m - 1) / 12.0) * std::pow(m, -0.2), b.data()));
    for (int t = 0; t < m; ++t) EXPECT_NEAR(a[t], b[t], 1e-12);
    const double none[3] = {kMissing, kMissing, kMissing}, one[3] = {kMissing, 4.0, kMissing}, four[4] = {1, 2, 3, 6};
    double out[4] = {5, 5, 5, 5};
    EXPECT_FALSE(AlgebraKernelSmooth(none, 3, 1.0, out));
    EXPECT_EQ(out[1], 5.0);  // nothing written
    ASSERT_TRUE(AlgebraKernelSmooth(one, 3, 1e300, out));
    EXPECT_EQ(out[1], 4.0);
    EXPECT_TRUE(IsMissing(out[0]) && IsMissing(out[2]));
    // A huge bandwidth averages everything; an infinite one must not overflow the window.
    ASSERT_TRUE(AlgebraKernelSmooth(four, 4, std::numeric_limits<double>::infinity(), out));
    for (double v : out) EXPECT_NEAR(v, 3.0, 1e-12);
}

TEST(AlgebraSplineSmoother, MatchesDensePenalisedLeastSquares) {
    const int m = 30;
    std::vector<double> y = Noisy(m, 3);
    y[4] = y[5] = y[17] = kMissing;  // unequal spacing of the knots
    std::vector<double> x, v;
    for (int t = 0; t < m; ++t)
        if (!IsMissing(y[t])) x.push_back(t), v.push_back(y[t]);
    for (double lambda : {0.05, 1.0, 3.0, 250.0, 1e6}) {
        std::vector<double> out(m);
        ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, lambda, out.data()));
        const std::vector<double> g = DenseSpline(x, v, lambda);
        for (size_t i = 0; i < x.size(); ++i)
            EXPECT_NEAR(out[static_cast<int>(x[i])], g[i], 1e-8) << "lambda=" << lambda << " i=" << i;
        // The gaps lie on the natural cubic spline through the fitted values.
        for (int t : {4, 5, 17}) EXPECT_NEAR(out[t], NaturalSplineAt(x, g, t), 1e-8) << t;
    }
}

TEST(AlgebraSplineSmoother, LimitsInterpolateOrFitALine) {
    const int m = 12;
    const std::vector<double> y = Noisy(m, 4);
    std::vector<double> out(m), line(m);
    for (double zero : {0.0, -5.0}) {  // negative counts as 0: interpolation
        ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, zero, out.data()));
        for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], y[t], 1e-10);
    }
    // An infinite penalty leaves the least-squares line.
    ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, std::numeric_limits<double>::infinity(), out.data()));
    double st = 0, sy = 0, stt = 0, sty = 0;
    for (int t = 0; t < m; ++t) st += t, sy += y[t], stt += t * t, sty += t * y[t];
    const double b = (m * sty - st * sy) / (m * stt - st * st), a = (sy - b * st) / m;
    for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], a + b * t, 1e-9);
    // A straight line has no roughness and is returned unchanged for any penalty.
    for (int t = 0; t < m; ++t) line[t] = 2.0 - 0.5 * t;
    line[6] = kMissing;
    ASSERT_TRUE(AlgebraSplineSmooth(line.data(), m, 40.0, out.data()));
    for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], 2.0 - 0.5 * t, 1e-10);
    // On complete data the spline is the Hodrick-Prescott filter in its spline form.
    const std::vector<double> z = Noisy(80, 5);
    for (double lambda : {0.5, 1600.0}) {
        std::vector<double> sp(80), hp(80);
        ASSERT_TRUE(AlgebraSplineSmooth(z.data(), 80, lambda, sp.data()));
        ASSERT_EQ(HpFilter(z.data(), 80, lambda, hp.data(), false), 1);
        for (int t = 0; t < 80; ++t) EXPECT_NEAR(sp[t], hp[t], 1e-9) << t;
    }
}

TEST(AlgebraSplineSmoother, FewPointsAndEdgeGaps) {
    const double M = kMissing, none[5] = {M, M, M, M, M}, two[5] = {M, 1.0, M, M, 4.0}, one[2] = {M, 7.0};
    double out[5] = {9, 9, 9, 9, 9};
    EXPECT_FALSE(AlgebraSplineSmooth(none, 5, 1.0, out));
    EXPECT_EQ(out[0], 9.0);
    ASSERT_TRUE(AlgebraSplineSmooth(two, 5, 10.0, out));  // linear between two knots, missing before them
    for (int t = 0; t < 5; ++t) ExpectSame(out[t], t == 0 ? M : t, 1e-14, "two knots");
    ASSERT_TRUE(AlgebraSplineSmooth(one, 2, 1.0, out));
    EXPECT_EQ(out[1], 7.0);
}

}  // namespace
}  // namespace tessel
