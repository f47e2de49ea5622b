// FnRlsEst against separate least-squares fits on every growing sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

struct RlsCall {
    HostValues hv;
    VelaValue rtn{};
    VelaValue *coef = nullptr, *diagM = nullptr, *wres = nullptr, *innov = nullptr, *rss = nullptr,
              *resid = nullptr, *loglik = nullptr;
    ~RlsCall() { VelaFreeByValue(&rtn); }
    void Run(const Rows &Y, const Rows &X, int t1, int t2, int tRestart, int cArg = 12) {
        std::vector<VelaValue> a = {hv.Matrix(Y),      hv.Matrix(X),        VelawinInt(t1),    VelawinInt(t2),
                                    VelawinInt(tRestart), hv.Ref(&coef),    hv.Ref(&diagM),    hv.Ref(&wres),
                                    hv.Ref(&innov),   hv.Ref(&rss),         hv.Ref(&resid),    hv.Ref(&loglik)};
        VelawinBeginCall("FnRlsEst");
        live_before = VelawinLiveBlocks();
        FnRlsEst(&rtn, a.data(), cArg);
    }
    long live_before = 0;
    bool AllocatedNothing() const { return VelawinLiveBlocks() == live_before; }
};

double LogDet(Rows A) {
    const size_t n = A.size();
    double ld = 0.0;
    for (size_t c = 0; c < n; ++c) {
        ld += std::log(A[c][c]);
        for (size_t r = c + 1; r < n; ++r) {
            double f = A[r][c] / A[c][c];
            for (size_t j = c; j < n; ++j) A[r][j] -= f * A[c][j];
        }
    }
    return ld;
}

// Equal within tol, or both missing.
::testing::AssertionResult Same(double a, double b, double tol) {
    if ((std::isnan(a) && std::isnan(b)) || std::fabs(a - b) <= tol) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << a << " vs " << b;
}

double Quad(const Rows &M, const std::vector<double> &x) {
    double q = 0.0;
    for (size_t i = 0; i < x.size(); ++i)
        for (size_t j = 0; j < x.size(); ++j) q += x[i] * M[i][j] * x[j];
    return q;
}

// Every output of a call with t1 = 0 against fits computed afresh on observations 0..t. On
// re-estimation steps (the first one, and restart) f uses the inverse that includes t.
void ExpectMatchesFreshFits(const RlsCall &c, const Rows &Y, const Rows &X, int t2, double tol,
                            std::vector<int> reestimated) {
    const int n = static_cast<int>(Y[0].size()), k = static_cast<int>(X[0].size()), m = t2 + 1;
    ASSERT_EQ(c.rtn.type, VELA_INT);
    ASSERT_EQ(c.rtn.ival, 1);
    ASSERT_EQ(c.coef->ival, n * k);
    ASSERT_EQ(c.coef->cols, t2 + 1);
    reestimated.push_back(k);
    for (int t = 0; t < k; ++t) {
        for (int i = 0; i < n; ++i) {
            EXPECT_TRUE(std::isnan(At(*c.innov, i, t)));
            EXPECT_TRUE(std::isnan(At(*c.rss, i, t)));
        }
        EXPECT_TRUE(std::isnan(At(*c.loglik, 0, t)));
    }
    for (int t = k; t <= t2; ++t) {
        Rows Mprev = Inverse(CrossProducts(X, X, 0, t - 1)), Mnow = Inverse(CrossProducts(X, X, 0, t));
        bool re = std::find(reestimated.begin(), reestimated.end(), t) != reestimated.end();
        const double f = 1.0 + Quad(re ? Mnow : Mprev, X[t]);
        Rows E(t + 1, std::vector<double>(n));
        for (int i = 0; i < n; ++i) {
            auto bprev = OlsFit(X, Y, i, 0, t - 1), bnow = OlsFit(X, Y, i, 0, t);
            const double v = Y[t][i] - Dot(bprev, X[t]);
            double ss = 0.0;
            for (int s = 0; s <= t; ++s) {
                E[s][i] = Y[s][i] - Dot(bnow, X[s]);
                ss += E[s][i] * E[s][i];
            }
            for (int j = 0; j < k; ++j)
                EXPECT_NEAR(At(*c.coef, i * k + j, t), bnow[j], tol * (1 + std::fabs(bnow[j]))) << t << " " << i;
            EXPECT_NEAR(At(*c.innov, i, t), v, tol * (1 + std::fabs(v))) << t;
            EXPECT_NEAR(At(*c.wres, i, t), v / std::sqrt(f), tol * (1 + std::fabs(v))) << t;
            EXPECT_NEAR(At(*c.resid, i, t), E[t][i], tol * (1 + std::fabs(E[t][i]))) << t;
            EXPECT_NEAR(At(*c.rss, i, t), ss, tol * ss) << t;
        }
        for (int j = 0; j < k; ++j) EXPECT_NEAR(At(*c.diagM, j, t), Mnow[j][j], tol * Mnow[j][j]) << t;
        if (t + 1 - k < n) {  // fewer residual degrees of freedom than equations: singular
            EXPECT_TRUE(std::isnan(At(*c.loglik, 0, t))) << t;
            continue;
        }
        Rows S = CrossProducts(E, E, 0, t);
        for (auto &row : S)
            for (double &x : row) x /= m;
        EXPECT_NEAR(At(*c.loglik, 0, t), -0.5 * LogDet(S), tol * 10) << t;
    }
}

