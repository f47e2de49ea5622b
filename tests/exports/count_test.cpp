// FnCountJD through the stand-in runtime.
#include <gtest/gtest.h>
#include <cmath>
#include "host/exports.h"
#include "tests/choice/test_support.h"

namespace {
using tessel::testing::HostCall;
using tessel::testing::Vec;

const Vec kX = {1, 0.3, 1, -1.1, 1, 2.0, 1, 0.4}, kY = {1, 0, 2.7, 1};  // 2.7 counts as 2
HostCall &CountArgs(HostCall &c, int model, int S, int K, const Vec &theta = {0.2, 0.3, -0.5}) {
    return c.M(static_cast<int>(theta.size()), 1, theta).M(4, 1, kY).M(4, 2, kX).I(model).I(S).I(K).D(0.0).Refs(5);
}

TEST(FnCountJD, PoissonAndNegBinThroughTheHost) {
    HostCall c, both, outer_only;
    CountArgs(c, 0, 0, 4).Run("FnCountJD", FnCountJD);
    double L = 0.0, p0 = 0.0;
    for (int i = 0; i < 4; ++i) {
        const double xb = 0.2 + 0.3 * kX[2 * i + 1], y = std::trunc(kY[i]);
        L += y * xb - std::exp(xb) - std::lgamma(y + 1.0);
        p0 += std::exp(-std::exp(xb));
    }
    EXPECT_NEAR(c.Result(), L, 1e-13);
    EXPECT_NEAR(c.At(2, 0, 0), p0, 1e-14);
    EXPECT_EQ(c.At(0, 2, 0), 0.0);  // n > k: the extra gradient element stays zero
    // The negative binomial keeps one matrix: in the information slot when both are asked for.
    CountArgs(both, 1, 0, 0).Run("FnCountJD", FnCountJD);
    CountArgs(outer_only, 1, 0, 0).Set(8, VelawinInt(0));
    outer_only.Run("FnCountJD", FnCountJD);
    EXPECT_EQ(both.target[2].cols, 0);  // K = 0: an empty table
    for (int r = 0; r < 9; ++r) EXPECT_TRUE(both.At(4, r / 3, r % 3) == 0.0 && both.At(1, r / 3, r % 3) == outer_only.At(4, r / 3, r % 3));
    EXPECT_GT(both.At(1, 2, 2), 0.0);
}

TEST(FnCountJD, NothingSelectedUnusableAndRefused) {
    for (int model : {2, 0}) {  // model 2, and a Poisson with negative S: NaN, outputs allocated and blank
        HostCall c;
        CountArgs(c, model, model ? 0 : -1, 3).Run("FnCountJD", FnCountJD);
        EXPECT_TRUE(std::isnan(c.Result()) && c.target[4].type == VELA_MATRIX && c.At(2, 0, 2) == 0.0);
    }
    HostCall two_cols, type, no_dispersion, negative_k, empty;
    CountArgs(two_cols, 0, 0, 3).Set(1, VelawinMatrix(4, 2, nullptr));
    const long live = VelawinLiveBlocks();
    two_cols.Run("FnCountJD", FnCountJD);
    EXPECT_TRUE(std::isnan(two_cols.Result()) && VelawinLiveBlocks() == live);
    CountArgs(type, 0, 0, 3).Set(6, VelawinInt(1));
    tessel::testing::ExpectRefused(type, "FnCountJD", FnCountJD, 6);
    CountArgs(no_dispersion, 1, 0, 3, {0.1, 0.2});
    tessel::testing::ExpectRefused(no_dispersion, "FnCountJD", FnCountJD, 0);
    CountArgs(negative_k, 0, 0, -1);
    tessel::testing::ExpectRefused(negative_k, "FnCountJD", FnCountJD, 5);
    empty.M(1, 1, {0.3}).M(0, 1, {}).M(0, 1, {}).I(0).I(5).I(2).D(0.0).Run("FnCountJD", FnCountJD);  // no rows, no outputs
    EXPECT_EQ(empty.Result(), 0.0);
}

}  // namespace
