// Elementary, distribution and random-draw handlers: closed forms, the flag bits set on domain errors
// and the values returned with them.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "algebra/functions.h"
#include "numeric/random.h"
#include "tests/algebra/reference.h"

namespace tessel {
namespace {

constexpr double kPi = 3.141592653589793, kInf = std::numeric_limits<double>::infinity(), M = kMissing;

class AlgebraMathFunctions : public ::testing::Test {
protected:
    double F(AlgebraFunctionHandler h, std::vector<double> args) { return h(&ws_, args.data()); }
    AlgebraWorkspace ws_;
};

struct Case {
    AlgebraFunctionHandler h;
    std::vector<double> args;
    double want;
    double tol = 0.0;
    uint32_t flags = 0;  // the flag the call must set, alone
};

TEST_F(AlgebraMathFunctions, ClosedFormsAndDomainFlags) {
    const double x = 1.3;
    const Case cases[] = {
        {AlgebraFnRound, {-2.5}, -2.0}, {AlgebraFnRound, {2.5}, 3.0}, {AlgebraFnRound, {-0.4}, 0.0},
        {AlgebraFnDiv, {7, 2}, 3.0}, {AlgebraFnDiv, {-7, 2}, -3.0}, {AlgebraFnDiv, {7.9, -2.9}, -3.0},  // truncated first
        {AlgebraFnDiv, {-2147483648.0, -1}, 2147483648.0}, {AlgebraFnDiv, {1e300, 1}, 2147483647.0},  // saturates
        {AlgebraFnDiv, {5, 0.7}, M, 0, kAlgebraFlagDivideByZero},  // trunc(0.7) is 0
        {AlgebraFnFmod, {7.5, 2}, 1.5}, {AlgebraFnFmod, {-7.5, 2}, -1.5},
        {AlgebraFnMax, {1, 2}, 2}, {AlgebraFnMax, {2, 1}, 2}, {AlgebraFnMin, {1, 2}, 1}, {AlgebraFnMin, {2, 1}, 1},
        {AlgebraFnAbs, {-3.25}, 3.25}, {AlgebraFnAbs, {-kInf}, kInf},
        // exp warns from its overflow threshold and still computes.
        {AlgebraFnExp, {708.9}, std::exp(708.9), 1e295}, {AlgebraFnExp, {709.0}, std::exp(709.0), 1e293, kAlgebraFlagExpOverflow},
        {AlgebraFnExp, {1000.0}, kInf, 0, kAlgebraFlagExpOverflow},
        {AlgebraFnLog, {std::exp(2.5)}, 2.5, 1e-14}, {AlgebraFnLog10, {1000.0}, 3.0, 1e-14},
        {AlgebraFnLogGamma, {5.0}, std::log(24.0), 1e-13}, {AlgebraFnLogGamma, {0.5}, 0.5 * std::log(kPi), 1e-13},
        {AlgebraFnSqrt, {6.25}, 2.5}, {AlgebraFnSqrt, {-0.0}, 0.0}, {AlgebraFnSqrt, {-1.0}, M, 0, kAlgebraFlagSqrtNegative},
        {AlgebraFnDensN, {0.0}, 1.0 / std::sqrt(2.0 * kPi), 1e-15}, {AlgebraFnProbN, {1.959963984540054}, 0.975, 1e-12},
        {AlgebraFnTailN, {x}, 1.0 - 0.5 * std::erfc(-x / std::sqrt(2.0)), 1e-15}, {AlgebraFnQuanN, {0.9031995154143897}, x, 1e-10},
        // Chi-squared with 2 degrees of freedom is exponential with mean 2; tiny positive ones are allowed.
        {AlgebraFnDensChi, {x, 2}, 0.5 * std::exp(-x / 2), 1e-14}, {AlgebraFnTailChi, {x, 2}, std::exp(-x / 2), 1e-14},
        {AlgebraFnQuanChi, {0.3, 2}, -2.0 * std::log(0.7), 1e-10},
        {AlgebraFnDensChi, {1, 0.5}, std::exp(-0.5) / (std::pow(2.0, 0.25) * std::tgamma(0.25)), 1e-12},
        // t with 1 degree of freedom is Cauchy; the degrees of freedom are truncated.
        {AlgebraFnDensT, {x, 1}, 1.0 / (kPi * (1 + x * x)), 1e-14}, {AlgebraFnDensT, {x, 1.99}, 1.0 / (kPi * (1 + x * x)), 1e-14},
        {AlgebraFnTailT, {x, 1.99}, 0.5 - std::atan(x) / kPi, 1e-14}, {AlgebraFnQuanT, {0.8, 1}, std::tan(kPi * 0.3), 1e-10},
        // F(2, 2) has density 1 / (1 + x)^2 and tail 1 / (1 + x).
        {AlgebraFnDensF, {x, 2, 2}, 1.0 / ((1 + x) * (1 + x)), 1e-14}, {AlgebraFnTailF, {x, 2, 2}, 1.0 / (1 + x), 1e-14},
        {AlgebraFnQuanF, {0.25, 2, 2}, 1.0 / 3.0, 1e-10},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        ws_.flags = 0;
        ExpectSame(F(c.h, c.args), c.want, c.tol, std::to_string(i).c_str());
        EXPECT_EQ(ws_.flags, c.flags) << i;
    }
    // Signs of zero: on a tie the first argument wins for max, the second for min.
    EXPECT_FALSE(std::signbit(F(AlgebraFnMax, {0.0, -0.0})));
    EXPECT_TRUE(std::signbit(F(AlgebraFnMin, {0.0, -0.0})));
    EXPECT_FALSE(std::signbit(F(AlgebraFnAbs, {-0.0})));
}

TEST_F(AlgebraMathFunctions, LogarithmsAndDegreesOfFreedomOutOfDomain) {
    for (AlgebraFunctionHandler h : {AlgebraFnLog, AlgebraFnLog10, AlgebraFnLogGamma}) {
        ws_.flags = 0;
        EXPECT_EQ(F(h, {0.0}), -kInf);
        EXPECT_EQ(ws_.flags, kAlgebraFlagLogZero);
        ws_.flags = 0;
        EXPECT_TRUE(IsMissing(F(h, {-1.0})));
        EXPECT_EQ(ws_.flags, kAlgebraFlagLogNonPositive);
    }
    const std::pair<AlgebraFunctionHandler, std::vector<double>> bad_df[] = {
        {AlgebraFnDensChi, {1, 0}}, {AlgebraFnQuanChi, {0.5, -1}}, {AlgebraFnTailChi, {1, 0}}, {AlgebraFnDensF, {1, 0, 3}},
        {AlgebraFnQuanF, {0.5, 3, 0}}, {AlgebraFnTailF, {1, -2, -2}}, {AlgebraFnDensT, {1, 0.9}}, {AlgebraFnQuanT, {0.5, 0}},
        {AlgebraFnTailT, {1, -3}}, {AlgebraFnRanChi, {0}}, {AlgebraFnRanF, {1, 0}}, {AlgebraFnRanF, {-1, 1}},
        {AlgebraFnRanT, {0.5}},
    };
    for (const auto &[h, args] : bad_df) {
        ws_.flags = 0;
        EXPECT_TRUE(IsMissing(F(h, args)));
        EXPECT_EQ(ws_.flags, kAlgebraFlagNonPositiveDf);
    }
}

TEST_F(AlgebraMathFunctions, SeedingRepeatsTheSequence) {
    AlgebraInitFunctions();
    auto draws = [&] {
        std::vector<double> v;
        for (int i = 0; i < 5; ++i) v.push_back(F(AlgebraFnRanU, {}));
        for (int i = 0; i < 5; ++i) v.push_back(F(AlgebraFnRanN, {}));
        for (double d : {F(AlgebraFnRanChi, {3}), F(AlgebraFnRanT, {4}), F(AlgebraFnRanF, {3, 5})}) v.push_back(d);
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
    EXPECT_EQ(F(AlgebraFnRanU, {}), b[0]);
    // Reading the seed reports the generator's first seed word and leaves the sequence alone.
    uint32_t word = 0;
    RanGetSeed(&word, 1);
    EXPECT_EQ(F(AlgebraFnRanSeed, {0}), static_cast<double>(static_cast<int32_t>(word)));
    EXPECT_EQ(F(AlgebraFnRanU, {}), b[1]);
    for (double u : a) EXPECT_FALSE(IsMissing(u));
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(a[i] > 0.0 && a[i] < 1.0);
}

TEST_F(AlgebraMathFunctions, DerivedDrawsHaveTheirMeansAndHugeDegreesOfFreedomTheirLimits) {
    F(AlgebraFnRanSeed, {2024});
    const int n = 40000;
    double chi = 0.0, f = 0.0, t2 = 0.0;
    for (int i = 0; i < n; ++i) {
        chi += F(AlgebraFnRanChi, {4});
        f += F(AlgebraFnRanF, {5, 10});
        t2 += std::pow(F(AlgebraFnRanT, {6.7}), 2);  // 6 degrees of freedom: variance 6 / 4
    }
    EXPECT_NEAR(chi / n, 4.0, 0.08);
    EXPECT_NEAR(f / n, 10.0 / 8.0, 0.04);
    EXPECT_NEAR(t2 / n, 1.5, 0.06);
    // Huge degrees of freedom take the limit instead of hanging, joining the exact quantiles continuously.
    EXPECT_NEAR(F(AlgebraFnRanChi, {1e300}) / 1e300, 1.0, 1e-9);
    EXPECT_NEAR(F(AlgebraFnRanF, {1e100, 1e100}), 1.0, 1e-9);
    EXPECT_GT(F(AlgebraFnRanF, {1e100, 4}), 0.0);
    for (double p : {0.05, 0.3, 0.9}) {
        EXPECT_NEAR(F(AlgebraFnQuanF, {p, 1e30, 6}), F(AlgebraFnQuanF, {p, 1e17, 6}), 1e-6);
        EXPECT_NEAR(F(AlgebraFnQuanF, {p, 6, 1e30}), F(AlgebraFnQuanF, {p, 6, 1e17}), 1e-6);
        EXPECT_EQ(F(AlgebraFnQuanF, {p, 1e300, 1e300}), 1.0);
    }
    EXPECT_TRUE(IsMissing(F(AlgebraFnQuanF, {1.5, 1e300, 1e300})));
    EXPECT_EQ(ws_.flags, 0u);
}

}  // namespace
}  // namespace tessel