// Quarterly data: three log expenditure series on a constant, log income and the bill rate, the
// regressors centred near their means (the recursion works with an inverse moment matrix whose
// accuracy over the first few quarters depends on that).
void MacroSystem(Rows &Y, Rows &X) {
    for (const auto &r : MacroData()) {
        Y.push_back({std::log(r[1]), std::log(r[2]), std::log(r[3])});
        X.push_back({1.0, std::log(r[4]) - 8.5, r[7] - 5.0});
    }
}

TEST(RlsEstExport, SingleEquationOnQuarterlyDataMatchesFreshFits) {
    Rows Y3, X;
    MacroSystem(Y3, X);
    Rows Y;
    for (const auto &r : Y3) Y.push_back({r[0]});
    RlsCall c;
    c.Run(Y, X, 0, static_cast<int>(X.size()) - 1, -1);
    ExpectMatchesFreshFits(c, Y, X, static_cast<int>(X.size()) - 1, 1e-7, {});
}

TEST(RlsEstExport, SystemOfThreeOnQuarterlyDataMatchesFreshFits) {
    Rows Y, X;
    MacroSystem(Y, X);
    RlsCall c;
    c.Run(Y, X, 0, 150, -1);
    ExpectMatchesFreshFits(c, Y, X, 150, 1e-7, {});
    // Columns past t2 do not exist; the inputs may be longer than the sample.
    EXPECT_EQ(c.rss->cols, 151);
}

TEST(RlsEstExport, SimulatedSystemsMatchFreshFits) {
    for (int n : {1, 3}) {
        Rows X = Normal(120, 4, 40 + n), U = Normal(120, n, 50 + n);
        for (auto &row : X) row[0] = 1.0;
        Rows Y(120, std::vector<double>(n));
        for (int t = 0; t < 120; ++t)
            for (int i = 0; i < n; ++i) Y[t][i] = 0.5 * i + X[t][1] - 0.3 * X[t][2] * (i + 1) + U[t][i];
        RlsCall c;
        c.Run(Y, X, 0, 119, -1);
        ExpectMatchesFreshFits(c, Y, X, 119, 1e-9, {});
    }
}

TEST(RlsEstExport, RestartRecomputesWithTheSameNumbers) {
    Rows X = Normal(90, 3, 61), Y = Normal(90, 2, 62);
    for (int t = 0; t < 90; ++t) Y[t][0] += X[t][0] - X[t][2];
    RlsCall update, restart, outside;
    update.Run(Y, X, 0, 89, -1);
    restart.Run(Y, X, 0, 89, 40);
    outside.Run(Y, X, 0, 89, 95);
    ExpectMatchesFreshFits(restart, Y, X, 89, 1e-9, {40});
    for (int t = 0; t <= 89; ++t) {
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(Same(At(*restart.rss, i, t), At(*update.rss, i, t), 1e-10)) << t;
            EXPECT_TRUE(Same(At(*restart.innov, i, t), At(*update.innov, i, t), 1e-10)) << t;
            EXPECT_TRUE(Same(At(*restart.coef, i * 3 + 1, t), At(*update.coef, i * 3 + 1, t), 1e-10)) << t;
            if (t != 40) {
                EXPECT_TRUE(Same(At(*restart.wres, i, t), At(*update.wres, i, t), 1e-10)) << t;
            }
            EXPECT_TRUE(Same(At(*outside.wres, i, t), At(*update.wres, i, t), 0.0)) << t;
        }
        EXPECT_TRUE(Same(At(*restart.loglik, 0, t), At(*update.loglik, 0, t), 1e-10)) << t;
    }
    // At the restart f includes observation 40 itself, so the standardised innovation is larger.
    EXPECT_GT(std::fabs(At(*restart.wres, 0, 40)), std::fabs(At(*update.wres, 0, 40)));
}

