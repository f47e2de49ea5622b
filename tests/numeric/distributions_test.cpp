#include "numeric/distributions.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace tessel {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kInf = std::numeric_limits<double>::infinity();

// Relative closeness, the natural measure for probabilities that span hundreds of decades.
::testing::AssertionResult RelNear(double got, double want, double rel) {
    const double err = std::fabs(got - want) / std::fabs(want);
    if (err <= rel) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << got << ", want " << want << ", relative error " << err;
}

// Reference values below were computed in 40-digit arithmetic from the defining integrals, at the
// doubles nearest the arguments shown.

TEST(Distributions, NormalTabulatedIncludingFarTails) {
    EXPECT_EQ(NormalCdf(0.0), 0.5);
    EXPECT_TRUE(RelNear(NormalUpperTail(1.96), 0.024997895148220436213, 1e-15));
    EXPECT_TRUE(RelNear(NormalUpperTail(8.5), 9.4795348222033183542e-18, 4e-15));
    EXPECT_TRUE(RelNear(NormalUpperTail(30.0), 4.9067139271481870595e-198, 4e-15));
    EXPECT_TRUE(RelNear(NormalCdf(-37.5), 4.6053530095819548438e-308, 4e-15));
    EXPECT_TRUE(RelNear(NormalCdf(1.5), 0.933192798731141934, 1e-15));
    EXPECT_TRUE(RelNear(NormalDensity(30.0), 1.473646134878547519e-196, 2e-15));
    EXPECT_TRUE(RelNear(NormalDensity(37.1), 5.2152621988319842486e-300, 2e-15));
    EXPECT_TRUE(RelNear(NormalQuantile(0.975), 1.959963984540054, 1e-15));
    EXPECT_EQ(NormalCdf(-kInf), 0.0);
    EXPECT_EQ(NormalUpperTail(-kInf), 1.0);
    EXPECT_EQ(NormalDensity(kInf), 0.0);
}

TEST(Distributions, TailsAddToOneAndQuantilesInvertBothTails) {
    for (double x : {-40.0, -6.0, -1.0, -1e-3, 0.0, 0.3, 2.0, 7.5, 35.0}) {
        EXPECT_NEAR(NormalCdf(x) + NormalUpperTail(x), 1.0, 2e-16) << x;
        EXPECT_NEAR(NormalCdf(x), NormalUpperTail(-x), 0.0) << x;
        EXPECT_NEAR(TCdf(x, 4.5) + TUpperTail(x, 4.5), 1.0, 4e-16) << x;
    }
    for (double x : {0.0, 0.01, 1.0, 9.0, 60.0}) {
        EXPECT_NEAR(ChiSquaredCdf(x, 3.0) + ChiSquaredUpperTail(x, 3.0), 1.0, 4e-16) << x;
        EXPECT_NEAR(FCdf(x, 3.0, 8.0) + FUpperTail(x, 3.0, 8.0), 1.0, 4e-16) << x;
    }
    // Round trips in the tail each quantile is meant for, where 1 - p would lose everything.
    for (double q : {1e-300, 1e-100, 1e-20, 1e-5, 0.05, 0.5, 0.9}) {
        EXPECT_TRUE(RelNear(NormalUpperTail(NormalUpperQuantile(q)), q, 1e-13)) << q;
        EXPECT_TRUE(RelNear(NormalCdf(NormalQuantile(q)), q, 1e-13)) << q;
        EXPECT_TRUE(RelNear(TUpperTail(TUpperQuantile(q, 7.0), 7.0), q, 1e-12)) << q;
        EXPECT_TRUE(RelNear(TCdf(TQuantile(q, 2.5), 2.5), q, 1e-12)) << q;
        EXPECT_TRUE(RelNear(ChiSquaredUpperTail(ChiSquaredUpperQuantile(q, 5.0), 5.0), q, 1e-12)) << q;
        EXPECT_TRUE(RelNear(ChiSquaredCdf(ChiSquaredQuantile(q, 5.0), 5.0), q, 1e-12)) << q;
        EXPECT_TRUE(RelNear(FUpperTail(FUpperQuantile(q, 4.0, 11.0), 4.0, 11.0), q, 1e-12)) << q;
        EXPECT_TRUE(RelNear(FCdf(FQuantile(q, 4.0, 11.0), 4.0, 11.0), q, 1e-12)) << q;
    }
    EXPECT_EQ(NormalQuantile(0.0), -kInf);
    EXPECT_EQ(NormalUpperQuantile(0.0), kInf);
    EXPECT_EQ(ChiSquaredQuantile(0.0, 3.0), 0.0);
    EXPECT_EQ(FUpperQuantile(1.0, 3.0, 4.0), 0.0);
}

