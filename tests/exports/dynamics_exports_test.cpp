// FnRalsForecast, FnDynForc, FnImpulse and FnComfac end to end: a VAR estimated on the shipped
// quarterly data, the argument checks, optional outputs and allocation failures.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "host/exports.h"
#include "tests/dynamics/var_reference.h"
#include "tests/support/host_values.h"

namespace {

using namespace tessel::test;

VelaValue Mat(int rows, int cols, const Vec &x = {}) { return VelawinMatrix(rows, cols, x.empty() ? nullptr : x.data()); }

// Returns the integer result, or -1 when the call reported an error.
int Call(VelaExportFn fn, const char *name, ValueSet &a, int count = -1) {
    VelaValue rtn{};
    VelawinBeginCall(name);
    fn(&rtn, a.data(), count < 0 ? a.size() : count);
    const int rc = rtn.type == VELA_INT ? rtn.ival : -1;
    VelaFreeByValue(&rtn);
    return rc;
}

void Add(ValueSet &a, std::initializer_list<VelaValue> values) {
    for (VelaValue v : values) a.Add(v);
}

// Each replacement of one argument is rejected, naming that argument, with nothing allocated.
void ExpectRejected(VelaExportFn fn, const char *name, ValueSet &a, std::initializer_list<std::pair<int, VelaValue>> bad) {
    for (auto [index, value] : bad) {
        const VelaValue keep = a[index];
        a[index] = value;
        const long before = VelawinLiveBlocks();
        EXPECT_EQ(Call(fn, name, a), -1) << name << " " << index;
        EXPECT_EQ(VelawinLiveBlocks(), before);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(index) + " "), std::string::npos)
            << VelawinLastError();
        VelaFreeByValue(&a[index]);
        a[index] = keep;
    }
}

TEST(DynamicsExports, MacroVarForecastsAndImpulses) {
    // VAR(2) with a constant in the growth rates of output, consumption and investment, by least
    // squares on all but the last 8 quarters (normal equations solved by Gauss-Jordan).
    constexpr int n = 3, s = 2, w = n * s + 1, H = 8;
    const std::string file = std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv";
    const Vec g[n] = {GrowthRates(ReadCsvColumn(file, "realgdp")), GrowthRates(ReadCsvColumn(file, "realcons")),
                      GrowthRates(ReadCsvColumn(file, "realinv"))};
    const int T = static_cast<int>(g[0].size()) - H;
    Vec Y, actual, M(w * (w + n), 0.0), x(w), A, B;
    for (int t = 0; t < T + H; ++t)
        for (int i = 0; i < n; ++i) (t < T ? Y : actual).push_back(g[i][t]);
    for (int t = s; t < T; ++t) {
        for (int c = 0; c < w; ++c) x[c] = c < n * s ? Y[(t - 1 - c / n) * n + c % n] : 1.0;
        for (int k = 0; k < w * (w + n); ++k) M[k] += x[k / (w + n)] * (k % (w + n) < w ? x[k % (w + n)] : Y[t * n + k % (w + n) - w]);
    }
    for (int c = 0; c < w; ++c)
        for (int i = 0; i < w; ++i)
            for (int b = w + n - 1; i != c && b >= c; --b) M[i * (w + n) + b] -= M[i * (w + n) + c] / M[c * (w + n) + c] * M[c * (w + n) + b];
    for (int k = 0; k < n * w; ++k) (k % w < n * s ? A : B).push_back(M[k % w * (w + n) + w + k / w] / M[k % w * (w + n) + k % w]);
    const Vec Omega = {0.6, 0.2, 1.0, 0.2, 0.5, 0.8, 1.0, 0.8, 9.0};  // a plausible covariance

    ValueSet a;
    VelaValue f{}, err{}, moduli{}, out[8] = {};
    Add(a, {Mat(T, n, Y), Mat(H, 1, Vec(H, 1.0)), Mat(n, n * s, A), Mat(n, 1, B), VelawinInt(s), VelawinInt(H),
            Mat(n, n, Omega), Mat(0, 0), Mat(H, n, actual), VelawinInt(0), VelawinRef(&f), VelawinInt(0), VelawinInt(0),
            VelawinInt(0), VelawinRef(&err), VelawinInt(0), VelawinInt(0), VelawinInt(0), VelawinRef(&moduli)});
    ASSERT_EQ(Call(FnDynForc, "FnDynForc", a), 1);  // the estimated system is stable
    const Vec direct = IterateSystem(A, B, n, s, 1, Vec(Y.end() - s * n, Y.end()), Vec(H, 1.0), H);
    for (int k = 0; k < H * n; ++k) {
        EXPECT_NEAR(ToVector(f)[k], direct[k], 1e-12);
        EXPECT_NEAR(ToVector(err)[k], actual[k] - direct[k], 1e-12);
    }
    EXPECT_LT(ToVector(moduli)[0], 1.0);
    EXPECT_EQ(a[11].type, VELA_INT);  // not a reference: not passed, not filled

    ValueSet b;
    Add(b, {Mat(n, n * s, A), Mat(n, n, Omega), VelawinInt(s), VelawinInt(60), VelawinInt(1), VelawinInt(0), Mat(0, 0),
            Mat(1, n, {2, 0, 1})});
    for (VelaValue &o : out) b.Add(VelawinRef(&o));
    ASSERT_EQ(Call(FnImpulse, "FnImpulse", b), 1);
    // Impact responses are the Cholesky factor with investment first; one step ahead investment owes
    // all its variance to its own shock; accumulated responses tend to the multipliers times P.
    const Vec resp = ToVector(out[0]), acc = ToVector(out[2]), lr = ToVector(out[5]), chol = ToVector(out[6]);
    EXPECT_EQ(chol[0 * n + 1], 0.0);
    EXPECT_NEAR(ToVector(out[4])[2 * n + 2], 1.0, 1e-15);
    for (int k = 0; k < n * n; ++k) {
        EXPECT_EQ(resp[k], chol[k]);
        double limit = 0.0;
        for (int j = 0; j < n; ++j) limit += lr[k / n * n + j] * chol[j * n + k % n];
        EXPECT_NEAR(acc[59 * n * n + k], limit, 1e-8);
    }
    for (VelaValue *v : {&f, &err, &moduli}) VelaFreeByValue(v);
    for (VelaValue &o : out) VelaFreeByValue(&o);
}

