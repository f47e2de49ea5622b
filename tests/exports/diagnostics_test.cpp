// Seasonal R-squared, deseasonalising and the selected Kronecker product through their exports.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

// Calls an export on arguments built by the test; the result is released at the end.
struct Call {
    HostValues hv;
    VelaValue rtn{};
    long live_before = 0, live_after = 0;
    ~Call() { VelaFreeByValue(&rtn); }
    void Run(const char *name, VelaExportFn fn, std::vector<VelaValue> args) {
        VelawinBeginCall(name);
        live_before = VelawinLiveBlocks();
        fn(&rtn, args.data(), static_cast<int>(args.size()));
        live_after = VelawinLiveBlocks();
    }
};

double SeasonalRsq(Call &c, const std::vector<double> &y, int s, double rss, VelaValue **means, int cols = 1) {
    c.Run("FnSeasonalRsq", FnSeasonalRsq,
          {c.hv.Matrix(static_cast<int>(y.size()) / cols, cols, y), VelawinInt(s), VelawinDouble(rss),
           c.hv.Ref(means)});
    return c.rtn.type == VELA_DOUBLE ? c.rtn.data.dval : NAN;
}

TEST(SeasonalRsqExport, MatchesDirectSeasonalMeansOfDifferences) {
    std::vector<double> y;
    for (const auto &row : MacroData()) y.push_back(std::log(row[0]));  // log real GDP, quarterly
    const int T = static_cast<int>(y.size()), s = 4;
    std::vector<double> mean(s, 0.0), count(s, 0.0);
    for (int t = 0; t + 1 < T; ++t) {
        mean[t % s] += y[t + 1] - y[t];
        count[t % s] += 1;
    }
    for (int j = 0; j < s; ++j) mean[j] /= count[j];
    double D = 0.0;
    for (int t = 0; t + 1 < T; ++t) D += std::pow(y[t + 1] - y[t] - mean[t % s], 2);

    Call part, perfect, none;
    VelaValue *means, *unused;
    EXPECT_NEAR(SeasonalRsq(part, y, s, 0.3 * D, &means), 0.7, 1e-12);
    ASSERT_EQ(means->cols, s);
    for (int j = 0; j < s; ++j) EXPECT_NEAR(At(*means, 0, j), mean[j], 1e-15);
    EXPECT_NEAR(SeasonalRsq(perfect, y, s, 0.0, &unused), 1.0, 1e-15);
    EXPECT_NEAR(SeasonalRsq(none, y, s, D, &unused), 0.0, 1e-12);
}

TEST(SeasonalRsqExport, SmallestSampleAndBadShapes) {
    // T = 2s + 1 with s = 2: differences 1, 4, 2, 8 -> seasons {1, 2} and {4, 8}.
    Call ok, short_sample, one_season, two_columns;
    VelaValue *means, *short_means, *unused;
    EXPECT_DOUBLE_EQ(SeasonalRsq(ok, {0, 1, 5, 7, 15}, 2, 1.0, &means), 1.0 - 1.0 / 8.5);
    EXPECT_DOUBLE_EQ(At(*means, 0, 0), 1.5);
    EXPECT_DOUBLE_EQ(At(*means, 0, 1), 6.0);
    // T = 2s: -1, and the means are left at zero.
    EXPECT_EQ(SeasonalRsq(short_sample, {0, 1, 5, 7}, 2, 1.0, &short_means), -1.0);
    EXPECT_EQ(At(*short_means, 0, 0), 0.0);
    // One season, or two columns: return value and reference untouched.
    SeasonalRsq(one_season, {1, 2, 3, 4, 5, 6}, 1, 1.0, &unused);
    SeasonalRsq(two_columns, {1, 2, 3, 4, 5, 6, 7, 8}, 2, 1.0, &unused, 2);
    for (Call *c : {&one_season, &two_columns}) {
        EXPECT_EQ(c->rtn.type, VELA_EMPTY);
        EXPECT_EQ(c->live_after, c->live_before);
    }
    Call wrong;
    wrong.Run("FnSeasonalRsq", FnSeasonalRsq,
              {wrong.hv.Matrix(5, 1, {1, 2, 3, 4, 5}), VelawinDouble(2.0), VelawinDouble(1.0), wrong.hv.Ref(&unused)});
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(wrong.live_after, wrong.live_before);
}

