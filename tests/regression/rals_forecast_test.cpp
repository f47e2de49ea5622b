// Forecasts of the regression with autoregressive errors against the model iterated by hand, and
// their standard errors against simulated future innovations.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "regression/rals_forecast.h"

namespace {

constexpr int T = 30, H = 8;

struct Data {
    std::vector<double> y, X, u;
    std::vector<const double *> rows;
    Data() {
        std::mt19937_64 gen(7);
        std::normal_distribution<double> normal;
        for (int t = 0; t < T + H; ++t) X.push_back(1.0), X.push_back(std::sin(0.3 * t) + 0.1 * t);
        for (int t = 0; t < T; ++t) y.push_back(2.0 + 0.5 * X[2 * t + 1] + normal(gen));
        for (int t = 0; t < T + H; ++t) rows.push_back(X.data() + 2 * t);
    }
    double Fit(const std::vector<double> &theta, int t) const { return theta[0] + theta[1] * X[2 * t + 1]; }
};

TEST(RalsForecast, MatchesHandIterationOnABandOfLags) {
    Data d;
    const std::vector<double> theta = {1.9, 0.55, 0.4, -0.25};  // u_t = 0.4 u_(t-2) - 0.25 u_(t-3) + e_t
    std::vector<double> yf(H), se(H), uf(H), u(T + H);
    tessel::RalsForecast(theta.data(), d.y.data(), d.rows.data(), 2, T, H, 2, 3, 0.81, yf.data(), se.data(), uf.data());
    for (int t = 0; t < T + H; ++t) u[t] = t < T ? d.y[t] - d.Fit(theta, t) : 0.4 * u[t - 2] - 0.25 * u[t - 3];
    for (int h = 0; h < H; ++h) {
        EXPECT_NEAR(uf[h], u[T + h], 1e-14);
        EXPECT_NEAR(yf[h], d.Fit(theta, T + h) + u[T + h], 1e-13);
    }
    // Moving-average weights 1, 0, 0.4, -0.25, ...: cumulated squares 1, 1, 1.16, 1.2225.
    const double cum[4] = {1, 1, 1.16, 1.2225};
    for (int h = 0; h < 4; ++h) EXPECT_NEAR(se[h], 0.9 * std::sqrt(cum[h]), 1e-14);
    // An empty band (r1 > r2) forecasts x' beta with the innovation standard error throughout.
    tessel::RalsForecast(theta.data(), d.y.data(), d.rows.data(), 2, T, H, 1, 0, 4.0, yf.data(), se.data(), uf.data());
    EXPECT_NEAR(yf[H - 1], d.Fit(theta, T + H - 1), 1e-14);
    EXPECT_EQ(uf[H - 1], 0.0);
    EXPECT_EQ(se[H - 1], 2.0);
}

TEST(RalsForecast, StandardErrorsMatchSimulation) {
    Data d;
    const std::vector<double> theta = {2.0, 0.5, 0.9, -0.3};  // AR(2) errors
    std::vector<double> yf(H), se(H), sum(H), sumsq(H);
    tessel::RalsForecast(theta.data(), d.y.data(), d.rows.data(), 2, T, H, 1, 2, 2.25, yf.data(), se.data(), nullptr);
    std::mt19937_64 gen(11);
    std::normal_distribution<double> normal(0.0, 1.5);
    const int paths = 40000;
    for (int p = 0; p < paths; ++p) {
        double a = d.y[T - 1] - d.Fit(theta, T - 1), b = d.y[T - 2] - d.Fit(theta, T - 2);
        for (int h = 0; h < H; ++h) {
            const double u = 0.9 * a - 0.3 * b + normal(gen), yv = d.Fit(theta, T + h) + u;
            b = a, a = u;
            sum[h] += yv, sumsq[h] += yv * yv;
        }
    }
    for (int h = 0; h < H; ++h) {
        const double mean = sum[h] / paths;
        EXPECT_NEAR(mean, yf[h], 4.0 * se[h] / std::sqrt(paths));
        EXPECT_NEAR(std::sqrt(sumsq[h] / paths - mean * mean) / se[h], 1.0, 0.02) << h;
    }
}

}  // namespace
