// FnInstabilityTest against cumulative score sums formed directly.
#include "tests/regression/support.h"

namespace {
using namespace tessel::regtest;

struct Instability : Call {
    VelaValue *indiv;
    Instability(const Rows &X, const std::vector<double> &u, double rss, bool as_row = false) {
        const int T = static_cast<int>(u.size());
        Run("FnInstabilityTest", FnInstabilityTest,
            {M(X), M(as_row ? 1 : T, as_row ? T : 1, u), VelawinDouble(rss), Ref(&indiv)});
    }
};

// Scores f_t = (x_t u_t, u_t^2 - rss/T), S_t their running sums, F = sum f f': the individual
// statistics S_j'S_j / (T F_jj) and, last, the joint one tr(F^-1 sum S S') / T.
std::vector<double> Stats(const Rows &X, const std::vector<double> &u, double rss) {
    const int T = static_cast<int>(u.size()), k = static_cast<int>(X[0].size()), p = k + 1;
    Rows f(T, std::vector<double>(p)), S(T, std::vector<double>(p));
    for (int t = 0; t < T; ++t) {
        for (int j = 0; j < k; ++j) f[t][j] = X[t][j] * u[t];
        f[t][k] = u[t] * u[t] - rss / T;
        for (int j = 0; j < p; ++j) S[t][j] = f[t][j] + (t > 0 ? S[t - 1][j] : 0.0);
    }
    Rows F = CrossProducts(f, f, 0, T - 1), SS = CrossProducts(S, S, 0, T - 1), G = Mul(Inverse(F), SS);
    std::vector<double> out(p + 1, 0.0);
    for (int j = 0; j < p; ++j) out[j] = SS[j][j] / (T * F[j][j]), out[p] += G[j][j] / T;
    return out;
}

TEST(InstabilityTestExport, CumulativeSumsSingularVarianceAndBadArguments) {
    // Least-squares residuals of log consumption on log income and the bill rate (u as a column
    // and as a row), and simulated scores with any variance divisor.
    Rows Xq, Yq, Xs = Normal(75, 2, 5), Us = Normal(75, 1, 6);
    for (const auto &r : MacroData()) Xq.push_back({1.0, std::log(r[4]), r[7]}), Yq.push_back({std::log(r[1])});
    auto b = OlsFit(Xq, Yq, 0, 0, static_cast<int>(Xq.size()) - 1);
    std::vector<double> uq, us;
    double rssq = 0.0;
    for (size_t t = 0; t < Xq.size(); ++t) uq.push_back(Yq[t][0] - Dot(b, Xq[t])), rssq += uq.back() * uq.back();
    for (const auto &r : Us) us.push_back(r[0]);
    for (auto [X, u, rss, as_row, tol] : {std::tuple{&Xq, &uq, rssq, false, 1e-9}, {&Xq, &uq, rssq, true, 1e-9},
                                          {&Xs, &us, 0.0, false, 1e-10}, {&Xs, &us, 50.0, false, 1e-10},
                                          {&Xs, &us, 200.0, false, 1e-10}}) {
        std::vector<double> want = Stats(*X, *u, rss);
        const int p = static_cast<int>(want.size()) - 1;
        Instability c(*X, *u, rss, as_row);
        ASSERT_TRUE(c.rtn.type == VELA_DOUBLE && c.indiv->ival == 1 && c.indiv->cols == p);
        EXPECT_NEAR(c.rtn.data.dval, want[p], tol * want[p]);
        for (int j = 0; j < p; ++j) EXPECT_NEAR(At(*c.indiv, 0, j), want[j], tol * want[j]) << j;
    }
    // Constant regressor, u = (1, -1), rss = 2: the variance scores are all zero.
    Instability c({{1.0}, {1.0}}, {1.0, -1.0}, 2.0);
    EXPECT_EQ(c.rtn.data.dval, -1.0);
    EXPECT_DOUBLE_EQ(At(*c.indiv, 0, 0), (1.0 + 0.0) / (2 * 2.0));
    EXPECT_TRUE(std::isnan(At(*c.indiv, 0, 1)));
    // A regressor that is zero throughout: its statistic is not finite, the joint one fails.
    Rows X = Normal(20, 1, 7), U = Normal(20, 1, 8);
    std::vector<double> u;
    for (int t = 0; t < 20; ++t) u.push_back(U[t][0]), X[t].push_back(0.0);
    Instability z(X, u, 15.0);
    EXPECT_EQ(z.rtn.data.dval, -1.0);
    EXPECT_TRUE(std::isfinite(At(*z.indiv, 0, 0)) && !std::isfinite(At(*z.indiv, 0, 1)));
    // Residuals shorter than T, wrong types, no reference for the individual statistics.
    Instability short_u(X, std::vector<double>(19, 0.5), 1.0);
    EXPECT_TRUE(short_u.Rejected(1) && short_u.indiv->type == VELA_EMPTY);
    EXPECT_TRUE(Instability({}, {}, 1.0).Silent());
    Call wrong, no_ref;
    VelaValue *indiv;
    wrong.Run("FnInstabilityTest", FnInstabilityTest,
              {wrong.M(X), wrong.M(20, 1, u), VelawinInt(1), wrong.Ref(&indiv)});
    EXPECT_TRUE(wrong.Rejected(2));
    no_ref.Run("FnInstabilityTest", FnInstabilityTest,
               {no_ref.M(X), no_ref.M(20, 1, u), VelawinDouble(1.0), no_ref.M(1, 1, {0})});
    EXPECT_TRUE(no_ref.Rejected(3));
}

}  // namespace
