// End-to-end calls of FnBinProbitJD through the stand-in runtime.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "host/exports.h"
#include "numeric/distributions.h"
#include "tests/choice/host_values.h"

namespace {

using tessel::testing::HostCall;
using tessel::testing::HostMatrix;

const std::vector<double> kX = {1, 0.3, 1, -1.1, 1, 2.0, 1, 0.4, 1, -0.2};
const std::vector<double> kY = {1, 0, 1, 0.99, 1};  // 0.99 counts as 0

void ProbitArgs(HostCall &c, std::vector<double> y = kY) {
    c.Add(HostMatrix(2, 1, {0.1, 0.5}));
    c.Add(HostMatrix(5, 1, y));
    c.Add(HostMatrix(5, 2, kX));
    c.Add(HostMatrix(5, 1, {1, 2, 1, 2, 1}));
    for (int t = 0; t < 5; ++t) c.AddRef(t);
}

TEST(FnBinProbitJD, LogLikelihoodThroughTheHost) {
    const long before = VelawinLiveBlocks();
    {
        HostCall c;
        ProbitArgs(c);
        c.Run("FnBinProbitJD", FnBinProbitJD);
        EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
        double L = 0.0, info00 = 0.0;
        const double w[5] = {1, 2, 1, 2, 1};
        for (int i = 0; i < 5; ++i) {
            const double xb = 0.1 + 0.5 * kX[2 * i + 1], p1 = tessel::NormalCdf(xb);
            L += w[i] * std::log(kY[i] >= 1.0 ? p1 : 1.0 - p1);
            info00 += w[i] * std::pow(tessel::NormalDensity(xb), 2) / (p1 * (1.0 - p1));
            EXPECT_NEAR(c.At(2, i, 1), p1, 1e-15);
            EXPECT_NEAR(c.At(2, i, 0), 1.0 - p1, 1e-15);
        }
        EXPECT_NEAR(c.Result(), L, 1e-13);
        EXPECT_NEAR(c.At(1, 0, 0), info00, 1e-13);
        EXPECT_EQ(c.At(1, 0, 1), c.At(1, 1, 0));
        EXPECT_EQ(c.target[4].ival, 2);
        EXPECT_EQ(c.target[3].ival, 5);
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);
}

TEST(FnBinProbitJD, UnusableInputsGiveNaNWithoutOutputs) {
    for (int variant = 0; variant < 2; ++variant) {
        HostCall c;
        ProbitArgs(c);
        VelaFreeByValue(&c.args[variant == 0 ? 1 : 2]);
        c.args[variant == 0 ? 1 : 2] = variant == 0 ? HostMatrix(5, 2, std::vector<double>(10, 0.0))  // y two columns
                                                    : HostMatrix(4, 2, std::vector<double>(8, 1.0));   // X wrong rows
        const long live = VelawinLiveBlocks();
        c.Run("FnBinProbitJD", FnBinProbitJD);
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_TRUE(std::isnan(c.Result()));
        EXPECT_EQ(VelawinLiveBlocks(), live);
        for (const VelaValue &t : c.target) EXPECT_EQ(t.type, VELA_EMPTY);
    }
}

TEST(FnBinProbitJD, BadArgumentsAreReportedBeforeAnythingIsAllocated) {
    for (int variant = 0; variant < 3; ++variant) {
        HostCall c;
        ProbitArgs(c, variant == 1 ? std::vector<double>{1, 0, 2, 0, 1} : kY);  // outcome 2 is no index
        int want = 1;
        if (variant == 0) {
            VelaFreeByValue(&c.args[3]);
            c.args[3] = VelawinInt(1);
            want = 3;
        } else if (variant == 2) {
            VelaFreeByValue(&c.args[0]);
            c.args[0] = HostMatrix(1, 1, {0.1});  // two regressors, one parameter
            want = 0;
        }
        const long live = VelawinLiveBlocks();
        c.Run("FnBinProbitJD", FnBinProbitJD);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(want)), std::string::npos)
            << VelawinLastError();
        EXPECT_EQ(VelawinLiveBlocks(), live);
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
    }
}

TEST(FnBinProbitJD, OptionalArgumentsAbsentAndWeightsOfWrongSize) {
    HostCall all;
    ProbitArgs(all);
    all.Run("FnBinProbitJD", FnBinProbitJD);
    HostCall c;
    ProbitArgs(c);
    c.args.resize(4);  // no outputs at all
    VelaFreeByValue(&c.args[3]);
    c.args[3] = HostMatrix(0, 0, {});  // unit weights
    c.Run("FnBinProbitJD", FnBinProbitJD);
    double L = 0.0;
    for (int i = 0; i < 5; ++i) L += all.At(3, i, 0) / (i % 2 ? 2.0 : 1.0);
    EXPECT_NEAR(c.Result(), L, 1e-13);
    for (const VelaValue &t : c.target) EXPECT_EQ(t.type, VELA_EMPTY);
}

}  // namespace
