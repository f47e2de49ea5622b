// End-to-end calls of FnFracSigma through the stand-in runtime.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

struct Call {
    VelaValue theta, out{}, rtn{};
    VelaValue args[6];
    Call(const std::vector<double> &th, int p, int q, double sigma2, int n, int rows = 1)
        : theta(VelawinMatrix(rows, int(th.size()) / rows, th.data())) {
        args[0] = theta;
        args[1] = VelawinInt(p);
        args[2] = VelawinInt(q);
        args[3] = VelawinDouble(sigma2);
        args[4] = VelawinInt(n);
        args[5] = VelawinRef(&out);
    }
    ~Call() {
        VelaFreeByValue(&theta);
        VelaFreeByValue(&out);
    }
    void Run(int cArg = 6) {
        VelawinBeginCall("FnFracSigma");
        FnFracSigma(&rtn, args, cArg);
    }
};

}  // namespace

TEST(FnFracSigma, ReturnsStatusAndAutocovariances) {
    Call c({0.4}, 0, 0, 2.0, 3);
    c.Run();
    EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
    ASSERT_EQ(c.rtn.type, VELA_INT);
    EXPECT_EQ(c.rtn.ival, 0);
    ASSERT_EQ(c.out.ival, 1);
    ASSERT_EQ(c.out.cols, 3);
    const double g0 = 2.0 * std::tgamma(0.2) / std::pow(std::tgamma(0.6), 2);
    EXPECT_NEAR(c.out.data.mat[0][0], g0, 1e-13 * g0);
    EXPECT_NEAR(c.out.data.mat[0][1], g0 * 0.4 / 0.6, 1e-13 * g0);
    EXPECT_NEAR(c.out.data.mat[0][2], g0 * 0.4 / 0.6 * 1.4 / 1.6, 1e-13 * g0);
}

TEST(FnFracSigma, ThetaIsUnchangedAndMayReceiveTheResult) {
    const std::vector<double> th{0.2, 1.1, -0.5, 0.3, 7.0};  // trailing columns are ignored
    Call c(th, 2, 1, 1.0, 4);
    c.Run();
    EXPECT_EQ(c.rtn.ival, 0);
    EXPECT_EQ(std::memcmp(c.theta.data.mat[0], th.data(), th.size() * sizeof(double)), 0);
    const double g0 = c.out.data.mat[0][0];
    EXPECT_GT(g0, 1.0);
    // The result row replaces theta's own variable.
    c.args[5] = VelawinRef(&c.theta);
    c.Run();
    EXPECT_EQ(c.rtn.ival, 0);
    ASSERT_EQ(c.theta.cols, 4);
    EXPECT_EQ(c.theta.data.mat[0][0], g0);
}

TEST(FnFracSigma, FailedTestsReturnTheirStatusWithZeros) {
    struct Case {
        std::vector<double> theta;
        int p, q;
        double sigma2;
        int status;
    } cases[] = {
        {{5.01}, 0, 0, 1.0, 1},        {{0.2, 0.5}, 1, 0, 0.0001, 2}, {{0.2, 0.9999}, 1, 0, 1.0, 4},
        {{0.2, 0.0, 0.0}, 2, 0, 1.0, 7}, {{0.2, NAN}, 1, 0, 1.0, 6},
    };
    for (auto &k : cases) {
        Call c(k.theta, k.p, k.q, k.sigma2, 3);
        c.Run();
        EXPECT_EQ(c.rtn.ival, k.status);
        ASSERT_EQ(c.out.cols, 3);
        for (int h = 0; h < 3; ++h) EXPECT_EQ(c.out.data.mat[0][h], 0.0);
    }
}

TEST(FnFracSigma, NoLagsAskedForIsStatusTen) {
    for (int n : {0, -3}) {
        Call c({0.2}, 0, 0, 1.0, n);
        c.Run();
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_EQ(c.rtn.ival, 10);
    }
    Call c({0.2}, 0, 0, 1.0, 5);
    const long live = VelawinLiveBlocks();
    VelawinFailAllocations(0, 1);
    c.Run();
    VelawinFailAllocations(0, 0);
    EXPECT_EQ(c.rtn.ival, 10);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(FnFracSigma, BadArgumentsAreReportedBeforeAnythingIsAllocated) {
    auto expect_rejected = [](Call &c, int cArg, const char *argument) {
        const long live = VelawinLiveBlocks();
        c.Run(cArg);
        EXPECT_GT(VelawinErrorCount(), 0);
        EXPECT_NE(std::strstr(VelawinLastError(), argument), nullptr) << VelawinLastError();
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
        EXPECT_EQ(c.out.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    };
    {
        Call c({0.2, 0.5}, 1, 0, 1.0, 3);
        c.args[1] = VelawinDouble(1.0);
        expect_rejected(c, 6, "argument 1");
    }
    {
        Call c({0.2, 0.5}, 1, 0, 1.0, 3);
        c.args[3] = VelawinInt(1);
        expect_rejected(c, 6, "argument 3");
    }
    {
        Call c({0.2, 0.5}, 1, 0, 1.0, 3);
        c.args[5] = VelawinInt(0);
        expect_rejected(c, 6, "argument 5");
    }
    {
        Call c({0.2, 0.5}, 1, 0, 1.0, 3);
        expect_rejected(c, 5, "argument 5");
    }
    {
        Call c({0.2, 0.5}, 1, 0, 1.0, 3, /*rows=*/2);  // theta as a column
        expect_rejected(c, 6, "argument 1");
    }
    {
        Call c({0.2, 0.5, 0.1}, 1, 2, 1.0, 3);  // one MA coefficient short
        expect_rejected(c, 6, "argument 1");
    }
    {
        Call c({0.2, 0.5, 0.1}, 1, -1, 1.0, 3);
        expect_rejected(c, 6, "argument 2");
    }
}
