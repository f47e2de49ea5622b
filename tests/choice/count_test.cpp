#include "choice/count.h"
#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include "tests/choice/test_support.h"

namespace tessel {
namespace {
using testing::Mat;
using testing::Vec;

enum Model { kPoisson, kTruncPoisson, kNegBin };
struct CountProblem {
    Mat y, X;
    Model model = kPoisson;
    int S = 0;
    double P = 0.0;
    double Eval(const Vec &th, const CountOutputs &out) const {
        const CountData d{y.rows, y.p(), X.p(), X.cols};
        const int n = static_cast<int>(th.size());
        return model == kPoisson ? PoissonLik(th.data(), n, d, out)
               : model == kTruncPoisson ? TruncPoissonLik(th.data(), n, d, S, out) : NegBinLik(th.data(), n, d, S, P, out);
    }
    testing::Lik AsLik() const {
        return [this](const Vec &th, double *g, double *const *info, double *const *outer, double *c) {
            return Eval(th, {g, info, nullptr, 0, c, outer});
        };
    }
    double TableSum(const Vec &th, int K) const {
        Vec t(K);
        Eval(th, {nullptr, nullptr, t.data(), K});
        double s = 0.0;
        for (double v : t) s += v;
        return s;
    }
};

// Outpatient visits of the RAND health insurance experiment on a constant and nine regressors.
CountProblem RandHie(int rows) {
    const Mat raw = testing::ReadTable("randhie.csv", ',');
    EXPECT_EQ(raw.rows, 20190);
    CountProblem p{Mat(rows, 1), Mat(rows, 10)};
    for (int i = 0; i < rows * 10; ++i) p.X[i / 10][i % 10] = i % 10 ? raw[i / 10][i % 10] : 1.0;
    for (int i = 0; i < rows; ++i) p.y[i][0] = raw[i][0];
    return p;
}

const Vec kRandBeta = {0.7, -0.05, -0.1, 0.05, -0.02, 0.2, 0.02, -0.03, 0.1, 0.2};
CountProblem Simulate(int N, unsigned seed, Model model = kPoisson, double scale = 1.0) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    CountProblem p{Mat(N, 1), Mat(N, 3), model};
    for (int i = 0; i < N; ++i) {
        p.X[i][0] = 1.0, p.X[i][1] = nd(rng), p.X[i][2] = nd(rng);
        p.y[i][0] = std::poisson_distribution<int>(scale * std::exp(0.3 + 0.4 * p.X[i][1]))(rng) + 0.7;  // fraction dropped
    }
    return p;
}

TEST(CountLik, PoissonAndTruncatedPoissonDerivatives) {
    CountProblem rand = RandHie(3000), sim = Simulate(40, 1);
    testing::CheckDerivatives(rand.AsLik(), kRandBeta, rand.y.rows, true);
    testing::CheckDerivatives(sim.AsLik(), {0.25, 0.35, -0.15, 4.0}, 40, true);  // theta[3] unused
    sim.model = kTruncPoisson, sim.S = 5;  // some counts lie above S and go through the same formula
    testing::CheckDerivatives(sim.AsLik(), {0.25, 0.35, -0.15}, 40, true);
    // S = 1: normaliser 1 + e^xb, truncated mean E = e^xb / (1 + e^xb).
    const CountProblem one{Mat(1, 1, {1.0}), Mat(1, 1, {0.4}), kTruncPoisson, 1};
    Vec g(1);
    Mat info(1, 1);
    const double E = std::exp(0.4) / (1.0 + std::exp(0.4));
    EXPECT_NEAR(one.Eval({1.0}, {g.data(), info.p()}), 0.4 - std::log1p(std::exp(0.4)), 1e-15);
    EXPECT_NEAR(g[0], 0.4 * (1.0 - E), 1e-15);
    EXPECT_NEAR(info[0][0], 0.16 * E * (1.0 - E), 1e-15);
}

TEST(CountLik, NegBinDerivativesAndSingleMatrix) {
    CountProblem p = Simulate(40, 2, kNegBin);
    const Vec th = {0.2, 0.3, -0.2, 0.7};
    for (double P : {0.0, 1.0, 1.6})
        for (int S : {0, 9}) p.P = P, p.S = S, testing::CheckDerivatives(p.AsLik(), th, 40, false, 1e-7);
    // With both slots given, the outer product goes to the information slot and nothing to its own.
    Mat alone(4, 4), info(4, 4), outer(4, 4, Vec(16, 5.0));
    p.Eval(th, {nullptr, nullptr, nullptr, 0, nullptr, alone.p()});
    p.Eval(th, {nullptr, info.p(), nullptr, 0, nullptr, outer.p()});
    EXPECT_EQ(info.v, alone.v);
    EXPECT_EQ(outer.v, Vec(16, 0.0));
}

// P = 0 is NB2 (variance mu + mu^2 / a), P = 1 is NB1 (variance mu (1 + 1/a)), in textbook form.
TEST(CountLik, NegBinMatchesNB2AndNB1OnRandHie) {
    CountProblem p = RandHie(2000);
    p.model = kNegBin;
    Vec theta = kRandBeta, contrib(p.y.rows);
    theta.push_back(-0.4);
    const double a = std::exp(0.4);
    for (double P : {0.0, 1.0}) {
        p.P = P;
        p.Eval(theta, {nullptr, nullptr, nullptr, 0, contrib.data()});
        for (int i = 0; i < p.y.rows; ++i) {
            double xb = 0.0;
            for (int c = 0; c < 10; ++c) xb += kRandBeta[c] * p.X[i][c];
            const double mu = std::exp(xb), y = p.y[i][0], r = P == 0.0 ? a : a * mu;  // NB1: r = mu / delta
            const double base = std::lgamma(y + r) - std::lgamma(r) - std::lgamma(y + 1);
            const double rest = P == 0.0 ? a * std::log(a / (a + mu)) + y * std::log(mu / (a + mu)) : -r * std::log1p(1 / a) - y * std::log1p(a);
            ASSERT_NEAR(contrib[i], base + rest, 1e-11) << i;
        }
        testing::CheckDerivatives(p.AsLik(), theta, p.y.rows, false, 1e-7);
    }
}

TEST(CountLik, TruncationNormalisesVanishesAsSGrowsAndTablesSumToN) {
    const Vec theta = {1.1, 0.2, 0.3, 0.4};
    for (Model m : {kTruncPoisson, kNegBin}) {
        CountProblem p = Simulate(30, 3, m == kNegBin ? kNegBin : kPoisson);
        p.P = 0.5;
        Vec gfull(4), g(4);
        const double Lfull = p.Eval(theta, {gfull.data()});
        p.model = m;
        for (int S : {1, 4, 12}) {  // one observation's probabilities over 0..S sum to one
            EXPECT_NEAR((CountProblem{Mat(1, 1), Mat(1, 3, {1.0, 0.5, 0.5}), m, S, 0.5}.TableSum(theta, S + 1)), 1.0, 1e-14);
            p.S = S;
            EXPECT_GT(p.Eval(theta, {}), Lfull);  // cutting the tail raises every probability
        }
        p.S = 200;
        EXPECT_NEAR(p.Eval(theta, {g.data()}), Lfull, 1e-11 * std::fabs(Lfull));
        EXPECT_LT(testing::RelDiff(g, gfull), 1e-11);
    }
    for (Model m : {kPoisson, kTruncPoisson, kNegBin}) {  // the table covers the support
        CountProblem p = Simulate(50, 5, m, 0.3);
        p.S = m == kTruncPoisson ? 8 : 0, p.P = 1.0;
        EXPECT_NEAR(p.TableSum(theta, m == kTruncPoisson ? 9 : 80), 50.0, 1e-11);
    }
}

}  // namespace
}  // namespace tessel
