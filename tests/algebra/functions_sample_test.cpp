// Whole-sample handlers: statistics over the sample, correlograms, smoothers and sorts. Checks that the
// work happens once at the sample start over t1 .. t2 only, that destinations are marked modified, and
// that a destination equal to its source is refused with the flag.
#include <algorithm>
#include <cmath>
#include <vector>

#include "algebra/correlogram.h"
#include "algebra/series.h"
#include "algebra/smoothing.h"
#include "tests/algebra/functions_fixture.h"

namespace tessel {
namespace {

class AlgebraSampleFunctions : public FunctionsFixture {
protected:
    void SetUp() override {
        MakeDatabase(20);
        std::vector<double> v(20);
        for (int t = 0; t < 20; ++t) v[t] = std::sin(0.7 * t) * 3.0 + 0.1 * t + (t % 3);
        v[9] = kMissing;
        x_ = AddVar("x", v);
        d_ = AddVar("d");
        e_ = AddVar("e");
        ws_.t1 = 3;
        ws_.t2 = 16;
    }
    bool Modified(double sym) { return (db_->flags[AlgebraVarIndex(&ws_, sym)] & kAlgebraVarModified) != 0; }
    double x_ = 0, d_ = 0, e_ = 0;
};

TEST_F(AlgebraSampleFunctions, MeanAndVarianceOverThePresentSampleValues) {
    const std::vector<double> xv = Values(x_);
    double s = 0, n = 0, ss = 0;
    for (int t = 3; t <= 16; ++t)
        if (!IsMissing(xv[t])) s += xv[t], n += 1;
    for (int t = 3; t <= 16; ++t)
        if (!IsMissing(xv[t])) ss += (xv[t] - s / n) * (xv[t] - s / n);
    for (double r : Run(AlgebraFnMean, {x_})) EXPECT_NEAR(r, s / n, 1e-14);
    for (double r : Run(AlgebraFnVariance, {x_})) EXPECT_NEAR(r, ss / n, 1e-13);
    // No present value: missing and no flag.
    for (AlgebraFunctionHandler h : {AlgebraFnMean, AlgebraFnVariance})
        for (double r : Run(h, {d_})) EXPECT_TRUE(IsMissing(r));
    EXPECT_EQ(ws_.flags, 0u);
    ws_.t1 = 30;  // a sample entirely beyond the column
    EXPECT_TRUE(IsMissing(Call(AlgebraFnMean, {x_}, 30)));
}

TEST_F(AlgebraSampleFunctions, CorrelogramsAndSmoothersAgreeWithTheirRoutinesOnTheSample) {
    const std::vector<double> xv = Values(x_);
    const std::vector<double> slice(xv.begin() + 3, xv.begin() + 17);
    const int m = 14;
    std::vector<double> r(m), p(m), I(m), w(m), np(m), sp(m), ew(m), hp(20, kMissing);
    AlgebraAcf(slice.data(), m, r.data());
    AlgebraPacf(slice.data(), m, p.data());
    AlgebraPeriodogram(slice.data(), m, I.data(), w.data());
    AlgebraKernelSmooth(slice.data(), m, 1.5, np.data());
    AlgebraSplineSmooth(slice.data(), m, 4.0, sp.data());
    Ewma(slice.data(), m, 0.3, 0.2, ew.data());
    std::vector<double> lags(m);
    for (int k = 0; k < m; ++k) lags[k] = k;
    // Each handler fills its destinations over the sample only and returns the first one's values.
    struct Case { AlgebraFunctionHandler h; std::vector<double> args, want, second; };
    const Case cases[] = {
        {AlgebraFnAcf, {x_, d_, e_}, r, lags}, {AlgebraFnPacf, {x_, d_, e_}, p, lags},
        {AlgebraFnPeriodogram, {x_, d_, e_}, I, w}, {AlgebraFnSmoothNp, {x_, 1.5, d_}, np, {}},
        {AlgebraFnSmoothSp, {x_, 4.0, d_}, sp, {}}, {AlgebraFnEwma, {x_, 0.3, 0.2, d_}, ew, {}},
    };
    for (const Case &c : cases) {
        const std::vector<double> got = Run(c.h, c.args);
        for (int k = 0; k < m; ++k) {
            ExpectSame(got[k], c.want[k], 0.0, "returned");
            ExpectSame(Col(d_)[3 + k], c.want[k], 0.0, "destination");
            if (!c.second.empty()) ExpectSame(Col(e_)[3 + k], c.second[k], 0.0, "second destination");
        }
        EXPECT_TRUE(IsMissing(Col(d_)[2]) && IsMissing(Col(d_)[17]));  // outside the sample untouched
    }
    EXPECT_TRUE(Modified(d_) && Modified(e_));
    // The HP filter runs over the stretch without missing values from the sample start: 3 .. 8.
    for (int t = 0; t < 20; ++t) Col(e_)[t] = -1.0;
    HpFilter(xv.data() + 3, 6, 1600.0, hp.data() + 3, true);
    const std::vector<double> h = Run(AlgebraFnSmoothHp, {x_, 0.0, e_});  // LAMBDA 0 means 1600
    for (int t = 3; t <= 8; ++t) EXPECT_NEAR(Col(e_)[t], hp[t], 1e-12);
    for (int t = 9; t <= 16; ++t) EXPECT_EQ(Col(e_)[t], -1.0);  // left as it was
    EXPECT_EQ(h[0], Col(e_)[3]);
    EXPECT_EQ(ws_.flags, 0u);
    // Calls after the first observation return the stored destination without recomputing.
    const std::vector<double> before = Values(d_);
    Col(x_)[5] += 100.0;
    for (int t = 4; t <= 16; ++t) EXPECT_EQ(Call(AlgebraFnSmoothSp, {x_, 2.0, d_}, t), before[t]);
    EXPECT_TRUE(SameValues(Values(d_), before));
    Call(AlgebraFnSmoothSp, {x_, 2.0, d_}, 3);
    EXPECT_NE(Col(d_)[5], before[5]);
}

TEST_F(AlgebraSampleFunctions, ADestinationThatIsTheSourceIsRefused) {
    const std::vector<double> xv = Values(x_);
    const double y = AddVar("y", xv);
    const std::pair<AlgebraFunctionHandler, std::vector<double>> cases[] = {
        {AlgebraFnSmoothHp, {x_, 1600, x_}}, {AlgebraFnSmoothNp, {x_, 1, x_}}, {AlgebraFnSmoothSp, {x_, 1, x_}},
        {AlgebraFnEwma, {x_, 0.5, 0.5, x_}}, {AlgebraFnEwmc0, {x_, y, 0.9, x_}}, {AlgebraFnEwmc0, {x_, y, 0.9, y}},
        {AlgebraFnAcf, {x_, x_, e_}},        {AlgebraFnPacf, {x_, d_, x_}},     {AlgebraFnPeriodogram, {x_, d_, d_}},
        {AlgebraFnSortBy, {x_, x_}},
    };
    for (const auto &[h, args] : cases) {
        ws_.flags = 0;
        ws_.t1 = 0;
        for (double r : Run(h, args)) EXPECT_TRUE(IsMissing(r));
        EXPECT_EQ(ws_.flags, kAlgebraFlagSameArguments);
        EXPECT_TRUE(SameValues(Values(x_), xv));  // nothing computed
    }
    EXPECT_FALSE(Modified(x_));
}

TEST_F(AlgebraSampleFunctions, SortOrdersTheSampleInPlace) {
    std::vector<double> want = Values(x_), sample;
    for (int t = 3; t <= 16; ++t)
        if (!IsMissing(want[t])) sample.push_back(want[t]);
    std::sort(sample.begin(), sample.end());
    std::copy(sample.begin(), sample.end(), want.begin() + 3);
    want[16] = kMissing;  // the one missing value goes last
    const std::vector<double> got = Run(AlgebraFnSort, {x_});
    EXPECT_TRUE(SameValues(Values(x_), want));
    EXPECT_TRUE(SameValues(got, std::vector<double>(want.begin() + 3, want.begin() + 17)));
    EXPECT_TRUE(Modified(x_));
}

TEST_F(AlgebraSampleFunctions, SortByReordersTwoColumnsOverAllObservationsAtZero) {
    std::vector<double> tags(20);
    for (int t = 0; t < 20; ++t) tags[t] = t;
    const double tag = AddVar("tag", tags);
    const std::vector<double> xv = Values(x_);
    Call(AlgebraFnSortBy, {x_, tag}, 3);  // at an observation other than 0 nothing happens
    EXPECT_EQ(Values(tag), tags);
    double lowest = xv[0];
    for (double v : xv)
        if (!IsMissing(v)) lowest = std::min(lowest, v);
    EXPECT_EQ(Call(AlgebraFnSortBy, {x_, tag}, 0), lowest);
    const std::vector<double> sx = Values(x_), st = Values(tag);
    for (int t = 0; t < 19; ++t) {
        if (t < 18) {
            EXPECT_LE(sx[t], sx[t + 1]);
        }
        EXPECT_EQ(sx[t], xv[static_cast<int>(st[t])]);  // the companion moved with the key
    }
    EXPECT_TRUE(IsMissing(sx[19]));
    EXPECT_EQ(st[19], 9.0);
}

TEST_F(AlgebraSampleFunctions, SortAllByReordersEveryVariable) {
    std::vector<double> tags(20), key(20);
    for (int t = 0; t < 20; ++t) tags[t] = t, key[t] = (t * 7) % 5;  // ties keep their order
    key[4] = kMissing;
    const double tag = AddVar("tag", tags), k = AddVar("k", key);
    const std::vector<double> xv = Values(x_);
    std::vector<int> order;
    for (int t = 0; t < 20; ++t)
        if (t != 4) order.push_back(t);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return key[a] < key[b]; });
    order.push_back(4);
    ws_.t1 = 0;
    ws_.t2 = 19;
    const std::vector<double> got = Run(AlgebraFnSortAllBy, {k});
    ASSERT_EQ(got.size(), 20u);
    for (int t = 0; t < 20; ++t) {
        EXPECT_EQ(Col(tag)[t], order[t]);
        ExpectSame(Col(x_)[t], xv[order[t]], 0.0, "x follows the key");
        ExpectSame(got[t], key[order[t]], 0.0, "returned key");
    }
    EXPECT_TRUE(Modified(x_) && Modified(tag) && Modified(d_));
}