TEST(Distributions, StudentT) {
    EXPECT_TRUE(RelNear(TUpperTail(2.0, 5.0), 0.050969739414929178123, 1e-14));
    EXPECT_TRUE(RelNear(TUpperTail(50.0, 3.0), 8.808576020635987078e-6, 1e-14));
    EXPECT_TRUE(RelNear(TUpperTail(1e10, 2.5), 7.1933971908317224147e-26, 1e-13));
    EXPECT_TRUE(RelNear(TUpperQuantile(0.025, 10.0), 2.2281388519862747484, 1e-14));
    // One degree of freedom is the Cauchy distribution, tails included.
    for (double x : {-1e8, -3.0, -0.2, 0.0, 1.0, 4.0, 1e12}) {
        EXPECT_NEAR(TCdf(x, 1.0), 0.5 + std::atan(x) / kPi, 1e-15) << x;
        EXPECT_TRUE(RelNear(TDensity(x, 1.0), 1.0 / (kPi * (1.0 + x * x)), 1e-14)) << x;
    }
    EXPECT_TRUE(RelNear(TUpperTail(1e12, 1.0), std::atan(1e-12) / kPi, 1e-13));
    // Infinite degrees of freedom is the normal.
    EXPECT_TRUE(RelNear(TUpperTail(3.0, kInf), NormalUpperTail(3.0), 1e-14));
    EXPECT_TRUE(RelNear(TUpperTail(3.0, 1e9), NormalUpperTail(3.0), 1e-7));
}

TEST(Distributions, ChiSquaredAndF) {
    EXPECT_TRUE(RelNear(ChiSquaredUpperTail(200.0, 10.0), 1.613930533697730479e-37, 1e-13));
    EXPECT_TRUE(RelNear(ChiSquaredUpperTail(3.5, 7.0), 0.83522548261034213629, 1e-14));
    EXPECT_TRUE(RelNear(ChiSquaredUpperQuantile(0.05, 1.0), 3.841458820694124, 1e-14));
    // Two degrees of freedom: exponential with mean 2.
    for (double x : {0.1, 2.0, 30.0, 1400.0}) {
        EXPECT_TRUE(RelNear(ChiSquaredUpperTail(x, 2.0), std::exp(-x / 2.0), 1e-14)) << x;
        EXPECT_TRUE(RelNear(ChiSquaredDensity(x, 2.0), 0.5 * std::exp(-x / 2.0), 1e-14)) << x;
    }
    EXPECT_EQ(ChiSquaredCdf(-1.0, 3.0), 0.0);
    EXPECT_EQ(ChiSquaredDensity(-1.0, 3.0), 0.0);
    EXPECT_EQ(ChiSquaredUpperTail(kInf, 3.0), 0.0);

    EXPECT_TRUE(RelNear(FUpperTail(2.5, 3.0, 12.0), 0.10915471239500628207, 1e-14));
    EXPECT_TRUE(RelNear(FUpperTail(80.0, 4.0, 9.0), 4.980141547978818349e-7, 1e-13));
    // F(1, n) is the square of t(n): two-sided t tail and the density by change of variable.
    for (double t : {0.05, 0.7, 2.0, 9.0, 300.0}) {
        EXPECT_TRUE(RelNear(FUpperTail(t * t, 1.0, 6.0), 2.0 * TUpperTail(t, 6.0), 1e-13)) << t;
        EXPECT_TRUE(RelNear(FDensity(t * t, 1.0, 6.0), TDensity(t, 6.0) / t, 1e-13)) << t;
    }
    // F(df1, df2) upper tail equals the lower tail of F(df2, df1) at 1/x.
    EXPECT_TRUE(RelNear(FUpperTail(3.7, 5.0, 2.0), FCdf(1.0 / 3.7, 2.0, 5.0), 1e-14));
}

