// Forecasts of the regression with autoregressive errors against the model iterated by hand, and
// their standard errors against simulated future innovations.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "regression/rals_forecast.h"

namespace {

using Vec = std::vector<double>;

struct Data {
    int T = 30, H = 8, k = 2;
    Vec y;
    std::vector<Vec> X;
    std::vector<const double *> rows;
    Data() {
        std::mt19937_64 gen(7);
        std::normal_distribution<double> normal;
        for (int t = 0; t < T + H; ++t) X.push_back({1.0, std::sin(0.3 * t) + 0.1 * t});
        for (int t = 0; t < T; ++t) y.push_back(2.0 + 0.5 * X[t][1] + normal(gen));
        for (auto &x : X) rows.push_back(x.data());
    }
};

TEST(RalsForecast, MatchesHandIteration) {
    Data d;
    // Band of lags 2..3: u_t = 0.4 u_(t-2) - 0.25 u_(t-3) + e_t.
    const Vec theta = {1.9, 0.55, 0.4, -0.25};
    Vec yf(d.H), se(d.H), uf(d.H);
    tessel::RalsForecast(theta.data(), d.y.data(), d.rows.data(), d.k, d.T, d.H, 2, 3, 0.81, yf.data(), se.data(),
                         uf.data());
    Vec u(d.T + d.H);
    for (int t = 0; t < d.T; ++t) u[t] = d.y[t] - theta[0] - theta[1] * d.X[t][1];
    for (int t = d.T; t < d.T + d.H; ++t) u[t] = 0.4 * u[t - 2] - 0.25 * u[t - 3];
    for (int h = 0; h < d.H; ++h) {
        const int t = d.T + h;
        EXPECT_NEAR(uf[h], u[t], 1e-14);
        EXPECT_NEAR(yf[h], theta[0] + theta[1] * d.X[t][1] + u[t], 1e-13);
    }
    // Moving-average weights of 1 / (1 - 0.4 L^2 + 0.25 L^3): 1, 0, 0.4, -0.25, 0.16, ...
    const double psi[4] = {1.0, 0.0, 0.4, -0.25};
    double sum = 0.0;
    for (int h = 0; h < 4; ++h) {
        sum += psi[h] * psi[h];
        EXPECT_NEAR(se[h], 0.9 * std::sqrt(sum), 1e-14);
    }

    // An empty band forecasts x' beta with the innovation standard error throughout.
    tessel::RalsForecast(theta.data(), d.y.data(), d.rows.data(), d.k, d.T, d.H, 1, 0, 4.0, yf.data(), se.data(),
                         uf.data());
    for (int h = 0; h < d.H; ++h) {
        EXPECT_NEAR(yf[h], theta[0] + theta[1] * d.X[d.T + h][1], 1e-14);
        EXPECT_EQ(uf[h], 0.0);
        EXPECT_EQ(se[h], 2.0);
    }
}

TEST(RalsForecast, StandardErrorsMatchSimulation) {
    Data d;
    const Vec theta = {2.0, 0.5, 0.9, -0.3};  // AR(2) errors on lags 1..2
    const double sigma = 1.5;
    Vec yf(d.H), se(d.H);
    tessel::RalsForecast(theta.data(), d.y.data(), d.rows.data(), d.k, d.T, d.H, 1, 2, sigma * sigma, yf.data(),
                         se.data(), nullptr);
    // Future paths of the model from the same sample end, with fresh innovations.
    std::mt19937_64 gen(11);
    std::normal_distribution<double> normal(0.0, sigma);
    const int paths = 40000;
    Vec sum(d.H, 0.0), sumsq(d.H, 0.0);
    const double u1 = d.y[d.T - 1] - 2.0 - 0.5 * d.X[d.T - 1][1], u2 = d.y[d.T - 2] - 2.0 - 0.5 * d.X[d.T - 2][1];
    for (int p = 0; p < paths; ++p) {
        double a = u1, b = u2;
        for (int h = 0; h < d.H; ++h) {
            const double u = 0.9 * a - 0.3 * b + normal(gen);
            b = a;
            a = u;
            const double yv = 2.0 + 0.5 * d.X[d.T + h][1] + u;
            sum[h] += yv;
            sumsq[h] += yv * yv;
        }
    }
    for (int h = 0; h < d.H; ++h) {
        const double mean = sum[h] / paths, sd = std::sqrt(sumsq[h] / paths - mean * mean);
        EXPECT_NEAR(mean, yf[h], 4.0 * se[h] / std::sqrt(paths));
        EXPECT_NEAR(sd / se[h], 1.0, 0.02) << h;
    }
}

}  // namespace
