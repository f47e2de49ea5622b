// End-to-end calls of FnFracSigma through the stand-in runtime.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

struct Call {
    VelaValue theta, out{}, rtn{}, args[6];
    Call(std::vector<double> th, int p, int q, double sigma2, int n, int rows = 1)
        : theta(VelawinMatrix(rows, int(th.size()) / rows, th.data())),
          args{theta, VelawinInt(p), VelawinInt(q), VelawinDouble(sigma2), VelawinInt(n), VelawinRef(&out)} {}
    ~Call() { for (VelaValue *v : {&theta, &out}) VelaFreeByValue(v); }
    int Run(int cArg = 6) {
        VelawinBeginCall("FnFracSigma");
        FnFracSigma(&rtn, args, cArg);
        return rtn.type == VELA_INT ? rtn.ival : -1;
    }
};

}  // namespace

TEST(FnFracSigma, StatusAndAutocovariancesEndToEnd) {
    Call fn({0.4}, 0, 0, 2.0, 3);
    ASSERT_EQ(fn.Run(), 0);
    const double g0 = 2.0 * std::tgamma(0.2) / std::pow(std::tgamma(0.6), 2);
    ASSERT_EQ(fn.out.cols, 3);
    EXPECT_NEAR(fn.out.data.mat[0][0], g0, 1e-13 * g0);
    EXPECT_NEAR(fn.out.data.mat[0][2], g0 * 0.4 / 0.6 * 1.4 / 1.6, 1e-13 * g0);
    const std::vector<double> th{0.2, 1.1, -0.5, 0.3, 7.0};  // a trailing column is ignored
    Call arma(th, 2, 1, 1.0, 4);
    ASSERT_EQ(arma.Run(), 0);
    EXPECT_EQ(std::memcmp(arma.theta.data.mat[0], th.data(), sizeof(double) * th.size()), 0);
    const double first = arma.out.data.mat[0][0];
    arma.args[5] = VelawinRef(&arma.theta);  // the result may replace theta's own variable
    ASSERT_EQ(arma.Run(), 0);
    EXPECT_EQ(arma.theta.cols, 4);
    EXPECT_EQ(arma.theta.data.mat[0][0], first);
    Call bad({0.2, 0.5}, 1, 0, 0.0001, 2);
    EXPECT_EQ(bad.Run(), 2);
    EXPECT_EQ(bad.out.data.mat[0][1], 0.0);
    for (int n : {0, -3}) EXPECT_EQ(Call({0.2}, 0, 0, 1.0, n).Run(), 10);
    Call oom({0.2}, 0, 0, 1.0, 5);
    const long live = VelawinLiveBlocks();
    VelawinFailAllocations(0, 1);
    EXPECT_EQ(oom.Run(), 10);
    VelawinFailAllocations(0, 0);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(FnFracSigma, BadArgumentsAreReportedBeforeAnythingIsAllocated) {
    auto expect_rejected = [](Call &&c, const char *argument, int cArg = 6, int index = -1, VelaValue v = {}) {
        if (index >= 0) c.args[index] = v;
        const long live = VelawinLiveBlocks();
        EXPECT_EQ(c.Run(cArg), -1);
        EXPECT_NE(std::strstr(VelawinLastError(), argument), nullptr) << VelawinLastError();
        EXPECT_EQ(c.out.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    };
    expect_rejected(Call({0.2, 0.5}, 1, 0, 1.0, 3), "argument 1", 6, 1, VelawinDouble(1.0));
    expect_rejected(Call({0.2, 0.5}, 1, 0, 1.0, 3), "argument 3", 6, 3, VelawinInt(1));
    expect_rejected(Call({0.2, 0.5}, 1, 0, 1.0, 3), "argument 5", 6, 5, VelawinInt(0));
    expect_rejected(Call({0.2, 0.5}, 1, 0, 1.0, 3), "argument 5", 5);
    expect_rejected(Call({0.2, 0.5}, 1, 0, 1.0, 3, /*rows=*/2), "argument 1");  // theta as a column
    expect_rejected(Call({0.2, 0.5, 0.1}, 1, 2, 1.0, 3), "argument 1");         // an MA coefficient short
    expect_rejected(Call({0.2, 0.5, 0.1}, 1, -1, 1.0, 3), "argument 2");
}
