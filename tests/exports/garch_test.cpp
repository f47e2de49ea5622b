// FnGarchVar and FnEgarchVar end to end, against textbook recursions written independently here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <tuple>

#include "host/exports.h"
#include "tests/support/host_values.h"

namespace {

using tessel::test::Column;
using tessel::test::ToVector;
using Vec = std::vector<double>;

struct Paths {
    int rc = -1;    // -1: no integer returned (an error was reported)
    long made = 0;  // host blocks the call left allocated
    Vec first, second;
};

// Calls an export with `args` and the two output references; count < 11 leaves arguments off,
// fail_after >= 0 makes the host allocation after that many fail.
Paths Call(VelaExportFn fn, const char *name, const std::vector<VelaValue> &args, int count = 11, int fail_after = -1) {
    tessel::test::ValueSet a;
    for (VelaValue v : args) a.Add(v);
    VelaValue first{}, second{}, rtn{};
    a.Add(VelawinRef(&first));
    a.Add(VelawinRef(&second));
    const long before = VelawinLiveBlocks();
    VelawinBeginCall(name);
    if (fail_after >= 0) VelawinFailAllocations(fail_after, 1);
    fn(&rtn, a.data(), count);
    VelawinFailAllocations(0, 0);
    Paths out{rtn.type == VELA_INT ? rtn.ival : -1, VelawinLiveBlocks() - before, ToVector(first), ToVector(second)};
    VelaFreeByValue(&first);
    VelaFreeByValue(&second);
    return out;
}

struct GarchCall {
    Vec y, c, theta;
    int p = 1, q = 1, mode = 0;
    double lambda = 0.0, mu = 0.0, delta = 0.0;
};

std::vector<VelaValue> GarchArgs(const GarchCall &g) {
    return {Column(g.y), Column(g.c), Column(g.theta), VelawinInt(g.p), VelawinInt(g.q), VelawinInt(g.mode),
            VelawinDouble(g.lambda), VelawinDouble(g.mu), VelawinDouble(g.delta)};
}

Paths RunGarch(const GarchCall &g) { return Call(FnGarchVar, "FnGarchVar", GarchArgs(g)); }

// GARCH with explicit ARCH and GARCH coefficients; presample values are the mean square of y.
Paths ReferenceGarch(const GarchCall &g, const Vec &arch, const Vec &garch) {
    const size_t T = g.y.size(), pad = std::max(arch.size(), garch.size());
    double s2 = 0.0;
    for (double v : g.y) s2 += v * v / T;
    Vec hp(T + pad, s2), ep(T + pad, s2);
    Paths out{1, 0, {}, {}};
    for (size_t t = 0; t < T; ++t) {
        double h = g.c[t], u = g.y[t];
        for (size_t i = 1; i <= arch.size(); ++i) h += arch[i - 1] * ep[pad + t - i];
        for (size_t j = 1; j <= garch.size(); ++j) h += garch[j - 1] * hp[pad + t - j];
        if (t > 0 && g.delta != 0.0 && out.second[t - 1] < g.mu) h += g.delta * std::pow(out.second[t - 1] - g.mu, 2);
        if (g.mode >= 1 && g.mode <= 3) u -= g.lambda * (g.mode == 1 ? h : g.mode == 2 ? std::sqrt(h) : std::log(h));
        hp[pad + t] = h;
        ep[pad + t] = (u - g.mu) * (u - g.mu);
        out.first.push_back(h);
        out.second.push_back(u);
    }
    return out;
}

struct EgarchCall {
    Vec y, c;
    double theta = 0.0, gamma = 0.0, kappa = 0.0;
    Vec a = {}, b = {};
    int mode = 0;
    double lambda = 0.0;
};

Paths RunEgarch(const EgarchCall &e) {
    return Call(FnEgarchVar, "FnEgarchVar",
                {Column(e.y), Column(e.c), VelawinDouble(e.theta), VelawinDouble(e.gamma), VelawinDouble(e.kappa),
                 VelawinMatrix(e.a.empty() ? 0 : 1, static_cast<int>(e.a.size()), e.a.data()),
                 VelawinMatrix(e.b.empty() ? 0 : 1, static_cast<int>(e.b.size()), e.b.data()), VelawinInt(e.mode),
                 VelawinDouble(e.lambda)});
}

// EGARCH on the log variance with zero presample news and the log mean square as presample value.
Paths ReferenceEgarch(const EgarchCall &e) {
    const size_t T = e.y.size();
    double s2 = 0.0;
    for (double v : e.y) s2 += v * v / T;
    Vec g(T);
    Paths out{1, 0, {}, {}};
    for (size_t t = 0; t < T; ++t) {
        double x = e.c[t], u = e.y[t];
        for (size_t i = 0; i < e.a.size(); ++i) x += t > i ? e.a[i] * g[t - i - 1] : 0.0;
        for (size_t j = 0; j < e.b.size(); ++j) x += e.b[j] * (t > j ? out.first[t - j - 1] : std::log(s2));
        if (e.mode >= 1 && e.mode <= 3) u -= e.lambda * (e.mode == 3 ? x : std::exp(e.mode == 1 ? x : 0.5 * x));
        const double z = u / std::sqrt(std::exp(x));
        g[t] = e.gamma * (std::fabs(z) - e.kappa) + e.theta * z;
        out.first.push_back(x);
        out.second.push_back(u);
    }
    return out;
}

void ExpectSame(const Paths &got, const Paths &want, double tol) {
    EXPECT_EQ(got.rc, want.rc);
    ASSERT_EQ(got.first.size(), want.first.size());
    for (size_t i = 0; i < want.first.size(); ++i) {
        EXPECT_NEAR(got.first[i], want.first[i], tol * (1.0 + std::fabs(want.first[i]))) << i;
        EXPECT_NEAR(got.second[i], want.second[i], tol * (1.0 + std::fabs(want.second[i]))) << i;
    }
}

const Vec &Gdp() {
    static const Vec g = tessel::test::GrowthRates(
        tessel::test::ReadCsvColumn(std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv", "realgdp"));
    return g;
}

TEST(GarchVar, MatchesTextbookRecursionOnGdpGrowth) {
    const Vec &gdp = Gdp();
    Vec flat(gdp.size(), 0.1), wave(gdp.size());
    for (size_t t = 0; t < wave.size(); ++t) wave[t] = 0.05 + 0.01 * std::sin(0.3 * t);
    // theta is in ARMA form: alpha_i = theta_i - theta_(m+i); with q = 1 the slots 2, 3 must be ignored.
    std::vector<std::tuple<GarchCall, Vec, Vec>> cases = {
        {{gdp, wave, {99.0, 0.5, 1e6, -1e6, 0.3, 0.1, 0.05}, 3, 1, 1, 0.02, 0.5}, {0.5 - 0.3}, {0.3, 0.1, 0.05}},
        {{gdp, wave, {0.0, 0.4, 0.1, 0.05, 0.3}, 1, 3}, {0.1, 0.1, 0.05}, {0.3}}};
    for (int mode = 0; mode < 4; ++mode)
        for (double delta : {0.0, 0.07})
            cases.push_back({{gdp, flat, {0.0, 0.12 + 0.8, 0.8}, 1, 1, mode, 0.05, 0.8, delta}, {0.12}, {0.8}});
    for (const auto &[g, arch, garch] : cases) ExpectSame(RunGarch(g), ReferenceGarch(g, arch, garch), 1e-13);
}

TEST(EgarchVar, MatchesTextbookRecursionOnGdpGrowth) {
    const Vec &gdp = Gdp();
    for (int mode : {0, 1, 2, 3}) {
        const EgarchCall e{gdp, Vec(gdp.size(), -0.03), -0.1, 0.25, std::sqrt(2.0 / std::numbers::pi),
                           {0.3, -0.1}, {0.9}, mode, 0.04};
        ExpectSame(RunEgarch(e), ReferenceEgarch(e), 1e-12);
    }
}

TEST(GarchVar, NoLagsUnknownModesThresholdAndNegativeVariance) {
    const Vec y = {1.0, -2.0, 0.5, 3.0, -1.0}, c = {0.1, 0.2, 0.3, 0.4, 0.5};
    // No lags: the variance is the intercept; outside modes 1..3 u is y whatever lambda.
    for (const Paths &r : {RunGarch({y, c, {0.0}, 0, 0, 7, 10.0}), RunEgarch({y, c, 0.5, 0.5, 0.1, {}, {}, 9, 3.0})}) {
        EXPECT_EQ(r.first, c);
        EXPECT_EQ(r.second, y);
    }
    // A tiny delta keeps the threshold term, which never applies at t = 0.
    const Paths off = RunGarch({y, c, {0.0, 0.0, 0.0}}), on = RunGarch({y, c, {0.0, 0.0, 0.0}, 1, 1, 0, 0, 0, 1e-12});
    EXPECT_EQ(on.first[0], off.first[0]);
    EXPECT_GT(on.first[2], off.first[2]);  // u_1 = -2 < mu
    EXPECT_EQ(on.first[3], off.first[3]);  // u_2 = 0.5 > mu
    // A negative variance in mode 2 gives NaN residuals that flow into later variances.
    const Paths neg = RunGarch({y, {-10.0, 0.1, 0.1, 0.1, 0.1}, {0.0, 0.5, 0.0}, 1, 1, 2, 1.0});
    EXPECT_TRUE(std::isnan(neg.second[0]) && std::isnan(neg.first[1]));
}

TEST(EgarchVar, CapIsSkippedForStartUpValuesOnly) {
    const Vec c = {800.0, 0.0, 0.0, 0.0, 900.0, 0.0};
    // p = 2, q = 1: the start-up phase is t < 2; the in-mean term at t = 0 uses the capped value.
    const Paths r = RunEgarch({{0.5, -0.3, 0.2, 0.1, -0.4, 0.3}, c, 0, 0, 0, {0.0, 0.0}, {0.0}, 1, 1e-300});
    EXPECT_TRUE(r.first[0] == 800.0 && r.first[4] == 709.0 && std::isfinite(r.second[0]));
    // A later lag of the start-up value reads it uncapped (log mean square of y is 0).
    const Paths lag = RunEgarch({{1.0, -1.0, 1.0, -1.0, 1.0, -1.0}, c, 0, 0, 0, {}, {0.5}});
    EXPECT_TRUE(lag.first[0] == 800.0 && lag.first[1] == 400.0);
}

TEST(GarchVar, RejectsCallsThatWouldOverrunAndAllocatesNothing) {
    const Vec y = {1.0, 2.0};
    // T < max(p, q), short intercepts, short theta, a negative order, EGARCH's T = 0 and short c, T = 0.
    for (const Paths &r : {RunGarch({y, {1.0, 1.0}, Vec(7, 0.0), 3, 1}), RunGarch({y, {1.0}, {0.0, 0.1, 0.1}}),
                           RunGarch({y, {1.0, 1.0}, {0.0, 0.1}}), RunGarch({y, {1.0, 1.0}, {0.0, 0.1, 0.1}, -1, 1}),
                           RunEgarch({{}, {}}), RunEgarch({y, {0.1}}), RunGarch({{}, {}, {0.0, 0.1, 0.1}})}) {
        EXPECT_TRUE(r.rc == -1 && r.made == 0 && r.first.empty());
    }
    EXPECT_STREQ(VelawinLastError(), "argument 0 of FnGarchVar: bad value");
    // A wrong type stops the call at its check; leaving the references off is reported, not read.
    std::vector<VelaValue> args = GarchArgs({y, y, {0.0, 0.1, 0.1}});
    args[4] = VelawinMatrix(1, 1, nullptr);
    Paths r = Call(FnGarchVar, "FnGarchVar", args);
    EXPECT_STREQ(VelawinLastError(), "argument 4 of FnGarchVar: expected an integer, got a matrix");
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_TRUE(r.rc == -1 && r.made == 0 && r.first.empty());
    r = Call(FnGarchVar, "FnGarchVar", GarchArgs({y, y, {0.0, 0.1, 0.1}}), 9);
    EXPECT_STREQ(VelawinLastError(), "argument 9 of FnGarchVar: bad value");
    EXPECT_TRUE(r.rc == -1 && r.made == 0);
}

TEST(GarchVar, FailedResultAllocationReturnsZeroAndLeavesReferences) {
    // The first result is made, the second fails: 0, the first freed, neither reference filled.
    const Paths r = Call(FnGarchVar, "FnGarchVar", GarchArgs({{1.0, 2.0, 3.0}, {1.0, 1.0, 1.0}, {0.0, 0.1, 0.1}}), 11, 1);
    EXPECT_TRUE(r.rc == 0 && r.made == 0 && r.first.empty() && r.second.empty());
}

}  // namespace
