// Wald tests of common factors: exact factors, the ADL(1,1) restriction by hand, the explicit
// restrictions when b(L) is a multiple of a(L), and the rejection rate under the null.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "dynamics/comfac.h"

namespace {

using Vec = std::vector<double>;

struct Result {
    Vec stat, df, pval;
    int computed;
};

Result Comfac(const Vec &theta, Vec V, int r, int m, const std::vector<int> &pos, int cmax) {
    const int p = static_cast<int>(theta.size());
    std::vector<double *> rows;
    for (int i = 0; i < p; ++i) rows.push_back(V.data() + i * p);
    Result o{Vec(cmax), Vec(cmax), Vec(cmax), 0};
    o.computed = tessel::ComfacTest(theta.data(), rows.data(), r, m, pos.data(), cmax, o.stat.data(), o.df.data(),
                                    o.pval.data());
    return o;
}

Vec Covariance(int p, double scale) {
    Vec V(p * p);
    for (int a = 0; a < p; ++a)
        for (int b = 0; b < p; ++b) V[a * p + b] = scale * ((a == b) + 0.3 / (1.0 + (a - b) * (a - b)));
    return V;
}

TEST(Comfac, ExactCommonFactorsGiveZero) {
    // a = (1 - 0.5 L)(1 - 0.3 L), b_1 = (1 - 0.5 L)(2 + L), b_2 = (1 - 0.5 L)(-1 + 0.4 L), shuffled
    // into theta after a constant: b2_2, a1, b1_0, b1_1, a2, b2_0, b1_2, b2_1.
    const std::vector<int> pos = {2, 5, 3, 4, 7, 6, 8, 1};
    Result one = Comfac({0.7, -0.2, 0.8, 2.0, 0.0, -0.15, -1.0, -0.5, 0.9}, Covariance(9, 0.01), 2, 2, pos, 2);
    EXPECT_EQ(one.computed, 2);
    EXPECT_LT(one.stat[0], 1e-20);
    EXPECT_EQ(one.df[0], 2);
    EXPECT_EQ(one.df[1], 4);
    EXPECT_GT(one.stat[1], 10.0);  // the second factors differ
    // Both b_j multiples of a(L): c = 2 holds exactly; c = 1 is then no isolated restriction.
    Result two = Comfac({0.7, -0.075, 0.8, 2.0, -1.6, -0.15, -0.5, 0.3, 0.4}, Covariance(9, 0.01), 2, 2, pos, 2);
    EXPECT_EQ(two.computed, 1);
    EXPECT_TRUE(std::isnan(two.stat[0]) && std::isnan(two.pval[0]));
    EXPECT_LT(two.stat[1], 1e-20);
}

TEST(Comfac, HandWaldStatistics) {
    // ADL(1,1): b1 + a1 b0 = 0, gradient (b0, a1, 1).
    const double a1 = 0.62, b0 = 0.9, b1 = -0.41;
    const Vec V = {0.004, 0.001, -0.0005, 0.001, 0.02, 0.003, -0.0005, 0.003, 0.025};
    const double g = b1 + a1 * b0, G[3] = {b0, a1, 1.0};
    double var = 0.0;
    for (int i = 0; i < 9; ++i) var += G[i / 3] * V[i] * G[i % 3];
    Result adl = Comfac({a1, b0, b1}, V, 1, 1, {0, 1, 2}, 1);
    EXPECT_NEAR(adl.stat[0], g * g / var, 1e-8 * g * g / var);
    EXPECT_NEAR(adl.pval[0], std::erfc(std::sqrt(adl.stat[0] / 2.0)), 1e-10);
    // r = c = 2: b(L) = b0 a(L), i.e. b1 + a1 b0 = 0 and b2 + a2 b0 = 0 (theta: a1, a2, b0, b1, b2).
    const Vec t = {0.5, -0.2, 0.7, -0.3, 0.25}, W = Covariance(5, 0.02);
    const double h[2] = {t[3] + t[0] * t[2], t[4] + t[1] * t[2]};
    const double D[2][5] = {{t[2], 0, t[0], 1, 0}, {0, t[2], t[1], 0, 1}};
    double C[2][2] = {};
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            for (int i = 0; i < 25; ++i) C[a][b] += D[a][i / 5] * W[i] * D[b][i % 5];
    const double stat = (h[0] * h[0] * C[1][1] - 2 * h[0] * h[1] * C[0][1] + h[1] * h[1] * C[0][0]) /
                        (C[0][0] * C[1][1] - C[0][1] * C[1][0]);
    Result full = Comfac(t, W, 2, 1, {0, 1, 2, 3, 4}, 2);
    EXPECT_NEAR(full.stat[1], stat, 1e-7 * stat);
    EXPECT_NEAR(full.pval[1], std::exp(-stat / 2.0), 1e-9);  // chi-squared(2) tail
}

TEST(Comfac, RejectsAtNominalRateUnderTheNull) {
    // y_t = 0.6 y_(t-1) + x_t - 0.6 x_(t-1) + e_t has the factor (1 - 0.6 L); estimated by least
    // squares, the 5% test should reject about 5% of 300 samples.
    std::mt19937_64 gen(20260611);
    std::normal_distribution<double> normal;
    const int T = 150;
    int rejections = 0;
    for (int rep = 0; rep < 300; ++rep) {
        Vec x(T + 1), y(T + 1);
        double M[3][3] = {}, Xy[3] = {};
        for (int t = 1; t <= T; ++t) {
            x[t] = 0.5 * x[t - 1] + normal(gen);
            y[t] = 0.6 * y[t - 1] + x[t] - 0.6 * x[t - 1] + normal(gen);
            const double row[3] = {y[t - 1], x[t], x[t - 1]};
            for (int i = 0; i < 9; ++i) M[i / 3][i % 3] += row[i / 3] * row[i % 3];
            for (int i = 0; i < 3; ++i) Xy[i] += row[i] * y[t];
        }
        // Inverse of the 3 x 3 moment matrix by cofactors.
        double inv[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                inv[j][i] = M[(i + 1) % 3][(j + 1) % 3] * M[(i + 2) % 3][(j + 2) % 3] -
                            M[(i + 1) % 3][(j + 2) % 3] * M[(i + 2) % 3][(j + 1) % 3];
        const double det = M[0][0] * inv[0][0] + M[0][1] * inv[1][0] + M[0][2] * inv[2][0];
        Vec beta(3, 0.0), V(9);
        for (int i = 0; i < 9; ++i) beta[i / 3] += inv[i / 3][i % 3] / det * Xy[i % 3];
        double rss = 0.0;
        for (int t = 1; t <= T; ++t) rss += std::pow(y[t] - beta[0] * y[t - 1] - beta[1] * x[t] - beta[2] * x[t - 1], 2);
        for (int i = 0; i < 9; ++i) V[i] = rss / (T - 3) * inv[i / 3][i % 3] / det;
        Result r = Comfac(beta, V, 1, 1, {0, 1, 2}, 1);
        ASSERT_EQ(r.computed, 1);
        rejections += r.pval[0] < 0.05;
    }
    EXPECT_GT(rejections, 5);   // 1.7%
    EXPECT_LT(rejections, 28);  // 9.3%
}

}  // namespace
