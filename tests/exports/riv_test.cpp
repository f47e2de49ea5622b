// FnRivEst against two-stage least squares computed directly on each growing sample.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

struct RivCall {
    HostValues hv;
    VelaValue rtn{};
    VelaValue *coef = nullptr, *diagV = nullptr, *wfore = nullptr, *fore = nullptr, *rss = nullptr,
              *resid = nullptr;
    long live_before = 0, live_after = 0;
    ~RivCall() { VelaFreeByValue(&rtn); }
    // obs: one row per observation holding y, the k regressors, then the further instruments.
    void Run(const Rows &obs, int nEndog, int k, int nInstr, int t1, int t2, int m0, int cArg = 13) {
        const int T = static_cast<int>(obs.size()), vars = static_cast<int>(obs[0].size());
        std::vector<double> byVar;
        for (int v = 0; v < vars; ++v)
            for (int t = 0; t < T; ++t) byVar.push_back(obs[t][v]);
        std::vector<VelaValue> a = {hv.Matrix(vars, T, byVar), VelawinInt(nEndog), VelawinInt(k),
                                    VelawinInt(nInstr),         VelawinInt(t1),     VelawinInt(t2),
                                    VelawinInt(m0),             hv.Ref(&coef),      hv.Ref(&diagV),
                                    hv.Ref(&wfore),             hv.Ref(&fore),      hv.Ref(&rss),
                                    hv.Ref(&resid)};
        VelawinBeginCall("FnRivEst");
        live_before = VelawinLiveBlocks();
        FnRivEst(&rtn, a.data(), cArg);
        live_after = VelawinLiveBlocks();
    }
};

struct Tsls {
    std::vector<double> b;
    Rows V;
};

// b = (X'Pz X)^-1 X'Pz y over observations from..to, with Pz formed from Z'Z directly.
Tsls TwoStage(const Rows &X, const Rows &Z, const Rows &Y, int from, int to) {
    Rows XZ = CrossProducts(X, Z, from, to), ZZinv = Inverse(CrossProducts(Z, Z, from, to));
    Rows Zy = CrossProducts(Z, Y, from, to);
    const size_t k = XZ.size(), nz = ZZinv.size();
    Rows A(k, std::vector<double>(k, 0.0));
    std::vector<double> r(k, 0.0);
    for (size_t i = 0; i < k; ++i)
        for (size_t c = 0; c < nz; ++c)
            for (size_t d = 0; d < nz; ++d) {
                for (size_t j = 0; j < k; ++j) A[i][j] += XZ[i][c] * ZZinv[c][d] * XZ[j][d];
                r[i] += XZ[i][c] * ZZinv[c][d] * Zy[d][0];
            }
    Tsls out{std::vector<double>(k, 0.0), Inverse(A)};
    for (size_t i = 0; i < k; ++i) out.b[i] = Dot(out.V[i], r);
    return out;
}

// y = 1 + 0.5 w1 + 0.8 x2 - 0.4 x3 + u with endogenous w (correlated with u) and instruments z.
Rows Simulate(int T, int nEndog, int k, int nInstr, unsigned seed) {
    Rows z = Normal(T, k + nInstr + 2, seed);
    Rows obs(T);
    for (int t = 0; t < T; ++t) {
        const double u = z[t][0];
        std::vector<double> row(1 + k + nInstr);
        for (int j = nEndog; j <= k; ++j) row[j] = j == nEndog ? 1.0 : z[t][j];
        for (int j = k + 1; j <= k + nInstr; ++j) row[j] = z[t][j];
        for (int a = 1; a < nEndog; ++a)
            row[a] = 0.7 * u + row[k + 1 + (a - 1) % nInstr] + 0.3 * row[k + nInstr] + 0.2 * z[t][k + nInstr + 1];
        double y = u;
        for (int j = 1; j <= k; ++j) y += (0.5 + 0.1 * j) * row[j];
        row[0] = y;
        obs[t] = row;
    }
    return obs;
}

