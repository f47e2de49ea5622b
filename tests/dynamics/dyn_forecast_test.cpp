// Dynamic forecasts of a VAR(2) with an exogenous variable against the system iterated by hand,
// and the coefficient part of their variance against numerical derivatives.
#include <gtest/gtest.h>

#include <cmath>

#include "dynamics/dyn_forecast.h"
#include "dynamics/var_system.h"
#include "tests/dynamics/var_reference.h"

namespace {

using namespace tessel::test;

constexpr int n = 2, s = 2, m = 1, H = 6, P = n * (n * s + m);
const Vec kTheta = {0.5, 0.1, 0.2, -0.1, 1.0, 0.3, 0.4, -0.1, 0.15, -0.5};  // row-major [A B]
const Vec kA = {0.5, 0.1, 0.2, -0.1, 0.3, 0.4, -0.1, 0.15}, kB = {1.0, -0.5};
const Vec kOmega = {1.0, 0.3, 0.3, 0.5}, kStart = {0.5, -0.3, 1.0, 0.4}, kZ = {1, 0.5, -1, 2, 0, 1};
const Vec kActual = {0.3, 0.1, -0.2, 0.5, 1.1, 0.7, 0.2, 0.0, -0.4, 0.9, 0.6, 0.3};

Vec Forecast(const Vec &t) {
    return IterateSystem({t[0], t[1], t[2], t[3], t[5], t[6], t[7], t[8]}, {t[4], t[9]}, n, s, m, kStart, kZ, H);
}

struct Out {
    Vec f = Vec(H * n), se = Vec(H * n), sep = Vec(H * n), cov = Vec(H * n * n), err = Vec(H * n),
        std = Vec(H * n), chi2 = Vec(H), psi = Vec(H * n * n);
};

Out Predict(const double *const *V, bool add_param) {
    Out o;
    EXPECT_EQ(tessel::DynForecast({kStart.data(), 2, kZ.data(), kA.data(), kB.data(), n, s, m, H, kOmega.data(), V,
                                   V ? kActual.data() : nullptr, add_param},
                                  {o.f.data(), o.se.data(), o.sep.data(), o.cov.data(), o.err.data(), o.std.data(),
                                   o.chi2.data(), o.psi.data()}),
              0);
    return o;
}

TEST(DynForecast, ForecastsPsiAndErrorVarianceMatchIteration) {
    const Out o = Predict(nullptr, false);
    const Vec direct = Forecast(kTheta);
    for (int k = 0; k < H * n; ++k) EXPECT_NEAR(o.f[k], direct[k], 1e-13);
    // Column j of Psi_h is the response to a unit impulse in variable j; cov_h = sum Psi Omega Psi'.
    const Vec e[n] = {ShockPath(kA, n, s, {1, 0}, H), ShockPath(kA, n, s, {0, 1}, H)};
    Vec sum(n * n, 0.0);
    for (int h = 0; h < H; ++h) {
        const double *Ps = o.psi.data() + h * n * n;
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) {
                EXPECT_NEAR(Ps[a * n + b], e[b][h * n + a], 1e-14);
                for (int c = 0; c < n * n; ++c) sum[a * n + b] += Ps[a * n + c / n] * kOmega[c] * Ps[b * n + c % n];
            }
        for (int k = 0; k < n * n; ++k) EXPECT_NEAR(o.cov[h * n * n + k], sum[k], 1e-12);
        EXPECT_NEAR(o.se[h * n + 1], std::sqrt(sum[3]), 1e-12);
        EXPECT_TRUE(std::isnan(o.sep[h * n]) && std::isnan(o.err[h * n]) && std::isnan(o.chi2[h]));
    }
}

TEST(DynForecast, CoefficientUncertaintyMatchesNumericalDerivatives) {
    const Square V(P, [](int a, int b) { return (a == b ? 0.03 : 0.0) + 0.002 * std::cos(a - 2.0 * b) * std::cos(b - 2.0 * a); });
    const Out plain = Predict(V.rows.data(), false), added = Predict(V.rows.data(), true);
    const auto J = Jacobian(Forecast, kTheta);
    for (int h = 0; h < H; ++h) {
        double S[n][n];
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) {
                S[a][b] = plain.cov[h * n * n + a * n + b] + DeltaCov(J, V, h * n + a, h * n + b);
                EXPECT_NEAR(added.cov[h * n * n + a * n + b], S[a][b], 1e-7);
            }
        const double e0 = kActual[h * n] - plain.f[h * n], e1 = kActual[h * n + 1] - plain.f[h * n + 1];
        EXPECT_NEAR(plain.sep[h * n + 1], std::sqrt(S[1][1]), 1e-7);
        EXPECT_EQ(added.sep[h * n + 1], plain.sep[h * n + 1]);
        EXPECT_NEAR(added.err[h * n], e0, 1e-14);
        EXPECT_NEAR(added.std[h * n], e0 / std::sqrt(S[0][0]), 1e-7);
        EXPECT_NEAR(plain.std[h * n], e0 / plain.se[h * n], 1e-14);  // without the flag: innovations only
        const double q = (e0 * e0 * S[1][1] - 2 * e0 * e1 * S[0][1] + e1 * e1 * S[0][0]) / (S[0][0] * S[1][1] - S[0][1] * S[1][0]);
        EXPECT_NEAR(added.chi2[h], q, 1e-7 * (1 + q));
    }
}

TEST(DynForecast, CompanionModuli) {
    double mod[2];
    const Vec ar2 = {1.1, -0.3}, bad = {NAN, 0.0};  // z^2 - 1.1 z + 0.3 = (z - 0.6)(z - 0.5)
    ASSERT_EQ(tessel::DynCompanionModuli(ar2.data(), 1, 2, mod), 0);
    EXPECT_TRUE(std::fabs(mod[0] - 0.6) < 1e-12 && std::fabs(mod[1] - 0.5) < 1e-12 && tessel::DynStable(mod, 2));
    EXPECT_EQ(tessel::DynCompanionModuli(bad.data(), 1, 2, mod), 1);
    EXPECT_FALSE(tessel::DynStable(mod, 2));
}

}  // namespace
