// FnGarchVar and FnEgarchVar end to end through the stand-in runtime, against textbook recursions
// written independently here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/exports.h"
#include "tests/support/host_values.h"

namespace {

using tessel::test::Column;
using tessel::test::ToVector;
using tessel::test::ValueSet;

struct GarchCall {
    std::vector<double> y, c, theta;
    int p = 1, q = 1, mode = 0;
    double lambda = 0.0, mu = 0.0, delta = 0.0;
};

struct Paths {
    int rc = -1;
    std::vector<double> first, second;
};

Paths RunGarch(const GarchCall &g) {
    ValueSet a;
    VelaValue h{}, u{};
    a.Add(Column(g.y));
    a.Add(Column(g.c));
    a.Add(Column(g.theta));
    a.Add(VelawinInt(g.p));
    a.Add(VelawinInt(g.q));
    a.Add(VelawinInt(g.mode));
    a.Add(VelawinDouble(g.lambda));
    a.Add(VelawinDouble(g.mu));
    a.Add(VelawinDouble(g.delta));
    a.Add(VelawinRef(&h));
    a.Add(VelawinRef(&u));
    VelaValue rtn{};
    VelawinBeginCall("FnGarchVar");
    FnGarchVar(&rtn, a.data(), a.size());
    Paths out;
    if (rtn.type == VELA_INT) out.rc = rtn.ival;
    out.first = ToVector(h);
    out.second = ToVector(u);
    VelaFreeByValue(&h);
    VelaFreeByValue(&u);
    return out;
}

double InMean(double h, int mode) {
    if (mode == 1) return h;
    if (mode == 2) return std::sqrt(h);
    if (mode == 3) return std::log(h);
    return 0.0;
}

// GARCH with explicit ARCH and GARCH coefficients on presample-padded arrays.
Paths ReferenceGarch(const std::vector<double> &y, const std::vector<double> &c, const std::vector<double> &arch,
                     const std::vector<double> &garch, int mode, double lambda, double mu, double delta) {
    const size_t T = y.size(), q = arch.size(), p = garch.size(), pad = std::max(p, q);
    double s2 = 0.0;
    for (double v : y) s2 += v * v;
    s2 /= T;
    std::vector<double> hp(T + pad, s2), ep(T + pad, s2);
    Paths out;
    double u_prev = 0.0;
    for (size_t t = 0; t < T; ++t) {
        double h = c[t];
        for (size_t i = 1; i <= q; ++i) h += arch[i - 1] * ep[pad + t - i];
        for (size_t j = 1; j <= p; ++j) h += garch[j - 1] * hp[pad + t - j];
        if (t > 0 && delta != 0.0 && u_prev < mu) h += delta * (u_prev - mu) * (u_prev - mu);
        double u = y[t] - lambda * InMean(h, mode);
        if (mode < 1 || mode > 3) u = y[t];
        hp[pad + t] = h;
        ep[pad + t] = (u - mu) * (u - mu);
        out.first.push_back(h);
        out.second.push_back(u);
        u_prev = u;
    }
    out.rc = 1;
    return out;
}

std::vector<double> GdpGrowth() {
    auto gdp = tessel::test::ReadCsvColumn(std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv", "realgdp");
    return tessel::test::GrowthRates(gdp);
}

void ExpectClose(const std::vector<double> &a, const std::vector<double> &b, double tol) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tol * (1.0 + std::fabs(b[i]))) << "at " << i;
}

TEST(GarchVar, MatchesTextbookRecursionOnGdpGrowth) {
    const auto y = GdpGrowth();
    const double a = 0.12, b = 0.8;
    for (int mode : {0, 1, 2, 3}) {
        for (double delta : {0.0, 0.07}) {
            GarchCall g{y, std::vector<double>(y.size(), 0.1), {0.0, a + b, b}, 1, 1, mode, 0.05, 0.8, delta};
            Paths got = RunGarch(g);
            Paths want = ReferenceGarch(y, g.c, {a}, {b}, mode, 0.05, 0.8, delta);
            EXPECT_EQ(got.rc, 1);
            ExpectClose(got.first, want.first, 1e-13);
            ExpectClose(got.second, want.second, 1e-13);
        }
    }
}

