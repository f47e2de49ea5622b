// FnLogitJD and FnLogitProbDeriv through the stand-in runtime.
#include <cmath>

#include <gtest/gtest.h>

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
        for (int j = 0; j < 3; ++j) {
            s[j] = th[4] * kZ[3 * i + j] + (j ? th[2 * j - 2] + th[2 * j - 1] * kX[2 * i + 1] : 0.0);
            S += std::exp(s[j]);
        }
        L += s[static_cast<int>(kY[i])] - std::log(S);
    }
    return L;
}

HostCall &LogitArgs(HostCall &c, const Vec &theta = kTheta, int outputs = 5) {
    c.M(static_cast<int>(theta.size()), 1, theta).M(6, 1, kY).I(3).M(6, 2, kX).M(6, 3, kZ);
    return c.M(1, 1, {2.0}).M(0, 0, {}).Refs(outputs);  // weights of the wrong size: absent; no offsets
}

TEST(FnLogitJD, ResultsAndOptionalOutputs) {
    const long before = VelawinLiveBlocks();
    {
        HostCall c;
        LogitArgs(c).Run("FnLogitJD", FnLogitJD);
        EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
        EXPECT_NEAR(c.Result(), DirectLogLik(kTheta), 1e-13);
        const Vec g = tessel::testing::NumGradient(DirectLogLik, kTheta);
        for (int j = 0; j < 5; ++j) EXPECT_NEAR(c.At(0, j, 0), g[j], 1e-9);
        EXPECT_EQ(c.target[1].cols, 5);
        EXPECT_EQ(c.target[2].cols, 3);
        EXPECT_EQ(c.target[4].ival, 5);
        for (int i = 0; i < 6; ++i) {  // the caller's Z is centred on the fitted probabilities
            const double *z = c.args[4].data.mat[i];
            EXPECT_NEAR(z[0] * c.At(2, i, 0) + z[1] * c.At(2, i, 1) + z[2] * c.At(2, i, 2), 0.0, 1e-14);
        }
        HostCall few;  // only the gradient asked for; X of the wrong row count is absent
        LogitArgs(few, {-0.8, 9, 9, 9, 9}, 1);
        few.Set(3, VelawinMatrix(5, 2, nullptr));
        few.Run("FnLogitJD", FnLogitJD);
        EXPECT_NEAR(few.Result(), DirectLogLik({0, 0, 0, 0, -0.8}), 1e-13);
        EXPECT_EQ(few.At(0, 4, 0), 0.0);
        EXPECT_EQ(few.args[4].data.mat[0][0], kZ[0]);  // no information, Z untouched
        HostCall weighted;
        LogitArgs(weighted, kTheta, 0).Set(5, VelawinMatrix(6, 1, Vec(6, 2.0).data()));
        weighted.Run("FnLogitJD", FnLogitJD);
        EXPECT_NEAR(weighted.Result(), 2.0 * DirectLogLik(kTheta), 1e-12);
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);
}

TEST(FnLogitJD, GroupedCountsLimitJToTheirColumns) {
    HostCall c;
    c.M(2, 1, {0.5, -1.0}).M(3, 2, {3, 1, 0, 2, 1, 1}).I(5).M(3, 2, {1, 0.2, 1, -0.4, 1, 1.0});
    c.M(0, 0, {}).M(0, 0, {}).M(0, 0, {}).Refs(5).Run("FnLogitJD", FnLogitJD);
    ASSERT_EQ(c.target[2].cols, 2);
    const double y[3][2] = {{3, 1}, {0, 2}, {1, 1}}, x[3] = {0.2, -0.4, 1.0};
    double L = 0.0;
    for (int i = 0; i < 3; ++i) {
        const double p1 = 1.0 / (1.0 + std::exp(x[i] - 0.5));
        L += y[i][0] * std::log(1.0 - p1) + y[i][1] * std::log(p1);
        EXPECT_NEAR(c.At(2, i, 1), p1, 1e-15);
    }
    EXPECT_NEAR(c.Result(), L, 1e-13);
}

TEST(FnLogitJD, RefusedArguments) {
    const int bad_arg[] = {2, 0, 1, 1, 0, 6};
    for (int variant = 0; variant < 6; ++variant) {
        HostCall c;
        LogitArgs(c);
        if (variant == 0) c.Set(2, VelawinDouble(3.0));
        if (variant == 1) c.Set(0, VelawinString("theta"));
        if (variant == 2) c.Set(1, VelawinMatrix(6, 1, Vec{0, 1, 3, 1, 0, 2}.data()));   // alternative 3 of 0..2
        if (variant == 3) c.Set(1, VelawinMatrix(6, 1, Vec{0, 1, -1, 1, 0, 2}.data()));  // negative choice
        if (variant == 4) c.Set(0, VelawinMatrix(4, 1, nullptr));                       // too few parameters
        if (variant == 5) c.Set(6, VelawinMatrix(6, 2, nullptr));                       // offsets need J columns
        tessel::testing::ExpectRefused(c, "FnLogitJD", FnLogitJD, bad_arg[variant]);
    }
}

TEST(FnLogitJD, NoObservationsAndOutOfMemory) {
    HostCall c;
    c.M(2, 1, {0.1, 0.2}).M(0, 1, {}).I(3).M(0, 1, {}).M(0, 0, {}).M(0, 0, {}).M(0, 0, {}).Refs(5);
    c.Run("FnLogitJD", FnLogitJD);
    EXPECT_EQ(c.Result(), 0.0);
    EXPECT_EQ(c.target[2].ival, 0);
    HostCall oom;
    LogitArgs(oom);
    const long live = VelawinLiveBlocks();
    VelawinFailAllocations(1, 1);  // the second output cannot be had
    oom.Run("FnLogitJD", FnLogitJD);
    VelawinFailAllocations(0, 0);
    EXPECT_TRUE(std::isnan(oom.Result()));
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(FnLogitProbDeriv, MarginalEffects) {
    const Vec P = {0.2, 0.5, 0.3};
    HostCall c;
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
    HostCall bad;  // fewer probabilities than alternatives
    bad.M(5, 1, kTheta).M(1, 2, {0.5, 0.5}).I(2).I(3).I(3);
    tessel::testing::ExpectRefused(bad, "FnLogitProbDeriv", FnLogitProbDeriv, 1);
}

}  // namespace
