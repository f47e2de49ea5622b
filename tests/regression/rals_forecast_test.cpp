// Forecasts of the regression with autoregressive errors against the model iterated by hand, and
// their standard errors against simulated future innovations.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "regression/rals_forecast.h"

namespace {

using Vec = std::vector<double>;

TEST(RalsForecast, MatchesHandIterationAndSimulation) {
    // A constant and x_t = sin(0.3 t) + 0.1 t; errors u_t = 0.4 u_(t-2) - 0.25 u_(t-3) + e_t, sd 0.9.
    constexpr int T = 30, H = 8;
    const Vec theta = {1.9, 0.55, 0.4, -0.25};
    Vec X, y, u(T + H), yf(H), se(H), uf(H), sum(H), sumsq(H);
    std::vector<const double *> rows;
    const auto fit = [&](int t) { return theta[0] + theta[1] * X[2 * t + 1]; };
    for (int t = 0; t < T + H; ++t) X.insert(X.end(), {1.0, std::sin(0.3 * t) + 0.1 * t});
    for (int t = 0; t < T + H; ++t) rows.push_back(X.data() + 2 * t);
    for (int t = 0; t < T; ++t) y.push_back(2.0 + 0.5 * X[2 * t + 1] + std::sin(1.7 * t));
    tessel::RalsForecast(theta.data(), y.data(), rows.data(), 2, T, H, 2, 3, 0.81, yf.data(), se.data(), uf.data());
    for (int t = 0; t < T + H; ++t) u[t] = t < T ? y[t] - fit(t) : 0.4 * u[t - 2] - 0.25 * u[t - 3];
    for (int h = 0; h < H; ++h) {
        EXPECT_NEAR(uf[h], u[T + h], 1e-14);
        EXPECT_NEAR(yf[h], fit(T + h) + u[T + h], 1e-13);
    }
    // Moving-average weights 1, 0, 0.4, -0.25, ...: cumulated squares 1, 1, 1.16, 1.2225.
    const double cum[4] = {1, 1, 1.16, 1.2225};
    for (int h = 0; h < 4; ++h) EXPECT_NEAR(se[h], 0.9 * std::sqrt(cum[h]), 1e-14);
    // Over all horizons, against the spread of simulated futures.
    std::mt19937_64 gen(11);
    std::normal_distribution<double> normal(0.0, 0.9);
    const int paths = 40000;
    for (int p = 0; p < paths; ++p) {
        double v[3] = {u[T - 1], u[T - 2], u[T - 3]};
        for (int h = 0; h < H; ++h) {
            const double next = 0.4 * v[1] - 0.25 * v[2] + normal(gen), yv = fit(T + h) + next;
            v[2] = v[1], v[1] = v[0], v[0] = next;
            sum[h] += yv, sumsq[h] += yv * yv;
        }
    }
    for (int h = 0; h < H; ++h) {
        const double mean = sum[h] / paths;
        EXPECT_NEAR(mean, yf[h], 4.0 * se[h] / std::sqrt(paths));
        EXPECT_NEAR(std::sqrt(sumsq[h] / paths - mean * mean) / se[h], 1.0, 0.02) << h;
    }
    // An empty band (r1 > r2) forecasts x' beta with the innovation standard error throughout.
    tessel::RalsForecast(theta.data(), y.data(), rows.data(), 2, T, H, 1, 0, 4.0, yf.data(), se.data(), uf.data());
    EXPECT_NEAR(yf[H - 1], fit(T + H - 1), 1e-14);
    EXPECT_TRUE(uf[H - 1] == 0.0 && se[H - 1] == 2.0);
}

}  // namespace
