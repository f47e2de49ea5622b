// FnRlsEst against separate least-squares fits on every growing sample.
#include "tests/regression/support.h"

namespace {
using namespace tessel::regtest;

struct Rls : Call {
    VelaValue *coef, *diagM, *wres, *innov, *rss, *resid, *loglik;
    Rls(const Rows &Y, const Rows &X, int t1, int t2, int tRestart, int cArg = 12) {
        Run("FnRlsEst", FnRlsEst,
            {M(Y), M(X), VelawinInt(t1), VelawinInt(t2), VelawinInt(tRestart), Ref(&coef), Ref(&diagM),
             Ref(&wres), Ref(&innov), Ref(&rss), Ref(&resid), Ref(&loglik)},
            cArg);
    }
};

double LogDet(Rows A) {  // A positive definite
    double ld = 0.0;
    for (size_t c = 0; c < A.size(); ld += std::log(A[c][c]), ++c)
        for (size_t r = c + 1; r < A.size(); ++r)
            for (size_t j = A.size(); j-- > c;) A[r][j] -= A[r][c] / A[c][c] * A[c][j];
    return ld;
}

double Quad(const Rows &M, const std::vector<double> &x) {
    double q = 0.0;
    for (size_t i = 0; i < x.size(); ++i) q += x[i] * Dot(M[i], x);
    return q;
}

// Every output of a call with t1 = 0 against fits computed afresh on observations 0..t. On
// re-estimation steps (the first one, and `restart`) f uses the inverse that includes t.
void ExpectMatchesFreshFits(const Rls &c, const Rows &Y, const Rows &X, int t2, double tol, int restart = -1) {
    const int n = static_cast<int>(Y[0].size()), k = static_cast<int>(X[0].size());
    ASSERT_TRUE(c.rtn.ival == 1 && c.coef->ival == n * k && c.coef->cols == t2 + 1);
    for (int t = 0; t < k; ++t) EXPECT_TRUE(std::isnan(At(*c.innov, 0, t)) && std::isnan(At(*c.loglik, 0, t)));
    for (int t = k; t <= t2; ++t) {
        Rows Mprev = Inverse(CrossProducts(X, X, 0, t - 1)), Mnow = Inverse(CrossProducts(X, X, 0, t));
        const double f = 1.0 + Quad(t == k || t == restart ? Mnow : Mprev, X[t]);
        Rows E(t + 1, std::vector<double>(n));
        for (int i = 0; i < n; ++i) {
            auto bprev = OlsFit(X, Y, i, 0, t - 1), bnow = OlsFit(X, Y, i, 0, t);
            const double v = Y[t][i] - Dot(bprev, X[t]), tv = tol * (1 + std::fabs(v));
            double ss = 0.0;
            for (int s = 0; s <= t; ++s) ss += std::pow(E[s][i] = Y[s][i] - Dot(bnow, X[s]), 2);
            for (int j = 0; j < k; ++j)
                EXPECT_NEAR(At(*c.coef, i * k + j, t), bnow[j], tol * (1 + std::fabs(bnow[j]))) << t;
            EXPECT_NEAR(At(*c.innov, i, t), v, tv) << t;
            EXPECT_NEAR(At(*c.wres, i, t), v / std::sqrt(f), tv) << t;
            EXPECT_NEAR(At(*c.resid, i, t), E[t][i], tol * (1 + std::fabs(E[t][i]))) << t;
            EXPECT_NEAR(At(*c.rss, i, t), ss, tol * ss) << t;
        }
        for (int j = 0; j < k; ++j) EXPECT_NEAR(At(*c.diagM, j, t), Mnow[j][j], tol * Mnow[j][j]) << t;
        // Fewer residual degrees of freedom than equations: a singular residual covariance.
        if (t + 1 - k < n) EXPECT_TRUE(std::isnan(At(*c.loglik, 0, t))) << t;
        else EXPECT_NEAR(At(*c.loglik, 0, t), -0.5 * (LogDet(CrossProducts(E, E, 0, t)) - n * std::log(t2 + 1.0)),
                         tol * 10) << t;
    }
}

TEST(RlsEstExport, QuarterlyDataOneAndThreeEquations) {
    // Log consumption, investment and government spending on a constant, log income and the bill
    // rate, centred (the early inverse moment matrices are badly conditioned otherwise).
    Rows Y, Y1, X;
    for (const auto &r : MacroData()) {
        Y.push_back({std::log(r[1]), std::log(r[2]), std::log(r[3])});
        Y1.push_back({Y.back()[0]});
        X.push_back({1.0, std::log(r[4]) - 8.5, r[7] - 5.0});
    }
    const int T = static_cast<int>(X.size());
    ExpectMatchesFreshFits(Rls(Y1, X, 0, T - 1, -1), Y1, X, T - 1, 1e-7);
    ExpectMatchesFreshFits(Rls(Y, X, 0, 150, -1), Y, X, 150, 1e-7);  // the data may run past t2
}

TEST(RlsEstExport, SimulatedSystemsAndRestart) {
    for (int n : {1, 3}) {
        Rows X = Normal(120, 4, 40 + n), Y = Normal(120, n, 50 + n);
        for (int t = 0; t < 120; ++t) {
            X[t][0] = 1.0;
            for (int i = 0; i < n; ++i) Y[t][i] += 0.5 * i + X[t][1] - 0.3 * X[t][2] * (i + 1);
        }
        Rls update(Y, X, 0, 119, -1), restart(Y, X, 0, 119, 40), outside(Y, X, 0, 119, 130);
        ExpectMatchesFreshFits(update, Y, X, 119, 1e-9);
        ExpectMatchesFreshFits(restart, Y, X, 119, 1e-9, 40);
        ExpectMatchesFreshFits(outside, Y, X, 119, 1e-9);
        // The restart recomputes the numbers of the update path; only f of its own step differs.
        for (int t = 4; t <= 119; ++t)
            for (int i = 0; i < n; ++i) {
                EXPECT_NEAR(At(*restart.rss, i, t), At(*update.rss, i, t), 1e-10) << t;
                EXPECT_NEAR(At(*restart.coef, i * 4 + 1, t), At(*update.coef, i * 4 + 1, t), 1e-10) << t;
            }
    }
}

TEST(RlsEstExport, ZeroRegressorAndLaterStart) {
    Rows X = Normal(40, 2, 71), Y = Normal(40, 1, 72), Xz;
    for (const auto &r : X) Xz.push_back({r[0], 0.0, r[1]});
    Rls z(Y, Xz, 0, 39, -1);
    ASSERT_EQ(z.rtn.ival, 1);
    for (int t = 3; t <= 39; ++t) {
        Rows Mnow = Inverse(CrossProducts(X, X, 0, t));
        auto b = OlsFit(X, Y, 0, 0, t);
        double ss = 0.0;
        for (int s = 0; s <= t; ++s) ss += std::pow(Y[s][0] - Dot(b, X[s]), 2);
        EXPECT_TRUE(At(*z.coef, 1, t) == 0.0 && std::isnan(At(*z.diagM, 1, t))) << t;
        for (int j = 0; j < 2; ++j) EXPECT_NEAR(At(*z.coef, 2 * j, t), b[j], 1e-10) << t;
        EXPECT_NEAR(At(*z.diagM, 2, t), Mnow[1][1], 1e-10);
        EXPECT_NEAR(At(*z.rss, 0, t), ss, 1e-10 * ss);
        // Every step is a re-estimation, so f includes the current observation.
        EXPECT_NEAR(At(*z.wres, 0, t), At(*z.innov, 0, t) / std::sqrt(1 + Quad(Mnow, X[t])), 1e-10);
        EXPECT_NEAR(At(*z.loglik, 0, t), -0.5 * std::log(ss / 40), 1e-10);
    }
    // t1 = 3, k = 2: the initial fit uses observations 3, 4, but the cross products start from
    // observations 6, 7 (columns 3, 4 of copies that begin at observation 3).
    Rows M = Inverse(CrossProducts(X, X, 3, 5));
    Rls c(Y, X, 3, 39, -1);
    ASSERT_EQ(c.rtn.ival, 1);
    EXPECT_TRUE(std::isnan(At(*c.coef, 0, 4)));
    EXPECT_NEAR(At(*c.innov, 0, 5), Y[5][0] - Dot(OlsFit(X, Y, 0, 3, 4), X[5]), 1e-12);
    std::vector<double> xy(2, 0.0);
    for (int s : {6, 7, 5})
        for (int j = 0; j < 2; ++j) xy[j] += X[s][j] * Y[s][0];
    for (int j = 0; j < 2; ++j) EXPECT_NEAR(At(*c.coef, j, 5), Dot(M[j], xy), 1e-10);
    // Starting cross products past t2 would be read outside the sample: rejected.
    EXPECT_EQ(Rls(Y, X, 10, 22, -1).rtn.ival, 1);  // 2 t1 + k - 1 = 21 <= 22
    EXPECT_TRUE(Rls(Y, X, 10, 20, -1).Rejected());
}

TEST(RlsEstExport, OptionalOutputsOutOfMemoryDegenerateShapesAndBadArguments) {
    Rows X = Normal(25, 2, 93), Y = Normal(25, 1, 94);
    Rls all(Y, X, 0, 24, -1), first_only(Y, X, 0, 24, -1, 6);
    EXPECT_TRUE(first_only.rtn.ival == 1 && first_only.diagM->type == VELA_EMPTY);
    for (int t = 2; t < 25; ++t) EXPECT_EQ(At(*first_only.coef, 1, t), At(*all.coef, 1, t));
    // The host runs out of memory for the third output: return 0, nothing left allocated.
    VelawinFailAllocations(2, 1);
    Rls starved(Y, X, 0, 24, -1);
    VelawinFailAllocations(0, 0);
    EXPECT_TRUE(starved.rtn.ival == 0 && starved.coef->type == VELA_EMPTY && starved.live_after == starved.live_before);
    // No equations: outputs without rows or missing. k observations only: return 0, all missing.
    Rls no_y(Rows(25, std::vector<double>{}), X, 0, 24, -1), tiny(Y, X, 0, 1, -1);
    EXPECT_TRUE(no_y.rtn.ival == 0 && no_y.coef->ival == 0 && std::isnan(At(*no_y.diagM, 1, 24)));
    EXPECT_TRUE(tiny.rtn.ival == 0 && std::isnan(At(*tiny.innov, 0, 0)) && std::isnan(At(*tiny.innov, 0, 1)));
    // t2 < t1 or past the data: silent; t1 < 0 and wrong types: reported.
    EXPECT_TRUE(Rls(Y, X, 5, 4, -1).Silent() && Rls(Y, X, 0, 25, -1).Silent());
    EXPECT_TRUE(Rls(Y, X, -1, 5, -1).Rejected(2));
    Call c;
    VelaValue *coef;
    c.Run("FnRlsEst", FnRlsEst, {c.M(Y), c.M(X), VelawinInt(0), VelawinDouble(9.0), VelawinInt(-1), c.Ref(&coef)});
    EXPECT_TRUE(c.Rejected(3));
}

}  // namespace