void ExpectMatchesTwoStage(const RivCall &c, const Rows &obs, int nEndog, int k, int t1, int t2, int m0) {
    ASSERT_EQ(c.rtn.type, VELA_INT);
    ASSERT_EQ(c.rtn.ival, 1);
    Rows X, Z, Y;
    for (const auto &row : obs) {
        Y.push_back({row[0]});
        X.push_back(std::vector<double>(row.begin() + 1, row.begin() + k + 1));
        Z.push_back(std::vector<double>(row.begin() + nEndog, row.end()));
    }
    const int first = t1 + m0 - 1;
    for (int t = 0; t <= t2; ++t) {
        if (t < first) {
            EXPECT_TRUE(std::isnan(At(*c.coef, 0, t)));
            EXPECT_TRUE(std::isnan(At(*c.rss, 0, t)));
        }
        if (t <= first) {
            EXPECT_TRUE(std::isnan(At(*c.fore, 0, t)));
            EXPECT_TRUE(std::isnan(At(*c.wfore, 0, t)));
        }
        if (t < first) continue;
        Tsls fit = TwoStage(X, Z, Y, t1, t);
        double ss = 0.0;
        for (int s = t1; s <= t; ++s) ss += std::pow(Y[s][0] - Dot(fit.b, X[s]), 2);
        for (int j = 0; j < k; ++j) {
            EXPECT_NEAR(At(*c.coef, j, t), fit.b[j], 1e-9 * (1 + std::fabs(fit.b[j]))) << t << " " << j;
            EXPECT_NEAR(At(*c.diagV, j, t), fit.V[j][j], 1e-9 * fit.V[j][j]) << t;
        }
        EXPECT_NEAR(At(*c.rss, 0, t), ss, 1e-9 * ss) << t;
        EXPECT_NEAR(At(*c.resid, 0, t), Y[t][0] - Dot(fit.b, X[t]), 1e-9) << t;
        if (t < t2) {
            const double f = Y[t + 1][0] - Dot(fit.b, X[t + 1]);
            double q = 1.0;
            for (int i = 0; i < k; ++i)
                for (int j = 0; j < k; ++j) q += X[t + 1][i] * fit.V[i][j] * X[t + 1][j];
            EXPECT_NEAR(At(*c.fore, 0, t + 1), f, 1e-9) << t;
            EXPECT_NEAR(At(*c.wfore, 0, t + 1), f / std::sqrt(q), 1e-9) << t;
        }
    }
}

TEST(RivEstExport, MatchesTwoStageLeastSquaresAcrossRefreshes) {
    // 131 recursive steps: fresh inversions at steps 0, 50 and 100, rank-one updates in between.
    Rows obs = Simulate(150, 2, 3, 2, 101);
    RivCall c;
    c.Run(obs, 2, 3, 2, 0, 139, 10);
    ExpectMatchesTwoStage(c, obs, 2, 3, 0, 139, 10);
}

TEST(RivEstExport, TwoEndogenousRegressorsAndLaterStart) {
    Rows obs = Simulate(90, 3, 4, 3, 102);
    RivCall c;
    c.Run(obs, 3, 4, 3, 7, 89, 12);
    ExpectMatchesTwoStage(c, obs, 3, 4, 7, 89, 12);
}

TEST(RivEstExport, OnlyExogenousOrOnlyEndogenousRegressors) {
    // nEndog = 1: every regressor is its own instrument, so this is least squares.
    Rows obs = Simulate(70, 1, 3, 1, 103);
    RivCall ls;
    ls.Run(obs, 1, 3, 1, 0, 69, 5);
    ExpectMatchesTwoStage(ls, obs, 1, 3, 0, 69, 5);
    Rows X, Y;
    for (const auto &row : obs) {
        X.push_back({row[1], row[2], row[3]});
        Y.push_back({row[0]});
    }
    auto b = OlsFit(X, Y, 0, 0, 69);
    EXPECT_NEAR(At(*ls.coef, 1, 69), b[1], 1e-10);

    // nEndog = k + 1: no exogenous regressors, the instruments are the further ones only.
    Rows endo = Simulate(60, 3, 2, 3, 104);
    RivCall c;
    c.Run(endo, 3, 2, 3, 0, 59, 6);
    ExpectMatchesTwoStage(c, endo, 3, 2, 0, 59, 6);
}

