#include "choice/logit.h"
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <random>
#include "tests/choice/test_support.h"

namespace tessel {
namespace {
using testing::Mat;
using testing::Vec;

struct Problem {
    int N, J, kx, nz;
    Mat y, X, Z, w, off;
    bool grouped;
    int n() const { return (J - 1) * kx + nz; }
    // Evaluates on a copy of Z, or on *z, which is then centred when information is requested.
    double Eval(const Vec &th, LikOutputs out, Mat *z = nullptr) const {
        Mat copy = Z;
        LogitData d{N, J, y.p(), X.p(), kx, (z ? *z : copy).p(), nz * J, w.rows ? w.v.data() : nullptr, off.p()};
        double L = NAN;
        EXPECT_TRUE(grouped ? LogitLikGrouped(n(), th.data(), &L, out, d) : LogitLikChoice(n(), th.data(), &L, out, d));
        return L;
    }
    testing::Lik AsLik() const {
        return [this](const Vec &th, double *g, double *const *info, double *const *outer, double *c) {
            return Eval(th, {g, info, nullptr, c, outer});
        };
    }
};

Vec Normals(int n, unsigned seed, double scale = 0.4) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd(0.0, scale);
    Vec v(n);
    return std::generate(v.begin(), v.end(), [&] { return nd(rng); }), v;
}

// A constant among the X columns; y holds choices (some fractional, truncated) or counts per alternative.
Problem Simulate(int N, int J, int kx, int nz, bool weights, bool offsets, bool grouped, unsigned seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    Problem p{N, J, kx, nz, Mat(N, grouped ? J : 1), Mat(N, kx), Mat(N, nz * J), Mat(weights ? N : 0, 1), Mat(offsets ? N : 0, J), grouped};
    for (int i = 0; i < N; ++i) {
        for (int c = 0; c < kx; ++c) p.X[i][c] = c ? nd(rng) : 1.0;
        for (int c = 0; c < nz * J; ++c) p.Z[i][c] = 2.0 + nd(rng);
        for (int c = 0; c < (offsets ? J : 0); ++c) p.off[i][c] = 0.3 * nd(rng);
        if (weights) p.w[i][0] = 0.5 + std::fabs(nd(rng));
        for (int c = 0; c < p.y.cols; ++c) p.y[i][c] = grouped ? std::floor(4.0 * std::fabs(nd(rng))) : rng() % J + 0.5;
    }
    return p;
}

// Choices with and without weights and offsets, Z only, counts, and shares.
TEST(LogitLik, DerivativesOfChoiceAndGroupedForms) {
    Problem problems[] = {Simulate(40, 4, 3, 2, false, false, false, 1), Simulate(35, 3, 2, 1, true, true, false, 2),
                          Simulate(30, 3, 0, 3, false, true, false, 3), Simulate(30, 4, 2, 2, true, true, true, 4),
                          Simulate(30, 3, 3, 1, false, false, true, 5)};
    for (int i = 0; i < 30; ++i) {
        double *y = problems[4].y[i], t = y[0] + y[1] + y[2] + 0.75;
        for (int j = 0; j < 3; ++j) y[j] = (y[j] + 0.25) / t;
    }
    for (const Problem &p : problems) testing::CheckDerivatives(p.AsLik(), Normals(p.n(), 9), p.N, true);
}

TEST(LogitLik, InformationCentresZWithoutChangingResults) {
    const Problem p = Simulate(20, 3, 2, 2, false, false, false, 10);
    const int n = p.n();
    const Vec th = Normals(n, 11);
    Mat z = p.Z, z2 = p.Z, info(n, n), info2(n, n), prob(p.N, p.J);
    Vec g1(n), g2(n);
    const double L = p.Eval(th, {g1.data(), info.p(), prob.p()}, &z);
    for (int i = 0; i < p.N * p.nz; ++i) {
        const double *zi = z[i / p.nz] + 3 * (i % p.nz), *pi = prob[i / p.nz];
        EXPECT_NEAR(pi[0] * zi[0] + pi[1] * zi[1] + pi[2] * zi[2], 0.0, 1e-13);
    }
    EXPECT_NEAR(p.Eval(th, {g2.data(), info2.p()}, &z), L, 1e-12);
    EXPECT_LT(testing::RelDiff(g2, g1) + testing::RelDiff(info2.v, info.v), 1e-13);
    p.Eval(th, {g2.data()}, &z2);
    EXPECT_EQ(z2.v, p.Z.v);  // no information, no centring
}

TEST(LogitLik, ProbabilityFloorAndOverflow) {
    const double x[1] = {1.0}, deep[2] = {-200.0, 5.0}, high[2] = {900.0, 899.0}, zero[2] = {0, 0}, off[3] = {-800, -800, -800};
    double P[3];
    LogitProbabilities(deep, 3, x, 1, nullptr, 0, nullptr, P);
    EXPECT_EQ(P[1], 0x1p-104);  // about 1e-89, floored: log P is -72.1, not -inf
    EXPECT_NEAR(P[2], 1.0 / (1.0 + std::exp(-5.0)), 1e-15);
    LogitProbabilities(high, 3, x, 1, nullptr, 0, nullptr, P);
    EXPECT_NEAR(P[1], 1.0 / (1.0 + std::exp(-1.0)), 1e-15);
    LogitProbabilities(zero, 3, x, 1, nullptr, 0, off, P);  // the shift starts at 0: everything underflows
    EXPECT_FALSE(std::isfinite(P[0]));
}

TEST(LogitMarginalEffects, MatchNumericalDerivativesOfProbabilities) {
    const int J = 4, kx = 3, nz = 2, kz = nz * J;
    const Vec theta = Normals((J - 1) * kx + nz, 12), xz = Normals(kx + kz, 13, 1.0);
    Mat me(kx + kz, J, Vec((kx + kz) * J, -7.0));
    double P[J];
    LogitProbabilities(theta.data(), J, xz.data(), kx, xz.data() + kx, nz, nullptr, P);
    LogitMarginalEffects(theta.data(), P, kx, J, kz, me.p());
    for (int j = 0; j < J; ++j) {
        const Vec d = testing::NumGradient([&](const Vec &v) {
            double Pv[J];
            LogitProbabilities(theta.data(), J, v.data(), kx, v.data() + kx, nz, nullptr, Pv);
            return Pv[j];
        }, xz);
        for (int i = 0; i < kx + nz; ++i) EXPECT_NEAR(me[i][j], d[i < kx ? i : i + (i - kx) * (J - 1) + j], 1e-10);  // Z: own alternative
        EXPECT_EQ(me[kx + kz - 1][j], -7.0);  // not written
    }
}

// 210 travellers choosing air, train, bus or car: conditional logit on generalised cost and terminal
// time with mode constants and income effects.
TEST(LogitLik, ModeChoiceConditionalLogit) {
    const Mat raw = testing::ReadTable("modechoice.csv", ';');
    ASSERT_EQ(raw.rows, 840);
    Problem p{210, 4, 2, 2, Mat(210, 1), Mat(210, 2), Mat(210, 8), Mat(), Mat(), false};
    for (int i = 0; i < 840; ++i) {
        const double *r = raw[i];  // individual, mode, choice, ttme, invc, invt, gc, hinc, psize
        const int t = i / 4, j = i % 4;
        if (r[2] == 1.0) p.y[t][0] = j;
        p.Z[t][j] = r[6] / 100.0, p.Z[t][4 + j] = r[3] / 100.0, p.X[t][0] = 1.0, p.X[t][1] = r[7] / 100.0;
    }
    testing::CheckDerivatives(p.AsLik(), {0.5, 0.1, 0.3, -0.2, 0.2, 0.4, -1.0, -3.0}, p.N, true, 1e-7);
}

}  // namespace
}  // namespace tessel
