// FnGLScovariance against the direct double sum with Bartlett weights.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

// The textbook form: sum_t g_t g_t' + sum_{l=1..L} w_l sum_{t>=l} (g_t g_{t-l}' + g_{t-l} g_t').
Rows DirectOmega(const Rows &X, const Rows &E, int L) {
    const int T = static_cast<int>(X.size()), k = static_cast<int>(X[0].size()), n = static_cast<int>(E[0].size());
    const int p = k * n;
    Rows g(T, std::vector<double>(p));
    for (int t = 0; t < T; ++t)
        for (int i = 0; i < k; ++i)
            for (int j = 0; j < n; ++j) g[t][i * n + j] = X[t][i] * E[t][j];
    Rows out(p, std::vector<double>(p, 0.0));
    for (int t = 0; t < T; ++t)
        for (int a = 0; a < p; ++a)
            for (int b = 0; b < p; ++b) out[a][b] += g[t][a] * g[t][b];
    for (int l = 1; l <= L; ++l) {
        double w = 1.0 - static_cast<double>(l) / (L + 1);
        for (int t = l; t < T; ++t)
            for (int a = 0; a < p; ++a)
                for (int b = 0; b < p; ++b) out[a][b] += w * (g[t][a] * g[t - l][b] + g[t - l][a] * g[t][b]);
    }
    return out;
}

struct GlsCall {
    HostValues hv;
    VelaValue rtn{};
    ~GlsCall() { VelaFreeByValue(&rtn); }
    void Run(const Rows &X, const Rows &E, int hac) {
        std::vector<VelaValue> a = {hv.Matrix(X), hv.Matrix(E), VelawinInt(hac)};
        VelawinBeginCall("FnGLScovariance");
        FnGLScovariance(&rtn, a.data(), 3);
    }
};

void ExpectClose(const VelaValue &got, const Rows &want, double rel) {
    ASSERT_EQ(got.ival, static_cast<int>(want.size()));
    ASSERT_EQ(got.cols, static_cast<int>(want.size()));
    double scale = 0.0;
    for (const auto &row : want)
        for (double x : row) scale = std::max(scale, std::fabs(x));
    for (size_t a = 0; a < want.size(); ++a)
        for (size_t b = 0; b < want.size(); ++b) EXPECT_NEAR(At(got, a, b), want[a][b], rel * scale) << a << "," << b;
}

TEST(GlsCovarianceExport, HacMatchesDirectBartlettSum) {
    // Autocorrelated residuals so that the cross terms matter.
    for (int T : {50, 100, 237}) {
        Rows X = Normal(T, 3, 1 + T), E = Normal(T, 2, 2 + T);
        for (int t = 1; t < T; ++t)
            for (int j = 0; j < 2; ++j) E[t][j] += 0.6 * E[t - 1][j];
        const int L = T == 50 ? 3 : T == 100 ? 4 : static_cast<int>(4 * std::pow(T / 100.0, 2.0 / 9.0));
        GlsCall call;
        call.Run(X, E, 1);
        ExpectClose(call.rtn, DirectOmega(X, E, L), 1e-12);
        // One lag fewer or more would differ visibly.
        Rows other = DirectOmega(X, E, L + 1);
        EXPECT_GT(std::fabs(other[0][0] - At(call.rtn, 0, 0)), 1e-6 * std::fabs(other[0][0]));
    }
}

TEST(GlsCovarianceExport, WithoutHacIsTheSumOfScoreOuterProducts) {
    auto data = MacroData();
    Rows X, E;
    for (const auto &row : data) {
        X.push_back({1.0, row[10]});   // constant and inflation
        E.push_back({row[9] - 6.0});   // unemployment around 6
    }
    GlsCall call;
    call.Run(X, E, 0);
    ExpectClose(call.rtn, DirectOmega(X, E, 0), 1e-13);

    // k = n = 1: the sum of x^2 e^2.
    GlsCall scalar;
    scalar.Run({{2.0}, {-1.0}, {3.0}}, {{0.5}, {4.0}, {-1.0}}, 0);
    ASSERT_EQ(scalar.rtn.ival, 1);
    EXPECT_DOUBLE_EQ(At(scalar.rtn, 0, 0), 1.0 + 16.0 + 9.0);
}

TEST(GlsCovarianceExport, ExtraResidualRowsAreIgnoredAndShortOnesRejected) {
    Rows X = Normal(20, 2, 5), E = Normal(25, 1, 6);
    Rows E20(E.begin(), E.begin() + 20);
    GlsCall longer, exact;
    longer.Run(X, E, 1);
    exact.Run(X, E20, 1);
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b) EXPECT_EQ(At(longer.rtn, a, b), At(exact.rtn, a, b));

    {
        GlsCall shorter;
        shorter.Run(E, X, 0);  // 25 regressor rows, 20 residual rows
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_EQ(shorter.rtn.type, VELA_EMPTY);
    }
    HostValues hv;
    VelaValue rtn{};
    std::vector<VelaValue> wrong = {hv.Matrix(X), hv.Matrix(E), VelawinDouble(1.0)};
    long before = VelawinLiveBlocks();
    VelawinBeginCall("FnGLScovariance");
    FnGLScovariance(&rtn, wrong.data(), 3);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), before);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

TEST(GlsCovarianceExport, EmptySamplesGiveZeroOrEmptyMatrices) {
    HostValues hv;
    VelaValue rtn{};
    std::vector<VelaValue> a = {hv.Matrix(0, 0, {}), hv.Matrix(0, 0, {}), VelawinInt(1)};
    FnGLScovariance(&rtn, a.data(), 3);
    EXPECT_EQ(rtn.type, VELA_MATRIX);
    EXPECT_EQ(rtn.ival, 0);
    VelaFreeByValue(&rtn);
}

}  // namespace