TEST(GarchVar, HigherOrdersReadTheArmaBlockAndIgnoreSlotsBeyondQ) {
    const auto y = GdpGrowth();
    std::vector<double> c(y.size());
    for (size_t t = 0; t < c.size(); ++t) c[t] = 0.05 + 0.01 * std::sin(0.3 * t);
    // p = 3, q = 1: m = 3; theta[2], theta[3] sit beyond q and must not be read.
    std::vector<double> theta = {99.0, 0.5, 1e6, -1e6, 0.3, 0.1, 0.05};
    Paths got = RunGarch({y, c, theta, 3, 1, 1, 0.02, 0.5, 0.0});
    Paths want = ReferenceGarch(y, c, {0.5 - 0.3}, {0.3, 0.1, 0.05}, 1, 0.02, 0.5, 0.0);
    ExpectClose(got.first, want.first, 1e-13);
    // p = 1, q = 3: alpha_1 = theta_1 - theta_4, alpha_2, alpha_3 plain.
    theta = {0.0, 0.4, 0.1, 0.05, 0.3};
    got = RunGarch({y, c, theta, 1, 3, 0, 0.0, 0.0, 0.0});
    want = ReferenceGarch(y, c, {0.1, 0.1, 0.05}, {0.3}, 0, 0.0, 0.0, 0.0);
    ExpectClose(got.first, want.first, 1e-13);
}

TEST(GarchVar, EdgeCases) {
    const std::vector<double> y = {1.0, -2.0, 0.5, 3.0, -1.0};
    const std::vector<double> c = {0.1, 0.2, 0.3, 0.4, 0.5};
    // p = q = 0: h is the intercept, u is y whatever lambda in an unknown mode.
    Paths r = RunGarch({y, c, {0.0}, 0, 0, 7, 10.0, 0.0, 0.0});
    EXPECT_EQ(r.first, c);
    EXPECT_EQ(r.second, y);
    // A tiny delta keeps the threshold term; it never applies at t = 0.
    Paths off = RunGarch({y, c, {0.0, 0.0, 0.0}, 1, 1, 0, 0.0, 0.0, 0.0});
    Paths on = RunGarch({y, c, {0.0, 0.0, 0.0}, 1, 1, 0, 0.0, 0.0, 1e-12});
    EXPECT_EQ(on.first[0], off.first[0]);
    EXPECT_GT(on.first[2], off.first[2]);  // u_1 = -2 < mu
    EXPECT_EQ(on.first[3], off.first[3]);  // u_2 = 0.5 > mu
    // A negative variance in mode 2 gives NaN residuals that flow into later variances.
    Paths neg = RunGarch({y, {-10.0, 0.1, 0.1, 0.1, 0.1}, {0.0, 0.5, 0.0}, 1, 1, 2, 1.0, 0.0, 0.0});
    EXPECT_TRUE(std::isnan(neg.second[0]));
    EXPECT_TRUE(std::isnan(neg.first[1]));
}

