#include "choice/probit.h"

#include <cmath>

#include <gtest/gtest.h>

#include "numeric/distributions.h"
#include "tests/choice/test_support.h"

namespace tessel {
namespace {

using testing::Mat;
using testing::NumGradient;
using testing::RelDiff;

struct ProbitProblem {
    int N, k;
    Mat y, X, w;
    double Eval(const std::vector<double> &th, const LikOutputs &out) {
        ProbitData d;
        d.N = N;
        d.y = y.p();
        d.X = X.p();
        d.k = k;
        d.w = w.rows ? w.data.data() : nullptr;
        double L = NAN;
        ProbitLik(static_cast<int>(th.size()), th.data(), &L, out, d);
        return L;
    }
};

ProbitProblem Simulate(int N, int k, bool weights, unsigned seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    ProbitProblem p{N, k, Mat(N, 1), Mat(N, k), Mat()};
    for (int i = 0; i < N; ++i) {
        double xb = 0.3;
        for (int c = 0; c < k; ++c) {
            p.X[i][c] = c == 0 ? 1.0 : nd(rng);
            xb += 0.5 * p.X[i][c];
        }
        p.y[i][0] = xb + nd(rng) > 0 ? 1.0 : 0.0;
    }
    if (weights) {
        p.w = Mat(N, 1);
        for (int i = 0; i < N; ++i) p.w[i][0] = 0.5 + 0.1 * (i % 7);
    }
    return p;
}

TEST(ProbitLik, LikelihoodGradientAndOuterProduct) {
    for (bool weights : {false, true}) {
        ProbitProblem p = Simulate(80, 3, weights, weights ? 2 : 1);
        const std::vector<double> theta = {0.2, 0.4, -0.3, 9.0};  // one more than k: left at zero
        const int n = 4;
        std::vector<double> g(n), contrib(p.N);
        Mat outer(n, n), prob(p.N, 2);
        LikOutputs out;
        out.grad = g.data();
        out.outer = outer.p();
        out.prob = prob.p();
        out.contrib = contrib.data();
        const double L = p.Eval(theta, out);

        double direct = 0.0;
        for (int i = 0; i < p.N; ++i) {
            const double xb = 0.2 * p.X[i][0] + 0.4 * p.X[i][1] - 0.3 * p.X[i][2];
            const double wi = weights ? p.w[i][0] : 1.0;
            const double li = wi * std::log(p.y[i][0] == 1.0 ? NormalCdf(xb) : NormalCdf(-xb));
            EXPECT_NEAR(contrib[i], li, 1e-13);
            EXPECT_NEAR(prob[i][1], NormalCdf(xb), 1e-15);
            EXPECT_NEAR(prob[i][0] + prob[i][1], 1.0, 1e-15);
            direct += li;
        }
        EXPECT_NEAR(L, direct, 1e-11);

        auto loglik = [&](const std::vector<double> &t) { return p.Eval(t, LikOutputs{}); };
        EXPECT_LT(RelDiff(g, NumGradient(loglik, theta)), 1e-9);
        EXPECT_EQ(g[3], 0.0);

        Mat opg(n, n);
        for (int i = 0; i < p.N; ++i) {
            auto li = [&](const std::vector<double> &t) {
                std::vector<double> cc(p.N);
                LikOutputs o;
                o.contrib = cc.data();
                p.Eval(t, o);
                return cc[i];
            };
            const std::vector<double> gi = NumGradient(li, theta);
            for (int r = 0; r < n; ++r)
                for (int c = 0; c < n; ++c) opg[r][c] += gi[r] * gi[c];
        }
        EXPECT_LT(RelDiff(outer.data, opg.data), 1e-8);
    }
}

// The expected information is E[s s'] over the outcome: P1 s(1) s(1)' + P0 s(0) s(0)', with the
// score s(c) of each possible outcome; in closed form phi^2 / (Phi (1 - Phi)) x x'.
TEST(ProbitLik, ExpectedInformation) {
    ProbitProblem p = Simulate(50, 3, true, 3);
    const std::vector<double> theta = {-0.1, 0.7, 0.2};
    const int n = 3;
    Mat info(n, n);
    LikOutputs out;
    out.info = info.p();
    p.Eval(theta, out);
    Mat expect(n, n), closed(n, n);
    for (int i = 0; i < p.N; ++i) {
        double P0, P1;
        const double phi = ProbitProbabilities(theta.data(), p.X[i], n, &P0, &P1);
        const double xb = theta[0] * p.X[i][0] + theta[1] * p.X[i][1] + theta[2] * p.X[i][2];
        EXPECT_NEAR(phi, NormalDensity(xb), 1e-16);
        const double w = p.w[i][0];
        std::vector<double> s0(n), s1(n);
        ProbitScore(s0.data(), 0, P0, P1, phi, p.X[i], n, 1.0);
        ProbitScore(s1.data(), 1, P0, P1, phi, p.X[i], n, 1.0);
        const double f = w * std::pow(NormalDensity(xb), 2) / (NormalCdf(xb) * NormalCdf(-xb));
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < n; ++c) {
                expect[r][c] += w * (P1 * s1[r] * s1[c] + P0 * s0[r] * s0[c]);
                closed[r][c] += f * p.X[i][r] * p.X[i][c];
            }
    }
    EXPECT_LT(RelDiff(info.data, expect.data), 1e-13);
    EXPECT_LT(RelDiff(info.data, closed.data), 1e-13);
}

TEST(ProbitLik, OneSidedFloorAndTruncatedOutcomes) {
    ProbitProblem p{3, 1, Mat(3, 1), Mat(3, 1), Mat()};
    p.X[0][0] = 40.0;  // P1 = 1, P0 floored: outcome 0 costs log 2^-104
    p.y[0][0] = 0.99;  // counts as 0
    p.X[1][0] = -40.0;  // P1 = Phi(-40) underflows to 0 and is not floored
    p.y[1][0] = 1.0;
    p.X[2][0] = 0.0;
    p.y[2][0] = 1.5;
    std::vector<double> contrib(3), g(1);
    Mat prob(3, 2);
    LikOutputs out;
    out.contrib = contrib.data();
    out.prob = prob.p();
    const double L = p.Eval({1.0}, out);
    EXPECT_NEAR(contrib[0], -104 * std::log(2.0), 1e-12);
    EXPECT_EQ(prob[0][0], 0x1p-104);
    EXPECT_EQ(contrib[1], -INFINITY);
    EXPECT_EQ(prob[1][1], 0.0);
    EXPECT_NEAR(contrib[2], std::log(0.5), 1e-15);
    EXPECT_EQ(L, -INFINITY);
    // The floored P0 enters the denominators: the gradient stays finite for observation 0.
    p.N = 1;
    out = LikOutputs{};
    out.grad = g.data();
    p.Eval({1.0}, out);
    EXPECT_TRUE(std::isfinite(g[0]));
}

}  // namespace
}  // namespace tessel
