// Seasonal R-squared, deseasonalising and the selected Kronecker product through their exports.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

struct SeasonalRsqCall {
    HostValues hv;
    VelaValue rtn{};
    VelaValue *means = nullptr;
    ~SeasonalRsqCall() { VelaFreeByValue(&rtn); }
    void Run(const std::vector<double> &y, int s, double rss, int cols = 1) {
        std::vector<VelaValue> a = {hv.Matrix(static_cast<int>(y.size()) / cols, cols, y), VelawinInt(s),
                                    VelawinDouble(rss), hv.Ref(&means)};
        VelawinBeginCall("FnSeasonalRsq");
        FnSeasonalRsq(&rtn, a.data(), 4);
    }
};

TEST(SeasonalRsqExport, MatchesDirectSeasonalMeansOfDifferences) {
    auto data = MacroData();
    std::vector<double> y;
    for (const auto &row : data) y.push_back(std::log(row[0]));  // log real GDP, quarterly
    const int T = static_cast<int>(y.size()), s = 4;
    std::vector<double> mean(s, 0.0), count(s, 0.0);
    for (int t = 0; t + 1 < T; ++t) {
        mean[t % s] += y[t + 1] - y[t];
        count[t % s] += 1;
    }
    for (int j = 0; j < s; ++j) mean[j] /= count[j];
    double D = 0.0;
    for (int t = 0; t + 1 < T; ++t) D += std::pow(y[t + 1] - y[t] - mean[t % s], 2);

    SeasonalRsqCall call;
    call.Run(y, s, 0.3 * D);
    ASSERT_EQ(call.rtn.type, VELA_DOUBLE);
    EXPECT_NEAR(call.rtn.data.dval, 0.7, 1e-12);
    ASSERT_EQ(call.means->ival, 1);
    ASSERT_EQ(call.means->cols, s);
    for (int j = 0; j < s; ++j) EXPECT_NEAR(At(*call.means, 0, j), mean[j], 1e-15);

    SeasonalRsqCall perfect, none;
    perfect.Run(y, s, 0.0);
    none.Run(y, s, D);
    EXPECT_NEAR(perfect.rtn.data.dval, 1.0, 1e-15);
    EXPECT_NEAR(none.rtn.data.dval, 0.0, 1e-12);
}

TEST(SeasonalRsqExport, SmallestSampleIsTwoSeasonsPlusOne) {
    // T = 2s + 1 with s = 2: differences 1, 4, 2, 8 -> seasons {1, 2} and {4, 8}.
    SeasonalRsqCall ok;
    ok.Run({0, 1, 5, 7, 15}, 2, 1.0);
    EXPECT_DOUBLE_EQ(At(*ok.means, 0, 0), 1.5);
    EXPECT_DOUBLE_EQ(At(*ok.means, 0, 1), 6.0);
    EXPECT_DOUBLE_EQ(ok.rtn.data.dval, 1.0 - 1.0 / (0.25 + 0.25 + 4 + 4));

    // T = 2s: the statistic is -1 and the means stay zero.
    SeasonalRsqCall short_sample;
    short_sample.Run({0, 1, 5, 7}, 2, 1.0);
    EXPECT_EQ(short_sample.rtn.data.dval, -1.0);
    EXPECT_EQ(At(*short_sample.means, 0, 0), 0.0);
}

TEST(SeasonalRsqExport, BadShapesLeaveTheReturnValueAlone) {
    long before = VelawinLiveBlocks();
    {
        SeasonalRsqCall one_season, two_columns;
        one_season.Run({1, 2, 3, 4, 5, 6}, 1, 1.0);
        two_columns.Run({1, 2, 3, 4, 5, 6, 7, 8}, 2, 1.0, 2);
        EXPECT_EQ(one_season.rtn.type, VELA_EMPTY);
        EXPECT_EQ(two_columns.rtn.type, VELA_EMPTY);
        EXPECT_EQ(one_season.means->type, VELA_EMPTY);
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);

    HostValues hv;
    VelaValue rtn{}, *means;
    std::vector<VelaValue> a = {hv.Matrix(5, 1, {1, 2, 3, 4, 5}), VelawinDouble(2.0), VelawinDouble(1.0),
                                hv.Ref(&means)};
    long live = VelawinLiveBlocks();
    VelawinBeginCall("FnSeasonalRsq");
    FnSeasonalRsq(&rtn, a.data(), 4);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), live);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

VelaValue DeSeasonalize(HostValues &hv, const Rows &X, int s) {
    VelaValue rtn{};
    std::vector<VelaValue> a = {hv.Matrix(X), VelawinInt(s)};
    VelawinBeginCall("FnDeSeasonalize");
    FnDeSeasonalize(&rtn, a.data(), 2);
    return *hv.New(rtn);
}

TEST(DeSeasonalizeExport, RemovesEachSeasonsMeanPerColumn) {
    Rows X = Normal(23, 3, 7);  // 23 rows: the seasons have 6, 6, 6 and 5 members
    for (int t = 0; t < 23; ++t) X[t][1] += 10.0 * (t % 4);
    HostValues hv;
    VelaValue out = DeSeasonalize(hv, X, 4);
    ASSERT_EQ(out.ival, 23);
    ASSERT_EQ(out.cols, 3);
    for (int c = 0; c < 3; ++c)
        for (int j = 0; j < 4; ++j) {
            double mean = 0.0;
            int count = 0;
            for (int t = j; t < 23; t += 4, ++count) mean += X[t][c];
            mean /= count;
            for (int t = j; t < 23; t += 4) EXPECT_NEAR(At(out, t, c), X[t][c] - mean, 1e-13);
        }
}