TEST(GarchVar, RejectsCallsThatWouldOverrunItsArrays) {
    const std::vector<double> y = {1.0, 2.0};
    const long live = VelawinLiveBlocks();
    // T < max(p, q), a short intercept vector, a short theta, negative orders.
    EXPECT_EQ(RunGarch({y, {1.0, 1.0}, {0, 0, 0, 0, 0, 0, 0}, 3, 1}).rc, -1);
    EXPECT_EQ(RunGarch({y, {1.0}, {0.0, 0.1, 0.1}}).rc, -1);
    EXPECT_EQ(RunGarch({y, {1.0, 1.0}, {0.0, 0.1}}).rc, -1);
    EXPECT_EQ(RunGarch({y, {1.0, 1.0}, {0.0, 0.1, 0.1}, -1, 1}).rc, -1);
    EXPECT_EQ(RunGarch({{}, {}, {0.0, 0.1, 0.1}}).rc, -1);
    EXPECT_STREQ(VelawinLastError(), "argument 0 of FnGarchVar: bad value");
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(GarchVar, WrongTypesAndMissingArgumentsAllocateNothing) {
    ValueSet a;
    VelaValue h{}, u{};
    for (VelaValue v : {Column({1.0, 2.0}), Column({1.0, 1.0}), Column({0.0, 0.1, 0.1}), VelawinInt(1),
                        VelawinMatrix(1, 1, nullptr), VelawinInt(0), VelawinDouble(0), VelawinDouble(0),
                        VelawinDouble(0), VelawinRef(&h), VelawinRef(&u)})
        a.Add(v);
    const long live = VelawinLiveBlocks();
    VelaValue rtn{};
    VelawinBeginCall("FnGarchVar");
    FnGarchVar(&rtn, a.data(), 11);
    EXPECT_STREQ(VelawinLastError(), "argument 4 of FnGarchVar: expected an integer, got a matrix");
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
    EXPECT_EQ(h.type, VELA_EMPTY);
    EXPECT_EQ(VelawinLiveBlocks(), live);

    // Leaving the references off: argument 9 is reported missing and never read.
    VelaFreeByValue(&a[4]);
    a[4] = VelawinInt(1);
    VelawinBeginCall("FnGarchVar");
    FnGarchVar(&rtn, a.data(), 9);
    EXPECT_STREQ(VelawinLastError(), "argument 9 of FnGarchVar: bad value");
    EXPECT_EQ(rtn.type, VELA_EMPTY);
    EXPECT_EQ(VelawinLiveBlocks(), live - 1);
}

TEST(GarchVar, FailedResultAllocationReturnsZeroAndLeavesReferences) {
    ValueSet a;
    VelaValue h = VelawinInt(42), u = VelawinInt(43);
    for (VelaValue v : {Column({1.0, 2.0, 3.0}), Column({1.0, 1.0, 1.0}), Column({0.0, 0.1, 0.1}), VelawinInt(1),
                        VelawinInt(1), VelawinInt(0), VelawinDouble(0), VelawinDouble(0), VelawinDouble(0),
                        VelawinRef(&h), VelawinRef(&u)})
        a.Add(v);
    const long live = VelawinLiveBlocks();
    VelaValue rtn{};
    VelawinFailAllocations(1, 1);  // the first result succeeds, the second fails
    FnGarchVar(&rtn, a.data(), 11);
    VelawinFailAllocations(0, 0);
    EXPECT_EQ(rtn.type, VELA_INT);
    EXPECT_EQ(rtn.ival, 0);
    EXPECT_EQ(h.ival, 42);
    EXPECT_EQ(u.ival, 43);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

struct EgarchCall {
    std::vector<double> y, c;
    double theta = 0.0, gamma = 0.0, kappa = 0.0;
    std::vector<double> a, b;
    int mode = 0;
    double lambda = 0.0;
};

Paths RunEgarch(const EgarchCall &e) {
    ValueSet v;
    VelaValue l{}, u{};
    v.Add(Column(e.y));
    v.Add(Column(e.c));
    v.Add(VelawinDouble(e.theta));
    v.Add(VelawinDouble(e.gamma));
    v.Add(VelawinDouble(e.kappa));
    v.Add(VelawinMatrix(e.a.empty() ? 0 : 1, static_cast<int>(e.a.size()), e.a.data()));
    v.Add(VelawinMatrix(e.b.empty() ? 0 : 1, static_cast<int>(e.b.size()), e.b.data()));
    v.Add(VelawinInt(e.mode));
    v.Add(VelawinDouble(e.lambda));
    v.Add(VelawinRef(&l));
    v.Add(VelawinRef(&u));
    VelaValue rtn{};
    VelawinBeginCall("FnEgarchVar");
    FnEgarchVar(&rtn, v.data(), v.size());
    Paths out;
    if (rtn.type == VELA_INT) out.rc = rtn.ival;
    out.first = ToVector(l);
    out.second = ToVector(u);
    VelaFreeByValue(&l);
    VelaFreeByValue(&u);
    return out;
}

// EGARCH on the log variance with zero presample news and the log mean square as presample variance.
Paths ReferenceEgarch(const EgarchCall &e) {
    const size_t T = e.y.size();
    double s2 = 0.0;
    for (double v : e.y) s2 += v * v;
    const double L0 = std::log(s2 / T);
    std::vector<double> g(T), l(T);
    Paths out;
    for (size_t t = 0; t < T; ++t) {
        double x = e.c[t];
        for (size_t i = 0; i < e.a.size(); ++i) x += t > i ? e.a[i] * g[t - i - 1] : 0.0;
        for (size_t j = 0; j < e.b.size(); ++j) x += e.b[j] * (t > j ? l[t - j - 1] : L0);
        l[t] = x;
        double u = e.y[t];
        if (e.mode >= 1 && e.mode <= 3) u -= e.lambda * (e.mode == 3 ? x : std::exp(e.mode == 1 ? x : 0.5 * x));
        double z = u / std::sqrt(std::exp(x));
        g[t] = e.gamma * (std::fabs(z) - e.kappa) + e.theta * z;
        out.second.push_back(u);
    }
    out.first = l;
    out.rc = 1;
    return out;
}

TEST(EgarchVar, MatchesTextbookRecursionOnGdpGrowth) {
    const auto y = GdpGrowth();
    const double kappa = std::sqrt(2.0 / std::numbers::pi);
    for (int mode : {0, 1, 2, 3}) {
        EgarchCall e{y, std::vector<double>(y.size(), -0.03), -0.1, 0.25, kappa, {0.3, -0.1}, {0.9}, mode, 0.04};
        Paths got = RunEgarch(e);
        Paths want = ReferenceEgarch(e);
        EXPECT_EQ(got.rc, 1);
        ExpectClose(got.first, want.first, 1e-12);
        ExpectClose(got.second, want.second, 1e-12);
    }
}

TEST(EgarchVar, CapIsSkippedForStartUpValuesOnly) {
    std::vector<double> y = {0.5, -0.3, 0.2, 0.1, -0.4, 0.3};
    std::vector<double> c = {800.0, 0.0, 0.0, 0.0, 900.0, 0.0};
    // p = 2, q = 1: the start-up phase is t < 2.
    Paths r = RunEgarch({y, c, 0.0, 0.0, 0.0, {0.0, 0.0}, {0.0}, 1, 1e-300});
    EXPECT_EQ(r.first[0], 800.0);
    EXPECT_EQ(r.first[4], 709.0);
    // The in-mean term at t = 0 used the capped value: exp(709) is finite.
    EXPECT_TRUE(std::isfinite(r.second[0]));
    // A later lag of the start-up observation reads the uncapped value.
    const std::vector<double> unit = {1.0, -1.0, 1.0, -1.0, 1.0, -1.0};  // log mean square 0
    Paths lag = RunEgarch({unit, c, 0.0, 0.0, 0.0, {}, {0.5}, 0, 0.0});
    EXPECT_EQ(lag.first[0], 800.0);
    EXPECT_EQ(lag.first[1], 400.0);
}

TEST(EgarchVar, NoLagsAndUnknownModes) {
    std::vector<double> y = {0.5, -0.3, 0.2};
    std::vector<double> c = {0.1, 0.2, 0.3};
    Paths r = RunEgarch({y, c, 0.5, 0.5, 0.1, {}, {}, 9, 3.0});
    EXPECT_EQ(r.first, c);
    EXPECT_EQ(r.second, y);
    EXPECT_EQ(RunEgarch({{}, {}, 0, 0, 0, {}, {}, 0, 0}).rc, -1);
    EXPECT_EQ(RunEgarch({y, {0.1}, 0, 0, 0, {}, {}, 0, 0}).rc, -1);
}

}  // namespace
