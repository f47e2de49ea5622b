#include "algebra/series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "numeric/banded_toeplitz.h"
#include "tests/algebra/reference.h"

namespace tessel {
namespace {

const double M = kMissing;

// HP trend as the minimiser of sum (y - tau)^2 + lambda sum (second difference of tau)^2, whose
// normal equations are (I + lambda K'K) tau = y.
std::vector<double> DenseHp(const std::vector<double> &y, double lambda) {
    const size_t n = y.size();
    Dense K(n - 2, std::vector<double>(n, 0.0)), A(n, std::vector<double>(n, 0.0));
    for (size_t i = 0; i + 2 < n; ++i) K[i][i] = 1, K[i][i + 1] = -2, K[i][i + 2] = 1;
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
    for (int m = 0; m <= 4; ++m)
        for (int n : {1, 2, 3, 5, 9, 17, 120}) {
            std::vector<double> a(static_cast<size_t>(m) + 1, 10.0);
            for (int k = 1; k <= m; ++k) a[k] = (k % 2 ? -1.5 : 0.7) / k;
            Dense A(n, std::vector<double>(n, 0.0));
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j)
                    if (std::abs(i - j) <= m) A[i][j] = a[std::abs(i - j)];
            std::vector<double> b = RandomSeries(n, 7u * n + m), x(n), work((m + 1) * n);
            ASSERT_EQ(MatSolveSymBandToeplitz(a.data(), m, n, b.data(), x.data(), work.data()), 0);
            const std::vector<double> ref = DenseSolve(A, b);
            for (int i = 0; i < n; ++i) EXPECT_NEAR(x[i], ref[i], 1e-12 * (1 + std::fabs(ref[i]))) << m << " " << n;
            ASSERT_EQ(MatSolveSymBandToeplitz(a.data(), m, n, b.data(), b.data(), work.data()), 0);
            EXPECT_EQ(b, x) << "in place";
        }
    const double indefinite[3] = {1.0, 2.0, 0.5};
    double b[6] = {1, 2, 3, 4, 5, 6}, x[6], work[18];
    EXPECT_EQ(MatSolveSymBandToeplitz(indefinite, 2, 6, b, x, work), -2);
    EXPECT_EQ(MatSolveSymBandToeplitz(indefinite, 1, 6, b, x, work), -2);
    EXPECT_EQ(MatSolveSymBandToeplitz(indefinite, 2, -1, b, x, work), -1);
}

TEST(HpFilter, MatchesTheDenseNormalEquations) {
    // Short series, and series long enough for the band factor to settle to its constant row.
    for (size_t n : {3, 4, 5, 8, 14, 160})
        for (double lambda : {0.5, 100.0, 1600.0, 129600.0}) {
            std::vector<double> y = RandomSeries(n, static_cast<unsigned>(n)), tau(n);
            ASSERT_EQ(HpFilter(y.data(), static_cast<int>(n), lambda, tau.data(), true), 1);
            const std::vector<double> ref = DenseHp(y, lambda);
            for (size_t i = 0; i < n; ++i) EXPECT_NEAR(tau[i], ref[i], 1e-8 * (1 + std::fabs(ref[i]))) << n << " " << lambda;
        }
    // At a size where a dense solve is out of reach, the residual of the normal equations applied band-wise.
    const int n = 20000;
    const double lambda = 14400;
    std::vector<double> y = RandomSeries(n, 99), tau(n), d(n - 2), kd(n, 0.0);
    ASSERT_EQ(HpFilter(y.data(), n, lambda, tau.data(), true), 1);
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
    double two[2] = {1, 5}, out[2] = {-7, -7};
    EXPECT_EQ(HpFilter(two, 2, 1600, out, true), 0);  // too short: nothing written
    EXPECT_EQ(out[0], -7);
    EXPECT_EQ(out[1], -7);
    EXPECT_EQ(HpFilter(nullptr, 5, 1600, out, true), 0);
}

TEST(Ewma, SmoothsExponentiallyAndExtendsTheTrendOverGaps) {
    std::vector<double> y = {M, 4, 6, M, M, 1, 3}, out(y.size());
    ASSERT_EQ(Ewma(y.data(), 7, 0.3, 0.0, out.data()), 1);
    // Without trend: simple exponential smoothing; missing values take the last level.
    const double l2 = 0.7 * 4 + 0.3 * 6, l5 = 0.7 * l2 + 0.3 * 1;
    const std::vector<double> want = {M, 4, l2, l2, l2, l5, 0.7 * l5 + 0.3 * 3};
    for (int i = 0; i < 7; ++i) ExpectSame(out[i], want[i], 1e-14, "ewma");
    // Parameters are clipped into [0, 1]; alpha 1 follows the data. Three values are needed.
    std::vector<double> z = {1, 5, 2, 8}, o(4, 9.0);
    ASSERT_EQ(Ewma(z.data(), 4, 7.0, -2.0, o.data()), 1);
    EXPECT_EQ(o, z);
    EXPECT_EQ(Ewma(z.data(), 2, 0.5, 0.5, o.data() + 2), 0);
    EXPECT_EQ(o[2], 2) << "untouched";
    // Level and trend fit a line exactly, so the smoothed values and the forecasts over the gap are the
    // line itself; after the gap the update starts from the level and trend left before it.
    std::vector<double> line(12), fit(12);
    for (int i = 0; i < 12; ++i) line[i] = 2 + 3 * i;
    line[7] = line[8] = line[9] = M;
    ASSERT_EQ(Ewma(line.data(), 12, 0.4, 0.6, fit.data()), 1);
    for (int i = 0; i < 10; ++i) EXPECT_NEAR(fit[i], 2 + 3 * i, 1e-12) << i;
    const double level = (3.0 + 20.0) * 0.6 + 0.4 * 32.0, trend = (level - 20.0) * 0.6 + 0.4 * 3.0;
    EXPECT_NEAR(fit[10], level, 1e-12);
    EXPECT_NEAR(fit[11], (trend + level) * 0.6 + 0.4 * 35.0, 1e-12);
}

TEST(Ewmc, UnitDecayGivesTheCumulativeUncentredCorrelation) {
    std::vector<double> x = RandomSeries(40, 11), y = RandomSeries(40, 12), out(40);
    x[5] = y[9] = M;
    ASSERT_EQ(Ewmc(x.data(), y.data(), 40, 1.0, true, out.data()), 1);
    double sxx = 0, syy = 0, sxy = 0;
    for (int i = 0, k = 0; i < 40; ++i) {
        if (!IsMissing(x[i]) && !IsMissing(y[i])) sxx += x[i] * x[i], syy += y[i] * y[i], sxy += x[i] * y[i], ++k;
        ExpectSame(out[i], k <= 2 ? M : sxy / std::sqrt(sxx * syy), 1e-12, "uncentred correlation");
    }
    // Perfectly related series, centred or not.
    std::vector<double> w = RandomSeries(20, 4), z(20);
    for (int i = 0; i < 20; ++i) z[i] = -2.5 * w[i];
    for (bool zeroMean : {true, false}) {
        ASSERT_EQ(Ewmc(w.data(), z.data(), 20, 0.9, zeroMean, out.data()), 1);
        for (int i = 3; i < 20; ++i) EXPECT_NEAR(out[i], -1.0, 1e-12);
    }
    double o[3] = {5, 5, 5};
    EXPECT_EQ(Ewmc(w.data(), z.data(), 3, 0.5, true, o), 0);
    EXPECT_EQ(o[0], 5);
}

TEST(SeriesAtOneObservation, WindowsAlmonCumAndTheirBounds) {
    double x[6] = {1, 2, 3, 4, 5, 6}, q[6] = {1, 4, 9, 16, 25, 36}, g[7] = {M, 9, M, 1, 2, M, 4};
    // Usable indices run from 0 to the sample end (never past the column); the window truncates LAG and
    // LEAD but the divisor does not; Almon weights (LAG + 1 - i)^POWER fall on x[t - i].
    const std::pair<double, double> cases[] = {
        {AlgebraMovingAvg(x, 6, 2, 5, 1, 1), 3.0},        {AlgebraMovingAvg(x, 6, 2, 5, 2, 0), 2.0},
        {AlgebraMovingAvg(x, 6, 2, 5, -1, 2), 4.5},       {AlgebraMovingAvg(x, 6, 2, 5, -1, -1), 0.0},
        {AlgebraMovingSd(x, 6, 2, 5, 1, 1, 3.0), std::sqrt(2.0 / 3.0)}, {AlgebraMovingSd(x, 6, 3, 5, 0, 0, 1.0), 3.0},
        {AlgebraMovingAvg(x, 6, 0, 5, 1, 0), M},          {AlgebraMovingAvg(x, 6, 4, 4, 0, 1), M},
        {AlgebraMovingAvg(x, 6, 4, 5, 0, 1), 5.5},        {AlgebraMovingSd(x, 6, 5, 50, 0, 1, 0), M},
        {AlgebraMovingAvg(x, 6, 2, 5, 1e300, 1e300), M},  {AlgebraMovingAvg(x, 6, 2, 5, 1.5, 1.0), 9 / 3.5},
        {AlgebraAlmon(q, 6, 4, 5, 2, 1.0), (3 * 25 + 2 * 16 + 9) / 6.0}, {AlgebraAlmon(q, 6, 4, 5, 2, 0.0), 50 / 3.0},
        {AlgebraAlmon(q, 6, 4, 5, 1, 2.0), (4 * 25 + 16) / 5.0},         {AlgebraAlmon(q, 6, 3, 5, 0, 3.0), 16.0},
        {AlgebraAlmon(q, 6, 1, 5, 2, 1.0), M},            {AlgebraAlmon(q, 6, 5, 4, 2, 1.0), M},
        {AlgebraAlmon(q, 6, 5, 5, 1e12, 1.0), M},
        // cum runs from the first present value; a gap after the start stays missing.
        {AlgebraCum(g, 7, 2, 2), M}, {AlgebraCum(g, 7, 2, 3), 1}, {AlgebraCum(g, 7, 2, 4), 3}, {AlgebraCum(g, 7, 2, 5), M},
        {AlgebraCum(g, 7, 2, 6), M}, {AlgebraCum(g, 7, 0, 3), M}, {AlgebraCum(g, 7, -4, 1), 9}, {AlgebraCum(g, 7, 0, 7), M},
        {AlgebraCum(g, 7, 0, -1), M},
    };
    for (size_t i = 0; i < std::size(cases); ++i) ExpectSame(cases[i].first, cases[i].second, 1e-14, std::to_string(i).c_str());
    x[3] = q[3] = M;
    EXPECT_TRUE(IsMissing(AlgebraMovingAvg(x, 6, 2, 5, 1, 1)));
    EXPECT_TRUE(IsMissing(AlgebraMovingSd(x, 6, 4, 5, 1, 0, 0)));
    EXPECT_TRUE(IsMissing(AlgebraAlmon(q, 6, 5, 5, 2, 1.0)));
    EXPECT_FALSE(IsMissing(AlgebraAlmon(q, 6, 5, 5, 1, 1.0)));
}

TEST(SpanWithoutMissing, StopsAtTheFirstGapInsideTheRange) {
    const double x[8] = {M, M, 2, 3, 4, M, 6, 7};
    int f, l;
    EXPECT_EQ(AlgebraSpanWithoutMissing(x, 8, 0, 7, &f, &l), 3);
    EXPECT_EQ(f, 2);
    EXPECT_EQ(l, 4);
    EXPECT_EQ(AlgebraSpanWithoutMissing(x, 8, 5, 100, &f, &l), 2);
    EXPECT_EQ(f, 6);
    EXPECT_EQ(AlgebraSpanWithoutMissing(x, 8, 3, 3, &f, &l), 1);
    EXPECT_EQ(AlgebraSpanWithoutMissing(x, 2, -10, 10, &f, &l), 0);
}

}  // namespace
}  // namespace tessel