TEST(DynamicsExports, DynForcAndImpulseCheckTheirArguments) {
    const long live = VelawinLiveBlocks();
    {
        // y_t = 0.5 y_(t-1) + e_t, no exogenous part.
        ValueSet a;
        VelaValue f{}, resp{};
        Add(a, {Mat(2, 1, {1, 2}), Mat(0, 0), Mat(1, 1, {0.5}), Mat(0, 0), VelawinInt(1), VelawinInt(3), Mat(1, 1, {1}),
                Mat(0, 0), Mat(0, 0), VelawinInt(1), VelawinRef(&f)});
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), 1);
        EXPECT_EQ(ToVector(f), (Vec{1.0, 0.5, 0.25}));
        ExpectRejected(FnDynForc, "FnDynForc", a,
                       {{0, Mat(2, 2)}, {0, Mat(0, 0)}, {1, Mat(3, 1)}, {3, Mat(2, 1, {1, 1})}, {4, VelawinInt(0)},
                        {5, VelawinInt(0)}, {6, Mat(2, 2)}, {7, Mat(2, 2)}, {8, Mat(3, 2)}, {0, VelawinDouble(1)}});
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a, 9), -1);  // a required argument missing
        VelawinFailAllocations(0, 1);
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), 0);
        VelawinFailAllocations(0, 0);
        a[2].data.mat[0][0] = 1.0;  // a random walk: forecasts made, not stable
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), 0);
        EXPECT_EQ(ToVector(f), (Vec{2, 2, 2}));
        VelaFreeByValue(&f);

        ValueSet b;
        Add(b, {Mat(2, 2, {0.5, 0.1, 0.0, 0.3}), Mat(2, 2, {1.0, 0.5, 0.5, 1.0}), VelawinInt(1), VelawinInt(4),
                VelawinInt(1), VelawinInt(1), Mat(0, 0), Mat(0, 0)});
        const long inputs = VelawinLiveBlocks();
        EXPECT_EQ(Call(FnImpulse, "FnImpulse", b), 1);  // no outputs asked for, none made
        EXPECT_EQ(VelawinLiveBlocks(), inputs);
        ExpectRejected(FnImpulse, "FnImpulse", b,
                       {{0, Mat(2, 3)}, {1, Mat(2, 2, {1, 2, 2, 1})}, {3, VelawinInt(0)}, {4, VelawinInt(4)},
                        {5, VelawinInt(2)}, {6, Mat(3, 3)}, {7, Mat(1, 2, {0, 0})}, {7, Mat(1, 2, {0, 1.5})},
                        {7, Mat(1, 3, {0, 1, 2})}, {2, VelawinDouble(1)}});
        b.Add(VelawinRef(&resp));  // accumulated orthogonalised responses at h = 1: impact plus A times it
        EXPECT_EQ(Call(FnImpulse, "FnImpulse", b), 1);
        EXPECT_NEAR(ToVector(resp)[4], 1.0 + 0.5 + 0.1 * 0.5, 1e-15);
        EXPECT_NEAR(ToVector(resp)[7], std::sqrt(0.75) * 1.3, 1e-15);
        VelaFreeByValue(&resp);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(DynamicsExports, ComfacAndRalsForecast) {
    const long live = VelawinLiveBlocks();
    {
        // ADL(1,1) with theta shuffled: the restriction b1 + a1 b0 = 0 has gradient (b0, a1, 1).
        const double a1 = 0.5, b0 = 1.2, b1 = -0.3, g = b1 + a1 * b0;
        const double var = b0 * b0 * 0.02 + 2 * b0 * a1 * 0.005 + a1 * a1 * 0.03 + 0.01;
        ValueSet a;
        VelaValue stat{}, pval{}, f{}, se{};
        Add(a, {Mat(1, 4, {2.0, b1, a1, b0}), Mat(4, 4, {1, 0, 0, 0, 0, 0.01, 0, 0, 0, 0, 0.02, 0.005, 0, 0, 0.005, 0.03}),
                VelawinInt(1), VelawinInt(1), Mat(1, 3, {2, 3, 1}), VelawinInt(1), VelawinRef(&stat), VelawinInt(0),
                VelawinRef(&pval)});
        EXPECT_EQ(Call(FnComfac, "FnComfac", a), 1);
        EXPECT_NEAR(ToVector(stat)[0], g * g / var, 1e-8);
        EXPECT_NEAR(ToVector(pval)[0], std::erfc(std::sqrt(g * g / var / 2)), 1e-9);
        ExpectRejected(FnComfac, "FnComfac", a,
                       {{1, Mat(3, 3)}, {2, VelawinInt(0)}, {3, VelawinInt(0)}, {4, Mat(1, 3, {2, 3, 3})},
                        {4, Mat(1, 3, {2, 3, 4})}, {4, Mat(1, 2, {2, 3})}, {5, VelawinInt(2)}, {6, VelawinInt(1)}});
        VelaFreeByValue(&stat);
        VelaFreeByValue(&pval);

        // y = 1 + 2 x + u, u_t = 0.5 u_(t-1) + e_t, sample errors 0.1, -0.2, 0.4, sigma 2.
        ValueSet r;
        Add(r, {Mat(1, 3, {1, 2, 0.5}), Mat(3, 1, {3.1, 4.8, 7.4}), Mat(5, 2, {1, 1, 1, 2, 1, 3, 1, 4, 1, 5}),
                VelawinInt(1), VelawinInt(1), VelawinDouble(4.0), VelawinRef(&f), VelawinRef(&se)});
        EXPECT_EQ(Call(FnRalsForecast, "FnRalsForecast", r), 2);
        EXPECT_NEAR(ToVector(f)[1], 11.1, 1e-14);
        EXPECT_NEAR(ToVector(se)[1], 2.0 * std::sqrt(1.25), 1e-14);
        ExpectRejected(FnRalsForecast, "FnRalsForecast", r,
                       {{0, Mat(1, 2, {1, 2})}, {1, Mat(3, 2)}, {2, Mat(2, 2)}, {3, VelawinInt(0)}, {4, VelawinInt(4)},
                        {5, VelawinDouble(-1)}, {5, VelawinInt(1)}});
        VelaFreeByValue(&f);
        VelaFreeByValue(&se);
        r[2].ival = 3;  // no forecast periods: 0, nothing filled
        EXPECT_EQ(Call(FnRalsForecast, "FnRalsForecast", r), 0);
        r[2].ival = 5;
        EXPECT_EQ(f.type, VELA_EMPTY);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

}  // namespace