TEST(DeSeasonalizeExport, PeriodicSeriesBecomesZeroAndInputIsUntouched) {
    Rows X;
    for (int t = 0; t < 12; ++t) X.push_back({std::vector<double>{3.0, -1.0, 8.5}[t % 3]});
    HostValues hv;
    VelaValue in = hv.Matrix(X);
    VelaValue rtn{};
    std::vector<VelaValue> a = {in, VelawinInt(3)};
    FnDeSeasonalize(&rtn, a.data(), 2);
    hv.New(rtn);
    for (int t = 0; t < 12; ++t) {
        EXPECT_EQ(At(rtn, t, 0), 0.0);
        EXPECT_EQ(At(in, t, 0), X[t][0]);
    }
    // More seasons than rows: every observation is its own season.
    VelaValue own = DeSeasonalize(hv, {{4.0}, {5.0}}, 5);
    EXPECT_EQ(At(own, 0, 0), 0.0);
    EXPECT_EQ(At(own, 1, 0), 0.0);
}

TEST(DeSeasonalizeExport, DegenerateArgumentsLeaveTheReturnValueAlone) {
    HostValues hv;
    EXPECT_EQ(DeSeasonalize(hv, {{1.0}, {2.0}}, 1).type, VELA_EMPTY);
    VelaValue rtn{};
    std::vector<VelaValue> empty = {hv.Matrix(0, 0, {}), VelawinInt(4)};
    FnDeSeasonalize(&rtn, empty.data(), 2);
    EXPECT_EQ(rtn.type, VELA_EMPTY);

    std::vector<VelaValue> wrong = {VelawinInt(3), VelawinInt(4)};
    long live = VelawinLiveBlocks();
    VelawinBeginCall("FnDeSeasonalize");
    FnDeSeasonalize(&rtn, wrong.data(), 2);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), live);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

struct KronCall {
    HostValues hv;
    VelaValue rtn{};
    ~KronCall() { VelaFreeByValue(&rtn); }
    void Run(const Rows &A, const Rows &B, const std::vector<double> &rows, const std::vector<double> &cols) {
        std::vector<VelaValue> a = {hv.Matrix(A), hv.Matrix(B),
                                    hv.Matrix(rows.empty() ? 0 : 1, static_cast<int>(rows.size()), rows),
                                    hv.Matrix(cols.empty() ? 0 : 1, static_cast<int>(cols.size()), cols)};
        VelawinBeginCall("FnKroneckerSel");
        FnKroneckerSel(&rtn, a.data(), 4);
    }
};

TEST(KroneckerSelExport, SelectedElementsOfTheFullProduct) {
    Rows A = Normal(2, 3, 11), B = Normal(3, 2, 12);
    auto full = [&](int r, int c) { return A[r / 3][c / 2] * B[r % 3][c % 2]; };
    KronCall all;
    all.Run(A, B, {}, {0, 1, 2, 3, 4, 5});
    ASSERT_EQ(all.rtn.ival, 6);
    ASSERT_EQ(all.rtn.cols, 6);
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 6; ++c) EXPECT_EQ(At(all.rtn, r, c), full(r, c));

    // Repeated, reordered and truncated indices: 2.9 -> 2, -0.5 -> 0.
    KronCall some;
    some.Run(A, B, {5, 2.9, -0.5, 5}, {4.99, 0});
    ASSERT_EQ(some.rtn.ival, 4);
    ASSERT_EQ(some.rtn.cols, 2);
    const int rows[] = {5, 2, 0, 5}, cols[] = {4, 0};
    for (int i = 0; i < 4; ++i)
        for (int l = 0; l < 2; ++l) EXPECT_EQ(At(some.rtn, i, l), full(rows[i], cols[l]));

    KronCall corner;
    corner.Run(A, B, {0}, {0});
    ASSERT_EQ(corner.rtn.ival, 1);
    EXPECT_EQ(At(corner.rtn, 0, 0), A[0][0] * B[0][0]);
}

TEST(KroneckerSelExport, EmptyColumnSelectionGivesProductColumnCountRowsAndNoColumns) {
    KronCall call;
    call.Run(Normal(2, 3, 1), Normal(4, 5, 2), {0, 1}, {});
    EXPECT_EQ(call.rtn.type, VELA_MATRIX);
    EXPECT_EQ(call.rtn.ival, 15);
    EXPECT_EQ(call.rtn.cols, 0);
}

TEST(KroneckerSelExport, IndicesOutsideTheProductAreRejected) {
    Rows A = Normal(2, 2, 3), B = Normal(2, 2, 4);
    long live = VelawinLiveBlocks();
    for (auto [rows, cols, bad] : {std::tuple<std::vector<double>, std::vector<double>, const char *>{{4}, {0}, "2"},
                                   {{0}, {4}, "3"},
                                   {{-1}, {0}, "2"},
                                   {{0}, {NAN}, "3"},
                                   {{0}, {1e300}, "3"}}) {
        KronCall call;
        call.Run(A, B, rows, cols);
        EXPECT_EQ(VelawinErrorCount(), 1) << bad;
        EXPECT_NE(std::string(VelawinLastError()).find(std::string("argument ") + bad), std::string::npos)
            << VelawinLastError();
        EXPECT_EQ(call.rtn.type, VELA_EMPTY);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);

    HostValues hv;
    VelaValue rtn{};
    std::vector<VelaValue> wrong = {hv.Matrix(A), hv.Matrix(B), VelawinInt(0), hv.Matrix(1, 1, {0})};
    live = VelawinLiveBlocks();
    VelawinBeginCall("FnKroneckerSel");
    FnKroneckerSel(&rtn, wrong.data(), 4);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

}  // namespace