TEST(Distributions, GammaLogGammaDigamma) {
    EXPECT_TRUE(RelNear(Gamma(5.0), 24.0, 1e-15));
    EXPECT_TRUE(RelNear(Gamma(0.5), 1.772453850905516027298167, 1e-15));
    EXPECT_TRUE(RelNear(Gamma(170.5), 5.56209241455999961070581e+305, 1e-13));
    EXPECT_EQ(Gamma(200.0), kInf);
    EXPECT_TRUE(RelNear(LogGamma(1e6), 12815504.56914761165997697, 1e-15));
    EXPECT_TRUE(RelNear(LogGamma(-2.5), -0.05624371649767405067259453, 1e-14));
    EXPECT_TRUE(RelNear(LogGamma(1e-8), 18.42068073818020890537531, 1e-15));
    EXPECT_EQ(LogGamma(1.0), 0.0);
    EXPECT_EQ(LogGamma(2.0), 0.0);
    EXPECT_TRUE(RelNear(Digamma(1.0), -0.5772156649015328606, 1e-15));
    EXPECT_TRUE(RelNear(Digamma(0.5), -1.963510026021423479440976, 1e-15));
    EXPECT_TRUE(RelNear(Digamma(1e-5), -100000.5771992156810689863, 1e-15));
    EXPECT_TRUE(RelNear(Digamma(1000.25), 6.907505289414428258108726, 1e-15));
    EXPECT_TRUE(RelNear(Digamma(-0.5), 0.03648997397857652055902367, 1e-13));
    // Recurrences: Gamma(x+1) = x Gamma(x), psi(x+1) = psi(x) + 1/x.
    for (double x : {0.3, 2.7, 17.25, 140.5}) {
        EXPECT_TRUE(RelNear(LogGamma(x + 1.0), LogGamma(x) + std::log(x), 1e-14)) << x;
        EXPECT_NEAR(Digamma(x + 1.0), Digamma(x) + 1.0 / x, 1e-14 * std::fabs(Digamma(x + 1.0)) + 1e-15) << x;
    }
}

TEST(Distributions, InvalidArgumentsGiveNaNNotExceptions) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double v : {NormalCdf(nan), NormalUpperTail(nan), NormalQuantile(-0.1), NormalQuantile(1.5),
                     NormalUpperQuantile(nan), TCdf(1.0, 0.0), TUpperTail(1.0, -2.0), TDensity(nan, 3.0),
                     TQuantile(0.5, nan), TUpperQuantile(2.0, 3.0), ChiSquaredUpperTail(1.0, 0.0),
                     ChiSquaredQuantile(0.5, -1.0), ChiSquaredDensity(nan, 2.0), ChiSquaredCdf(1.0, kInf),
                     FCdf(1.0, 0.0, 3.0), FUpperTail(1.0, 3.0, -1.0), FQuantile(1.1, 2.0, 3.0),
                     FDensity(1.0, nan, 3.0), Gamma(0.0), Gamma(-3.0), Gamma(nan), LogGamma(-2.0),
                     LogGamma(0.0), Digamma(0.0), Digamma(-4.0), Digamma(-kInf)}) {
        EXPECT_TRUE(std::isnan(v));
    }
}

}  // namespace
}  // namespace tessel
