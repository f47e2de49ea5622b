// FnRivEst against two-stage least squares computed directly on each growing sample.
#include "tests/regression/support.h"

namespace {
using namespace tessel::regtest;

struct Riv : Call {
    VelaValue *coef, *diagV, *wfore, *fore, *rss, *resid;
    // obs: one row per observation holding y, the k regressors, then the further instruments.
    Riv(const Rows &obs, int nEndog, int k, int nInstr, int t1, int t2, int m0, int cArg = 13) {
        std::vector<double> byVar;
        for (size_t v = 0; v < obs[0].size(); ++v)
            for (const auto &row : obs) byVar.push_back(row[v]);
        Run("FnRivEst", FnRivEst,
            {M(static_cast<int>(obs[0].size()), static_cast<int>(obs.size()), byVar), VelawinInt(nEndog),
             VelawinInt(k), VelawinInt(nInstr), VelawinInt(t1), VelawinInt(t2), VelawinInt(m0), Ref(&coef),
             Ref(&diagV), Ref(&wfore), Ref(&fore), Ref(&rss), Ref(&resid)},
            cArg);
    }
};

// y = u + sum_j (0.5 + 0.1 j) x_j; the regressors before the constant are correlated with u and
// driven by the further instruments.
Rows Simulate(int T, int nEndog, int k, int nInstr, unsigned seed) {
    Rows z = Normal(T, k + nInstr + 2, seed), obs(T, std::vector<double>(1 + k + nInstr));
    for (int t = 0; t < T; ++t) {
        auto &row = obs[t];
        for (int j = nEndog; j <= k + nInstr; ++j) row[j] = j == nEndog ? 1.0 : z[t][j];
        for (int a = 1; a < nEndog; ++a)
            row[a] = 0.7 * z[t][0] + row[k + 1 + (a - 1) % nInstr] + 0.3 * row[k + nInstr] + 0.2 * z[t][k + nInstr + 1];
        row[0] = z[t][0];
        for (int j = 1; j <= k; ++j) row[0] += (0.5 + 0.1 * j) * row[j];
    }
    return obs;
}

// Each step t against b = (X'Pz X)^-1 X'Pz y and V = (X'Pz X)^-1 over observations t1..t, with Pz
// formed from Z'Z directly; the forecast of t + 1 uses the fit through t.
void ExpectMatchesTwoStage(const Riv &c, const Rows &obs, int nEndog, int k, int t1, int t2, int m0) {
    ASSERT_EQ(c.rtn.ival, 1);
    Rows X, Z, Y;
    for (const auto &r : obs) {
        Y.push_back({r[0]});
        X.emplace_back(r.begin() + 1, r.begin() + 1 + k), Z.emplace_back(r.begin() + nEndog, r.end());
    }
    const int first = t1 + m0 - 1;
    for (int t = 0; t < first; ++t)
        EXPECT_TRUE(std::isnan(At(*c.coef, 0, t)) && std::isnan(At(*c.rss, 0, t)) &&
                    std::isnan(At(*c.fore, 0, t + 1)) && std::isnan(At(*c.wfore, 0, t + 1)));
    for (int t = first; t <= t2; ++t) {
        Rows P = Mul(CrossProducts(X, Z, t1, t), Inverse(CrossProducts(Z, Z, t1, t)));
        Rows V = Inverse(Mul(P, CrossProducts(Z, X, t1, t))), B = Mul(V, Mul(P, CrossProducts(Z, Y, t1, t)));
        std::vector<double> b;
        double ss = 0.0;
        for (const auto &row : B) b.push_back(row[0]);
        for (int s = t1; s <= t; ++s) ss += std::pow(Y[s][0] - Dot(b, X[s]), 2);
        for (int j = 0; j < k; ++j) {
            EXPECT_NEAR(At(*c.coef, j, t), b[j], 1e-9 * (1 + std::fabs(b[j]))) << t << " " << j;
            EXPECT_NEAR(At(*c.diagV, j, t), V[j][j], 1e-9 * V[j][j]) << t;
        }
        EXPECT_NEAR(At(*c.rss, 0, t), ss, 1e-9 * ss) << t;
        EXPECT_NEAR(At(*c.resid, 0, t), Y[t][0] - Dot(b, X[t]), 1e-9) << t;
        if (t == t2) break;
        const double f = Y[t + 1][0] - Dot(b, X[t + 1]);
        double q = 1.0;
        for (int i = 0; i < k; ++i) q += X[t + 1][i] * Dot(V[i], X[t + 1]);
        EXPECT_NEAR(At(*c.fore, 0, t + 1), f, 1e-9) << t;
        EXPECT_NEAR(At(*c.wfore, 0, t + 1), f / std::sqrt(q), 1e-9) << t;
    }
}

TEST(RivEstExport, MatchesTwoStageLeastSquaresOnEveryGrowingSample) {
    // T, nEndog, k, nInstr, t1, t2, m0. The first runs 131 steps: fresh inversions at steps 0, 50 and
    // 100, rank-one updates in between. nEndog = 1 is least squares with extra instruments; nEndog =
    // k + 1 has no exogenous regressors; m0 = t2 - t1 + 1 is a single step without forecasts.
    for (auto [T, nEndog, k, nInstr, t1, t2, m0] :
         {std::tuple{150, 2, 3, 2, 0, 139, 10}, {90, 3, 4, 3, 7, 89, 12}, {70, 1, 3, 1, 0, 69, 5},
          {60, 3, 2, 3, 0, 59, 6}, {30, 2, 2, 2, 0, 19, 20}}) {
        Rows obs = Simulate(T, nEndog, k, nInstr, 100 + T);
        ExpectMatchesTwoStage(Riv(obs, nEndog, k, nInstr, t1, t2, m0), obs, nEndog, k, t1, t2, m0);
    }
}

TEST(RivEstExport, NothingToDoSingularOptionalOutputsAndBadArguments) {
    Rows obs = Simulate(30, 2, 2, 2, 105);
    Riv none(obs, 2, 2, 2, 0, 19, 21), singular(obs, 2, 2, 2, 0, 19, 2);  // fewer observations than instruments
    EXPECT_TRUE(none.rtn.ival == 1 && singular.rtn.ival == 0);
    for (int t = 0; t <= 19; ++t) EXPECT_TRUE(std::isnan(At(*none.coef, 0, t)) && std::isnan(At(*singular.coef, 0, t)));
    Riv all(obs, 2, 2, 2, 0, 19, 8), coef_only(obs, 2, 2, 2, 0, 19, 8, 8);
    EXPECT_TRUE(coef_only.rtn.ival == 1 && coef_only.diagV->type == VELA_EMPTY);
    for (int t = 7; t <= 19; ++t) EXPECT_EQ(At(*coef_only.coef, 1, t), At(*all.coef, 1, t));
    // Silent: no further instrument, t2 past the data, t2 < t1, too few rows for k + nInstr + 1,
    // no dependent variable slot.
    for (auto [nEndog, k, nInstr, t1, t2] :
         {std::tuple{2, 2, 0, 0, 20}, {2, 2, 2, 0, 30}, {2, 2, 2, 9, 8}, {2, 3, 2, 0, 20}, {0, 2, 2, 0, 20}})
        EXPECT_TRUE(Riv(obs, nEndog, k, nInstr, t1, t2, 5).Silent()) << nEndog << k << nInstr << t1 << t2;
    // Reported: reads outside the data or the sample.
    for (auto [nEndog, t1, m0, bad] : {std::tuple{4, 0, 5, 1}, {2, -1, 5, 4}, {2, 0, 0, 6}})
        EXPECT_TRUE(Riv(obs, nEndog, 2, 2, t1, 20, m0).Rejected(bad)) << bad;
    Call c;
    c.Run("FnRivEst", FnRivEst,
          {c.M(2, 2, {1, 2, 3, 4}), VelawinInt(1), VelawinInt(1), VelawinInt(1), VelawinInt(0), VelawinDouble(1.0),
           VelawinInt(1)});
    EXPECT_TRUE(c.Rejected(5));
}

}  // namespace
