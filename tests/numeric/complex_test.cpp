#include <gtest/gtest.h>
#include <cmath>
#include "numeric/complex.h"

using tessel::CxAbs;
using tessel::CxDiv;

TEST(Complex, QuotientInvertsTheProductAtOrdinaryAndExtremeScales) {
    const tessel::Complex q = CxDiv({1.0, 2.0}, {3.0, 4.0});  // (11 + 2i) / 25
    EXPECT_DOUBLE_EQ(q.re, 0.44);
    EXPECT_DOUBLE_EQ(q.im, 0.08);
    const tessel::Complex a{1e-3, 1e3}, b{3e2, -4e-2}, back = CxDiv(tessel::CxMul(a, b), b);
    EXPECT_NEAR(back.re, a.re, 1e-14 * CxAbs(a));
    EXPECT_NEAR(back.im, a.im, 1e-14 * CxAbs(a));
    // Squares of these components overflow or underflow; the results are ordinary numbers.
    EXPECT_DOUBLE_EQ(CxDiv({3e300, 4e300}, {3e300, 4e300}).re, 1.0);
    EXPECT_DOUBLE_EQ(CxDiv({1e-300, 0.0}, {0.0, 1e-300}).im, -1.0);
    EXPECT_DOUBLE_EQ(CxAbs({3e300, -4e300}), 5e300);
    EXPECT_DOUBLE_EQ(CxAbs({-3e-300, 4e-300}), 5e-300);
    EXPECT_TRUE(CxAbs({0.0, 0.0}) == 0.0 && std::isinf(CxAbs({INFINITY, NAN})) && std::isnan(CxAbs({NAN, 1.0})));
    EXPECT_FALSE(std::isfinite(CxDiv({1.0, 1.0}, {0.0, 0.0}).re));
}
