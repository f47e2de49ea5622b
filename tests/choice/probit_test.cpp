#include "choice/probit.h"
#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include "numeric/distributions.h"
#include "tests/choice/test_support.h"

namespace tessel {
namespace {
using testing::Mat;
using testing::Vec;

struct ProbitProblem {
    Mat y, X, w;
    double Eval(const Vec &th, LikOutputs out) const {
        double L = NAN;
        ProbitLik(static_cast<int>(th.size()), th.data(), &L, out, {y.rows, y.p(), X.p(), X.cols, w.rows ? w.v.data() : nullptr});
        return L;
    }
};

TEST(ProbitLik, GradientOuterProductAndExpectedInformation) {
    const int N = 60;
    std::mt19937 rng(1);
    std::normal_distribution<double> nd;
    ProbitProblem p{Mat(N, 1), Mat(N, 3), Mat(N, 1)};
    for (int i = 0; i < N; ++i) {
        p.X[i][0] = 1.0, p.X[i][1] = nd(rng), p.X[i][2] = nd(rng), p.w[i][0] = 0.5 + 0.1 * (i % 7);
        p.y[i][0] = 0.3 + 0.5 * p.X[i][1] - 0.5 * p.X[i][2] + nd(rng) > 0 ? 1.0 : 0.0;
    }
    const Vec theta = {0.2, 0.4, -0.3, 9.0};  // one more than the regressors: gradient stays 0 there
    auto lik = [&](const Vec &t, double *g, double *const *, double *const *outer, double *c) { return p.Eval(t, {g, nullptr, nullptr, c, outer}); };
    testing::CheckDerivatives(lik, theta, N, false, 1e-9);
    // Expected information in closed form: sum of w phi^2 / (Phi (1 - Phi)) x x'.
    Mat info(4, 4), closed(4, 4), prob(N, 2);
    Vec g(4);
    p.Eval(theta, {g.data(), info.p(), prob.p()});
    EXPECT_EQ(g[3], 0.0);
    for (int i = 0; i < N; ++i) {
        const double xb = 0.2 * p.X[i][0] + 0.4 * p.X[i][1] - 0.3 * p.X[i][2], P1 = NormalCdf(xb);
        const double f = p.w[i][0] * std::pow(NormalDensity(xb), 2) / (P1 * NormalUpperTail(xb));
        EXPECT_NEAR(prob[i][1], P1, 1e-15);
        for (int r = 0; r < 9; ++r) closed[r / 3][r % 3] += f * p.X[i][r / 3] * p.X[i][r % 3];
    }
    EXPECT_LT(testing::RelDiff(info.v, closed.v), 1e-13);
}

TEST(ProbitLik, OneSidedFloor) {
    // xb = 40 with outcome 0.99 (counts as 0): P0 floored. xb = -40 with outcome 1: P1 = 0, log 0.
    const ProbitProblem p{Mat(3, 1, {0.99, 1.0, 1.5}), Mat(3, 1, {40.0, -40.0, 0.0}), Mat()};
    Vec contrib(3), g(1);
    Mat prob(3, 2);
    EXPECT_EQ(p.Eval({1.0}, {g.data(), nullptr, prob.p(), contrib.data()}), -INFINITY);
    EXPECT_NEAR(contrib[0], -104 * std::log(2.0), 1e-12);
    EXPECT_TRUE(prob[0][0] == 0x1p-104 && contrib[1] == -INFINITY && prob[1][1] == 0.0);
    EXPECT_NEAR(contrib[2], std::log(0.5), 1e-15);
    const ProbitProblem q{Mat(1, 1, {0.0}), Mat(1, 1, {8.5}), Mat()};  // floored P0 in the denominators
    EXPECT_TRUE(std::isfinite(q.Eval({1.0}, {g.data()})) && std::isfinite(g[0]));
}

}  // namespace
}  // namespace tessel