TEST(RivEstExport, OneStepNothingToDoSingularAndOptionalOutputs) {
    Rows obs = Simulate(30, 2, 2, 2, 105);
    RivCall one, none, singular, coef_only;
    one.Run(obs, 2, 2, 2, 0, 19, 20);  // m0 = t2 - t1 + 1: one step, no forecast
    ExpectMatchesTwoStage(one, obs, 2, 2, 0, 19, 20);
    for (int t = 0; t <= 19; ++t) EXPECT_TRUE(std::isnan(At(*one.fore, 0, t)));

    none.Run(obs, 2, 2, 2, 0, 19, 21);
    EXPECT_EQ(none.rtn.ival, 1);
    for (int t = 0; t <= 19; ++t) EXPECT_TRUE(std::isnan(At(*none.coef, 0, t)));

    singular.Run(obs, 2, 2, 2, 0, 19, 2);  // fewer observations than instruments
    EXPECT_EQ(singular.rtn.ival, 0);
    EXPECT_TRUE(std::isnan(At(*singular.coef, 0, 5)));

    coef_only.Run(obs, 2, 2, 2, 0, 19, 8, 8);
    EXPECT_EQ(coef_only.rtn.ival, 1);
    EXPECT_EQ(coef_only.diagV->type, VELA_EMPTY);
    Rows X, Z, Y;
    for (const auto &row : obs) {
        Y.push_back({row[0]});
        X.push_back({row[1], row[2]});
        Z.push_back({row[2], row[3], row[4]});
    }
    EXPECT_NEAR(At(*coef_only.coef, 0, 12), TwoStage(X, Z, Y, 0, 12).b[0], 1e-10);
}

TEST(RivEstExport, InconsistentArgumentsReturnSilentlyOrAreRejected) {
    Rows obs = Simulate(30, 2, 2, 2, 107);
    // Silent: no further instrument, t2 past the data, t2 < t1, too few rows for k + nInstr + 1,
    // no dependent variable slot.
    for (auto [nEndog, k, nInstr, t1, t2] : {std::tuple{2, 2, 0, 0, 20}, {2, 2, 2, 0, 30}, {2, 2, 2, 9, 8},
                                             {2, 3, 2, 0, 20}, {0, 2, 2, 0, 20}}) {
        RivCall c;
        c.Run(obs, nEndog, k, nInstr, t1, t2, 5);
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
        EXPECT_EQ(c.live_after, c.live_before);
    }
    // Reported: reads outside the data or the sample.
    for (auto [nEndog, t1, m0, bad] : {std::tuple{4, 0, 5, 1}, {2, -1, 5, 4}, {2, 0, 0, 6}}) {
        RivCall c;
        c.Run(obs, nEndog, 2, 2, t1, 20, m0);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(bad)), std::string::npos);
        EXPECT_EQ(c.live_after, c.live_before);
    }
    HostValues hv;
    VelaValue rtn{};
    std::vector<VelaValue> a = {hv.Matrix(2, 2, {1, 2, 3, 4}), VelawinInt(1), VelawinInt(1), VelawinInt(1),
                                VelawinInt(0), VelawinDouble(1.0), VelawinInt(1)};
    VelawinBeginCall("FnRivEst");
    long before = VelawinLiveBlocks();
    FnRivEst(&rtn, a.data(), 7);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), before);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

}  // namespace
