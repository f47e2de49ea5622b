// Impulse responses against simulated shocks, their standard errors against numerical derivatives,
// and the identities the decomposition and the shock types must satisfy.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "dynamics/impulse.h"
#include "tests/dynamics/var_reference.h"

namespace {

using tessel::test::ShockPath;
using tessel::test::Vec;

constexpr int n = 3, s = 2, H = 8, nn = n * n;
const Vec kA = {0.4, 0.1, 0.0, 0.1, -0.05, 0.0,  //
                0.2, 0.3, 0.1, 0.0, 0.1, 0.05,   //
                -0.1, 0.2, 0.5, 0.05, 0.0, -0.2};
const Vec kOmega = {1.0, 0.4, 0.2, 0.4, 0.8, -0.1, 0.2, -0.1, 0.6};

struct Outputs {
    Vec resp = Vec(H * nn), resp_se = Vec(H * nn), acc = Vec(H * nn), acc_se = Vec(H * nn), fevd = Vec(H * nn),
        longrun = Vec(nn), moduli = Vec(n * s);
    int rc = -2;
};

Outputs Impulses(const Vec &A, const Vec &S, const Vec &chol, const double *const *V, bool accumulate, int horizons = H) {
    tessel::ImpulseInput in;
    in.A = A.data();
    in.n = n, in.s = s, in.H = horizons;
    in.S = S.data();
    in.chol = chol.empty() ? nullptr : chol.data();
    in.accumulate = accumulate;
    in.V = V;
    Outputs r;
    r.resp.resize(horizons * nn);
    r.resp_se.resize(horizons * nn);
    r.acc.resize(horizons * nn);
    r.acc_se.resize(horizons * nn);
    r.fevd.resize(horizons * nn);
    tessel::ImpulseOutput out{r.resp.data(), r.resp_se.data(), r.acc.data(), r.acc_se.data(),
                              r.fevd.data(), r.longrun.data(), r.moduli.data()};
    r.rc = tessel::ImpulseResponses(in, out);
    return r;
}

Vec Impact(int shock, const Vec &chol) {
    Vec S(nn);
    EXPECT_EQ(tessel::ImpulseImpact(kOmega.data(), n, shock, chol.data(), S.data()), 0);
    return S;
}

Vec Cholesky(const std::vector<int> &order) {
    Vec P(nn);
    EXPECT_EQ(tessel::ImpulseCholesky(kOmega.data(), n, order.empty() ? nullptr : order.data(), P.data()), 0);
    return P;
}

TEST(Impulse, ResponsesMatchSimulatedShocks) {
    const Vec chol = Cholesky({});
    for (int shock = 0; shock <= 3; ++shock) {
        const Vec S = Impact(shock, chol);
        Outputs r = Impulses(kA, S, chol, nullptr, false);
        EXPECT_EQ(r.rc, 1);
        for (int j = 0; j < n; ++j) {
            Vec impulse(n);
            for (int i = 0; i < n; ++i) impulse[i] = S[i * n + j];
            Vec path = ShockPath(kA, n, s, impulse, H);
            double sum[n] = {};
            for (int h = 0; h < H; ++h)
                for (int i = 0; i < n; ++i) {
                    sum[i] += path[h * n + i];
                    EXPECT_NEAR(r.resp[h * nn + i * n + j], path[h * n + i], 1e-14);
                    EXPECT_NEAR(r.acc[h * nn + i * n + j], sum[i], 1e-13);
                }
        }
    }
    // The accumulate flag puts the accumulated responses in the first output.
    const Vec S = Impact(1, chol);
    Outputs plain = Impulses(kA, S, chol, nullptr, false), summed = Impulses(kA, S, chol, nullptr, true);
    EXPECT_EQ(summed.resp, plain.acc);
    EXPECT_TRUE(std::isnan(plain.resp_se[0]) && std::isnan(plain.acc_se[H * nn - 1]));
}

TEST(Impulse, ShockTypesAndOrdering) {
    const std::vector<int> order = {2, 0, 1};
    const Vec P = Cholesky(order);
    // P P' = Omega, and P is lower triangular in the chosen order.
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b) {
            double v = 0.0;
            for (int k = 0; k < n; ++k) v += P[a * n + k] * P[b * n + k];
            EXPECT_NEAR(v, kOmega[a * n + b], 1e-14);
            if (b > a) {
                EXPECT_EQ(P[order[a] * n + order[b]], 0.0);
            }
        }
    // Generalised impulses coincide with orthogonalised ones for the variable ordered first.
    const Vec G = Impact(2, P), O = Impact(1, P);
    Outputs g = Impulses(kA, G, P, nullptr, false), o = Impulses(kA, O, P, nullptr, false);
    const int first = order[0];
    for (int h = 0; h < H; ++h)
        for (int i = 0; i < n; ++i) EXPECT_NEAR(g.resp[h * nn + i * n + first], o.resp[h * nn + i * n + first], 1e-14);
    EXPECT_GT(std::fabs(g.resp[1 * n + 0] - o.resp[1 * n + 0]), 1e-3);  // but not for the others
    // One-standard-deviation shocks scale the unit responses.
    const Vec D = Impact(3, P), U = Impact(0, P);
    Outputs d = Impulses(kA, D, P, nullptr, false), u = Impulses(kA, U, P, nullptr, false);
    for (int k = 0; k < H * nn; ++k) EXPECT_NEAR(d.resp[k], u.resp[k] * std::sqrt(kOmega[(k % n) * n + k % n]), 1e-14);
    // A non-positive-definite Omega cannot be factored; a zero variance has no standard deviation.
    const Vec bad = {1.0, 2.0, 0.0, 2.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    Vec Pbad(nn), Sbad(nn);
    EXPECT_EQ(tessel::ImpulseCholesky(bad.data(), n, nullptr, Pbad.data()), 1);
    EXPECT_TRUE(std::isnan(Pbad[0]));
    EXPECT_EQ(tessel::ImpulseImpact(bad.data(), n, 1, Pbad.data(), Sbad.data()), 1);
    const Vec zero_var = {1.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(tessel::ImpulseImpact(zero_var.data(), n, 2, nullptr, Sbad.data()), 1);
    EXPECT_EQ(tessel::ImpulseImpact(zero_var.data(), n, 0, nullptr, Sbad.data()), 0);
}

TEST(Impulse, VarianceDecompositionAndLongRun) {
    const std::vector<int> order = {1, 2, 0};
    const Vec P = Cholesky(order);
    Outputs r = Impulses(kA, Impact(0, P), P, nullptr, false, 200);
    for (int h = 0; h < 200; ++h)
        for (int i = 0; i < n; ++i) {
            double total = 0.0;
            for (int j = 0; j < n; ++j) {
                const double share = r.fevd[h * nn + i * n + j];
                EXPECT_GE(share, 0.0);
                total += share;
            }
            EXPECT_NEAR(total, 1.0, 1e-14);
        }
    // One step ahead the variable ordered first owes all its variance to its own shock.
    EXPECT_NEAR(r.fevd[order[0] * n + order[0]], 1.0, 1e-15);
    // Two steps ahead, by hand: Theta_0 = P, Theta_1 = A_1 P.
    Vec T1(nn, 0.0);
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b)
            for (int k = 0; k < n; ++k) T1[a * n + b] += kA[a * n * s + k] * P[k * n + b];
    for (int i = 0; i < n; ++i) {
        double mse = 0.0;
        for (int j = 0; j < n; ++j) mse += P[i * n + j] * P[i * n + j] + T1[i * n + j] * T1[i * n + j];
        for (int j = 0; j < n; ++j)
            EXPECT_NEAR(r.fevd[nn + i * n + j], (P[i * n + j] * P[i * n + j] + T1[i * n + j] * T1[i * n + j]) / mse,
                        1e-14);
    }
    // The accumulated responses to unit shocks converge to the long-run multipliers.
    EXPECT_EQ(r.rc, 1);
    for (int k = 0; k < nn; ++k) EXPECT_NEAR(r.acc[199 * nn + k], r.longrun[k], 1e-10);
    EXPECT_LT(r.moduli[0], 1.0);
    for (int k = 1; k < n * s; ++k) EXPECT_LE(r.moduli[k], r.moduli[k - 1]);

    // A system with a unit root: responses still computed, multipliers NaN.
    Vec unit = kA;
    for (int k = 0; k < n * n * s; ++k) unit[k] = 0.0;
    unit[0] = 1.0;
    Outputs u = Impulses(unit, Impact(0, P), P, nullptr, false);
    EXPECT_EQ(u.rc, 0);
    EXPECT_TRUE(std::isnan(u.longrun[0]));
    EXPECT_EQ(u.acc[(H - 1) * nn], H);
}

TEST(Impulse, StandardErrorsMatchNumericalDerivatives) {
    const int P = n * n * s;
    Vec Vd(P * P);
    std::vector<double *> rows(P);
    for (int a = 0; a < P; ++a) {
        rows[a] = Vd.data() + a * P;
        for (int b = 0; b < P; ++b) Vd[a * P + b] = (a == b ? 0.04 : 0.0) + 0.001 * std::cos(a + b);
    }
    const Vec chol = Cholesky({});
    const Vec S = Impact(1, chol);
    Outputs r = Impulses(kA, S, chol, rows.data(), false);
    Outputs acc = Impulses(kA, S, chol, rows.data(), true);
    // Jacobian of the simulated responses with respect to the coefficients (Omega held fixed).
    auto responses = [&](const Vec &A) {
        Vec out(H * nn), sum(H * nn);
        for (int j = 0; j < n; ++j) {
            Vec impulse(n);
            for (int i = 0; i < n; ++i) impulse[i] = S[i * n + j];
            Vec path = ShockPath(A, n, s, impulse, H);
            for (int h = 0; h < H; ++h)
                for (int i = 0; i < n; ++i) {
                    out[h * nn + i * n + j] = path[h * n + i];
                    sum[h * nn + i * n + j] = path[h * n + i] + (h > 0 ? sum[(h - 1) * nn + i * n + j] : 0.0);
                }
        }
        out.insert(out.end(), sum.begin(), sum.end());
        return out;
    };
    std::vector<Vec> J(P);
    for (int p = 0; p < P; ++p) {
        Vec up = kA, down = kA;
        up[p] += 1e-6;
        down[p] -= 1e-6;
        Vec fu = responses(up), fd = responses(down);
        J[p].resize(fu.size());
        for (size_t k = 0; k < fu.size(); ++k) J[p][k] = (fu[k] - fd[k]) / 2e-6;
    }
    for (int k = 0; k < 2 * H * nn; ++k) {
        double v = 0.0;
        for (int p = 0; p < P; ++p)
            for (int q = 0; q < P; ++q) v += J[p][k] * Vd[p * P + q] * J[q][k];
        const double se = k < H * nn ? r.resp_se[k] : r.acc_se[k - H * nn];
        EXPECT_NEAR(se, std::sqrt(v), 1e-7) << k;
    }
    EXPECT_EQ(acc.resp_se, r.acc_se);
    EXPECT_EQ(r.resp_se[0], 0.0);  // the impact of a shock does not depend on A
}

}  // namespace