TEST(RlsEstExport, ZeroRegressorReestimatesEveryStepWithoutIt) {
    Rows X = Normal(40, 2, 71), Y = Normal(40, 1, 72);
    Rows Xz;
    for (const auto &r : X) Xz.push_back({r[0], 0.0, r[1]});
    RlsCall z;
    z.Run(Y, Xz, 0, 39, -1);
    ASSERT_EQ(z.rtn.ival, 1);
    for (int t = 3; t <= 39; ++t) {
        Rows Mnow = Inverse(CrossProducts(X, X, 0, t));
        auto b = OlsFit(X, Y, 0, 0, t);
        EXPECT_NEAR(At(*z.coef, 0, t), b[0], 1e-10);
        EXPECT_EQ(At(*z.coef, 1, t), 0.0);
        EXPECT_NEAR(At(*z.coef, 2, t), b[1], 1e-10);
        EXPECT_NEAR(At(*z.diagM, 0, t), Mnow[0][0], 1e-10);
        EXPECT_TRUE(std::isnan(At(*z.diagM, 1, t)));
        EXPECT_NEAR(At(*z.diagM, 2, t), Mnow[1][1], 1e-10);
        double ss = 0.0;
        for (int s = 0; s <= t; ++s) ss += std::pow(Y[s][0] - Dot(b, X[s]), 2);
        EXPECT_NEAR(At(*z.rss, 0, t), ss, 1e-10 * ss);
        // Every step is a re-estimation, so f includes the current observation.
        EXPECT_NEAR(At(*z.wres, 0, t), At(*z.innov, 0, t) / std::sqrt(1 + Quad(Mnow, X[t])), 1e-10);
        EXPECT_NEAR(At(*z.loglik, 0, t), -0.5 * std::log(ss / 40), 1e-10);
    }
}

TEST(RlsEstExport, ExactlyOneStep) {
    Rows X = Normal(5, 3, 81), Y = Normal(5, 1, 82);
    RlsCall c;
    c.Run(Y, X, 0, 3, -1);  // t2 = t1 + k
    ASSERT_EQ(c.rtn.ival, 1);
    auto b = OlsFit(X, Y, 0, 0, 3);
    double ss = 0.0;
    for (int s = 0; s <= 3; ++s) ss += std::pow(Y[s][0] - Dot(b, X[s]), 2);
    EXPECT_NEAR(At(*c.rss, 0, 3), ss, 1e-12 * (1 + ss));
    EXPECT_NEAR(At(*c.loglik, 0, 3), -0.5 * std::log(ss / 4), 1e-10);
    for (int t = 0; t < 3; ++t) EXPECT_TRUE(std::isnan(At(*c.coef, 0, t)));
}

TEST(RlsEstExport, LaterStartTakesStartingCrossProductsFromShiftedObservations) {
    // t1 = 3, k = 2: the initial fit uses observations 3, 4, but the cross products start from
    // observations 6, 7 (columns 3, 4 of copies that begin at observation 3).
    Rows X = Normal(30, 2, 91), Y = Normal(30, 1, 92);
    RlsCall c;
    c.Run(Y, X, 3, 29, -1);
    ASSERT_EQ(c.rtn.ival, 1);
    const int t = 5;
    auto b0 = OlsFit(X, Y, 0, 3, 4);
    EXPECT_NEAR(At(*c.innov, 0, t), Y[t][0] - Dot(b0, X[t]), 1e-12);
    Rows M = Inverse(CrossProducts(X, X, 3, 5));
    std::vector<double> xy(2, 0.0);
    for (int s : {6, 7, 5})
        for (int j = 0; j < 2; ++j) xy[j] += X[s][j] * Y[s][0];
    for (int j = 0; j < 2; ++j) EXPECT_NEAR(At(*c.coef, j, t), Dot(M[j], xy), 1e-10);
    for (int s = 0; s < 5; ++s) EXPECT_TRUE(std::isnan(At(*c.coef, 0, s)));

    // Starting cross products beyond t2 are rejected before anything is allocated.
    RlsCall beyond;
    beyond.Run(Y, X, 10, 22, -1);  // 2 t1 + k - 1 = 21 <= 22 is fine
    EXPECT_EQ(beyond.rtn.ival, 1);
    RlsCall rejected;
    rejected.Run(Y, X, 10, 20, -1);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_TRUE(rejected.AllocatedNothing());
    EXPECT_EQ(rejected.coef->type, VELA_EMPTY);
}

