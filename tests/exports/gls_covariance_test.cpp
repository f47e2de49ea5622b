// FnGLScovariance against the direct double sum with Bartlett weights.
#include "tests/regression/support.h"

namespace {
using namespace tessel::regtest;

// sum_t g_t g_t' + sum_{l=1..L} (1 - l/(L+1)) sum_{t>=l} (g_t g_{t-l}' + g_{t-l} g_t'), g_t = x_t (x) e_t.
Rows DirectOmega(const Rows &X, const Rows &E, int L) {
    const int T = static_cast<int>(X.size()), n = static_cast<int>(E[0].size()), p = static_cast<int>(X[0].size()) * n;
    Rows g(T, std::vector<double>(p)), out(p, std::vector<double>(p, 0.0));
    for (int t = 0; t < T; ++t)
        for (int i = 0; i < p; ++i) g[t][i] = X[t][i / n] * E[t][i % n];
    for (int l = 0; l <= L; ++l)
        for (int t = l; t < T; ++t)
            for (int a = 0; a < p; ++a)
                for (int b = 0; b < p; ++b)
                    out[a][b] += l == 0 ? g[t][a] * g[t][b]
                                        : (1.0 - l / (L + 1.0)) * (g[t][a] * g[t - l][b] + g[t - l][a] * g[t][b]);
    return out;
}

struct Gls : Call {
    Gls(const Rows &X, const Rows &E, int hac) {
        Run("FnGLScovariance", FnGLScovariance, {M(X), M(E), VelawinInt(hac)});
    }
    // Elementwise within rel times the largest entry of want.
    void ExpectClose(const Rows &want, double rel) const {
        ASSERT_TRUE(rtn.ival == static_cast<int>(want.size()) && rtn.cols == rtn.ival);
        double scale = 0.0;
        for (const auto &row : want)
            for (double x : row) scale = std::max(scale, std::fabs(x));
        for (int a = 0; a < rtn.ival; ++a)
            for (int b = 0; b < rtn.ival; ++b) EXPECT_NEAR(At(rtn, a, b), want[a][b], rel * scale) << a << "," << b;
    }
};

TEST(GlsCovarianceExport, MatchesDirectSums) {
    // HAC with autocorrelated residuals, so that the cross terms matter; L = floor(4 (T/100)^(2/9)).
    for (int T : {50, 100, 237}) {
        Rows X = Normal(T, 3, 1 + T), E = Normal(T, 2, 2 + T);
        for (int t = 1; t < T; ++t) E[t][0] += 0.6 * E[t - 1][0], E[t][1] += 0.6 * E[t - 1][1];
        const int L = T == 50 ? 3 : 4;
        Gls call(X, E, 1);
        call.ExpectClose(DirectOmega(X, E, L), 1e-12);
        // One lag more would differ visibly.
        EXPECT_GT(std::fabs(DirectOmega(X, E, L + 1)[0][0] - At(call.rtn, 0, 0)), 1e-6 * std::fabs(At(call.rtn, 0, 0)));
    }
    // Without HAC: the sum of score outer products; for k = n = 1 the sum of x^2 e^2.
    Rows X, E;
    for (const auto &row : MacroData()) X.push_back({1.0, row[10]}), E.push_back({row[9] - 6.0});
    Gls(X, E, 0).ExpectClose(DirectOmega(X, E, 0), 1e-13);
    Gls scalar({{2.0}, {-1.0}, {3.0}}, {{0.5}, {4.0}, {-1.0}}, 0);
    ASSERT_EQ(scalar.rtn.ival, 1);
    EXPECT_DOUBLE_EQ(At(scalar.rtn, 0, 0), 1.0 + 16.0 + 9.0);
    X = Normal(20, 2, 5), E = Normal(25, 1, 6);
    Gls longer(X, E, 1), exact(X, Rows(E.begin(), E.begin() + 20), 1);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(At(longer.rtn, i / 2, i % 2), At(exact.rtn, i / 2, i % 2));
    EXPECT_TRUE(Gls(E, X, 0).Rejected(1));  // 25 regressor rows, 20 residual rows
    Call wrong;
    wrong.Run("FnGLScovariance", FnGLScovariance, {wrong.M(X), wrong.M(E), VelawinDouble(1.0)});
    EXPECT_TRUE(wrong.Rejected(2));
    Gls empty({}, {}, 1);
    EXPECT_TRUE(empty.rtn.type == VELA_MATRIX && empty.rtn.ival == 0);
}

}  // namespace
