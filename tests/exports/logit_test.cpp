// End-to-end calls of FnLogitJD and FnLogitProbDeriv through the stand-in runtime.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "host/exports.h"
#include "tests/choice/host_values.h"
#include "tests/choice/test_support.h"

namespace {

using tessel::testing::HostCall;
using tessel::testing::HostMatrix;

// Six travellers, three alternatives, a constant and one individual regressor, one alternative-specific
// variable.
const std::vector<double> kX = {1, 0.5, 1, -1.2, 1, 2.0, 1, 0.1, 1, -0.7, 1, 1.3};
const std::vector<double> kZ = {1.0, 2.0, 0.5, 0.3, 1.1, 2.2, 1.7, 0.2, 0.9,
                                0.4, 0.8, 1.6, 2.1, 1.3, 0.6, 0.9, 0.9, 1.8};
const std::vector<double> kY = {0, 1, 2, 1, 0, 2.9};  // 2.9 truncates to 2
const std::vector<double> kTheta = {0.2, -0.4, -0.3, 0.6, -0.8};

double DirectLogLik(const std::vector<double> &th) {
    double L = 0.0;
    for (int i = 0; i < 6; ++i) {
        double s[3], S = 0.0;
        for (int j = 0; j < 3; ++j) {
            s[j] = th[4] * kZ[3 * i + j];
            if (j > 0) s[j] += th[2 * (j - 1)] * kX[2 * i] + th[2 * (j - 1) + 1] * kX[2 * i + 1];
            S += std::exp(s[j]);
        }
        L += s[static_cast<int>(kY[i])] - std::log(S);
    }
    return L;
}

// Builds the twelve arguments; outputs go to targets 0..4 when `refs`.
void LogitArgs(HostCall &c, const std::vector<double> &theta, bool refs = true) {
    c.Add(HostMatrix(static_cast<int>(theta.size()), 1, theta));
    c.Add(HostMatrix(6, 1, kY));
    c.Add(VelawinInt(3));
    c.Add(HostMatrix(6, 2, kX));
    c.Add(HostMatrix(6, 3, kZ));
    c.Add(HostMatrix(1, 1, {}));  // weights of the wrong size: absent
    c.Add(HostMatrix(0, 0, {}));  // no offsets
    for (int t = 0; t < 5; ++t) {
        if (refs) c.AddRef(t);
        else c.Add(VelawinInt(0));
    }
}

TEST(FnLogitJD, LogLikelihoodAndDerivativesThroughTheHost) {
    const long before = VelawinLiveBlocks();
    {
        HostCall c;
        LogitArgs(c, kTheta);
        c.Run("FnLogitJD", FnLogitJD);
        EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
        EXPECT_NEAR(c.Result(), DirectLogLik(kTheta), 1e-13);
        ASSERT_NE(c.Data(0), nullptr);
        EXPECT_EQ(c.target[0].ival, 5);
        EXPECT_EQ(c.target[1].ival, 5);
        EXPECT_EQ(c.target[1].cols, 5);
        EXPECT_EQ(c.target[2].ival, 6);
        EXPECT_EQ(c.target[2].cols, 3);
        EXPECT_EQ(c.target[3].ival, 6);
        EXPECT_EQ(c.target[4].cols, 5);
        const std::vector<double> g = tessel::testing::NumGradient(DirectLogLik, kTheta);
        double sum = 0.0;
        for (int j = 0; j < 5; ++j) EXPECT_NEAR(c.Data(0)[j], g[j], 1e-9);
        for (int i = 0; i < 6; ++i) sum += c.At(3, i, 0);
        EXPECT_NEAR(sum, c.Result(), 1e-13);
        // The caller's Z is centred on each observation's probability-weighted mean.
        const double *z = c.args[4].data.mat[0];
        for (int i = 0; i < 6; ++i) {
            const double mean = z[3 * i] * c.At(2, i, 0) + z[3 * i + 1] * c.At(2, i, 1) + z[3 * i + 2] * c.At(2, i, 2);
            EXPECT_NEAR(mean, 0.0, 1e-14);
        }
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);
}

TEST(FnLogitJD, OutputsNotPassedAreNotFilled) {
    HostCall c;
    LogitArgs(c, kTheta, false);
    c.Run("FnLogitJD", FnLogitJD);
    EXPECT_NEAR(c.Result(), DirectLogLik(kTheta), 1e-13);
    for (const VelaValue &t : c.target) EXPECT_EQ(t.type, VELA_EMPTY);
    EXPECT_EQ(c.args[4].data.mat[0][0], kZ[0]);  // Z untouched without the information matrix
    HostCall shortcall;  // outputs left off entirely
    LogitArgs(shortcall, kTheta, false);
    shortcall.args.resize(7);
    shortcall.Run("FnLogitJD", FnLogitJD);
    EXPECT_NEAR(shortcall.Result(), DirectLogLik(kTheta), 1e-13);
}

TEST(FnLogitJD, WrongShapesAndBadValues) {
    const std::vector<double> y_bad = {0, 1, 3, 1, 0, 2};
    const std::vector<double> y_neg = {0, 1, -1, 1, 0, 2};
    for (int variant = 0; variant < 6; ++variant) {
        HostCall c;
        LogitArgs(c, kTheta);
        int want = 0;
        std::string expect_text;
        switch (variant) {
        case 0: VelaFreeByValue(&c.args[2]); c.args[2] = VelawinDouble(3.0); want = 2; expect_text = "expected an integer"; break;
        case 1: VelaFreeByValue(&c.args[0]); c.args[0] = VelawinString("x"); want = 0; expect_text = "expected a matrix"; break;
        case 2: VelaFreeByValue(&c.args[1]); c.args[1] = HostMatrix(6, 1, y_bad); want = 1; break;  // alternative 3 of 0..2
        case 3: VelaFreeByValue(&c.args[1]); c.args[1] = HostMatrix(6, 1, y_neg); want = 1; break;
        case 4: VelaFreeByValue(&c.args[0]); c.args[0] = HostMatrix(4, 1, {1, 2, 3, 4}); want = 0; break;  // too few parameters
        case 5: VelaFreeByValue(&c.args[6]); c.args[6] = HostMatrix(6, 2, std::vector<double>(12, 0.1)); want = 6; break;  // offsets need J columns
        }
        const long live = VelawinLiveBlocks();
        c.Run("FnLogitJD", FnLogitJD);
        EXPECT_EQ(VelawinErrorCount(), 1) << variant;
        const std::string err = VelawinLastError();
        EXPECT_NE(err.find("argument " + std::to_string(want) + " of FnLogitJD"), std::string::npos) << err;
        if (!expect_text.empty()) {
            EXPECT_NE(err.find(expect_text), std::string::npos) << err;
        }
        EXPECT_EQ(VelawinLiveBlocks(), live) << variant;  // nothing allocated
        for (const VelaValue &t : c.target) EXPECT_EQ(t.type, VELA_EMPTY);
    }
}

TEST(FnLogitJD, OptionalInputsOfTheWrongSizeAreAbsent) {
    // X with the wrong row count is ignored: the Z coefficient is then theta[0] and the rest unused.
    HostCall c;
    LogitArgs(c, {-0.8, 9.0, 9.0, 9.0, 9.0});
    VelaFreeByValue(&c.args[3]);
    c.args[3] = HostMatrix(5, 2, std::vector<double>(10, 1.0));
    c.Run("FnLogitJD", FnLogitJD);
    EXPECT_NEAR(c.Result(), DirectLogLik({0.0, 0.0, 0.0, 0.0, -0.8}), 1e-13);
    EXPECT_EQ(c.target[0].ival, 5);
    EXPECT_NE(c.Data(0)[0], 0.0);
    for (int j = 1; j < 5; ++j) EXPECT_EQ(c.Data(0)[j], 0.0);
    // Weights of N elements are used, and offsets shift utilities.
    HostCall w;
    LogitArgs(w, kTheta);
    VelaFreeByValue(&w.args[5]);
    w.args[5] = HostMatrix(6, 1, {2, 2, 2, 2, 2, 2});
    w.Run("FnLogitJD", FnLogitJD);
    EXPECT_NEAR(w.Result(), 2.0 * DirectLogLik(kTheta), 1e-12);
}

TEST(FnLogitJD, GroupedCountsAndColumnLimitOnJ) {
    // Two columns of counts with J given as 5: J becomes 2.
    HostCall c;
    c.Add(HostMatrix(2, 1, {0.5, -1.0}));
    c.Add(HostMatrix(3, 2, {3, 1, 0, 2, 1, 1}));
    c.Add(VelawinInt(5));
    c.Add(HostMatrix(3, 2, {1, 0.2, 1, -0.4, 1, 1.0}));
    c.Add(HostMatrix(0, 0, {}));
    c.Add(HostMatrix(0, 0, {}));
    c.Add(HostMatrix(0, 0, {}));
    for (int t = 0; t < 5; ++t) c.AddRef(t);
    c.Run("FnLogitJD", FnLogitJD);
    EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
    EXPECT_EQ(c.target[2].cols, 2);
    const double counts[3][2] = {{3, 1}, {0, 2}, {1, 1}};
    const double x[3] = {0.2, -0.4, 1.0};
    double L = 0.0;
    for (int i = 0; i < 3; ++i) {
        const double s = 0.5 - 1.0 * x[i], p1 = 1.0 / (1.0 + std::exp(-s));
        L += counts[i][0] * std::log(1.0 - p1) + counts[i][1] * std::log(p1);
        EXPECT_NEAR(c.At(2, i, 1), p1, 1e-15);
    }
    EXPECT_NEAR(c.Result(), L, 1e-13);
}

TEST(FnLogitJD, DegenerateShapesAndOutOfMemory) {
    const long before = VelawinLiveBlocks();
    {
        // No observations: L = 0 and empty outputs.
        HostCall c;
        c.Add(HostMatrix(2, 1, {0.1, 0.2}));
        c.Add(HostMatrix(0, 1, {}));
        c.Add(VelawinInt(3));
        c.Add(HostMatrix(0, 1, {}));
        for (int a = 0; a < 3; ++a) c.Add(HostMatrix(0, 0, {}));
        for (int t = 0; t < 5; ++t) c.AddRef(t);
        c.Run("FnLogitJD", FnLogitJD);
        EXPECT_EQ(c.Result(), 0.0);
        EXPECT_EQ(c.target[2].ival, 0);
        EXPECT_EQ(c.target[1].ival, 2);
    }
    {
        // The second output allocation fails: NaN, nothing kept.
        HostCall c;
        LogitArgs(c, kTheta);
        const long live = VelawinLiveBlocks();
        VelawinFailAllocations(1, 1);
        c.Run("FnLogitJD", FnLogitJD);
        VelawinFailAllocations(0, 0);
        EXPECT_TRUE(std::isnan(c.Result()));
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    EXPECT_EQ(VelawinLiveBlocks(), before);
}

TEST(FnLogitProbDeriv, MarginalEffectsThroughTheHost) {
    // J = 3, kx = 2, nz = 1 (kz = 3): rows 0-1 for X, row 2 for Z, rows 3-4 left as allocated.
    const std::vector<double> P = {0.2, 0.5, 0.3};
    HostCall c;
    c.Add(HostMatrix(5, 1, kTheta));
    c.Add(HostMatrix(1, 3, P));
    c.Add(VelawinInt(2));
    c.Add(VelawinInt(3));
    c.Add(VelawinInt(3));
    c.Run("FnLogitProbDeriv", FnLogitProbDeriv);
    ASSERT_EQ(c.rtn.type, VELA_MATRIX);
    EXPECT_EQ(c.rtn.ival, 5);
    EXPECT_EQ(c.rtn.cols, 3);
    double **m = c.rtn.data.mat;
    for (int i = 0; i < 2; ++i) {
        const double bbar = kTheta[i] * P[1] + kTheta[2 + i] * P[2];
        EXPECT_NEAR(m[i][0], -bbar * P[0], 1e-15);
        EXPECT_NEAR(m[i][1], (kTheta[i] - bbar) * P[1], 1e-15);
        EXPECT_NEAR(m[i][2], (kTheta[2 + i] - bbar) * P[2], 1e-15);
    }
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(m[2][j], P[j] * kTheta[4] * (1 - P[j]), 1e-15);
    for (int r = 3; r < 5; ++r)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(m[r][j], 0.0);

    HostCall bad;  // P shorter than J
    bad.Add(HostMatrix(5, 1, kTheta));
    bad.Add(HostMatrix(1, 2, {0.5, 0.5}));
    for (int v : {2, 3, 3}) bad.Add(VelawinInt(v));
    const long live = VelawinLiveBlocks();
    bad.Run("FnLogitProbDeriv", FnLogitProbDeriv);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(bad.rtn.type, VELA_EMPTY);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

}  // namespace
