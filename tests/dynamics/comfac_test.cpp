// Wald tests of common factors: exact factors, the classic ADL(1,1) restriction by hand, the
// explicit restrictions when every b_j is a multiple of a(L), and the size under the null.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "dynamics/comfac.h"

namespace {

using Vec = std::vector<double>;

struct Rows {
    Vec data;
    std::vector<double *> ptr;
    explicit Rows(const Vec &square) : data(square) {
        const int p = static_cast<int>(std::lround(std::sqrt(static_cast<double>(square.size()))));
        for (int i = 0; i < p; ++i) ptr.push_back(data.data() + i * p);
    }
};

// A positive definite covariance with some correlation.
Vec Covariance(int p, double scale) {
    Vec V(p * p);
    for (int a = 0; a < p; ++a)
        for (int b = 0; b < p; ++b) V[a * p + b] = scale * ((a == b ? 1.0 : 0.0) + 0.3 / (1.0 + (a - b) * (a - b)));
    return V;
}

struct Result {
    Vec stat, df, pval;
    int computed;
};

Result Comfac(const Vec &theta, const Vec &V, int r, int m, const std::vector<int> &pos, int cmax) {
    Rows rows(V);
    Result out{Vec(cmax), Vec(cmax), Vec(cmax), 0};
    out.computed = tessel::ComfacTest(theta.data(), rows.ptr.data(), r, m, pos.data(), cmax, out.stat.data(),
                                      out.df.data(), out.pval.data());
    return out;
}

TEST(Comfac, ExactCommonFactorGivesZero) {
    // a(L) = (1 - 0.5 L)(1 - 0.3 L); b_1 = (1 - 0.5 L)(2 + L), b_2 = (1 - 0.5 L)(-1 + 0.4 L). theta
    // carries a constant and the coefficients in a shuffled order.
    //            const  b2_2   a1   b1_0  b1_1  a2     b2_0  b1_2  b2_1
    const Vec theta = {0.7, -0.2, 0.8, 2.0, 0.0, -0.15, -1.0, -0.5, 0.9};
    const std::vector<int> pos = {2, 5, 3, 4, 7, 6, 8, 1};
    Result r = Comfac(theta, Covariance(9, 0.01), 2, 2, pos, 2);
    EXPECT_EQ(r.computed, 2);
    EXPECT_LT(r.stat[0], 1e-20);
    EXPECT_NEAR(r.pval[0], 1.0, 1e-9);
    EXPECT_EQ(r.df[0], 2);
    EXPECT_EQ(r.df[1], 4);
    EXPECT_GT(r.stat[1], 10.0);  // the second factors differ

    // Both b_j multiples of a(L): two common factors hold exactly. One factor is then not an
    // isolated restriction (the rank falls by two), so only c = 2 is formed.
    const Vec both = {0.7, -0.075, 0.8, 2.0, -1.6, -0.15, -0.5, 0.3, 0.4};
    Result b = Comfac(both, Covariance(9, 0.01), 2, 2, pos, 2);
    EXPECT_EQ(b.computed, 1);
    EXPECT_TRUE(std::isnan(b.stat[0]) && std::isnan(b.pval[0]));
    EXPECT_LT(b.stat[1], 1e-20);
}

TEST(Comfac, AdlOneOneMatchesHandWald) {
    // a(L) = 1 - a1 L, b(L) = b0 + b1 L: one common factor means b1 + a1 b0 = 0.
    const Vec theta = {0.62, 0.9, -0.41, 3.0};  // a1, b0, b1, a constant
    const Vec V = {0.004, 0.001, -0.0005, 0.0, 0.001, 0.02, 0.003, 0.0, -0.0005, 0.003, 0.025, 0.0, 0, 0, 0, 1};
    Result r = Comfac(theta, V, 1, 1, {0, 1, 2}, 1);
    const double a1 = theta[0], b0 = theta[1], b1 = theta[2];
    const double g = b1 + a1 * b0, G[3] = {b0, a1, 1.0};
    double var = 0.0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) var += G[i] * V[i * 4 + j] * G[j];
    EXPECT_EQ(r.computed, 1);
    EXPECT_NEAR(r.stat[0], g * g / var, 1e-8 * g * g / var);
    EXPECT_NEAR(r.pval[0], std::erfc(std::sqrt(r.stat[0] / 2.0)), 1e-10);
    EXPECT_EQ(r.df[0], 1);
}

