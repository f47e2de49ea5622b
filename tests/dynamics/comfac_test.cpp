// Wald tests of common factors: exact factors give zero, two restrictions against the statistic by
// hand, and the rejection rate under the null. (The ADL(1,1) case by hand is in the export's test.)
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "dynamics/comfac.h"
#include "tests/dynamics/var_reference.h"

namespace {

using namespace tessel::test;

struct Result {
    Vec stat, df, pval;
    int computed;
};

Result Comfac(const Vec &theta, const Square &V, int r, int m, const std::vector<int> &pos, int cmax) {
    Result o{Vec(cmax), Vec(cmax), Vec(cmax), 0};
    o.computed = tessel::ComfacTest(theta.data(), V.rows.data(), r, m, pos.data(), cmax, o.stat.data(), o.df.data(),
                                    o.pval.data());
    return o;
}

Square Covariance(int p, double scale) {
    return Square(p, [scale](int a, int b) { return scale * ((a == b) + 0.3 / (1.0 + (a - b) * (a - b))); });
}

TEST(Comfac, ExactCommonFactorsGiveZero) {
    // a = (1 - 0.5 L)(1 - 0.3 L), b_1 = (1 - 0.5 L)(2 + L), b_2 = (1 - 0.5 L)(-1 + 0.4 L), shuffled
    // into theta after a constant: b2_2, a1, b1_0, b1_1, a2, b2_0, b1_2, b2_1.
    const std::vector<int> pos = {2, 5, 3, 4, 7, 6, 8, 1};
    const Result one = Comfac({0.7, -0.2, 0.8, 2.0, 0.0, -0.15, -1.0, -0.5, 0.9}, Covariance(9, 0.01), 2, 2, pos, 2);
    EXPECT_EQ(one.computed, 2);
    EXPECT_LT(one.stat[0], 1e-20);
    EXPECT_EQ(one.df, (Vec{2, 4}));
    EXPECT_GT(one.stat[1], 10.0);  // the second factors differ
    // Both b_j multiples of a(L): c = 2 holds exactly; c = 1 is then no isolated restriction.
    const Result two = Comfac({0.7, -0.075, 0.8, 2.0, -1.6, -0.15, -0.5, 0.3, 0.4}, Covariance(9, 0.01), 2, 2, pos, 2);
    EXPECT_EQ(two.computed, 1);
    EXPECT_TRUE(std::isnan(two.stat[0]) && std::isnan(two.pval[0]));
    EXPECT_LT(two.stat[1], 1e-20);
}

TEST(Comfac, TwoRestrictionsMatchTheWaldStatisticByHand) {
    // r = c = 2: b(L) = b0 a(L), i.e. b1 + a1 b0 = 0 and b2 + a2 b0 = 0 (theta: a1, a2, b0, b1, b2).
    const Vec t = {0.5, -0.2, 0.7, -0.3, 0.25};
    const Square W = Covariance(5, 0.02);
    const double h0 = t[3] + t[0] * t[2], h1 = t[4] + t[1] * t[2];
    const std::vector<Vec> G = {{t[2], 0}, {0, t[2]}, {t[0], t[1]}, {1, 0}, {0, 1}};  // d(h0, h1) / d theta
    const double C00 = DeltaCov(G, W, 0, 0), C01 = DeltaCov(G, W, 0, 1), C11 = DeltaCov(G, W, 1, 1);
    const double stat = (h0 * h0 * C11 - 2 * h0 * h1 * C01 + h1 * h1 * C00) / (C00 * C11 - C01 * C01);
    const Result full = Comfac(t, W, 2, 1, {0, 1, 2, 3, 4}, 2);
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
        double M[3][3] = {}, Xy[3] = {}, inv[3][3];
        for (int t = 1; t <= T; ++t) {
            x[t] = 0.5 * x[t - 1] + normal(gen);
            y[t] = 0.6 * y[t - 1] + x[t] - 0.6 * x[t - 1] + normal(gen);
            const double row[3] = {y[t - 1], x[t], x[t - 1]};
            for (int i = 0; i < 9; ++i) M[i / 3][i % 3] += row[i / 3] * row[i % 3];
            for (int i = 0; i < 3; ++i) Xy[i] += row[i] * y[t];
        }
        for (int i = 0; i < 9; ++i)  // the inverse by cofactors, before division by the determinant
            inv[i % 3][i / 3] = M[(i / 3 + 1) % 3][(i % 3 + 1) % 3] * M[(i / 3 + 2) % 3][(i % 3 + 2) % 3] -
                                M[(i / 3 + 1) % 3][(i % 3 + 2) % 3] * M[(i / 3 + 2) % 3][(i % 3 + 1) % 3];
        const double det = M[0][0] * inv[0][0] + M[0][1] * inv[1][0] + M[0][2] * inv[2][0];
        Vec beta(3, 0.0);
        for (int i = 0; i < 9; ++i) beta[i / 3] += inv[i / 3][i % 3] / det * Xy[i % 3];
        double rss = 0.0;
        for (int t = 1; t <= T; ++t) rss += std::pow(y[t] - beta[0] * y[t - 1] - beta[1] * x[t] - beta[2] * x[t - 1], 2);
        const Result r = Comfac(beta, Square(3, [&](int a, int b) { return rss / (T - 3) * inv[a][b] / det; }), 1, 1, {0, 1, 2}, 1);
        ASSERT_EQ(r.computed, 1);
        rejections += r.pval[0] < 0.05;
    }
    EXPECT_GT(rejections, 5);   // 1.7%
    EXPECT_LT(rejections, 28);  // 9.3%
}

}  // namespace
