// Elementary, distribution and random-draw handlers: closed forms, the flag bits set on domain errors
// and the values returned with them.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "algebra/functions.h"
#include "numeric/random.h"

namespace tessel {
namespace {

constexpr double kPi = 3.141592653589793;

class AlgebraMathFunctions : public ::testing::Test {
protected:
    double F(AlgebraFunctionHandler h, std::vector<double> args) { return h(&ws_, args.data()); }
    AlgebraWorkspace ws_;
};

TEST_F(AlgebraMathFunctions, RoundingAndIntegerDivision) {
    EXPECT_EQ(F(AlgebraFnRound, {-2.5}), -2.0);
    EXPECT_EQ(F(AlgebraFnRound, {2.5}), 3.0);
    EXPECT_EQ(F(AlgebraFnRound, {-0.4}), 0.0);
    EXPECT_EQ(F(AlgebraFnDiv, {7, 2}), 3.0);
    EXPECT_EQ(F(AlgebraFnDiv, {-7, 2}), -3.0);
    EXPECT_EQ(F(AlgebraFnDiv, {7.9, -2.9}), -3.0);  // both truncated first
    EXPECT_EQ(F(AlgebraFnDiv, {-2147483648.0, -1}), 2147483648.0);  // no overflow
    EXPECT_EQ(F(AlgebraFnDiv, {1e300, 1}), 2147483647.0);  // saturates instead of undefined conversion
    EXPECT_EQ(ws_.flags, 0u);
    EXPECT_TRUE(IsMissing(F(AlgebraFnDiv, {5, 0.7})));  // trunc(0.7) is 0
    EXPECT_EQ(ws_.flags, kAlgebraFlagDivideByZero);
    EXPECT_EQ(F(AlgebraFnFmod, {7.5, 2}), 1.5);
    EXPECT_EQ(F(AlgebraFnFmod, {-7.5, 2}), -1.5);
}

TEST_F(AlgebraMathFunctions, MaxMinAndAbsolute) {
    EXPECT_EQ(F(AlgebraFnMax, {1, 2}), 2.0);
    EXPECT_EQ(F(AlgebraFnMax, {2, 1}), 2.0);
    EXPECT_EQ(F(AlgebraFnMin, {1, 2}), 1.0);
    EXPECT_EQ(F(AlgebraFnMin, {2, 1}), 1.0);
    // On a tie the first argument wins for max, the second for min.
    EXPECT_FALSE(std::signbit(F(AlgebraFnMax, {0.0, -0.0})));
    EXPECT_TRUE(std::signbit(F(AlgebraFnMin, {0.0, -0.0})));
    EXPECT_FALSE(std::signbit(F(AlgebraFnAbs, {-0.0})));
    EXPECT_EQ(F(AlgebraFnAbs, {-3.25}), 3.25);
    EXPECT_EQ(F(AlgebraFnAbs, {-std::numeric_limits<double>::infinity()}), std::numeric_limits<double>::infinity());
}

TEST_F(AlgebraMathFunctions, ExponentWarnsFromItsOverflowThreshold) {
    EXPECT_NEAR(F(AlgebraFnExp, {708.9}), std::exp(708.9), 1e295);
    EXPECT_EQ(ws_.flags, 0u);
    const double big = F(AlgebraFnExp, {709.0});
    EXPECT_EQ(ws_.flags, kAlgebraFlagExpOverflow);
    EXPECT_NEAR(big / std::exp(709.0), 1.0, 1e-15);  // still computed
    EXPECT_TRUE(std::isinf(F(AlgebraFnExp, {1000.0})));
}

TEST_F(AlgebraMathFunctions, LogarithmsFlagZeroAndNegativeArguments) {
    for (AlgebraFunctionHandler h : {AlgebraFnLog, AlgebraFnLog10, AlgebraFnLogGamma}) {
        ws_.flags = 0;
        const double z = F(h, {0.0});
        EXPECT_TRUE(std::isinf(z) && z < 0.0);
        EXPECT_EQ(ws_.flags, kAlgebraFlagLogZero);
        ws_.flags = 0;
        EXPECT_TRUE(IsMissing(F(h, {-1.0})));
        EXPECT_EQ(ws_.flags, kAlgebraFlagLogNonPositive);
    }
    ws_.flags = 0;
    EXPECT_NEAR(F(AlgebraFnLog, {std::exp(2.5)}), 2.5, 1e-14);
    EXPECT_NEAR(F(AlgebraFnLog10, {1000.0}), 3.0, 1e-14);
    EXPECT_NEAR(F(AlgebraFnLogGamma, {5.0}), std::log(24.0), 1e-13);
    EXPECT_NEAR(F(AlgebraFnLogGamma, {0.5}), 0.5 * std::log(kPi), 1e-13);
    EXPECT_EQ(ws_.flags, 0u);
}

TEST_F(AlgebraMathFunctions, SquareRootOfNegativeIsMissingWithAnError) {
    EXPECT_EQ(F(AlgebraFnSqrt, {6.25}), 2.5);
    EXPECT_EQ(F(AlgebraFnSqrt, {-0.0}), 0.0);  // -0 is not negative
    EXPECT_EQ(ws_.flags, 0u);
    EXPECT_TRUE(IsMissing(F(AlgebraFnSqrt, {-1.0})));
    EXPECT_EQ(ws_.flags, kAlgebraFlagSqrtNegative);
}

TEST_F(AlgebraMathFunctions, DistributionsAgainstClosedForms) {
    const double x = 1.3;
    EXPECT_NEAR(F(AlgebraFnDensN, {0.0}), 1.0 / std::sqrt(2.0 * kPi), 1e-15);
    EXPECT_NEAR(F(AlgebraFnProbN, {1.959963984540054}), 0.975, 1e-12);
    EXPECT_NEAR(F(AlgebraFnTailN, {x}) + F(AlgebraFnProbN, {x}), 1.0, 1e-15);
    EXPECT_NEAR(F(AlgebraFnQuanN, {F(AlgebraFnProbN, {x})}), x, 1e-10);
    // Chi-squared with 2 degrees of freedom is exponential with mean 2.
    EXPECT_NEAR(F(AlgebraFnDensChi, {x, 2}), 0.5 * std::exp(-x / 2), 1e-14);
    EXPECT_NEAR(F(AlgebraFnTailChi, {x, 2}), std::exp(-x / 2), 1e-14);
    EXPECT_NEAR(F(AlgebraFnQuanChi, {0.3, 2}), -2.0 * std::log(0.7), 1e-10);
    // t with 1 degree of freedom is Cauchy; the degrees of freedom are truncated.
    for (double df : {1.0, 1.99}) {
        EXPECT_NEAR(F(AlgebraFnDensT, {x, df}), 1.0 / (kPi * (1 + x * x)), 1e-14);
        EXPECT_NEAR(F(AlgebraFnTailT, {x, df}), 0.5 - std::atan(x) / kPi, 1e-14);
        EXPECT_NEAR(F(AlgebraFnQuanT, {0.8, df}), std::tan(kPi * 0.3), 1e-10);
    }
    // F(2, 2) has density 1 / (1 + x)^2 and tail 1 / (1 + x).
    EXPECT_NEAR(F(AlgebraFnDensF, {x, 2, 2}), 1.0 / ((1 + x) * (1 + x)), 1e-14);
    EXPECT_NEAR(F(AlgebraFnTailF, {x, 2, 2}), 1.0 / (1 + x), 1e-14);
    EXPECT_NEAR(F(AlgebraFnQuanF, {0.25, 2, 2}), 1.0 / 3.0, 1e-10);
    EXPECT_EQ(ws_.flags, 0u);
}

TEST_F(AlgebraMathFunctions, NonPositiveDegreesOfFreedomFlagAndGiveMissing) {
    struct Case {
        AlgebraFunctionHandler h;
        std::vector<double> args;
    };
    const Case cases[] = {
        {AlgebraFnDensChi, {1, 0}},     {AlgebraFnQuanChi, {0.5, -1}}, {AlgebraFnTailChi, {1, 0}},
        {AlgebraFnDensF, {1, 0, 3}},    {AlgebraFnQuanF, {0.5, 3, 0}}, {AlgebraFnTailF, {1, -2, -2}},
        {AlgebraFnDensT, {1, 0.9}},     {AlgebraFnQuanT, {0.5, 0}},    {AlgebraFnTailT, {1, -3}},
        {AlgebraFnRanChi, {0}},         {AlgebraFnRanF, {1, 0}},       {AlgebraFnRanF, {-1, 1}},
        {AlgebraFnRanT, {0.5}},
    };
    for (const Case &c : cases) {
        ws_.flags = 0;
        std::vector<double> args = c.args;
        EXPECT_TRUE(IsMissing(c.h(&ws_, args.data())));
        EXPECT_EQ(ws_.flags, kAlgebraFlagNonPositiveDf);
    }
    // Tiny positive degrees of freedom are allowed for chi-squared and F.
    ws_.flags = 0;
    EXPECT_FALSE(IsMissing(F(AlgebraFnDensChi, {1, 0.5})));
    EXPECT_EQ(ws_.flags, 0u);
}

TEST_F(AlgebraMathFunctions, SeedingRepeatsTheSequence) {
    AlgebraInitFunctions();
    auto draws = [&] {
        std::vector<double> v;
        for (int i = 0; i < 5; ++i) v.push_back(F(AlgebraFnRanU, {}));
        for (int i = 0; i < 5; ++i) v.push_back(F(AlgebraFnRanN, {}));
        v.push_back(F(AlgebraFnRanChi, {3}));
        v.push_back(F(AlgebraFnRanT, {4}));
        v.push_back(F(AlgebraFnRanF, {3, 5}));
        return v;
    };
    EXPECT_EQ(F(AlgebraFnRanSeed, {-1}), -1.0);
    const std::vector<double> a = draws();
    EXPECT_EQ(F(AlgebraFnRanSeed, {-1.7}), -1.0);  // truncated to -1
    EXPECT_EQ(draws(), a);
    EXPECT_EQ(F(AlgebraFnRanSeed, {123457}), 123457.0);
    const std::vector<double> b = draws();
    EXPECT_NE(b, a);
    F(AlgebraFnRanSeed, {123457});
    const double first = F(AlgebraFnRanU, {});
    EXPECT_EQ(first, b[0]);
    // Reading the seed reports the generator's first seed word and leaves the sequence alone.
    uint32_t word = 0;
    RanGetSeed(&word, 1);
    EXPECT_EQ(F(AlgebraFnRanSeed, {0}), static_cast<double>(static_cast<int32_t>(word)));
    EXPECT_EQ(F(AlgebraFnRanU, {}), b[1]);
    for (double u : a) EXPECT_FALSE(IsMissing(u));
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(a[i] > 0.0 && a[i] < 1.0);
}

TEST_F(AlgebraMathFunctions, DerivedDrawsHaveTheirMeans) {
    F(AlgebraFnRanSeed, {2024});
    const int n = 40000;
    double chi = 0.0, f = 0.0, t2 = 0.0;
    for (int i = 0; i < n; ++i) {
        chi += F(AlgebraFnRanChi, {4});
        f += F(AlgebraFnRanF, {5, 10});
        const double t = F(AlgebraFnRanT, {6.7});  // 6 degrees of freedom: variance 6 / 4
        t2 += t * t;
    }
    EXPECT_NEAR(chi / n, 4.0, 0.08);
    EXPECT_NEAR(f / n, 10.0 / 8.0, 0.04);
    EXPECT_NEAR(t2 / n, 1.5, 0.06);
}

}  // namespace
}  // namespace tessel
