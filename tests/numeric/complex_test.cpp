#include <gtest/gtest.h>

#include <cmath>

#include "numeric/complex.h"

using tessel::Complex;

TEST(Complex, QuotientInvertsTheProduct) {
    const Complex cases[][2] = {{{3.0, -2.0}, {0.5, 4.0}},  {{-1.0, 0.25}, {-7.0, 0.1}}, {{0.0, 1.0}, {0.0, -2.0}},
                                {{5.0, 0.0}, {2.0, 0.0}},   {{1e-3, 1e3}, {3e2, -4e-2}}};
    for (auto &c : cases) {
        const Complex q = tessel::CxDiv(tessel::CxMul(c[0], c[1]), c[1]);
        EXPECT_NEAR(q.re, c[0].re, 1e-14 * tessel::CxAbs(c[0]));
        EXPECT_NEAR(q.im, c[0].im, 1e-14 * tessel::CxAbs(c[0]));
    }
    const Complex q = tessel::CxDiv({1.0, 2.0}, {3.0, 4.0});  // (1+2i)/(3+4i) = (11 + 2i)/25
    EXPECT_DOUBLE_EQ(q.re, 11.0 / 25.0);
    EXPECT_DOUBLE_EQ(q.im, 2.0 / 25.0);
}

TEST(Complex, QuotientAndModulusSurviveExtremeScales) {
    // Squares of these components overflow or underflow; the results themselves are ordinary.
    const Complex big = tessel::CxDiv({3e300, 4e300}, {3e300, 4e300});
    EXPECT_DOUBLE_EQ(big.re, 1.0);
    EXPECT_NEAR(big.im, 0.0, 1e-16);
    const Complex tiny = tessel::CxDiv({1e-300, 0.0}, {0.0, 1e-300});
    EXPECT_DOUBLE_EQ(tiny.re, 0.0);
    EXPECT_DOUBLE_EQ(tiny.im, -1.0);
    EXPECT_DOUBLE_EQ(tessel::CxAbs({3e300, 4e300}), 5e300);
    EXPECT_DOUBLE_EQ(tessel::CxAbs({-3e-300, 4e-300}), 5e-300);
    EXPECT_EQ(tessel::CxAbs({0.0, 0.0}), 0.0);
    EXPECT_EQ(tessel::CxAbs({0.0, -2.5}), 2.5);
    EXPECT_TRUE(std::isinf(tessel::CxAbs({INFINITY, NAN})));
    EXPECT_TRUE(std::isnan(tessel::CxAbs({NAN, 1.0})));
}

TEST(Complex, DivisionByZeroIsNotFinite) {
    const Complex q = tessel::CxDiv({1.0, 1.0}, {0.0, 0.0});
    EXPECT_FALSE(std::isfinite(q.re));
    EXPECT_FALSE(std::isfinite(q.im));
}