TEST(Comfac, FullFactorMatchesExplicitRestrictions) {
    // r = 2, c = 2: b(L) = b0 a(L), i.e. b1 + a1 b0 = 0 and b2 + a2 b0 = 0.
    const Vec theta = {0.5, -0.2, 0.7, -0.3, 0.25};  // a1, a2, b0, b1, b2
    const Vec V = Covariance(5, 0.02);
    Result r = Comfac(theta, V, 2, 1, {0, 1, 2, 3, 4}, 2);
    const double a1 = theta[0], a2 = theta[1], b0 = theta[2], b1 = theta[3], b2 = theta[4];
    const double g[2] = {b1 + a1 * b0, b2 + a2 * b0};
    const double G[2][5] = {{b0, 0, a1, 1, 0}, {0, b0, a2, 0, 1}};
    double C[2][2] = {};
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            for (int i = 0; i < 5; ++i)
                for (int j = 0; j < 5; ++j) C[a][b] += G[a][i] * V[i * 5 + j] * G[b][j];
    const double det = C[0][0] * C[1][1] - C[0][1] * C[1][0];
    const double W = (g[0] * g[0] * C[1][1] - 2 * g[0] * g[1] * C[0][1] + g[1] * g[1] * C[0][0]) / det;
    EXPECT_EQ(r.computed, 2);
    EXPECT_NEAR(r.stat[1], W, 1e-7 * W);
    EXPECT_NEAR(r.pval[1], std::exp(-W / 2.0), 1e-9);  // chi-squared(2) tail
    EXPECT_EQ(r.df[1], 2);
}

// 3 x 3 inverse by Gauss-Jordan.
void Invert3(double M[3][3]) {
    double A[3][6];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 6; ++j) A[i][j] = j < 3 ? M[i][j] : (j - 3 == i);
    for (int k = 0; k < 3; ++k) {
        int p = k;
        for (int i = k + 1; i < 3; ++i)
            if (std::fabs(A[i][k]) > std::fabs(A[p][k])) p = i;
        for (int j = 0; j < 6; ++j) std::swap(A[k][j], A[p][j]);
        const double d = A[k][k];
        for (int j = 0; j < 6; ++j) A[k][j] /= d;
        for (int i = 0; i < 3; ++i)
            if (i != k) {
                const double f = A[i][k];
                for (int j = 0; j < 6; ++j) A[i][j] -= f * A[k][j];
            }
    }
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) M[i][j] = A[i][j + 3];
}

TEST(Comfac, RejectsAtNominalRateUnderTheNull) {
    // y_t = 0.6 y_(t-1) + x_t - 0.6 x_(t-1) + e_t has the factor (1 - 0.6 L); estimated by least
    // squares, the 5% test should reject about 5% of the samples.
    std::mt19937_64 gen(20260611);
    std::normal_distribution<double> normal;
    const int T = 150, reps = 300;
    int rejections = 0;
    for (int rep = 0; rep < reps; ++rep) {
        Vec x(T + 1), y(T + 1);
        for (int t = 1; t <= T; ++t) {
            x[t] = 0.5 * x[t - 1] + normal(gen);
            y[t] = 0.6 * y[t - 1] + x[t] - 0.6 * x[t - 1] + normal(gen);
        }
        double XtX[3][3] = {}, Xty[3] = {};
        for (int t = 1; t <= T; ++t) {
            const double row[3] = {y[t - 1], x[t], x[t - 1]};
            for (int i = 0; i < 3; ++i) {
                Xty[i] += row[i] * y[t];
                for (int j = 0; j < 3; ++j) XtX[i][j] += row[i] * row[j];
            }
        }
        Invert3(XtX);
        Vec beta(3, 0.0);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) beta[i] += XtX[i][j] * Xty[j];
        double rss = 0.0;
        for (int t = 1; t <= T; ++t) {
            const double e = y[t] - beta[0] * y[t - 1] - beta[1] * x[t] - beta[2] * x[t - 1];
            rss += e * e;
        }
        Vec V(9);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) V[i * 3 + j] = rss / (T - 3) * XtX[i][j];
        Result r = Comfac(beta, V, 1, 1, {0, 1, 2}, 1);
        ASSERT_EQ(r.computed, 1);
        rejections += r.pval[0] < 0.05;
    }
    const double rate = static_cast<double>(rejections) / reps;
    EXPECT_GT(rate, 0.015);
    EXPECT_LT(rate, 0.095);
}

}  // namespace
