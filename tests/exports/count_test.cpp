// End-to-end calls of FnCountJD through the stand-in runtime.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "host/exports.h"
#include "tests/choice/host_values.h"
#include "tests/choice/test_support.h"

namespace {

using tessel::testing::HostCall;
using tessel::testing::HostMatrix;

const std::vector<double> kX = {1, 0.3, 1, -1.1, 1, 2.0, 1, 0.4};
const std::vector<double> kY = {1, 0, 2.7, 1};  // 2.7 counts as 2

void CountArgs(HostCall &c, int model, int S, int K, double P, std::vector<double> theta = {0.2, 0.3, -0.5}) {
    c.Add(HostMatrix(static_cast<int>(theta.size()), 1, theta));
    c.Add(HostMatrix(4, 1, kY));
    c.Add(HostMatrix(4, 2, kX));
    c.Add(VelawinInt(model));
    c.Add(VelawinInt(S));
    c.Add(VelawinInt(K));
    c.Add(VelawinDouble(P));
    for (int t = 0; t < 5; ++t) c.AddRef(t);
}

TEST(FnCountJD, PoissonThroughTheHost) {
    const long before = VelawinLiveBlocks();
    {
        HostCall c;
        CountArgs(c, 0, 0, 4, 0.0);
        c.Run("FnCountJD", FnCountJD);
        EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
        double L = 0.0, table0 = 0.0;
        for (int i = 0; i < 4; ++i) {
            const double xb = 0.2 + 0.3 * kX[2 * i + 1], y = std::trunc(kY[i]);
            L += y * xb - std::exp(xb) - std::lgamma(y + 1.0);
            table0 += std::exp(-std::exp(xb));
            EXPECT_NEAR(c.At(3, i, 0), y * xb - std::exp(xb) - std::lgamma(y + 1.0), 1e-14);
        }
        EXPECT_NEAR(c.Result(), L, 1e-13);
        EXPECT_EQ(c.target[2].ival, 1);
        EXPECT_EQ(c.target[2].cols, 4);
        EXPECT_NEAR(c.At(2, 0, 0), table0, 1e-14);
        EXPECT_EQ(c.target[0].ival, 3);
        EXPECT_EQ(c.At(0, 2, 0), 0.0);  // n > k: the extra element stays zero
        EXPECT_NE(c.At(4, 1, 1), 0.0);
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);
}

TEST(FnCountJD, NegBinBothMatricesRequested) {
    HostCall c;
    CountArgs(c, 1, 0, 0, 0.0);  // K = 0: an empty table
    c.Run("FnCountJD", FnCountJD);
    EXPECT_TRUE(std::isfinite(c.Result()));
    EXPECT_EQ(c.target[2].cols, 0);
    double sum_info = 0.0;
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(c.At(4, r, k), 0.0);
            sum_info += std::fabs(c.At(1, r, k));
        }
    EXPECT_GT(sum_info, 0.0);
    // Gradient squares on the diagonal when there is a single observation's worth of data.
    HostCall o;
    CountArgs(o, 1, 0, 0, 0.0);
    VelaFreeByValue(&o.args[8]);
    o.args[8] = VelawinInt(0);  // information not wanted: the outer product goes to its own slot
    o.Run("FnCountJD", FnCountJD);
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 3; ++k) EXPECT_EQ(o.At(4, r, k), c.At(1, r, k));
}

TEST(FnCountJD, SelectionsThatComputeNothing) {
    for (int variant = 0; variant < 2; ++variant) {
        HostCall c;
        CountArgs(c, variant == 0 ? 2 : 0, variant == 0 ? 0 : -1, 3, 0.0);
        c.Run("FnCountJD", FnCountJD);
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_TRUE(std::isnan(c.Result()));
        for (int t = 0; t < 5; ++t) EXPECT_EQ(c.target[t].type, VELA_MATRIX);  // allocated, not filled
        EXPECT_EQ(c.At(2, 0, 2), 0.0);
    }
}

TEST(FnCountJD, UnusableAndBadArguments) {
    {
        HostCall c;  // y with two columns: NaN, nothing allocated
        CountArgs(c, 0, 0, 3, 0.0);
        VelaFreeByValue(&c.args[1]);
        c.args[1] = HostMatrix(4, 2, std::vector<double>(8, 1.0));
        const long live = VelawinLiveBlocks();
        c.Run("FnCountJD", FnCountJD);
        EXPECT_TRUE(std::isnan(c.Result()));
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    for (int variant = 0; variant < 3; ++variant) {
        HostCall c;
        // 0: P passed as an integer; 1: the negative binomial without its dispersion parameter; 2: K < 0.
        CountArgs(c, variant == 1 ? 1 : 0, 0, variant == 2 ? -1 : 3, 0.0, variant == 1 ? std::vector<double>{0.1, 0.2}
                                                                                         : std::vector<double>{0.1, 0.2, 0.3});
        if (variant == 0) {
            VelaFreeByValue(&c.args[6]);
            c.args[6] = VelawinInt(1);
        }
        const int want[3] = {6, 0, 5};
        const long live = VelawinLiveBlocks();
        c.Run("FnCountJD", FnCountJD);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(want[variant])), std::string::npos)
            << VelawinLastError();
        EXPECT_EQ(VelawinLiveBlocks(), live);
        for (const VelaValue &t : c.target) EXPECT_EQ(t.type, VELA_EMPTY);
    }
}

TEST(FnCountJD, NoObservationsAndNoOutputs) {
    HostCall c;
    c.Add(HostMatrix(1, 1, {0.3}));
    c.Add(HostMatrix(0, 1, {}));
    c.Add(HostMatrix(0, 1, {}));
    c.Add(VelawinInt(0));
    c.Add(VelawinInt(5));
    c.Add(VelawinInt(2));
    c.Add(VelawinDouble(0.0));
    c.Run("FnCountJD", FnCountJD);
    EXPECT_EQ(c.Result(), 0.0);
}

// The whole RAND experiment through the host: the table of predicted counts sums to about N when
// it covers the support, and the gradient matches the worker's numerical check elsewhere.
TEST(FnCountJD, RandHieTableCoversTheSample) {
    const tessel::testing::Mat raw = tessel::testing::ReadTable("randhie.csv", ',');
    ASSERT_EQ(raw.rows, 20190);
    std::vector<double> y(raw.rows), X(raw.rows * 2);
    for (int i = 0; i < raw.rows; ++i) {
        y[i] = raw[i][0];
        X[2 * i] = 1.0;
        X[2 * i + 1] = raw[i][6] / 10.0;  // disea
    }
    HostCall c;
    c.Add(HostMatrix(3, 1, {0.8, 0.2, 0.0}));  // a = 1
    c.Add(HostMatrix(raw.rows, 1, y));
    c.Add(HostMatrix(raw.rows, 2, X));
    c.Add(VelawinInt(1));
    c.Add(VelawinInt(0));
    c.Add(VelawinInt(400));
    c.Add(VelawinDouble(0.0));
    c.Add(VelawinInt(0));
    c.Add(VelawinInt(0));
    c.AddRef(2);
    c.Run("FnCountJD", FnCountJD);
    double sum = 0.0;
    for (int s = 0; s < 400; ++s) sum += c.At(2, 0, s);
    EXPECT_NEAR(sum, raw.rows, 1e-6 * raw.rows);
    EXPECT_TRUE(std::isfinite(c.Result()));
}

}  // namespace
