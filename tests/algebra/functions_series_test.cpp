// Handlers that read a variable around the current observation: lags, differences, windows, running
// extremes and stocks, against direct computations, with their bounds and missing-value rules.
#include <cmath>
#include <tuple>
#include <vector>

#include "algebra/series.h"
#include "tests/algebra/functions_fixture.h"

namespace tessel {
namespace {

const double M = kMissing;

class AlgebraSeriesFunctions : public FunctionsFixture {
protected:
    void SetUp() override {
        MakeDatabase(12);
        x_ = AddVar("x", {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8});
        g_ = AddVar("g", {kMissing, 2, 3, kMissing, 5, 6, 7, 8, 9, 10, 11, 12});
    }
    double x_ = 0, g_ = 0;
};

TEST_F(AlgebraSeriesFunctions, LagAndLeadStayInsideTheColumn) {
    const std::vector<double> xv = Values(x_);
    for (int t = 0; t < 12; ++t)
        for (double k : {-13.0, -2.0, -1.0, 0.0, 1.0, 1.9, 3.0, 12.0}) {
            const int j = t - static_cast<int>(k);
            const double want = (j >= 0 && j < 12) ? xv[j] : kMissing;
            ExpectSame(Call(AlgebraFnLag, {x_, k}, t), want, 0.0, "lag");
            ExpectSame(Call(AlgebraFnLead, {x_, -k}, t), want, 0.0, "lead of the negated lag");
        }
    // Reads outside the sample but inside the column are allowed.
    ws_.t1 = 4;
    EXPECT_EQ(Call(AlgebraFnLag, {x_, 2}, 4), 4.0);
    // Absurd lags saturate instead of overflowing.
    EXPECT_TRUE(IsMissing(Call(AlgebraFnLag, {x_, 1e300}, 5)));
    EXPECT_TRUE(IsMissing(Call(AlgebraFnLead, {x_, 3e9}, 5)));
    EXPECT_TRUE(IsMissing(Call(AlgebraFnLag, {g_, 1}, 1)));  // the value read is missing
    EXPECT_EQ(ws_.flags, 0u);
}

TEST_F(AlgebraSeriesFunctions, BadIndicesAndDifferences) {
    for (double bad : {-1.0, 0.0, 99.0, 1e300, -1e300}) {  // 0 names a function
        EXPECT_TRUE(IsMissing(Call(AlgebraFnLag, {bad, 0}, 3)));
        EXPECT_TRUE(IsMissing(Call(AlgebraFnCum, {bad}, 3)));
        EXPECT_TRUE(IsMissing(Call(AlgebraFnPeak, {bad}, 3)));
        EXPECT_TRUE(IsMissing(Call(AlgebraFnStockV, {x_, bad, 1}, 3)));
        EXPECT_TRUE(IsMissing(Call(AlgebraFnMovingAvg, {bad, 1, 1}, 3)));
    }
    // Observations outside the column; differences (x[5] - x[7] for a lead) and log differences.
    const std::tuple<AlgebraFunctionHandler, std::vector<double>, int, double> cases[] = {
        {AlgebraFnDiff, {x_, 1}, 12, M},   {AlgebraFnPeak, {x_}, -1, M},     {AlgebraFnStock, {x_, 0.1, 0}, 40, M},
        {AlgebraFnDiff, {x_, 1}, 5, 4.0},  {AlgebraFnDiff, {x_, -2}, 5, 3.0}, {AlgebraFnDiff, {x_, 3}, 2, M},
        {AlgebraFnDiff, {g_, 1}, 4, M},    {AlgebraFnDlog, {x_}, 5, std::log(9.0 / 5.0)}, {AlgebraFnDlog, {x_}, 0, M},
    };
    for (const auto &[h, args, t, want] : cases) ExpectSame(Call(h, args, t), want, 1e-15, "difference");
    ws_.t2 = 6;  // the previous observation must lie within the sample end
    EXPECT_FALSE(IsMissing(Call(AlgebraFnDlog, {x_}, 7)));
    EXPECT_TRUE(IsMissing(Call(AlgebraFnDlog, {x_}, 8)));
    EXPECT_EQ(ws_.flags, 0u);
    Col(x_)[2] = 0.0;
    EXPECT_TRUE(IsMissing(Call(AlgebraFnDlog, {x_}, 3)));
    EXPECT_EQ(ws_.flags, kAlgebraFlagLogZero);
    ws_.flags = 0;
    Col(x_)[2] = -4.0;
    EXPECT_TRUE(IsMissing(Call(AlgebraFnDlog, {x_}, 2)));
    EXPECT_EQ(ws_.flags, kAlgebraFlagLogNonPositive);
}

TEST_F(AlgebraSeriesFunctions, WindowsMatchTheSeriesRoutinesAndDirectSums) {
    const std::vector<double> xv = Values(x_);
    // movingavg(x, 1, 1) at the sample's last observation reaches beyond it.
    ws_.t2 = 9;
    EXPECT_TRUE(IsMissing(Call(AlgebraFnMovingAvg, {x_, 1, 1}, 9)));
    EXPECT_NEAR(Call(AlgebraFnMovingAvg, {x_, 1, 1}, 8), (6 + 5 + 3) / 3.0, 1e-15);
    const double sd = std::sqrt(((1 - 4.0) * (1 - 4.0) + (5 - 4.0) * (5 - 4.0) + (9 - 4.0) * (9 - 4.0)) / 3.0);
    EXPECT_NEAR(Call(AlgebraFnMovingSD, {x_, 1, 1, 4.0}, 4), sd, 1e-15);
    // Almon weights (LAG + 1 - i)^POWER on x[t - i].
    const double w0 = 9, w1 = 4, w2 = 1;
    EXPECT_NEAR(Call(AlgebraFnAlmon, {x_, 2, 2}, 6), (w0 * xv[6] + w1 * xv[5] + w2 * xv[4]) / 14.0, 1e-15);
    for (int t = 0; t < 12; ++t) {
        ws_.t = t;
        ExpectSame(Call(AlgebraFnAlmon, {g_, 3, 1.5}, t), AlgebraAlmon(Col(g_), 12, t, 9, 3, 1.5), 0.0, "almon");
        ExpectSame(Call(AlgebraFnCum, {g_}, t), AlgebraCum(Col(g_), 12, 0, t), 0.0, "cum");
    }
    ws_.t1 = 1;
    EXPECT_EQ(Call(AlgebraFnCum, {x_}, 3), 1 + 4 + 1.0);
    EXPECT_TRUE(IsMissing(Call(AlgebraFnCum, {g_}, 5)));  // gap at 3 after the start at 1
}

TEST_F(AlgebraSeriesFunctions, RunningPeakAndTroughFromTheSampleStart) {
    const std::vector<double> xv = Values(x_);
    ws_.t1 = 2;
    for (int t = 2; t < 12; ++t) {
        double hi = xv[t], lo = xv[t];
        for (int j = 2; j <= t; ++j) hi = std::max(hi, xv[j]), lo = std::min(lo, xv[j]);
        EXPECT_EQ(Call(AlgebraFnPeak, {x_}, t), hi) << t;
        EXPECT_EQ(Call(AlgebraFnTrough, {x_}, t), lo) << t;
    }
    ws_.t1 = 0;
    EXPECT_TRUE(IsMissing(Call(AlgebraFnPeak, {g_}, 3)));  // missing at t
    EXPECT_EQ(Call(AlgebraFnPeak, {g_}, 4), 5.0);         // missing values before t are skipped
    EXPECT_EQ(Call(AlgebraFnTrough, {g_}, 4), 2.0);
}

TEST_F(AlgebraSeriesFunctions, StocksAccumulateWithDepreciation) {
    const std::vector<double> xv = Values(x_);
    const double a = 0.1, init = 20.0;
    ws_.t1 = 1;
    double s = init;
    for (int t = 1; t < 12; ++t) {
        s = (1 - a) * s + xv[t];
        EXPECT_NEAR(Call(AlgebraFnStock, {x_, a, init}, t), s, 1e-12) << t;
    }
    EXPECT_TRUE(IsMissing(Call(AlgebraFnStock, {x_, a, init}, 0)));  // before the first usable observation
    // The start is the first present value; a later gap makes every later stock missing.
    ws_.t1 = 0;
    EXPECT_NEAR(Call(AlgebraFnStock, {g_, a, init}, 2), (1 - a) * ((1 - a) * init + 2) + 3, 1e-13);
    EXPECT_TRUE(IsMissing(Call(AlgebraFnStock, {g_, a, init}, 6)));
    // Varying rates read the rate variable at each observation.
    const double r = AddVar("r", {0.5, 0.2, 0.0, 1.0, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3});
    double sv = init;
    for (int t = 0; t <= 3; ++t) sv = (1 - Col(r)[t]) * sv + xv[t];
    EXPECT_NEAR(Call(AlgebraFnStockV, {x_, r, init}, 3), sv, 1e-13);
    Col(r)[2] = kMissing;
    EXPECT_TRUE(IsMissing(Call(AlgebraFnStockV, {x_, r, init}, 3)));
}

}  // namespace
}  // namespace tessel
