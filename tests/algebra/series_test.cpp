#include "algebra/series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "numeric/banded_toeplitz.h"
#include "numeric/missing.h"

namespace tessel {
namespace {

using Matrix = std::vector<std::vector<double>>;

// Gaussian elimination with partial pivoting on a dense copy: the independent reference.
std::vector<double> DenseSolve(Matrix a, std::vector<double> b) {
    const size_t n = b.size();
    for (size_t k = 0; k < n; ++k) {
        size_t p = k;
        for (size_t i = k + 1; i < n; ++i)
            if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
        std::swap(a[k], a[p]);
        std::swap(b[k], b[p]);
        for (size_t i = k + 1; i < n; ++i) {
            const double f = a[i][k] / a[k][k];
            for (size_t j = k; j < n; ++j) a[i][j] -= f * a[k][j];
            b[i] -= f * b[k];
        }
    }
    std::vector<double> x(n);
    for (size_t i = n; i-- > 0;) {
        double s = b[i];
        for (size_t j = i + 1; j < n; ++j) s -= a[i][j] * x[j];
        x[i] = s / a[i][i];
    }
    return x;
}

// HP trend as the minimiser of sum (y - tau)^2 + lambda sum (second difference of tau)^2, whose
// normal equations are (I + lambda K'K) tau = y.
std::vector<double> DenseHp(const std::vector<double> &y, double lambda) {
    const size_t n = y.size();
    Matrix K(n - 2, std::vector<double>(n, 0.0));
    for (size_t i = 0; i + 2 < n; ++i) K[i][i] = 1, K[i][i + 1] = -2, K[i][i + 2] = 1;
    Matrix A(n, std::vector<double>(n, 0.0));
    for (size_t i = 0; i < n; ++i) {
        A[i][i] = 1.0;
        for (size_t j = 0; j < n; ++j)
            for (size_t r = 0; r + 2 < n; ++r) A[i][j] += lambda * K[r][i] * K[r][j];
    }
    return DenseSolve(A, y);
}

std::vector<double> RandomSeries(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    std::vector<double> y(n);
    double level = 0;
    for (auto &v : y) v = (level += nd(rng)) + 0.5 * nd(rng);
    return y;
}

TEST(BandedToeplitz, MatchesADenseSolveForSeveralBandwidths) {
    for (int m = 0; m <= 4; ++m) {
        for (int n : {1, 2, 3, 5, 9, 17, 120}) {
            std::vector<double> a(static_cast<size_t>(m) + 1);
            a[0] = 10.0;
            for (int k = 1; k <= m; ++k) a[k] = (k % 2 ? -1.5 : 0.7) / k;
            Matrix A(n, std::vector<double>(n, 0.0));
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j)
                    if (std::abs(i - j) <= m) A[i][j] = a[std::abs(i - j)];
            std::vector<double> b = RandomSeries(n, 7u * n + m), x(n), work((m + 1) * n);
            ASSERT_EQ(MatSolveSymBandToeplitz(a.data(), m, n, b.data(), x.data(), work.data()), 0);
            std::vector<double> ref = DenseSolve(A, b);
            for (int i = 0; i < n; ++i) EXPECT_NEAR(x[i], ref[i], 1e-12 * (1 + std::fabs(ref[i]))) << m << " " << n;
            // In place.
            ASSERT_EQ(MatSolveSymBandToeplitz(a.data(), m, n, b.data(), b.data(), work.data()), 0);
            for (int i = 0; i < n; ++i) EXPECT_EQ(b[i], x[i]);
        }
    }
    const double indefinite[3] = {1.0, 2.0, 0.5};
    double b[6] = {1, 2, 3, 4, 5, 6}, x[6], work[18];
    EXPECT_EQ(MatSolveSymBandToeplitz(indefinite, 2, 6, b, x, work), -2);
    EXPECT_EQ(MatSolveSymBandToeplitz(indefinite, 1, 6, b, x, work), -2);
    EXPECT_EQ(MatSolveSymBandToeplitz(indefinite, 2, -1, b, x, work), -1);
}

TEST(HpFilter, MatchesTheDenseNormalEquations) {
    // Short series, and series long enough for the band factor to settle to its constant row.
    for (size_t n : {3, 4, 5, 8, 14, 160}) {
        for (double lambda : {0.5, 100.0, 1600.0, 129600.0}) {
            std::vector<double> y = RandomSeries(n, static_cast<unsigned>(n)), tau(n);
            ASSERT_EQ(HpFilter(y.data(), static_cast<int>(n), lambda, tau.data(), true), 1);
            std::vector<double> ref = DenseHp(y, lambda);
            for (size_t i = 0; i < n; ++i) EXPECT_NEAR(tau[i], ref[i], 1e-8 * (1 + std::fabs(ref[i]))) << n << " " << lambda;
        }
    }
}

TEST(HpFilter, LongSeriesSatisfiesTheNormalEquations) {
    // Residual of (I + lambda K'K) tau = y applied band-wise: an O(n) check at a size where a
    // dense solve is out of reach.
    const int n = 20000;
    const double lambda = 14400;
    std::vector<double> y = RandomSeries(n, 99), tau(n);
    ASSERT_EQ(HpFilter(y.data(), n, lambda, tau.data(), true), 1);
    std::vector<double> d(n - 2), kd(n, 0.0);
    for (int i = 0; i + 2 < n; ++i) d[i] = tau[i] - 2 * tau[i + 1] + tau[i + 2];
    for (int i = 0; i + 2 < n; ++i) kd[i] += d[i], kd[i + 1] -= 2 * d[i], kd[i + 2] += d[i];
    for (int i = 0; i < n; ++i) ASSERT_NEAR(tau[i] + lambda * kd[i], y[i], 1e-6 * (1 + std::fabs(y[i]))) << i;
}

TEST(HpFilter, EdgeCases) {
    std::vector<double> y = RandomSeries(30, 5), a(30), b(30);
    ASSERT_EQ(HpFilter(y.data(), 30, 0.0, a.data(), true), 1);
    ASSERT_EQ(HpFilter(y.data(), 30, 1600.0, b.data(), true), 1);
    EXPECT_EQ(a, b) << "lambda 0 means 1600";
    // A straight line has no second differences and is its own trend.
    std::vector<double> line(12), t(12);
    for (int i = 0; i < 12; ++i) line[i] = 3.0 - 0.25 * i;
    ASSERT_EQ(HpFilter(line.data(), 12, 1e6, t.data(), true), 1);
    for (int i = 0; i < 12; ++i) EXPECT_NEAR(t[i], line[i], 1e-9);
    // Too short: nothing written.
    double two[2] = {1, 5}, out[2] = {-7, -7};
    EXPECT_EQ(HpFilter(two, 2, 1600, out, true), 0);
    EXPECT_EQ(out[0], -7);
    EXPECT_EQ(out[1], -7);
    EXPECT_EQ(HpFilter(nullptr, 5, 1600, out, true), 0);
}

TEST(Ewma, WithoutTrendIsSimpleExponentialSmoothing) {
    const double alpha = 0.3;
    std::vector<double> y = {kMissing, 4, 6, kMissing, kMissing, 1, 3}, out(y.size());
    ASSERT_EQ(Ewma(y.data(), 7, alpha, 0.0, out.data()), 1);
    EXPECT_TRUE(IsMissing(out[0]));
    EXPECT_EQ(out[1], 4);
    const double l2 = 0.7 * 4 + 0.3 * 6;
    EXPECT_DOUBLE_EQ(out[2], l2);
    EXPECT_DOUBLE_EQ(out[3], l2) << "missing values take the last level";
    EXPECT_DOUBLE_EQ(out[4], l2);
    const double l5 = 0.7 * l2 + 0.3 * 1;
    EXPECT_DOUBLE_EQ(out[5], l5);
    EXPECT_DOUBLE_EQ(out[6], 0.7 * l5 + 0.3 * 3);
    // Parameters are clipped into [0, 1]; alpha 1 follows the data. Three values are needed.
    std::vector<double> z = {1, 5, 2, 8}, o(4, 9.0);
    ASSERT_EQ(Ewma(z.data(), 4, 7.0, -2.0, o.data()), 1);
    EXPECT_EQ(o, z);
    EXPECT_EQ(Ewma(z.data(), 2, 0.5, 0.5, o.data() + 2), 0);
    EXPECT_EQ(o[2], 2) << "untouched";
}

TEST(Ewma, TracksAStraightLineAndExtendsItOverGaps) {
    std::vector<double> y(12), out(12);
    for (int i = 0; i < 12; ++i) y[i] = 2 + 3 * i;
    y[7] = y[8] = y[9] = kMissing;
    ASSERT_EQ(Ewma(y.data(), 12, 0.4, 0.6, out.data()), 1);
    // Level and trend fit a line exactly, so the smoothed values and the forecasts over the gap
    // are the line itself.
    for (int i = 0; i < 10; ++i) EXPECT_NEAR(out[i], 2 + 3 * i, 1e-12) << i;
    // After the gap the update starts from the level and trend left before it.
    const double level = (3.0 + 20.0) * 0.6 + 0.4 * 32.0;
    EXPECT_NEAR(out[10], level, 1e-12);
    const double trend = (level - 20.0) * 0.6 + 0.4 * 3.0;
    EXPECT_NEAR(out[11], (trend + level) * 0.6 + 0.4 * 35.0, 1e-12);
}

TEST(Ewmc, UnitDecayGivesTheCumulativeUncentredCorrelation) {
    std::vector<double> x = RandomSeries(40, 11), y = RandomSeries(40, 12), out(40);
    x[5] = kMissing;
    y[9] = kMissing;
    ASSERT_EQ(Ewmc(x.data(), y.data(), 40, 1.0, true, out.data()), 1);
    double sxx = 0, syy = 0, sxy = 0;
    int k = 0;
    for (int i = 0; i < 40; ++i) {
        if (!IsMissing(x[i]) && !IsMissing(y[i])) sxx += x[i] * x[i], syy += y[i] * y[i], sxy += x[i] * y[i], ++k;
        if (k <= 2)
            EXPECT_TRUE(IsMissing(out[i])) << i;
        else
            EXPECT_NEAR(out[i], sxy / std::sqrt(sxx * syy), 1e-12) << i;
    }
}

TEST(Ewmc, PerfectlyRelatedSeries) {
    std::vector<double> x = RandomSeries(20, 4), z(20), out(20);
    for (int i = 0; i < 20; ++i) z[i] = -2.5 * x[i];
    for (bool zeroMean : {true, false}) {
        ASSERT_EQ(Ewmc(x.data(), z.data(), 20, 0.9, zeroMean, out.data()), 1);
        for (int i = 3; i < 20; ++i) EXPECT_NEAR(out[i], -1.0, 1e-12);
    }
    double o[3] = {5, 5, 5};
    EXPECT_EQ(Ewmc(x.data(), z.data(), 3, 0.5, true, o), 0);
    EXPECT_EQ(o[0], 5);
}

TEST(MovingStatistics, WindowsAndTheirBounds) {
    std::vector<double> x = {1, 2, 3, 4, 5, 6};
    EXPECT_DOUBLE_EQ(AlgebraMovingAvg(x.data(), 6, 2, 5, 1, 1), 3.0);
    EXPECT_DOUBLE_EQ(AlgebraMovingAvg(x.data(), 6, 2, 5, 2, 0), 2.0);
    EXPECT_DOUBLE_EQ(AlgebraMovingAvg(x.data(), 6, 2, 5, -1, 2), 4.5) << "a window after t";
    EXPECT_EQ(AlgebraMovingAvg(x.data(), 6, 2, 5, -1, -1), 0.0) << "an empty window";
    EXPECT_DOUBLE_EQ(AlgebraMovingSd(x.data(), 6, 2, 5, 1, 1, 3.0), std::sqrt(2.0 / 3.0));
    EXPECT_DOUBLE_EQ(AlgebraMovingSd(x.data(), 6, 3, 5, 0, 0, 1.0), 3.0);
    // Usable indices run from 0 to the sample end (and never past the column).
    EXPECT_TRUE(IsMissing(AlgebraMovingAvg(x.data(), 6, 0, 5, 1, 0)));
    EXPECT_TRUE(IsMissing(AlgebraMovingAvg(x.data(), 6, 4, 4, 0, 1)));
    EXPECT_FALSE(IsMissing(AlgebraMovingAvg(x.data(), 6, 4, 5, 0, 1)));
    EXPECT_TRUE(IsMissing(AlgebraMovingSd(x.data(), 6, 5, 50, 0, 1, 0)));
    EXPECT_TRUE(IsMissing(AlgebraMovingAvg(x.data(), 6, 2, 5, 1e300, 1e300)));
    // The window truncates LAG and LEAD but the divisor does not.
    EXPECT_DOUBLE_EQ(AlgebraMovingAvg(x.data(), 6, 2, 5, 1.5, 1.0), (2 + 3 + 4) / 3.5);
    x[3] = kMissing;
    EXPECT_TRUE(IsMissing(AlgebraMovingAvg(x.data(), 6, 2, 5, 1, 1)));
    EXPECT_TRUE(IsMissing(AlgebraMovingSd(x.data(), 6, 4, 5, 1, 0, 0)));
}

TEST(Almon, WeightsFallLinearlyWithPowerOne) {
    std::vector<double> x = {1, 4, 9, 16, 25, 36};
    EXPECT_DOUBLE_EQ(AlgebraAlmon(x.data(), 6, 4, 5, 2, 1.0), (3 * 25 + 2 * 16 + 9) / 6.0);
    EXPECT_DOUBLE_EQ(AlgebraAlmon(x.data(), 6, 4, 5, 2, 0.0), (25 + 16 + 9) / 3.0);
    EXPECT_DOUBLE_EQ(AlgebraAlmon(x.data(), 6, 4, 5, 1, 2.0), (4 * 25 + 16) / 5.0);
    EXPECT_DOUBLE_EQ(AlgebraAlmon(x.data(), 6, 3, 5, 0, 3.0), 16.0);
    EXPECT_TRUE(IsMissing(AlgebraAlmon(x.data(), 6, 1, 5, 2, 1.0))) << "t - LAG before the data";
    EXPECT_TRUE(IsMissing(AlgebraAlmon(x.data(), 6, 5, 4, 2, 1.0))) << "t beyond the sample end";
    EXPECT_TRUE(IsMissing(AlgebraAlmon(x.data(), 6, 5, 5, 1e12, 1.0)));
    x[3] = kMissing;
    EXPECT_TRUE(IsMissing(AlgebraAlmon(x.data(), 6, 5, 5, 2, 1.0)));
    EXPECT_FALSE(IsMissing(AlgebraAlmon(x.data(), 6, 5, 5, 1, 1.0)));
}

TEST(Cum, RunsFromTheFirstPresentValue) {
    std::vector<double> x = {kMissing, 9, kMissing, 1, 2, kMissing, 4};
    EXPECT_TRUE(IsMissing(AlgebraCum(x.data(), 7, 2, 2)));
    EXPECT_EQ(AlgebraCum(x.data(), 7, 2, 3), 1);
    EXPECT_EQ(AlgebraCum(x.data(), 7, 2, 4), 3);
    EXPECT_TRUE(IsMissing(AlgebraCum(x.data(), 7, 2, 5)));
    EXPECT_TRUE(IsMissing(AlgebraCum(x.data(), 7, 2, 6))) << "a gap after the start stays missing";
    EXPECT_TRUE(IsMissing(AlgebraCum(x.data(), 7, 0, 3)));
    EXPECT_EQ(AlgebraCum(x.data(), 7, -4, 1), 9);
    EXPECT_TRUE(IsMissing(AlgebraCum(x.data(), 7, 0, 7)));
    EXPECT_TRUE(IsMissing(AlgebraCum(x.data(), 7, 0, -1)));
}

TEST(SpanWithoutMissing, StopsAtTheFirstGapInsideTheRange) {
    std::vector<double> x = {kMissing, kMissing, 2, 3, 4, kMissing, 6, 7};
    int f, l;
    EXPECT_EQ(AlgebraSpanWithoutMissing(x.data(), 8, 0, 7, &f, &l), 3);
    EXPECT_EQ(f, 2);
    EXPECT_EQ(l, 4);
    EXPECT_EQ(AlgebraSpanWithoutMissing(x.data(), 8, 5, 100, &f, &l), 2);
    EXPECT_EQ(f, 6);
    EXPECT_EQ(AlgebraSpanWithoutMissing(x.data(), 8, 3, 3, &f, &l), 1);
    EXPECT_EQ(AlgebraSpanWithoutMissing(x.data(), 2, -10, 10, &f, &l), 0);
}

}  // namespace
}  // namespace tessel
