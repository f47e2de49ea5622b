// Impulse responses against simulated shocks, their standard errors against numerical derivatives,
// and the identities that the shock types and the variance decomposition must satisfy.
#include <gtest/gtest.h>

#include <cmath>

#include "dynamics/impulse.h"
#include "tests/dynamics/var_reference.h"

namespace {

using namespace tessel::test;

constexpr int n = 3, s = 2, nn = n * n, P = n * n * s;
const Vec kA = {0.4, 0.1, 0.0,  0.1, -0.05, 0.0, 0.2, 0.3, 0.1, 0.0, 0.1, 0.05, -0.1, 0.2, 0.5, 0.05, 0.0, -0.2};
const Vec kOmega = {1.0, 0.4, 0.2, 0.4, 0.8, -0.1, 0.2, -0.1, 0.6};
const int kOrder[n] = {2, 0, 1};

struct Out {
    Vec resp, se, acc, acc_se, fevd, lr = Vec(nn), mod = Vec(n * s);
    int rc = 0;
};

Out Responses(const Vec &A, int shock, int H, const Square *V = nullptr, bool accumulate = false) {
    Vec chol(nn), S(nn);
    EXPECT_EQ(tessel::ImpulseCholesky(kOmega.data(), n, kOrder, chol.data()), 0);
    EXPECT_EQ(tessel::ImpulseImpact(kOmega.data(), n, shock, chol.data(), S.data()), 0);
    Out o{Vec(H * nn), Vec(H * nn), Vec(H * nn), Vec(H * nn), Vec(H * nn)};
    o.rc = tessel::ImpulseResponses({A.data(), n, s, H, S.data(), chol.data(), accumulate, V ? V->rows.data() : nullptr},
                                    {o.resp.data(), o.se.data(), o.acc.data(), o.acc_se.data(), o.fevd.data(),
                                     o.lr.data(), o.mod.data()});
    return o;
}

TEST(Impulse, ResponsesMatchSimulatedShocksForEveryShockType) {
    const int H = 8;
    Out out[4];
    for (int shock = 0; shock < 4; ++shock) {
        out[shock] = Responses(kA, shock, H);
        EXPECT_EQ(out[shock].rc, 1);
        for (int j = 0; j < n; ++j) {
            const Vec &r = out[shock].resp;
            const Vec path = ShockPath(kA, n, s, {r[j], r[n + j], r[2 * n + j]}, H);  // from the impact column
            double sum[n] = {};
            for (int k = 0; k < H * n; ++k) {
                EXPECT_NEAR(r[k / n * nn + k % n * n + j], path[k], 1e-14);
                EXPECT_NEAR(out[shock].acc[k / n * nn + k % n * n + j], sum[k % n] += path[k], 1e-13);
            }
        }
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            EXPECT_EQ(out[0].resp[i * n + j], i == j);                                       // unit shocks
            EXPECT_EQ(out[3].resp[i * n + j], i == j ? std::sqrt(kOmega[i * n + i]) : 0.0);  // one s.d.
            EXPECT_NEAR(out[2].resp[i * n + j], kOmega[i * n + j] / std::sqrt(kOmega[j * n + j]), 1e-15);
            double v = 0.0;  // P P' = Omega, P lower triangular in the chosen order
            for (int k = 0; k < n; ++k) v += out[1].resp[i * n + k] * out[1].resp[j * n + k];
            EXPECT_NEAR(v, kOmega[i * n + j], 1e-14);
            EXPECT_TRUE(j <= i || out[1].resp[kOrder[i] * n + kOrder[j]] == 0.0);
        }
    // Generalised impulses are the orthogonalised ones for the variable ordered first, only for it.
    for (int k = 0; k < H * n; ++k)
        EXPECT_NEAR(out[2].resp[k / n * nn + k % n * n + kOrder[0]], out[1].resp[k / n * nn + k % n * n + kOrder[0]], 1e-14);
    EXPECT_GT(std::fabs(out[2].resp[nn + 1] - out[1].resp[nn + 1]), 1e-3);
    // Accumulating moves the accumulated responses into the first output.
    EXPECT_EQ(Responses(kA, 1, H, nullptr, true).resp, out[1].acc);
    EXPECT_TRUE(std::isnan(out[1].se[0]) && std::isnan(out[1].acc_se[H * nn - 1]));
}

TEST(Impulse, DecompositionSumsToOneAndLongRunLimit) {
    const int H = 200;
    const Out o = Responses(kA, 0, H);
    for (int k = 0; k < H * n; ++k) EXPECT_NEAR(o.fevd[k * n] + o.fevd[k * n + 1] + o.fevd[k * n + 2], 1.0, 1e-14);
    EXPECT_NEAR(o.fevd[kOrder[0] * n + kOrder[0]], 1.0, 1e-15);  // one step ahead, all its own shock
    for (int k = 0; k < nn; ++k) EXPECT_NEAR(o.acc[(H - 1) * nn + k], o.lr[k], 1e-10);
    for (int k = 1; k < n * s; ++k) EXPECT_LE(o.mod[k], o.mod[k - 1]);
    Vec walk(n * n * s, 0.0);
    walk[0] = 1.0;
    const Out u = Responses(walk, 0, 5);  // unit root: responses computed, no multipliers
    EXPECT_EQ(u.rc, 0);
    EXPECT_TRUE(std::isnan(u.lr[0]));
    EXPECT_EQ(u.acc[4 * nn], 5.0);
}

TEST(Impulse, StandardErrorsMatchNumericalDerivatives) {
    const int H = 6;
    Square V(P, [](int a, int b) { return (a == b ? 0.04 : 0.0) + 0.001 * std::cos(a + b); });
    // Derivatives of the responses and their sums, Omega held fixed.
    const auto J = Jacobian([](const Vec &A) {
        Out o = Responses(A, 1, H);
        o.resp.insert(o.resp.end(), o.acc.begin(), o.acc.end());
        return o.resp;
    }, kA);
    const Out o = Responses(kA, 1, H, &V), acc = Responses(kA, 1, H, &V, true);
    for (int k = 0; k < 2 * H * nn; ++k)
        EXPECT_NEAR(k < H * nn ? o.se[k] : o.acc_se[k - H * nn], std::sqrt(DeltaCov(J, V, k, k)), 1e-7) << k;
    EXPECT_EQ(acc.se, o.acc_se);
    // A singular covariance (one coefficient held fixed) takes another path to the same forms.
    for (int k = 0; k < P; ++k) V.v[5 * P + k] = V.v[k * P + 5] = 0.0;
    const Out fixed = Responses(kA, 1, H, &V);
    for (int k = 0; k < H * nn; ++k) EXPECT_NEAR(fixed.se[k], std::sqrt(DeltaCov(J, V, k, k)), 1e-7) << k;
}

}  // namespace