TEST(DeSeasonalizeExport, RemovesEachSeasonsMeanPerColumn) {
    Rows X = Normal(23, 3, 7);  // the four seasons have 6, 6, 6 and 5 members
    for (int t = 0; t < 23; ++t) X[t][1] += 10.0 * (t % 4);
    Call c;
    VelaValue in = c.hv.Matrix(X);
    c.Run("FnDeSeasonalize", FnDeSeasonalize, {in, VelawinInt(4)});
    ASSERT_EQ(c.rtn.ival, 23);
    ASSERT_EQ(c.rtn.cols, 3);
    for (int col = 0; col < 3; ++col)
        for (int j = 0; j < 4; ++j) {
            double mean = 0.0;
            for (int t = j; t < 23; t += 4) mean += X[t][col];
            mean /= j < 3 ? 6 : 5;
            for (int t = j; t < 23; t += 4) {
                EXPECT_NEAR(At(c.rtn, t, col), X[t][col] - mean, 1e-13);
                EXPECT_EQ(At(in, t, col), X[t][col]);  // the argument is left alone
            }
        }
    // A series that repeats with the period becomes zero; more seasons than rows leave every
    // observation alone in its season.
    Call periodic, sparse;
    periodic.Run("FnDeSeasonalize", FnDeSeasonalize, {periodic.hv.Matrix({{3.0}, {-1.0}, {3.0}, {-1.0}}), VelawinInt(2)});
    sparse.Run("FnDeSeasonalize", FnDeSeasonalize, {sparse.hv.Matrix({{4.0}, {5.0}}), VelawinInt(5)});
    for (int t = 0; t < 4; ++t) EXPECT_EQ(At(periodic.rtn, t, 0), 0.0);
    EXPECT_EQ(At(sparse.rtn, 1, 0), 0.0);
}

TEST(DeSeasonalizeExport, DegenerateArgumentsLeaveTheReturnValueAlone) {
    Call one_season, empty, wrong;
    one_season.Run("FnDeSeasonalize", FnDeSeasonalize, {one_season.hv.Matrix({{1.0}, {2.0}}), VelawinInt(1)});
    empty.Run("FnDeSeasonalize", FnDeSeasonalize, {empty.hv.Matrix(0, 0, {}), VelawinInt(4)});
    wrong.Run("FnDeSeasonalize", FnDeSeasonalize, {VelawinInt(3), VelawinInt(4)});
    EXPECT_EQ(VelawinErrorCount(), 1);
    for (Call *c : {&one_season, &empty, &wrong}) {
        EXPECT_EQ(c->rtn.type, VELA_EMPTY);
        EXPECT_EQ(c->live_after, c->live_before);
    }
}

void Kronecker(Call &c, const Rows &A, const Rows &B, const std::vector<double> &rows,
               const std::vector<double> &cols) {
    c.Run("FnKroneckerSel", FnKroneckerSel,
          {c.hv.Matrix(A), c.hv.Matrix(B), c.hv.Matrix(rows.empty() ? 0 : 1, static_cast<int>(rows.size()), rows),
           c.hv.Matrix(cols.empty() ? 0 : 1, static_cast<int>(cols.size()), cols)});
}

TEST(KroneckerSelExport, SelectedElementsOfTheFullProduct) {
    Rows A = Normal(2, 3, 11), B = Normal(3, 2, 12);
    auto full = [&](int r, int c) { return A[r / 3][c / 2] * B[r % 3][c % 2]; };
    Call all, some, corner, no_columns;
    Kronecker(all, A, B, {}, {0, 1, 2, 3, 4, 5});
    ASSERT_EQ(all.rtn.ival, 6);
    ASSERT_EQ(all.rtn.cols, 6);
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 6; ++c) EXPECT_EQ(At(all.rtn, r, c), full(r, c));

    // Repeated, reordered and truncated indices: 2.9 -> 2, -0.5 -> 0.
    Kronecker(some, A, B, {5, 2.9, -0.5, 5}, {4.99, 0});
    ASSERT_EQ(some.rtn.ival, 4);
    const int rows[] = {5, 2, 0, 5}, cols[] = {4, 0};
    for (int i = 0; i < 4; ++i)
        for (int l = 0; l < 2; ++l) EXPECT_EQ(At(some.rtn, i, l), full(rows[i], cols[l]));

    Kronecker(corner, A, B, {0}, {0});
    ASSERT_EQ(corner.rtn.ival, 1);
    EXPECT_EQ(At(corner.rtn, 0, 0), A[0][0] * B[0][0]);

    // Without a column selection: ca * cb rows and no columns, whatever the row selection.
    Kronecker(no_columns, A, B, {0, 1}, {});
    EXPECT_EQ(no_columns.rtn.ival, 6);
    EXPECT_EQ(no_columns.rtn.cols, 0);
}

TEST(KroneckerSelExport, IndicesOutsideTheProductAreRejected) {
    Rows A = Normal(2, 2, 3), B = Normal(2, 2, 4);
    for (auto [rows, cols, bad] : {std::tuple<std::vector<double>, std::vector<double>, int>{{4}, {0}, 2},
                                   {{0}, {4}, 3},
                                   {{-1}, {0}, 2},
                                   {{0}, {NAN}, 3},
                                   {{0}, {1e300}, 3}}) {
        Call c;
        Kronecker(c, A, B, rows, cols);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(bad)), std::string::npos);
        EXPECT_EQ(c.live_after, c.live_before);
    }
    Call wrong;
    wrong.Run("FnKroneckerSel", FnKroneckerSel,
              {wrong.hv.Matrix(A), wrong.hv.Matrix(B), VelawinInt(0), wrong.hv.Matrix(1, 1, {0})});
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(wrong.live_after, wrong.live_before);
}

}  // namespace
