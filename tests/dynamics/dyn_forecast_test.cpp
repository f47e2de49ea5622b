// Dynamic forecasts of a VAR(2) with an exogenous variable, against the system iterated by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "dynamics/dyn_forecast.h"
#include "dynamics/var_system.h"
#include "tests/dynamics/var_reference.h"

namespace {

using tessel::test::IterateSystem;
using tessel::test::ShockPath;
using tessel::test::Vec;

constexpr int n = 2, s = 2, m = 1, H = 6;
const Vec kA = {0.5, 0.1, 0.2, -0.1,  //
                0.3, 0.4, -0.1, 0.15};
const Vec kB = {1.0, -0.5};
const Vec kOmega = {1.0, 0.3, 0.3, 0.5};
const Vec kY = {0.1, 0.2, 0.5, -0.3, 1.0, 0.4};  // T = 3
const Vec kZ = {1, 0.5, -1, 2, 0, 1};

// Forecasts from coefficients theta = row-major [A B].
Vec ForecastAt(const Vec &theta) {
    Vec A(n * n * s), B(n * m);
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n * s; ++c) A[r * n * s + c] = theta[r * (n * s + m) + c];
        for (int j = 0; j < m; ++j) B[r * m + j] = theta[r * (n * s + m) + n * s + j];
    }
    return IterateSystem(A, B, n, s, m, Vec(kY.begin() + 2, kY.end()), kZ, H);
}

Vec Theta() {
    Vec t;
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n * s; ++c) t.push_back(kA[r * n * s + c]);
        for (int j = 0; j < m; ++j) t.push_back(kB[r * m + j]);
    }
    return t;
}

struct Outputs {
    Vec forecast = Vec(H * n), se = Vec(H * n), se_param = Vec(H * n), cov = Vec(H * n * n), error = Vec(H * n),
        std_error = Vec(H * n), chi2 = Vec(H), psi = Vec(H * n * n);
};

Outputs Forecast(const double *const *V, const Vec &actual, bool add_param) {
    tessel::DynForecastInput in;
    in.Y = kY.data();
    in.T = 3;
    in.Z = kZ.data();
    in.A = kA.data();
    in.B = kB.data();
    in.n = n, in.s = s, in.m = m, in.H = H;
    in.Omega = kOmega.data();
    in.V = V;
    in.actual = actual.empty() ? nullptr : actual.data();
    in.add_param = add_param;
    Outputs r;
    tessel::DynForecastOutput out{r.forecast.data(), r.se.data(),        r.se_param.data(), r.cov.data(),
                                  r.error.data(),    r.std_error.data(), r.chi2.data(),     r.psi.data()};
    EXPECT_EQ(tessel::DynForecast(in, out), 0);
    return r;
}

TEST(DynForecast, ForecastsAndMovingAverageMatricesMatchIteration) {
    Outputs r = Forecast(nullptr, {}, false);
    Vec direct = ForecastAt(Theta());
    for (int k = 0; k < H * n; ++k) EXPECT_NEAR(r.forecast[k], direct[k], 1e-13);
    // Column j of Psi_h is the response at h to a unit impulse in variable j.
    for (int j = 0; j < n; ++j) {
        Vec e(n, 0.0);
        e[j] = 1.0;
        Vec path = ShockPath(kA, n, s, e, H);
        for (int h = 0; h < H; ++h)
            for (int i = 0; i < n; ++i) EXPECT_NEAR(r.psi[h * n * n + i * n + j], path[h * n + i], 1e-14);
    }
    // Innovation part: the sum of Psi_j Omega Psi_j' up to the horizon.
    Vec sum(n * n, 0.0);
    for (int h = 0; h < H; ++h) {
        const double *P = r.psi.data() + h * n * n;
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b)
                for (int c = 0; c < n; ++c)
                    for (int d = 0; d < n; ++d) sum[a * n + b] += P[a * n + c] * kOmega[c * n + d] * P[b * n + d];
        for (int k = 0; k < n * n; ++k) EXPECT_NEAR(r.cov[h * n * n + k], sum[k], 1e-12);
        for (int i = 0; i < n; ++i) EXPECT_NEAR(r.se[h * n + i], std::sqrt(sum[i * n + i]), 1e-12);
        EXPECT_TRUE(std::isnan(r.se_param[h * n + 0]));  // no coefficient covariance
        EXPECT_TRUE(std::isnan(r.error[h * n]) && std::isnan(r.chi2[h]));
    }
    EXPECT_NEAR(r.se[0], 1.0, 1e-15);
}

