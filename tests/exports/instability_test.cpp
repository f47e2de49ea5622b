// FnInstabilityTest against cumulative score sums formed directly.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

struct InstabilityCall {
    HostValues hv;
    VelaValue rtn{};
    VelaValue *indiv = nullptr;
    long live_before = 0;
    ~InstabilityCall() { VelaFreeByValue(&rtn); }
    void Run(const Rows &X, const std::vector<double> &u, double rss, bool as_row = false) {
        const int T = static_cast<int>(u.size());
        std::vector<VelaValue> a = {hv.Matrix(X), as_row ? hv.Matrix(1, T, u) : hv.Matrix(T, 1, u),
                                    VelawinDouble(rss), hv.Ref(&indiv)};
        VelawinBeginCall("FnInstabilityTest");
        live_before = VelawinLiveBlocks();
        FnInstabilityTest(&rtn, a.data(), 4);
    }
};

struct Direct {
    std::vector<double> indiv;
    double joint;
};

Direct Stats(const Rows &X, const std::vector<double> &u, double rss) {
    const int T = static_cast<int>(u.size()), k = static_cast<int>(X[0].size()), p = k + 1;
    Rows f(T, std::vector<double>(p)), S(T, std::vector<double>(p));
    for (int t = 0; t < T; ++t) {
        for (int j = 0; j < k; ++j) f[t][j] = X[t][j] * u[t];
        f[t][k] = u[t] * u[t] - rss / T;
        for (int j = 0; j < p; ++j) S[t][j] = f[t][j] + (t > 0 ? S[t - 1][j] : 0.0);
    }
    Rows F = CrossProducts(f, f, 0, T - 1), SS = CrossProducts(S, S, 0, T - 1), Finv = Inverse(F);
    Direct d{std::vector<double>(p), 0.0};
    for (int j = 0; j < p; ++j) d.indiv[j] = SS[j][j] / (T * F[j][j]);
    for (int a = 0; a < p; ++a)
        for (int b = 0; b < p; ++b) d.joint += Finv[a][b] * SS[b][a];
    d.joint /= T;
    return d;
}

TEST(InstabilityTestExport, MatchesCumulativeSumsOnQuarterlyRegression) {
    Rows X, Y;
    for (const auto &r : MacroData()) {
        X.push_back({1.0, std::log(r[4]), r[7]});
        Y.push_back({std::log(r[1])});
    }
    const int T = static_cast<int>(X.size());
    auto b = OlsFit(X, Y, 0, 0, T - 1);
    std::vector<double> u(T);
    double rss = 0.0;
    for (int t = 0; t < T; ++t) {
        u[t] = Y[t][0] - Dot(b, X[t]);
        rss += u[t] * u[t];
    }
    Direct d = Stats(X, u, rss);
    for (bool as_row : {false, true}) {
        InstabilityCall c;
        c.Run(X, u, rss, as_row);
        ASSERT_EQ(c.rtn.type, VELA_DOUBLE);
        EXPECT_NEAR(c.rtn.data.dval, d.joint, 1e-9 * d.joint);
        ASSERT_EQ(c.indiv->ival, 1);
        ASSERT_EQ(c.indiv->cols, 4);
        for (int j = 0; j < 4; ++j) EXPECT_NEAR(At(*c.indiv, 0, j), d.indiv[j], 1e-9 * d.indiv[j]) << j;
    }
}

TEST(InstabilityTestExport, MatchesCumulativeSumsWithAnyVarianceDivisor) {
    Rows X = Normal(75, 2, 5);
    std::vector<double> u;
    for (const auto &r : Normal(75, 1, 6)) u.push_back(r[0]);
    for (double rss : {0.0, 50.0, 200.0}) {
        Direct d = Stats(X, u, rss);
        InstabilityCall c;
        c.Run(X, u, rss);
        EXPECT_NEAR(c.rtn.data.dval, d.joint, 1e-10 * d.joint);
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(At(*c.indiv, 0, j), d.indiv[j], 1e-10 * d.indiv[j]);
    }
}

TEST(InstabilityTestExport, SingularScoreVarianceReturnsMinusOneAfterTheIndividualStatistics) {
    // Constant regressor, u = (1, -1), rss = 2: the variance scores are all zero.
    InstabilityCall c;
    c.Run({{1.0}, {1.0}}, {1.0, -1.0}, 2.0);
    EXPECT_EQ(c.rtn.data.dval, -1.0);
    EXPECT_DOUBLE_EQ(At(*c.indiv, 0, 0), (1.0 + 0.0) / (2 * 2.0));
    EXPECT_TRUE(std::isnan(At(*c.indiv, 0, 1)));

    // A regressor that is zero throughout: its statistic is not finite, the joint one fails.
    Rows X = Normal(20, 1, 7);
    for (auto &r : X) r.push_back(0.0);
    std::vector<double> u;
    for (const auto &r : Normal(20, 1, 8)) u.push_back(r[0]);
    InstabilityCall z;
    z.Run(X, u, 15.0);
    EXPECT_EQ(z.rtn.data.dval, -1.0);
    EXPECT_FALSE(std::isfinite(At(*z.indiv, 0, 1)));
    EXPECT_TRUE(std::isfinite(At(*z.indiv, 0, 0)));
}

TEST(InstabilityTestExport, BadArgumentsAllocateNothing) {
    Rows X = Normal(10, 2, 9);
    std::vector<double> u(10, 0.5);
    {
        InstabilityCall short_u;
        short_u.Run(X, std::vector<double>(9, 0.5), 1.0);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_EQ(VelawinLiveBlocks(), short_u.live_before);
        EXPECT_EQ(short_u.indiv->type, VELA_EMPTY);
    }
    {
        InstabilityCall empty;
        empty.Run({}, {}, 1.0);
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_EQ(empty.rtn.type, VELA_EMPTY);
    }
    HostValues hv;
    VelaValue rtn{}, *indiv;
    std::vector<VelaValue> a = {hv.Matrix(X), hv.Matrix(10, 1, u), VelawinInt(1), hv.Ref(&indiv)};
    VelawinBeginCall("FnInstabilityTest");
    long before = VelawinLiveBlocks();
    FnInstabilityTest(&rtn, a.data(), 4);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), before);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
    std::vector<VelaValue> no_ref = {hv.Matrix(X), hv.Matrix(10, 1, u), VelawinDouble(1.0), hv.Matrix(1, 1, {0})};
    FnInstabilityTest(&rtn, no_ref.data(), 4);
    EXPECT_EQ(VelawinErrorCount(), 2);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

}  // namespace
