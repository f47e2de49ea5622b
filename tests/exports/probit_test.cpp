// FnBinProbitJD through the stand-in runtime.
#include <gtest/gtest.h>
#include <cmath>
#include "host/exports.h"
#include "numeric/distributions.h"
#include "tests/choice/test_support.h"

namespace {
using tessel::testing::HostCall;
using tessel::testing::Vec;

const Vec kX = {1, 0.3, 1, -1.1, 1, 2.0, 1, 0.4, 1, -0.2}, kW = {1, 2, 1, 2, 1};
HostCall &ProbitArgs(HostCall &c, const Vec &y = {1, 0, 1, 0.99, 1}) {  // 0.99 counts as 0
    return c.M(2, 1, {0.1, 0.5}).M(5, 1, y).M(5, 2, kX).M(5, 1, kW).Refs(5);
}

TEST(FnBinProbitJD, ResultsAndOptionalArguments) {
    HostCall c, bare;
    ProbitArgs(c).Run("FnBinProbitJD", FnBinProbitJD);
    double L = 0.0, info00 = 0.0, unweighted = 0.0;
    for (int i = 0; i < 5; ++i) {
        const double xb = 0.1 + 0.5 * kX[2 * i + 1], p1 = tessel::NormalCdf(xb), li = std::log(i % 2 ? 1.0 - p1 : p1);
        L += kW[i] * li, unweighted += li;
        info00 += kW[i] * std::pow(tessel::NormalDensity(xb), 2) / (p1 * (1.0 - p1));
        EXPECT_NEAR(c.At(2, i, 0), 1.0 - p1, 1e-15);
    }
    EXPECT_NEAR(c.Result(), L, 1e-13);
    EXPECT_NEAR(c.At(1, 0, 0), info00, 1e-13);
    EXPECT_EQ(c.target[4].cols, 2);
    ProbitArgs(bare).args.resize(4);  // no outputs, no weights
    bare.Set(3, VelawinMatrix(0, 0, nullptr));
    bare.Run("FnBinProbitJD", FnBinProbitJD);
    EXPECT_NEAR(bare.Result(), unweighted, 1e-13);
}

TEST(FnBinProbitJD, UnusableInputsAndRefusedArguments) {
    for (int variant = 1; variant <= 2; ++variant) {  // y of two columns, X of the wrong rows: NaN, nothing made
        HostCall c;
        ProbitArgs(c).Set(variant, VelawinMatrix(variant == 1 ? 5 : 4, 2, nullptr));
        const long live = VelawinLiveBlocks();
        c.Run("FnBinProbitJD", FnBinProbitJD);
        EXPECT_TRUE(std::isnan(c.Result()) && VelawinLiveBlocks() == live && c.target[0].type == VELA_EMPTY);
    }
    HostCall type, outcome, short_theta;
    ProbitArgs(type).Set(3, VelawinInt(1));
    tessel::testing::ExpectRefused(type, "FnBinProbitJD", FnBinProbitJD, 3);
    ProbitArgs(outcome, {1, 0, 2, 0, 1});  // 2 is no outcome
    tessel::testing::ExpectRefused(outcome, "FnBinProbitJD", FnBinProbitJD, 1);
    ProbitArgs(short_theta).Set(0, VelawinMatrix(1, 1, nullptr));
    tessel::testing::ExpectRefused(short_theta, "FnBinProbitJD", FnBinProbitJD, 0);
}

}  // namespace
