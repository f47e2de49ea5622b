// FnLogitJD and FnLogitProbDeriv through the stand-in runtime.
#include <gtest/gtest.h>
#include <cmath>
#include "host/exports.h"
#include "tests/choice/test_support.h"

namespace {
using tessel::testing::HostCall;
using tessel::testing::Vec;

// Six observations, three alternatives, X = (1, x), one alternative-specific variable.
const Vec kX = {1, 0.5, 1, -1.2, 1, 2.0, 1, 0.1, 1, -0.7, 1, 1.3};
const Vec kZ = {1.0, 2.0, 0.5, 0.3, 1.1, 2.2, 1.7, 0.2, 0.9, 0.4, 0.8, 1.6, 2.1, 1.3, 0.6, 0.9, 0.9, 1.8};
const Vec kY = {0, 1, 2, 1, 0, 2.9};  // 2.9 selects alternative 2
const Vec kTheta = {0.2, -0.4, -0.3, 0.6, -0.8};
double DirectLogLik(const Vec &th) {
    double L = 0.0;
    for (int i = 0; i < 6; ++i) {
        double s[3], S = 0.0;
        for (int j = 0; j < 3; ++j) S += std::exp(s[j] = th[4] * kZ[3 * i + j] + (j ? th[2 * j - 2] + th[2 * j - 1] * kX[2 * i + 1] : 0.0));
        L += s[static_cast<int>(kY[i])] - std::log(S);
    }
    return L;
}

// Weights of the wrong size count as absent; no offsets.
HostCall &LogitArgs(HostCall &c, const Vec &theta = kTheta, int outputs = 5) {
    return c.M(5, 1, theta).M(6, 1, kY).I(3).M(6, 2, kX).M(6, 3, kZ).M(1, 1, {2.0}).M(0, 0, {}).Refs(outputs);
}

TEST(FnLogitJD, ResultsAndOptionalArguments) {
    const long before = VelawinLiveBlocks();
    {
        HostCall c, few, weighted, grouped;
        LogitArgs(c).Run("FnLogitJD", FnLogitJD);
        EXPECT_NEAR(c.Result(), DirectLogLik(kTheta), 1e-13);
        const Vec g = tessel::testing::NumGradient(DirectLogLik, kTheta);
        for (int j = 0; j < 5; ++j) EXPECT_NEAR(c.At(0, j, 0), g[j], 1e-9);
        EXPECT_TRUE(c.target[1].cols == 5 && c.target[2].cols == 3 && c.target[3].ival == 6 && c.target[4].ival == 5);
        for (int i = 0; i < 6; ++i) {  // the caller's Z is centred on the fitted probabilities
            const double *z = c.args[4].data.mat[i];
            EXPECT_NEAR(z[0] * c.At(2, i, 0) + z[1] * c.At(2, i, 1) + z[2] * c.At(2, i, 2), 0.0, 1e-14);
        }
        LogitArgs(few, {-0.8, 9, 9, 9, 9}, 1).Set(3, VelawinMatrix(5, 2, nullptr));  // X of 5 rows: absent
        few.Run("FnLogitJD", FnLogitJD);
        EXPECT_NEAR(few.Result(), DirectLogLik({0, 0, 0, 0, -0.8}), 1e-13);
        EXPECT_EQ(few.At(0, 4, 0), 0.0);
        EXPECT_EQ(few.args[4].data.mat[0][0], kZ[0]);  // no information, Z untouched
        LogitArgs(weighted, kTheta, 0).Set(5, VelawinMatrix(6, 1, Vec(6, 2.0).data()));
        weighted.Run("FnLogitJD", FnLogitJD);
        EXPECT_NEAR(weighted.Result(), 2.0 * DirectLogLik(kTheta), 1e-12);
        // Two columns of counts with J given as 5: J becomes 2.
        grouped.M(2, 1, {0.5, -1.0}).M(2, 2, {3, 1, 0, 2}).I(5).M(2, 2, {1, 0.2, 1, -0.4}).M(0, 0, {}).M(0, 0, {}).M(0, 0, {}).Refs(3);
        grouped.Run("FnLogitJD", FnLogitJD);
        const double a = 1.0 / (1.0 + std::exp(0.3)), b = 1.0 / (1.0 + std::exp(0.9));  // P of alternative 0
        EXPECT_NEAR(grouped.Result(), 3 * std::log(a) + std::log(1 - a) + 2 * std::log(1 - b), 1e-13);
        EXPECT_EQ(grouped.target[2].cols, 2);
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);
}

TEST(FnLogitJD, RefusedArgumentsDegenerateShapesAndOutOfMemory) {
    const struct { int arg; VelaValue v; } bad[] = {
        {2, VelawinDouble(3.0)}, {0, VelawinString("theta")},
        {1, VelawinMatrix(6, 1, Vec{0, 1, 3, 1, 0, 2}.data())},   // alternative 3 of 0..2
        {1, VelawinMatrix(6, 1, Vec{0, 1, -1, 1, 0, 2}.data())},  // negative choice
        {0, VelawinMatrix(4, 1, nullptr)},                         // too few parameters
        {6, VelawinMatrix(6, 2, nullptr)}};                        // offsets need J columns
    for (const auto &[arg, v] : bad) {  // each names the argument it replaces
        HostCall c;
        LogitArgs(c).Set(arg, v);
        tessel::testing::ExpectRefused(c, "FnLogitJD", FnLogitJD, arg);
    }
    HostCall empty, oom;
    empty.M(2, 1, {0.1, 0.2}).M(0, 1, {}).I(3).M(0, 1, {}).M(0, 0, {}).M(0, 0, {}).M(0, 0, {}).Refs(5).Run("FnLogitJD", FnLogitJD);
    EXPECT_TRUE(empty.Result() == 0.0 && empty.target[2].ival == 0);
    LogitArgs(oom);
    const long live = VelawinLiveBlocks();
    VelawinFailAllocations(1, 1);  // the second output cannot be had
    oom.Run("FnLogitJD", FnLogitJD);
    VelawinFailAllocations(0, 0);
    EXPECT_TRUE(std::isnan(oom.Result()) && VelawinLiveBlocks() == live);
}

TEST(FnLogitProbDeriv, MarginalEffects) {
    const Vec P = {0.2, 0.5, 0.3};
    HostCall c, bad;
    c.M(5, 1, kTheta).M(1, 3, P).I(2).I(3).I(3).Run("FnLogitProbDeriv", FnLogitProbDeriv);
    ASSERT_EQ(c.rtn.ival, 5);  // kx + kz rows: X, one Z variable, two rows left as allocated
    double **m = c.rtn.data.mat;
    for (int i = 0; i < 2; ++i) {
        const double bbar = kTheta[i] * P[1] + kTheta[2 + i] * P[2];
        EXPECT_NEAR(m[i][0], -bbar * P[0], 1e-15);
        EXPECT_NEAR(m[i][2], (kTheta[2 + i] - bbar) * P[2], 1e-15);
    }
    EXPECT_NEAR(m[2][1], 0.5 * kTheta[4] * 0.5, 1e-15);
    EXPECT_EQ(m[4][2], 0.0);
    bad.M(5, 1, kTheta).M(1, 2, {0.5, 0.5}).I(2).I(3).I(3);  // fewer probabilities than alternatives
    tessel::testing::ExpectRefused(bad, "FnLogitProbDeriv", FnLogitProbDeriv, 1);
}

}  // namespace
