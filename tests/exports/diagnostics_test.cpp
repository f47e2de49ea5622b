// Seasonal R-squared, deseasonalising and the selected Kronecker product against direct formulas.
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
    std::vector<double> y, mean(4, 0.0), count(4, 0.0);
    for (const auto &row : MacroData()) y.push_back(std::log(row[0]));  // log real GDP, quarterly
    const int T = static_cast<int>(y.size());
    for (int t = 0; t + 1 < T; ++t) mean[t % 4] += y[t + 1] - y[t], count[t % 4] += 1;
    for (int j = 0; j < 4; ++j) mean[j] /= count[j];
    double D = 0.0;
    for (int t = 0; t + 1 < T; ++t) D += std::pow(y[t + 1] - y[t] - mean[t % 4], 2);
    Rsq part(y, 4, 0.3 * D);
    EXPECT_NEAR(part.R(), 0.7, 1e-12);
    ASSERT_EQ(part.means->cols, 4);
    for (int j = 0; j < 4; ++j) EXPECT_NEAR(At(*part.means, 0, j), mean[j], 1e-15);
    EXPECT_NEAR(Rsq(y, 4, 0.0).R(), 1.0, 1e-15);
    EXPECT_NEAR(Rsq(y, 4, D).R(), 0.0, 1e-12);
    // T = 2s + 1 with s = 2: differences 1, 4, 2, 8 -> seasons {1, 2} and {4, 8}.
    Rsq ok({0, 1, 5, 7, 15}, 2, 1.0), short_sample({0, 1, 5, 7}, 2, 1.0);
    EXPECT_DOUBLE_EQ(ok.R(), 1.0 - 1.0 / 8.5);
    EXPECT_DOUBLE_EQ(At(*ok.means, 0, 0), 1.5);
    EXPECT_DOUBLE_EQ(At(*ok.means, 0, 1), 6.0);
    // T = 2s: -1, and the means are left at zero.
    EXPECT_TRUE(short_sample.R() == -1.0 && At(*short_sample.means, 0, 0) == 0.0);
    // One season, or two columns: return value and reference untouched.
    EXPECT_TRUE(Rsq({1, 2, 3, 4, 5, 6}, 1, 1.0).Silent());
    EXPECT_TRUE(Rsq({1, 2, 3, 4, 5, 6, 7, 8}, 2, 1.0, 2).Silent());
    Call wrong;
    VelaValue *means;
    wrong.Run("FnSeasonalRsq", FnSeasonalRsq,
              {wrong.M(5, 1, {1, 2, 3, 4, 5}), VelawinDouble(2.0), VelawinDouble(1.0), wrong.Ref(&means)});
    EXPECT_TRUE(wrong.Rejected(1));
}

struct DeSeason : Call {
    DeSeason(const Rows &X, int s, bool wrong_type = false) {
        Run("FnDeSeasonalize", FnDeSeasonalize, {wrong_type ? VelawinInt(3) : M(X), VelawinInt(s)});
    }
};

TEST(DeSeasonalizeExport, RemovesEachSeasonsMeanPerColumn) {
    Rows X = Normal(23, 3, 7);  // the four seasons have 6, 6, 6 and 5 members
    for (int t = 0; t < 23; ++t) X[t][1] += 10.0 * (t % 4);
    DeSeason c(X, 4);
    ASSERT_TRUE(c.rtn.ival == 23 && c.rtn.cols == 3);
    for (int col = 0; col < 3; ++col)
        for (int j = 0; j < 4; ++j) {
            double mean = 0.0;
            for (int t = j; t < 23; t += 4) mean += X[t][col] / (j < 3 ? 6 : 5);
            for (int t = j; t < 23; t += 4) {
                EXPECT_NEAR(At(c.rtn, t, col), X[t][col] - mean, 1e-13);
                EXPECT_EQ(At(*c.owned[0], t, col), X[t][col]);  // the argument matrix is left alone
            }
        }
    // A series that repeats with the period becomes zero; more seasons than rows leave every
    // observation alone in its season; one season or no data leave the return value alone.
    DeSeason periodic({{3}, {-1}, {3}, {-1}}, 2), sparse({{4}, {5}}, 5);
    for (int t = 0; t < 4; ++t) EXPECT_EQ(At(periodic.rtn, t, 0), 0.0);
    EXPECT_EQ(At(sparse.rtn, 1, 0), 0.0);
    EXPECT_TRUE(DeSeason({{1}, {2}}, 1).Silent());
    EXPECT_TRUE(DeSeason(Rows{}, 4).Silent());
    EXPECT_TRUE(DeSeason(X, 4, true).Rejected(0));
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
    ASSERT_TRUE(all.rtn.ival == 6 && all.rtn.cols == 6);
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 6; ++c) EXPECT_EQ(At(all.rtn, r, c), full(r, c));
    // Repeated, reordered and truncated indices: 2.9 -> 2, -0.5 -> 0.
    Kron some(A, B, {5, 2.9, -0.5, 5}, {4.99, 0});
    ASSERT_EQ(some.rtn.ival, 4);
    const int rows[] = {5, 2, 0, 5}, cols[] = {4, 0};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(At(some.rtn, i / 2, i % 2), full(rows[i / 2], cols[i % 2]));
    // Without a column selection: ca * cb rows and no columns, whatever the row selection.
    Kron no_columns(A, B, {0, 1}, {});
    EXPECT_TRUE(no_columns.rtn.ival == 6 && no_columns.rtn.cols == 0);
    for (auto [rows, cols, bad] : {std::tuple<std::vector<double>, std::vector<double>, int>{{6}, {0}, 2},
                                   {{0}, {6}, 3}, {{-1}, {0}, 2}, {{0}, {NAN}, 3}, {{0}, {1e300}, 3}})
        EXPECT_TRUE(Kron(A, B, rows, cols).Rejected(bad)) << bad;
    Call wrong;
    wrong.Run("FnKroneckerSel", FnKroneckerSel, {wrong.M(A), wrong.M(B), VelawinInt(0), wrong.M(1, 1, {0})});
    EXPECT_TRUE(wrong.Rejected(2));
}

}  // namespace
