// Kernel smoother against the untruncated weighted mean; smoothing spline against a dense solve of the
// penalised least-squares problem and against natural cubic spline interpolation of its fitted values.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "algebra/series.h"
#include "algebra/smoothing.h"
#include "numeric/missing.h"

namespace tessel {
namespace {

using Dense = std::vector<std::vector<double>>;

Dense Inverse(Dense a) {
    const int n = static_cast<int>(a.size());
    for (int i = 0; i < n; ++i) {
        a[i].resize(2 * n, 0.0);
        a[i][n + i] = 1.0;
    }
    for (int c = 0; c < n; ++c) {
        int p = c;
        for (int i = c + 1; i < n; ++i)
            if (std::fabs(a[i][c]) > std::fabs(a[p][c])) p = i;
        std::swap(a[c], a[p]);
        const double d = a[c][c];
        for (double &v : a[c]) v /= d;
        for (int i = 0; i < n; ++i) {
            if (i == c) continue;
            const double f = a[i][c];
            for (int j = 0; j < 2 * n; ++j) a[i][j] -= f * a[c][j];
        }
    }
    Dense inv(n, std::vector<double>(n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) inv[i][j] = a[i][n + j];
    return inv;
}

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
    const Dense Ri = Inverse(R);
    Dense A(n, std::vector<double>(n, 0.0));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double s = 0.0;
            for (int a = 0; a < n - 2; ++a)
                for (int b = 0; b < n - 2; ++b) s += Q[i][a] * Ri[a][b] * Q[j][b];
            A[i][j] = (i == j ? 1.0 : 0.0) + lambda * s;
        }
    const Dense Ai = Inverse(A);
    std::vector<double> g(n, 0.0);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) g[i] += Ai[i][j] * y[j];
    return g;
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
        const Dense Ai = Inverse(A);
        for (int i = 0; i < n - 2; ++i)
            for (int j = 0; j < n - 2; ++j) M[i + 1] += Ai[i][j] * b[j];
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
    struct Case {
        int m;
        double h;
    };
    // Narrow windows are summed directly, wide ones by FFT; the last case has a gap wider than 16 h.
    for (const Case c : {Case{40, 0.3}, Case{40, 2.5}, Case{40, 30.0}, Case{300, 12.0}, Case{300, 150.0},
                         Case{400, 9.0}}) {
        std::vector<double> y = Noisy(c.m, 1);
        for (int t : {0, 1, 13, 14, 15, c.m - 1}) y[t] = kMissing;
        if (c.m == 400)
            for (int t = 30; t < 370; ++t) y[t] = kMissing;
        std::vector<double> out(c.m, 99.0);
        ASSERT_TRUE(AlgebraKernelSmooth(y.data(), c.m, c.h, out.data()));
        for (int t = 0; t < c.m; ++t) {
            const double want = (t < 2 || t > c.m - 2) ? kMissing : KernelAt(y, t, c.h);
            if (IsMissing(want)) {
                EXPECT_TRUE(IsMissing(out[t])) << "h=" << c.h << " t=" << t;
            } else {
                EXPECT_NEAR(out[t], want, 1e-11) << "h=" << c.h << " t=" << t;
            }
        }
    }
}

TEST(AlgebraKernelSmoother, NonPositiveBandwidthUsesSilvermanOverTheIndex) {
    const int m = 50;
    const std::vector<double> y = Noisy(m, 2);
    // Positions 0..m-1 have standard deviation sqrt((m^2 - 1) / 12).
    const double h = 1.06 * std::sqrt((m * m - 1) / 12.0) * std::pow(m, -0.2);
    std::vector<double> a(m), b(m);
    ASSERT_TRUE(AlgebraKernelSmooth(y.data(), m, 0.0, a.data()));
    ASSERT_TRUE(AlgebraKernelSmooth(y.data(), m, h, b.data()));
    for (int t = 0; t < m; ++t) EXPECT_NEAR(a[t], b[t], 1e-12);
}

