// Seasonal R-squared, deseasonalising and the selected Kronecker product against direct formulas.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "tests/regression/support.h"

namespace {

using namespace tessel::regtest;

struct Rsq : Call {
    VelaValue *means;
    Rsq(const std::vector<double> &y, int s, double rss, int cols = 1) {
        const int T = static_cast<int>(y.size());
        Run("FnSeasonalRsq", FnSeasonalRsq, {M(T / cols, cols, y), VelawinInt(s), VelawinDouble(rss), Ref(&means)});
    }
    double R() const { return rtn.type == VELA_DOUBLE ? rtn.data.dval : NAN; }
};

TEST(SeasonalRsqExport, MatchesDirectSeasonalMeansOfDifferences) {
    std::vector<double> y;
    for (const auto &row : MacroData()) y.push_back(std::log(row[0]));  // log real GDP, quarterly
    const int T = static_cast<int>(y.size()), s = 4;
    std::vector<double> mean(s, 0.0), count(s, 0.0);
    for (int t = 0; t + 1 < T; ++t) mean[t % s] += y[t + 1] - y[t], count[t % s] += 1;
    for (int j = 0; j < s; ++j) mean[j] /= count[j];
    double D = 0.0;
    for (int t = 0; t + 1 < T; ++t) D += std::pow(y[t + 1] - y[t] - mean[t % s], 2);
    Rsq part(y, s, 0.3 * D);
    EXPECT_NEAR(part.R(), 0.7, 1e-12);
    ASSERT_EQ(part.means->cols, s);
    for (int j = 0; j < s; ++j) EXPECT_NEAR(At(*part.means, 0, j), mean[j], 1e-15);
    EXPECT_NEAR(Rsq(y, s, 0.0).R(), 1.0, 1e-15);
    EXPECT_NEAR(Rsq(y, s, D).R(), 0.0, 1e-12);
}

TEST(SeasonalRsqExport, SmallestSampleAndBadShapes) {
    // T = 2s + 1 with s = 2: differences 1, 4, 2, 8 -> seasons {1, 2} and {4, 8}.
    Rsq ok({0, 1, 5, 7, 15}, 2, 1.0);
    EXPECT_DOUBLE_EQ(ok.R(), 1.0 - 1.0 / 8.5);
    EXPECT_DOUBLE_EQ(At(*ok.means, 0, 0), 1.5);
    EXPECT_DOUBLE_EQ(At(*ok.means, 0, 1), 6.0);
    // T = 2s: -1, and the means are left at zero.
    Rsq short_sample({0, 1, 5, 7}, 2, 1.0);
    EXPECT_EQ(short_sample.R(), -1.0);
    EXPECT_EQ(At(*short_sample.means, 0, 0), 0.0);
    // One season, or two columns: return value and reference untouched.
    EXPECT_TRUE(Rsq({1, 2, 3, 4, 5, 6}, 1, 1.0).Silent());
    EXPECT_TRUE(Rsq({1, 2, 3, 4, 5, 6, 7, 8}, 2, 1.0, 2).Silent());
    Call wrong;
    VelaValue *means;
    wrong.Run("FnSeasonalRsq", FnSeasonalRsq,
              {wrong.M(5, 1, {1, 2, 3, 4, 5}), VelawinDouble(2.0), VelawinDouble(1.0), wrong.Ref(&means)});
    EXPECT_TRUE(wrong.Rejected(1));
}

TEST(DeSeasonalizeExport, RemovesEachSeasonsMeanPerColumn) {
    Rows X = Normal(23, 3, 7);  // the four seasons have 6, 6, 6 and 5 members
    for (int t = 0; t < 23; ++t) X[t][1] += 10.0 * (t % 4);
    Call c;
    VelaValue in = c.M(X);
    c.Run("FnDeSeasonalize", FnDeSeasonalize, {in, VelawinInt(4)});
    ASSERT_EQ(c.rtn.ival, 23);
    ASSERT_EQ(c.rtn.cols, 3);
    for (int col = 0; col < 3; ++col)
        for (int j = 0; j < 4; ++j) {
            double mean = 0.0;
            for (int t = j; t < 23; t += 4) mean += X[t][col] / (j < 3 ? 6 : 5);
            for (int t = j; t < 23; t += 4) {
                EXPECT_NEAR(At(c.rtn, t, col), X[t][col] - mean, 1e-13);
                EXPECT_EQ(At(in, t, col), X[t][col]);  // the argument is left alone
            }
        }
    // A series that repeats with the period becomes zero; more seasons than rows leave every
    // observation alone in its season.
    Call periodic, sparse, one_season, empty, wrong;
    periodic.Run("FnDeSeasonalize", FnDeSeasonalize, {periodic.M(4, 1, {3, -1, 3, -1}), VelawinInt(2)});
    sparse.Run("FnDeSeasonalize", FnDeSeasonalize, {sparse.M(2, 1, {4, 5}), VelawinInt(5)});
    for (int t = 0; t < 4; ++t) EXPECT_EQ(At(periodic.rtn, t, 0), 0.0);
    EXPECT_EQ(At(sparse.rtn, 1, 0), 0.0);
    // One season or no data leave the return value alone; a wrong type is reported.
    one_season.Run("FnDeSeasonalize", FnDeSeasonalize, {one_season.M(2, 1, {1, 2}), VelawinInt(1)});
    empty.Run("FnDeSeasonalize", FnDeSeasonalize, {empty.M(0, 0, {}), VelawinInt(4)});
    EXPECT_TRUE(one_season.Silent() && empty.Silent());
    wrong.Run("FnDeSeasonalize", FnDeSeasonalize, {VelawinInt(3), VelawinInt(4)});
    EXPECT_TRUE(wrong.Rejected(0));
}

struct Kron : Call {
    Kron(const Rows &A, const Rows &B, const std::vector<double> &rows, const std::vector<double> &cols) {
        const int nr = static_cast<int>(rows.size()), nc = static_cast<int>(cols.size());
        Run("FnKroneckerSel", FnKroneckerSel, {M(A), M(B), M(nr ? 1 : 0, nr, rows), M(nc ? 1 : 0, nc, cols)});
    }
};

TEST(KroneckerSelExport, SelectedElementsOfTheFullProduct) {
    Rows A = Normal(2, 3, 11), B = Normal(3, 2, 12);
    auto full = [&](int r, int c) { return A[r / 3][c / 2] * B[r % 3][c % 2]; };
    Kron all(A, B, {}, {0, 1, 2, 3, 4, 5});
    ASSERT_EQ(all.rtn.ival, 6);
    ASSERT_EQ(all.rtn.cols, 6);
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 6; ++c) EXPECT_EQ(At(all.rtn, r, c), full(r, c));
    // Repeated, reordered and truncated indices: 2.9 -> 2, -0.5 -> 0.
    Kron some(A, B, {5, 2.9, -0.5, 5}, {4.99, 0});
    ASSERT_EQ(some.rtn.ival, 4);
    const int rows[] = {5, 2, 0, 5}, cols[] = {4, 0};
    for (int i = 0; i < 4; ++i)
        for (int l = 0; l < 2; ++l) EXPECT_EQ(At(some.rtn, i, l), full(rows[i], cols[l]));
    // Without a column selection: ca * cb rows and no columns, whatever the row selection.
    Kron no_columns(A, B, {0, 1}, {});
    EXPECT_EQ(no_columns.rtn.ival, 6);
    EXPECT_EQ(no_columns.rtn.cols, 0);
}

TEST(KroneckerSelExport, IndicesOutsideTheProductAreRejected) {
    Rows A = Normal(2, 2, 3), B = Normal(2, 2, 4);
    for (auto [rows, cols, bad] : {std::tuple<std::vector<double>, std::vector<double>, int>{{4}, {0}, 2},
                                   {{0}, {4}, 3}, {{-1}, {0}, 2}, {{0}, {NAN}, 3}, {{0}, {1e300}, 3}})
        EXPECT_TRUE(Kron(A, B, rows, cols).Rejected(bad)) << bad;
    Call wrong;
    wrong.Run("FnKroneckerSel", FnKroneckerSel, {wrong.M(A), wrong.M(B), VelawinInt(0), wrong.M(1, 1, {0})});
    EXPECT_TRUE(wrong.Rejected(2));
}

}  // namespace