// Samples and observations reaching outside the column: every handler stays inside it (the sanitizer
// build checks the memory) and answers missing where there is nothing to read.
TEST_F(AlgebraSampleFunctions, SamplesBeyondTheColumnAreHarmless) {
    for (int t1 : {-5, 0, 19, 40})
        for (int t2 : {-3, 10, 19, 50}) {
            ws_.t1 = t1, ws_.t2 = t2;
            for (int t : {-2, 0, 5, 19, 35}) {
                const bool outside = t < 0 || t >= 20;
                for (AlgebraFunctionHandler h : {AlgebraFnSort, AlgebraFnCum, AlgebraFnPeak, AlgebraFnDlog, AlgebraFnSortAllBy})
                    EXPECT_TRUE(!outside || IsMissing(Call(h, {x_}, t)));
                EXPECT_TRUE(!outside || IsMissing(Call(AlgebraFnAcf, {x_, d_, e_}, t)));
                Call(AlgebraFnMean, {x_}, t);
                Call(AlgebraFnSmoothSp, {x_, 5, d_}, t);
                Call(AlgebraFnSmoothNp, {x_, 5, d_}, t);
                Call(AlgebraFnSmoothHp, {x_, 5, d_}, t);
                Call(AlgebraFnEwma, {x_, 0.5, 0.5, d_}, t);
                Call(AlgebraFnSortBy, {x_, d_}, t);
                Call(AlgebraFnMovingAvg, {x_, 2, 2}, t);
                Call(AlgebraFnStockV, {x_, x_, 1}, t);
            }
        }
}

}  // namespace
}  // namespace tessel