TEST(DynForecast, CoefficientUncertaintyMatchesNumericalDerivatives) {
    const Vec theta = Theta();
    const int P = static_cast<int>(theta.size());
    // A full, positive definite coefficient covariance.
    Vec Vd(P * P);
    std::vector<double *> rows(P);
    for (int a = 0; a < P; ++a) {
        rows[a] = Vd.data() + a * P;
        for (int b = 0; b < P; ++b) Vd[a * P + b] = (a == b ? 0.03 : 0.0) + 0.002 * std::cos(a - 2.0 * b) * std::cos(b - 2.0 * a);
    }
    for (int a = 0; a < P; ++a)
        for (int b = 0; b < a; ++b) Vd[a * P + b] = Vd[b * P + a];
    const Vec actual = {0.3, 0.1, -0.2, 0.5, 1.1, 0.7, 0.2, 0.0, -0.4, 0.9, 0.6, 0.3};
    Outputs plain = Forecast(rows.data(), actual, false);
    Outputs added = Forecast(rows.data(), actual, true);

    // Jacobian of the forecasts by central differences.
    std::vector<Vec> J(P);
    for (int p = 0; p < P; ++p) {
        Vec up = theta, down = theta;
        up[p] += 1e-6;
        down[p] -= 1e-6;
        Vec fu = ForecastAt(up), fd = ForecastAt(down);
        J[p].resize(H * n);
        for (int k = 0; k < H * n; ++k) J[p][k] = (fu[k] - fd[k]) / 2e-6;
    }
    for (int h = 0; h < H; ++h) {
        double Sigma[n][n];
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) {
                double v = plain.cov[h * n * n + a * n + b];
                for (int p = 0; p < P; ++p)
                    for (int q = 0; q < P; ++q) v += J[p][h * n + a] * Vd[p * P + q] * J[q][h * n + b];
                Sigma[a][b] = v;
                EXPECT_NEAR(added.cov[h * n * n + a * n + b], v, 1e-7 * (1 + std::fabs(v)));
            }
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(plain.se_param[h * n + i], std::sqrt(Sigma[i][i]), 1e-7);
            EXPECT_NEAR(added.se_param[h * n + i], plain.se_param[h * n + i], 1e-14);
            const double e = actual[h * n + i] - plain.forecast[h * n + i];
            EXPECT_NEAR(added.error[h * n + i], e, 1e-14);
            EXPECT_NEAR(added.std_error[h * n + i], e / std::sqrt(Sigma[i][i]), 1e-7);
        }
        // e' Sigma^-1 e with the 2 x 2 inverse written out.
        const double e0 = added.error[h * n], e1 = added.error[h * n + 1];
        const double det = Sigma[0][0] * Sigma[1][1] - Sigma[0][1] * Sigma[1][0];
        const double q = (e0 * e0 * Sigma[1][1] - 2 * e0 * e1 * Sigma[0][1] + e1 * e1 * Sigma[0][0]) / det;
        EXPECT_NEAR(added.chi2[h], q, 1e-7 * (1 + q));
    }
    // Without the flag the statistics use the innovation variance alone.
    EXPECT_NEAR(plain.std_error[0], plain.error[0] / plain.se[0], 1e-14);
}

TEST(DynForecast, CompanionModuli) {
    // y_t = 1.1 y_(t-1) - 0.3 y_(t-2): roots of z^2 - 1.1 z + 0.3 are 0.6 and 0.5.
    const Vec ar2 = {1.1, -0.3};
    double mod[2];
    ASSERT_EQ(tessel::DynCompanionModuli(ar2.data(), 1, 2, mod), 0);
    EXPECT_NEAR(mod[0], 0.6, 1e-12);
    EXPECT_NEAR(mod[1], 0.5, 1e-12);
    EXPECT_TRUE(tessel::DynStable(mod, 2));
    // Complex pair: z^2 - z + 0.5 has roots of modulus sqrt(0.5).
    const Vec cyc = {1.0, -0.5};
    ASSERT_EQ(tessel::DynCompanionModuli(cyc.data(), 1, 2, mod), 0);
    EXPECT_NEAR(mod[0], std::sqrt(0.5), 1e-12);
    EXPECT_NEAR(mod[1], std::sqrt(0.5), 1e-12);
    // A unit root is not stable, even when rounding puts its modulus a hair below 1.
    const Vec rw2 = {1.0, 0.0, 0.0, 0.5, 0.0, 0.0, 0.0, 0.0};  // n = 2, s = 2
    double mod4[4];
    ASSERT_EQ(tessel::DynCompanionModuli(rw2.data(), 2, 2, mod4), 0);
    EXPECT_NEAR(mod4[0], 1.0, 1e-12);
    EXPECT_FALSE(tessel::DynStable(mod4, 4));
    const Vec bad = {NAN, 0.0};
    EXPECT_EQ(tessel::DynCompanionModuli(bad.data(), 1, 2, mod), 1);
    EXPECT_FALSE(tessel::DynStable(mod, 2));
}

}  // namespace