TEST(AlgebraKernelSmoother, DegenerateInputs) {
    const double none[3] = {kMissing, kMissing, kMissing};
    double out[3] = {5, 5, 5};
    EXPECT_FALSE(AlgebraKernelSmooth(none, 3, 1.0, out));
    EXPECT_EQ(out[1], 5.0);  // nothing written
    const double one[3] = {kMissing, 4.0, kMissing};
    ASSERT_TRUE(AlgebraKernelSmooth(one, 3, 1e300, out));
    EXPECT_EQ(out[1], 4.0);
    EXPECT_TRUE(IsMissing(out[0]) && IsMissing(out[2]));
    // A huge bandwidth averages everything; an infinite one must not overflow the window.
    const double y[4] = {1, 2, 3, 6};
    double o[4];
    ASSERT_TRUE(AlgebraKernelSmooth(y, 4, std::numeric_limits<double>::infinity(), o));
    for (double v : o) EXPECT_NEAR(v, 3.0, 1e-12);
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
    std::vector<double> y = Noisy(m, 4);
    std::vector<double> out(m);
    ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, 0.0, out.data()));
    for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], y[t], 1e-10);
    ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, -5.0, out.data()));  // negative counts as 0
    for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], y[t], 1e-10);
    // An infinite penalty leaves the least-squares line.
    ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, std::numeric_limits<double>::infinity(), out.data()));
    double st = 0, sy = 0, stt = 0, sty = 0;
    for (int t = 0; t < m; ++t) st += t, sy += y[t], stt += t * t, sty += t * y[t];
    const double b = (m * sty - st * sy) / (m * stt - st * st), a = (sy - b * st) / m;
    for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], a + b * t, 1e-9);
    // A straight line has no roughness and is returned unchanged for any penalty.
    std::vector<double> line(m);
    for (int t = 0; t < m; ++t) line[t] = 2.0 - 0.5 * t;
    line[6] = kMissing;
    ASSERT_TRUE(AlgebraSplineSmooth(line.data(), m, 40.0, out.data()));
    for (int t = 0; t < m; ++t) EXPECT_NEAR(out[t], 2.0 - 0.5 * t, 1e-10);
}

TEST(AlgebraSplineSmoother, EqualsTheSplineFormOfTheHodrickPrescottFilterOnCompleteData) {
    const int m = 80;
    const std::vector<double> y = Noisy(m, 5);
    for (double lambda : {0.5, 1600.0}) {
        std::vector<double> sp(m), hp(m);
        ASSERT_TRUE(AlgebraSplineSmooth(y.data(), m, lambda, sp.data()));
        ASSERT_EQ(HpFilter(y.data(), m, lambda, hp.data(), false), 1);
        for (int t = 0; t < m; ++t) EXPECT_NEAR(sp[t], hp[t], 1e-9) << t;
    }
}

TEST(AlgebraSplineSmoother, FewPointsAndEdgeGaps) {
    double out[5] = {9, 9, 9, 9, 9};
    const double none[5] = {kMissing, kMissing, kMissing, kMissing, kMissing};
    EXPECT_FALSE(AlgebraSplineSmooth(none, 5, 1.0, out));
    EXPECT_EQ(out[0], 9.0);
    const double two[5] = {kMissing, 1.0, kMissing, kMissing, 4.0};
    ASSERT_TRUE(AlgebraSplineSmooth(two, 5, 10.0, out));
    EXPECT_TRUE(IsMissing(out[0]));
    EXPECT_NEAR(out[1], 1.0, 1e-14);
    EXPECT_NEAR(out[2], 2.0, 1e-14);  // linear between two knots
    EXPECT_NEAR(out[3], 3.0, 1e-14);
    EXPECT_NEAR(out[4], 4.0, 1e-14);
    const double one[2] = {kMissing, 7.0};
    ASSERT_TRUE(AlgebraSplineSmooth(one, 2, 1.0, out));
    EXPECT_EQ(out[1], 7.0);
}

}  // namespace
}  // namespace tessel
