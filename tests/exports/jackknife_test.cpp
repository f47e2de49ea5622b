// FnJackknifeHCSE against the jackknife built from T leave-one-out regressions.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

struct JackknifeCall {
    HostValues hv;
    VelaValue rtn{};
    long live_before = 0;
    ~JackknifeCall() { VelaFreeByValue(&rtn); }
    void Run(const Rows &X, const std::vector<double> &e, const Rows &Q) {
        std::vector<VelaValue> a = {hv.Matrix(X), hv.Matrix(1, static_cast<int>(e.size()), e), hv.Matrix(Q)};
        VelawinBeginCall("FnJackknifeHCSE");
        live_before = VelawinLiveBlocks();
        FnJackknifeHCSE(&rtn, a.data(), 3);
    }
};

// (T-1)/T sum_t (b_(t) - mean)(b_(t) - mean)' over the fits that leave out one observation each.
Rows LeaveOneOut(const Rows &X, const Rows &Y) {
    const int T = static_cast<int>(X.size()), k = static_cast<int>(X[0].size());
    Rows fits;
    for (int t = 0; t < T; ++t) {
        Rows Xt = X, Yt = Y;
        Xt.erase(Xt.begin() + t);
        Yt.erase(Yt.begin() + t);
        fits.push_back(OlsFit(Xt, Yt, 0, 0, T - 2));
    }
    std::vector<double> mean(k, 0.0);
    for (const auto &b : fits)
        for (int j = 0; j < k; ++j) mean[j] += b[j] / T;
    Rows V(k, std::vector<double>(k, 0.0));
    for (const auto &b : fits)
        for (int i = 0; i < k; ++i)
            for (int j = 0; j < k; ++j) V[i][j] += (T - 1.0) / T * (b[i] - mean[i]) * (b[j] - mean[j]);
    return V;
}

void Residuals(const Rows &X, const Rows &Y, std::vector<double> &e, Rows &Q) {
    const int T = static_cast<int>(X.size());
    auto b = OlsFit(X, Y, 0, 0, T - 1);
    e.clear();
    for (int t = 0; t < T; ++t) e.push_back(Y[t][0] - Dot(b, X[t]));
    Q = Inverse(CrossProducts(X, X, 0, T - 1));
}

void ExpectClose(const VelaValue &got, const Rows &want, double rel) {
    ASSERT_EQ(got.type, VELA_MATRIX);
    ASSERT_EQ(got.ival, static_cast<int>(want.size()));
    ASSERT_EQ(got.cols, static_cast<int>(want.size()));
    for (size_t i = 0; i < want.size(); ++i)
        for (size_t j = 0; j < want.size(); ++j)
            EXPECT_NEAR(At(got, i, j), want[i][j], rel * std::sqrt(std::fabs(want[i][i] * want[j][j]))) << i << j;
}

TEST(JackknifeHcseExport, MatchesLeaveOneOutRegressions) {
    // Heteroskedastic errors with a few high-leverage points.
    Rows X = Normal(60, 3, 21), U = Normal(60, 1, 22);
    Rows Y(60, std::vector<double>(1));
    for (int t = 0; t < 60; ++t) {
        X[t][0] = 1.0;
        if (t % 17 == 0) X[t][1] *= 4.0;
        Y[t][0] = 1.0 + 2.0 * X[t][1] - X[t][2] + (0.5 + std::fabs(X[t][1])) * U[t][0];
    }
    std::vector<double> e;
    Rows Q;
    Residuals(X, Y, e, Q);
    JackknifeCall c;
    c.Run(X, e, Q);
    ExpectClose(c.rtn, LeaveOneOut(X, Y), 1e-9);
}

TEST(JackknifeHcseExport, MatchesLeaveOneOutOnQuarterlyData) {
    Rows X, Y;
    for (const auto &r : MacroData()) {
        X.push_back({1.0, r[7], r[9]});  // bill rate, unemployment
        Y.push_back({r[10]});            // inflation
    }
    std::vector<double> e;
    Rows Q;
    Residuals(X, Y, e, Q);
    JackknifeCall c;
    c.Run(X, e, Q);
    ExpectClose(c.rtn, LeaveOneOut(X, Y), 1e-8);
}

TEST(JackknifeHcseExport, DegenerateSamples) {
    // One observation: the factor (T-1)/T makes the result zero.
    JackknifeCall one;
    one.Run({{2.0}}, {0.7}, {{0.1}});
    ASSERT_EQ(one.rtn.ival, 1);
    EXPECT_EQ(At(one.rtn, 0, 0), 0.0);

    // Zero residuals: zero matrix.
    Rows X = Normal(12, 2, 23);
    Rows Q = Inverse(CrossProducts(X, X, 0, 11));
    JackknifeCall zero;
    zero.Run(X, std::vector<double>(12, 0.0), Q);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) EXPECT_EQ(At(zero.rtn, i, j), 0.0);

    // A leverage of one or more: an empty result.
    JackknifeCall lev;
    lev.Run(X, std::vector<double>(12, 1.0), {{100.0, 0.0}, {0.0, 100.0}});
    EXPECT_EQ(lev.rtn.type, VELA_MATRIX);
    EXPECT_EQ(lev.rtn.ival, 0);
    EXPECT_EQ(lev.rtn.cols, 0);
}

TEST(JackknifeHcseExport, BadArgumentsAreReportedBeforeAllocation) {
    Rows X = Normal(8, 2, 24);
    Rows Q = {{1.0, 0.0}, {0.0, 1.0}};
    {
        JackknifeCall short_e;
        short_e.Run(X, std::vector<double>(7, 1.0), Q);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_EQ(VelawinLiveBlocks(), short_e.live_before);
        EXPECT_EQ(short_e.rtn.type, VELA_EMPTY);
    }
    {
        JackknifeCall wrong_q;
        wrong_q.Run(X, std::vector<double>(8, 1.0), {{1.0}});
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_EQ(wrong_q.rtn.type, VELA_EMPTY);
    }
    {
        JackknifeCall empty;
        empty.Run({}, {}, {});
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_EQ(empty.rtn.type, VELA_EMPTY);
    }
    HostValues hv;
    VelaValue rtn{};
    std::vector<VelaValue> a = {hv.Matrix(X), VelawinDouble(1.0), hv.Matrix(Q)};
    VelawinBeginCall("FnJackknifeHCSE");
    long before = VelawinLiveBlocks();
    FnJackknifeHCSE(&rtn, a.data(), 3);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), before);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

}  // namespace
