// FnGLScovariance against the direct double sum with Bartlett weights.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/regression/support.h"

namespace {

using namespace tessel::regtest;

// sum_t g_t g_t' + sum_{l=1..L} (1 - l/(L+1)) sum_{t>=l} (g_t g_{t-l}' + g_{t-l} g_t'), g_t = x_t (x) e_t.
Rows DirectOmega(const Rows &X, const Rows &E, int L) {
    const int T = static_cast<int>(X.size()), k = static_cast<int>(X[0].size()), n = static_cast<int>(E[0].size());
    Rows g(T, std::vector<double>(k * n)), out(k * n, std::vector<double>(k * n, 0.0));
    for (int t = 0; t < T; ++t)
        for (int i = 0; i < k * n; ++i) g[t][i] = X[t][i / n] * E[t][i % n];
    for (int l = 0; l <= L; ++l) {
        const double w = 1.0 - static_cast<double>(l) / (L + 1);
        for (int t = l; t < T; ++t)
            for (int a = 0; a < k * n; ++a)
                for (int b = 0; b < k * n; ++b)
                    out[a][b] += l == 0 ? g[t][a] * g[t][b] : w * (g[t][a] * g[t - l][b] + g[t - l][a] * g[t][b]);
    }
    return out;
}

struct Gls : Call {
    Gls(const Rows &X, const Rows &E, int hac) {
        Run("FnGLScovariance", FnGLScovariance, {M(X), M(E), VelawinInt(hac)});
    }
    void ExpectClose(const Rows &want, double rel) const {
        ASSERT_EQ(rtn.ival, static_cast<int>(want.size()));
        ASSERT_EQ(rtn.cols, static_cast<int>(want.size()));
        double scale = 0.0;
        for (const auto &row : want)
            for (double x : row) scale = std::max(scale, std::fabs(x));
        for (size_t a = 0; a < want.size(); ++a)
            for (size_t b = 0; b < want.size(); ++b) EXPECT_NEAR(At(rtn, a, b), want[a][b], rel * scale) << a << "," << b;
    }
};

TEST(GlsCovarianceExport, HacMatchesDirectBartlettSum) {
    // Autocorrelated residuals so that the cross terms matter; L = floor(4 (T/100)^(2/9)).
    for (int T : {50, 100, 237}) {
        Rows X = Normal(T, 3, 1 + T), E = Normal(T, 2, 2 + T);
        for (int t = 1; t < T; ++t)
            for (int j = 0; j < 2; ++j) E[t][j] += 0.6 * E[t - 1][j];
        const int L = T == 50 ? 3 : 4;
        Gls call(X, E, 1);
        call.ExpectClose(DirectOmega(X, E, L), 1e-12);
        // One lag more would differ visibly.
        EXPECT_GT(std::fabs(DirectOmega(X, E, L + 1)[0][0] - At(call.rtn, 0, 0)), 1e-6 * std::fabs(At(call.rtn, 0, 0)));
    }
}

TEST(GlsCovarianceExport, WithoutHacIsTheSumOfScoreOuterProducts) {
    Rows X, E;
    for (const auto &row : MacroData()) X.push_back({1.0, row[10]}), E.push_back({row[9] - 6.0});
    Gls(X, E, 0).ExpectClose(DirectOmega(X, E, 0), 1e-13);
    Gls scalar({{2.0}, {-1.0}, {3.0}}, {{0.5}, {4.0}, {-1.0}}, 0);  // the sum of x^2 e^2
    ASSERT_EQ(scalar.rtn.ival, 1);
    EXPECT_DOUBLE_EQ(At(scalar.rtn, 0, 0), 1.0 + 16.0 + 9.0);
}

TEST(GlsCovarianceExport, ExtraResidualRowsIgnoredShortOnesRejectedEmptySampleGivesEmptyMatrix) {
    Rows X = Normal(20, 2, 5), E = Normal(25, 1, 6);
    Gls longer(X, E, 1), exact(X, Rows(E.begin(), E.begin() + 20), 1);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(At(longer.rtn, i / 2, i % 2), At(exact.rtn, i / 2, i % 2));
    Gls shorter(E, X, 0);  // 25 regressor rows, 20 residual rows
    EXPECT_TRUE(shorter.Rejected(1));
    Call wrong;
    wrong.Run("FnGLScovariance", FnGLScovariance, {wrong.M(X), wrong.M(E), VelawinDouble(1.0)});
    EXPECT_TRUE(wrong.Rejected(2));
    Gls empty({}, {}, 1);
    EXPECT_EQ(empty.rtn.type, VELA_MATRIX);
    EXPECT_EQ(empty.rtn.ival, 0);
}

}  // namespace
