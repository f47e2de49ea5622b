#include "numeric/distributions.h"
#include <gtest/gtest.h>
#include <cmath>
#include <limits>

namespace tessel {
namespace {
constexpr double kPi = 3.14159265358979323846, kInf = std::numeric_limits<double>::infinity();
::testing::AssertionResult RelNear(double got, double want, double rel) {
    if (std::fabs(got - want) <= rel * std::fabs(want)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << got << ", want " << want;
}

// References computed in 40-digit arithmetic from the defining integrals, at the doubles nearest
// the arguments shown; the tails reach far below where 1 - cdf would have lost every digit.
TEST(Distributions, TabulatedValuesIncludingFarTails) {
    const struct { double got, want, rel; } cases[] = {
        {NormalUpperTail(1.96), 0.024997895148220436213, 1e-15}, {NormalUpperTail(30.0), 4.9067139271481870595e-198, 4e-15},
        {NormalCdf(-37.5), 4.6053530095819548438e-308, 4e-15},   {NormalDensity(37.1), 5.2152621988319842486e-300, 2e-15},
        {NormalUpperQuantile(0.025), 1.959963984540054, 1e-15},  {TUpperTail(2.0, 5.0), 0.050969739414929178123, 1e-14},
        {TUpperTail(1e10, 2.5), 7.1933971908317224147e-26, 1e-13}, {TUpperQuantile(0.025, 10.0), 2.2281388519862747484, 1e-14},
        {ChiSquaredUpperTail(200.0, 10.0), 1.613930533697730479e-37, 1e-13}, {ChiSquaredUpperQuantile(0.05, 1.0), 3.841458820694124, 1e-14},
        {FUpperTail(2.5, 3.0, 12.0), 0.10915471239500628207, 1e-14}, {FUpperTail(80.0, 4.0, 9.0), 4.980141547978818349e-7, 1e-13},
        {Gamma(170.5), 5.56209241455999961070581e+305, 1e-13},  {LogGamma(1e6), 12815504.56914761165997697, 1e-15},
        {LogGamma(-2.5), -0.05624371649767405067259453, 1e-14}, {LogGamma(1e-8), 18.42068073818020890537531, 1e-15},
        {Digamma(1e-5), -100000.5771992156810689863, 1e-15},    {Digamma(-0.5), 0.03648997397857652055902367, 1e-13},
        {Digamma(1000.25), 6.907505289414428258108726, 1e-15},
    };
    for (const auto &c : cases) EXPECT_TRUE(RelNear(c.got, c.want, c.rel));
    EXPECT_EQ(Gamma(200.0), kInf);
    EXPECT_EQ(NormalCdf(-kInf), 0.0);
}

TEST(Distributions, IdentitiesAndRoundTrips) {
    for (double x : {-40.0, -6.0, -0.3, 0.0, 2.0, 35.0}) {
        EXPECT_NEAR(NormalCdf(x) + NormalUpperTail(x), 1.0, 2e-16);
        EXPECT_NEAR(TCdf(x, 4.5) + TUpperTail(x, 4.5), 1.0, 4e-16);
        EXPECT_NEAR(TCdf(x, 1.0), 0.5 + std::atan(x) / kPi, 1e-15);  // one degree of freedom: Cauchy
        EXPECT_TRUE(RelNear(TDensity(x, 1.0), 1.0 / (kPi * (1.0 + x * x)), 1e-14));
        EXPECT_NEAR(ChiSquaredCdf(x * x, 3.0) + ChiSquaredUpperTail(x * x, 3.0), 1.0, 4e-16);
        EXPECT_NEAR(FCdf(x * x, 3.0, 8.0) + FUpperTail(x * x, 3.0, 8.0), 1.0, 4e-16);
    }
    EXPECT_TRUE(RelNear(TUpperTail(1e12, 1.0), std::atan(1e-12) / kPi, 1e-13) && RelNear(TUpperTail(3.0, kInf), NormalUpperTail(3.0), 1e-14));
    for (double t : {0.05, 2.0, 300.0}) {  // F(1, n) is t(n) squared
        EXPECT_TRUE(RelNear(FUpperTail(t * t, 1.0, 6.0), 2.0 * TUpperTail(t, 6.0), 1e-13));
        EXPECT_TRUE(RelNear(FDensity(t * t, 1.0, 6.0), TDensity(t, 6.0) / t, 1e-13));
        EXPECT_TRUE(RelNear(ChiSquaredUpperTail(t, 2.0), std::exp(-t / 2.0), 1e-14));  // exponential, mean 2
        EXPECT_TRUE(RelNear(LogGamma(t + 1.0), LogGamma(t) + std::log(t), 1e-14));
        EXPECT_NEAR(Digamma(t + 1.0), Digamma(t) + 1.0 / t, 1e-14 * std::fabs(Digamma(t + 1.0)) + 1e-15);
    }
    // Each quantile inverts its own tail, small probabilities included.
    for (double q : {1e-300, 1e-100, 1e-20, 0.05, 0.5, 0.9}) {
        EXPECT_TRUE(RelNear(NormalUpperTail(NormalUpperQuantile(q)), q, 1e-13));
        EXPECT_TRUE(RelNear(NormalCdf(NormalQuantile(q)), q, 1e-13));
        EXPECT_TRUE(RelNear(TUpperTail(TUpperQuantile(q, 7.0), 7.0), q, 1e-12));
        EXPECT_TRUE(RelNear(TCdf(TQuantile(q, 2.5), 2.5), q, 1e-12));
        EXPECT_TRUE(RelNear(ChiSquaredUpperTail(ChiSquaredUpperQuantile(q, 5.0), 5.0), q, 1e-12));
        EXPECT_TRUE(RelNear(ChiSquaredCdf(ChiSquaredQuantile(q, 5.0), 5.0), q, 1e-12));
        EXPECT_TRUE(RelNear(FUpperTail(FUpperQuantile(q, 4.0, 11.0), 4.0, 11.0), q, 1e-12));
        EXPECT_TRUE(RelNear(FCdf(FQuantile(q, 4.0, 11.0), 4.0, 11.0), q, 1e-12));
    }
}

TEST(Distributions, InvalidArgumentsGiveNaNNotExceptions) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double v : {NormalCdf(nan), NormalQuantile(-0.1), NormalUpperQuantile(1.5), TCdf(1.0, 0.0), TUpperTail(1.0, -2.0),
                     TQuantile(0.5, nan), ChiSquaredUpperTail(1.0, 0.0), ChiSquaredQuantile(0.5, -1.0), ChiSquaredCdf(1.0, kInf),
                     FCdf(1.0, 0.0, 3.0), FQuantile(1.1, 2.0, 3.0), FDensity(1.0, nan, 3.0), Gamma(0.0), Gamma(-3.0),
                     LogGamma(-2.0), Digamma(0.0), Digamma(-4.0)})
        EXPECT_TRUE(std::isnan(v));
}

}  // namespace
}  // namespace tessel