TEST(RlsEstExport, OptionalOutputsAndShortSamples) {
    Rows X = Normal(25, 2, 93), Y = Normal(25, 1, 94);
    RlsCall all, first_only;
    all.Run(Y, X, 0, 24, -1);
    first_only.Run(Y, X, 0, 24, -1, 6);
    EXPECT_EQ(first_only.rtn.ival, 1);
    EXPECT_EQ(first_only.diagM->type, VELA_EMPTY);
    EXPECT_EQ(first_only.loglik->type, VELA_EMPTY);
    for (int t = 2; t < 25; ++t) EXPECT_EQ(At(*first_only.coef, 1, t), At(*all.coef, 1, t));

    // The host runs out of memory for the third output: return 0, nothing left allocated.
    {
        RlsCall starved;
        VelawinFailAllocations(2, 1);
        starved.Run(Y, X, 0, 24, -1);
        VelawinFailAllocations(0, 0);
        EXPECT_EQ(starved.rtn.type, VELA_INT);
        EXPECT_EQ(starved.rtn.ival, 0);
        EXPECT_EQ(starved.coef->type, VELA_EMPTY);
        EXPECT_TRUE(starved.AllocatedNothing());
    }

    // No equations: nothing to estimate, empty coefficient rows.
    RlsCall no_y;
    no_y.Run(Rows(25, std::vector<double>{}), X, 0, 24, -1);
    EXPECT_EQ(no_y.rtn.ival, 0);
    EXPECT_EQ(no_y.coef->type, VELA_MATRIX);
    EXPECT_EQ(no_y.coef->ival, 0);
    EXPECT_TRUE(std::isnan(At(*no_y.diagM, 1, 24)));

    // k observations only: return 0, outputs all missing.
    RlsCall tiny;
    tiny.Run(Y, X, 0, 1, -1);
    EXPECT_EQ(tiny.rtn.type, VELA_INT);
    EXPECT_EQ(tiny.rtn.ival, 0);
    ASSERT_EQ(tiny.innov->cols, 2);
    EXPECT_TRUE(std::isnan(At(*tiny.innov, 0, 0)) && std::isnan(At(*tiny.innov, 0, 1)));
}

TEST(RlsEstExport, InconsistentSamplesReturnSilentlyAndWrongTypesAreReported) {
    Rows X = Normal(10, 2, 95), Y = Normal(10, 1, 96);
    long live = VelawinLiveBlocks();
    for (auto [t1, t2] : {std::pair{5, 4}, {0, 10}}) {
        RlsCall c;
        c.Run(Y, X, t1, t2, -1);
        EXPECT_TRUE(c.AllocatedNothing());
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
        EXPECT_EQ(c.coef->type, VELA_EMPTY);
        EXPECT_EQ(VelawinErrorCount(), 0);
    }
    {
        RlsCall negative;
        negative.Run(Y, X, -1, 5, -1);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_TRUE(negative.AllocatedNothing());
        EXPECT_EQ(negative.coef->type, VELA_EMPTY);
    }
    {
        HostValues hv;
        VelaValue rtn{}, *coef;
        std::vector<VelaValue> a = {hv.Matrix(Y), hv.Matrix(X), VelawinInt(0), VelawinDouble(9.0), VelawinInt(-1),
                                    hv.Ref(&coef)};
        long before = VelawinLiveBlocks();
        VelawinBeginCall("FnRlsEst");
        FnRlsEst(&rtn, a.data(), 6);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_EQ(VelawinLiveBlocks(), before);
        EXPECT_EQ(rtn.type, VELA_EMPTY);
        EXPECT_EQ(coef->type, VELA_EMPTY);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

}  // namespace
