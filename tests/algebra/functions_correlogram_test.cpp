// Autocorrelations, partial autocorrelations and periodogram against direct formulas, the Yule-Walker
// equations and a direct discrete Fourier transform.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "algebra/correlogram.h"
#include "tests/algebra/reference.h"

namespace tessel {
namespace {

constexpr double kPi = 3.141592653589793;

// AR(2) series around 5, with a few gaps.
std::vector<double> Ar2Series(int m, unsigned seed, bool gaps) {
    std::mt19937 gen(seed);
    std::normal_distribution<double> e(0.0, 1.0);
    std::vector<double> x(m);
    for (int t = 0; t < m; ++t) x[t] = 5.0 + (t > 0 ? 0.6 * (x[t - 1] - 5) : 0) - (t > 1 ? 0.3 * (x[t - 2] - 5) : 0) + e(gen);
    if (gaps)
        for (int t = 3; t < m; t += 17) x[t] = kMissing;
    return x;
}

// r_k from the definition: lagged products of deviations over pairs with both values present.
std::vector<double> DirectAcf(const std::vector<double> &x) {
    const int m = static_cast<int>(x.size());
    double s = 0.0, n = 0.0, c0 = 0.0;
    for (double v : x)
        if (!IsMissing(v)) s += v, n += 1;
    for (double v : x)
        if (!IsMissing(v)) c0 += (v - s / n) * (v - s / n);
    std::vector<double> r(m);
    for (int k = 0; k < m; ++k) {
        for (int t = 0; t + k < m; ++t)
            if (!IsMissing(x[t]) && !IsMissing(x[t + k])) r[k] += (x[t] - s / n) * (x[t + k] - s / n);
        r[k] /= c0;
    }
    return r;
}

// Last coefficient of the order-k Yule-Walker solution.
double YuleWalkerLast(const std::vector<double> &r, int k) {
    Dense R(k, std::vector<double>(k));
    for (int i = 0; i < k; ++i)
        for (int j = 0; j < k; ++j) R[i][j] = r[std::abs(i - j)];
    return DenseSolve(R, std::vector<double>(r.begin() + 1, r.begin() + k + 1)).back();
}

TEST(AlgebraCorrelogram, AcfMatchesDefinitionOnDirectAndFftPaths) {
    for (int m : {2, 25, 128, 129, 700}) {
        for (bool gaps : {false, true}) {
            const std::vector<double> x = Ar2Series(m, 11 + m, gaps && m > 5);
            std::vector<double> r(m);
            ASSERT_TRUE(AlgebraAcf(x.data(), m, r.data()));
            const std::vector<double> want = DirectAcf(x);
            for (int k = 0; k < m; ++k) EXPECT_NEAR(r[k], want[k], 1e-12) << "m=" << m << " k=" << k;
        }
    }
}

TEST(AlgebraCorrelogram, PacfSolvesYuleWalker) {
    for (bool gaps : {false, true}) {
        const int m = 300;
        const std::vector<double> x = Ar2Series(m, 5, gaps);
        std::vector<double> p(m);
        ASSERT_TRUE(AlgebraPacf(x.data(), m, p.data()));
        const std::vector<double> r = DirectAcf(x);
        EXPECT_EQ(p[0], 1.0);
        EXPECT_NEAR(p[1], r[1], 1e-12);
        for (int k = 2; k <= 12; ++k) EXPECT_NEAR(p[k], YuleWalkerLast(r, k), 1e-10) << "k=" << k;
        // An AR(2) has a clearly non-zero second partial autocorrelation near -0.3.
        EXPECT_LT(p[2], -0.15);
    }
}

TEST(AlgebraCorrelogram, PacfStopsAtItsHighestLagAndDegenerateSeriesAreMissing) {
    const int m = kAlgebraPacfMaxLag + 50;
    const std::vector<double> x = Ar2Series(m, 9, false);
    std::vector<double> p(m);
    ASSERT_TRUE(AlgebraPacf(x.data(), m, p.data()));
    EXPECT_FALSE(IsMissing(p[kAlgebraPacfMaxLag]));
    for (int k = kAlgebraPacfMaxLag + 1; k < m; ++k) ASSERT_TRUE(IsMissing(p[k]));
    const double flat[4] = {2.0, kMissing, 2.0, 2.0}, none[3] = {kMissing, kMissing, kMissing};
    std::vector<double> r(4, 7.0), q(3, 7.0), I(3), w(3);
    EXPECT_FALSE(AlgebraAcf(flat, 4, r.data()));
    EXPECT_FALSE(AlgebraPacf(none, 3, q.data()));
    EXPECT_TRUE(SameValues(r, std::vector<double>(4, kMissing)) && SameValues(q, std::vector<double>(3, kMissing)));
    EXPECT_FALSE(AlgebraPeriodogram(none, 3, I.data(), w.data()));
    EXPECT_TRUE(IsMissing(I[0]));
    EXPECT_FALSE(AlgebraAcf(none, 0, r.data()));  // empty span writes nothing
}

TEST(AlgebraCorrelogram, DftMatchesDirectSumsForAnyLength) {
    std::mt19937 gen(3);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (int n : {1, 2, 3, 5, 8, 12, 31, 64, 97}) {
        std::vector<double> re(n), im(n);
        for (int i = 0; i < n; ++i) re[i] = u(gen), im[i] = u(gen);
        std::vector<double> fr = re, fi = im;
        AlgebraDft(fr.data(), fi.data(), n, -1);
        for (int j = 0; j < n; ++j) {
            double sr = 0.0, si = 0.0;
            for (int t = 0; t < n; ++t) {
                const double ang = -2.0 * kPi * j * t / n;
                sr += re[t] * std::cos(ang) - im[t] * std::sin(ang);
                si += re[t] * std::sin(ang) + im[t] * std::cos(ang);
            }
            EXPECT_NEAR(fr[j], sr, 1e-11) << "n=" << n << " j=" << j;
            EXPECT_NEAR(fi[j], si, 1e-11);
        }
        AlgebraDft(fr.data(), fi.data(), n, +1);  // unnormalised inverse
        for (int i = 0; i < n; ++i) EXPECT_NEAR(fr[i] / n, re[i], 1e-12);
    }
}

TEST(AlgebraCorrelogram, PeriodogramMatchesDirectTransform) {
    for (int m : {1, 16, 45, 200}) {
        std::vector<double> x = Ar2Series(m, 21 + m, m > 10);
        std::vector<double> I(m), w(m);
        ASSERT_TRUE(AlgebraPeriodogram(x.data(), m, I.data(), w.data()));
        double s = 0.0;
        int n = 0;
        for (double v : x)
            if (!IsMissing(v)) s += v, ++n;
        const double mean = s / n;
        for (int j = 0; j <= m / 2; ++j) {
            const double freq = 2.0 * kPi * j / m;
            double cr = 0.0, ci = 0.0;
            for (int t = 0; t < m; ++t) {
                if (IsMissing(x[t])) continue;
                cr += (x[t] - mean) * std::cos(freq * t);
                ci -= (x[t] - mean) * std::sin(freq * t);
            }
            EXPECT_NEAR(w[j], freq, 1e-15);
            EXPECT_NEAR(I[j], (cr * cr + ci * ci) / (2.0 * kPi * m), 1e-10 * (1.0 + I[j]));
        }
        EXPECT_NEAR(I[0], 0.0, 1e-20 + 1e-12 * m);  // deviations sum to zero
        for (int j = m / 2 + 1; j < m; ++j) EXPECT_TRUE(IsMissing(I[j]) && IsMissing(w[j]));
    }
}

}  // namespace
}  // namespace tessel
