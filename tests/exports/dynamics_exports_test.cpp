// FnRalsForecast, FnDynForc, FnImpulse and FnComfac end to end through the stand-in runtime: a VAR
// estimated on the shipped quarterly data, the argument checks, optional outputs and failures.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/exports.h"
#include "tests/dynamics/var_reference.h"
#include "tests/support/host_values.h"

namespace {

using tessel::test::IterateSystem;
using tessel::test::ToVector;
using tessel::test::ValueSet;
using tessel::test::Vec;

VelaValue Mat(int rows, int cols, const Vec &x) { return VelawinMatrix(rows, cols, x.empty() ? nullptr : x.data()); }
VelaValue Empty() { return VelawinMatrix(0, 0, nullptr); }

// Calls `fn` named `name`; returns the integer result (-1 when rtn is not an integer).
int Call(VelaExportFn fn, const char *name, ValueSet &a) {
    VelaValue rtn{};
    VelawinBeginCall(name);
    fn(&rtn, a.data(), a.size());
    const int rc = rtn.type == VELA_INT ? rtn.ival : -1;
    VelaFreeByValue(&rtn);
    return rc;
}

bool ErrorAt(int index) {
    return std::string(VelawinLastError()).find("argument " + std::to_string(index) + " ") != std::string::npos;
}

// Gauss-Jordan inverse of a k x k row-major matrix.
Vec Inverse(Vec M, int k) {
    Vec I(k * k, 0.0);
    for (int i = 0; i < k; ++i) I[i * k + i] = 1.0;
    for (int c = 0; c < k; ++c) {
        int p = c;
        for (int i = c + 1; i < k; ++i)
            if (std::fabs(M[i * k + c]) > std::fabs(M[p * k + c])) p = i;
        for (int j = 0; j < k; ++j) std::swap(M[c * k + j], M[p * k + j]), std::swap(I[c * k + j], I[p * k + j]);
        const double d = M[c * k + c];
        for (int j = 0; j < k; ++j) M[c * k + j] /= d, I[c * k + j] /= d;
        for (int i = 0; i < k; ++i)
            if (i != c) {
                const double f = M[i * k + c];
                for (int j = 0; j < k; ++j) M[i * k + j] -= f * M[c * k + j], I[i * k + j] -= f * I[c * k + j];
            }
    }
    return I;
}

// VAR(2) with a constant in the growth rates of output, consumption and investment, estimated by
// least squares on all but the last 8 quarters.
struct MacroVar {
    static constexpr int n = 3, s = 2, m = 1, H = 8, width = n * s + m;
    int T = 0;
    Vec Y, A, B, Omega, V, Z, actual;
    MacroVar() {
        const std::string file = std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv";
        std::vector<Vec> g;
        for (const char *name : {"realgdp", "realcons", "realinv"})
            g.push_back(tessel::test::GrowthRates(tessel::test::ReadCsvColumn(file, name)));
        T = static_cast<int>(g[0].size()) - H;
        for (int t = 0; t < T + H; ++t)
            for (int i = 0; i < n; ++i) (t < T ? Y : actual).push_back(g[i][t]);
        Z.assign(H, 1.0);
        Vec XtX(width * width, 0.0), XtY(width * n, 0.0), x(width);
        auto regressors = [&](int t) {
            for (int i = 1; i <= s; ++i)
                for (int q = 0; q < n; ++q) x[(i - 1) * n + q] = Y[(t - i) * n + q];
            x[n * s] = 1.0;
        };
        for (int t = s; t < T; ++t) {
            regressors(t);
            for (int a = 0; a < width; ++a) {
                for (int b = 0; b < width; ++b) XtX[a * width + b] += x[a] * x[b];
                for (int r = 0; r < n; ++r) XtY[a * n + r] += x[a] * Y[t * n + r];
            }
        }
        const Vec inv = Inverse(XtX, width);
        Vec coef(n * width, 0.0);  // row r: A_1 .. A_s then the constant of equation r
        for (int r = 0; r < n; ++r)
            for (int a = 0; a < width; ++a)
                for (int b = 0; b < width; ++b) coef[r * width + a] += inv[a * width + b] * XtY[b * n + r];
        Omega.assign(n * n, 0.0);
        for (int t = s; t < T; ++t) {
            regressors(t);
            Vec e(n);
            for (int r = 0; r < n; ++r) {
                e[r] = Y[t * n + r];
                for (int a = 0; a < width; ++a) e[r] -= coef[r * width + a] * x[a];
            }
            for (int a = 0; a < n; ++a)
                for (int b = 0; b < n; ++b) Omega[a * n + b] += e[a] * e[b] / (T - s - width);
        }
        for (int r = 0; r < n; ++r) {
            A.insert(A.end(), coef.begin() + r * width, coef.begin() + r * width + n * s);
            B.push_back(coef[r * width + n * s]);
        }
        const int P = n * width;
        V.assign(P * P, 0.0);
        for (int p = 0; p < P; ++p)
            for (int q = 0; q < P; ++q)
                V[p * P + q] = Omega[(p / width) * n + q / width] * inv[(p % width) * width + q % width];
    }
};

// ---- FnDynForc -------------------------------------------------------------------------------

TEST(DynForcExport, MacroVarForecastsAndDiagnostics) {
    MacroVar v;
    const int n = v.n, H = v.H, P = n * v.width;
    ValueSet a;
    a.Add(Mat(v.T, n, v.Y));
    a.Add(Mat(H, 1, v.Z));
    a.Add(Mat(n, n * v.s, v.A));
    a.Add(Mat(n, 1, v.B));
    a.Add(VelawinInt(v.s));
    a.Add(VelawinInt(H));
    a.Add(Mat(n, n, v.Omega));
    a.Add(Mat(P, P, v.V));
    a.Add(Mat(H, n, v.actual));
    a.Add(VelawinInt(1));
    VelaValue out[9] = {};
    for (VelaValue &o : out) a.Add(VelawinRef(&o));
    ASSERT_EQ(Call(FnDynForc, "FnDynForc", a), 1);  // the estimated system is stable
    const Vec f = ToVector(out[0]), se = ToVector(out[1]), sep = ToVector(out[2]), cov = ToVector(out[3]),
              err = ToVector(out[4]), chi2 = ToVector(out[6]), moduli = ToVector(out[8]);
    const Vec direct = IterateSystem(v.A, v.B, n, v.s, v.m, Vec(v.Y.end() - v.s * n, v.Y.end()), v.Z, H);
    ASSERT_EQ(f.size(), direct.size());
    for (size_t k = 0; k < f.size(); ++k) {
        EXPECT_NEAR(f[k], direct[k], 1e-12);
        EXPECT_NEAR(err[k], v.actual[k] - direct[k], 1e-12);
        EXPECT_GT(sep[k], se[k]);  // the coefficients add variance
    }
    for (int i = 0; i < n; ++i) EXPECT_NEAR(se[i], std::sqrt(v.Omega[i * n + i]), 1e-14);
    // With the flag, the reported covariance carries the coefficient part.
    for (int h = 0; h < H; ++h)
        for (int i = 0; i < n; ++i) EXPECT_NEAR(cov[h * n * n + i * n + i], sep[h * n + i] * sep[h * n + i], 1e-10);
    for (double c : chi2) EXPECT_TRUE(c >= 0.0);
    ASSERT_EQ(out[8].ival, 1);
    ASSERT_EQ(out[8].cols, n * v.s);
    EXPECT_LT(moduli[0], 1.0);
    for (size_t k = 1; k < moduli.size(); ++k) EXPECT_LE(moduli[k], moduli[k - 1]);
    for (VelaValue &o : out) VelaFreeByValue(&o);
}

TEST(DynForcExport, ChecksArgumentsAndAllocatesOnlyWhatIsAsked) {
    // y_t = 0.5 y_(t-1) + e_t, no exogenous part, 3 steps, forecasts only.
    const long live = VelawinLiveBlocks();
    {
        ValueSet a;
        a.Add(Mat(2, 1, {1.0, 2.0}));
        a.Add(Empty());
        a.Add(Mat(1, 1, {0.5}));
        a.Add(Empty());
        a.Add(VelawinInt(1));
        a.Add(VelawinInt(3));
        a.Add(Mat(1, 1, {1.0}));
        a.Add(Empty());
        a.Add(Empty());
        a.Add(VelawinInt(0));
        VelaValue f{}, unused{};
        a.Add(VelawinRef(&f));
        a.Add(VelawinInt(0));  // not a reference: not passed
        a.Add(VelawinRef(&unused));
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), 1);
        EXPECT_EQ(ToVector(f), (Vec{1.0, 0.5, 0.25}));
        EXPECT_TRUE(std::isnan(ToVector(unused)[0]));  // no coefficient covariance
        EXPECT_EQ(a[11].type, VELA_INT);
        VelaFreeByValue(&f);
        VelaFreeByValue(&unused);

        // A random walk: forecasts still made, the return says it is not stable.
        a[2].data.mat[0][0] = 1.0;
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), 0);
        VelaFreeByValue(&f);
        VelaFreeByValue(&unused);

        // Shapes that disagree, one at a time; nothing is allocated.
        const long before = VelawinLiveBlocks();
        auto rejects = [&](int index, VelaValue bad) {
            VelaValue keep = a[index];
            a[index] = bad;
            EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), -1);
            EXPECT_TRUE(ErrorAt(index)) << index << ": " << VelawinLastError();
            VelaFreeByValue(&a[index]);
            a[index] = keep;
        };
        rejects(0, Mat(2, 2, {1, 2, 3, 4}));        // Y with the wrong width
        rejects(1, Mat(3, 1, {1, 1, 1}));           // Z without B
        rejects(4, VelawinInt(0));                  // s = 0
        rejects(5, VelawinInt(0));                  // H = 0
        rejects(6, Mat(2, 2, {1, 0, 0, 1}));        // Omega
        rejects(7, Mat(2, 2, {1, 0, 0, 1}));        // V of the wrong size
        rejects(8, Mat(3, 2, {1, 2, 3, 4, 5, 6}));  // actual values of the wrong width
        rejects(0, Empty());                        // no history to start from
        rejects(0, VelawinDouble(1.0));             // a type mismatch
        EXPECT_EQ(VelawinLiveBlocks(), before);
        EXPECT_EQ(f.type, VELA_EMPTY);

        // Too few arguments.
        VelaValue rtn{};
        VelawinBeginCall("FnDynForc");
        FnDynForc(&rtn, a.data(), 9);
        EXPECT_TRUE(ErrorAt(9));

        // Out of memory in the host: nothing is left behind.
        VelawinFailAllocations(0, 1);
        EXPECT_EQ(Call(FnDynForc, "FnDynForc", a), 0);
        VelawinFailAllocations(0, 0);
        EXPECT_EQ(f.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), before);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

// ---- FnImpulse -------------------------------------------------------------------------------

TEST(ImpulseExport, MacroVarResponsesDecompositionAndLongRun) {
    MacroVar v;
    const int n = v.n, H = 60, nn = n * n, P = n * n * v.s;
    // The covariance of vec(A) alone: drop the constants' rows and columns.
    Vec VA;
    for (int p = 0; p < n * v.width; ++p)
        for (int q = 0; q < n * v.width; ++q)
            if (p % v.width < n * v.s && q % v.width < n * v.s) VA.push_back(v.V[p * n * v.width + q]);
    ValueSet a;
    a.Add(Mat(n, n * v.s, v.A));
    a.Add(Mat(n, n, v.Omega));
    a.Add(VelawinInt(v.s));
    a.Add(VelawinInt(H));
    a.Add(VelawinInt(1));
    a.Add(VelawinInt(0));
    a.Add(Mat(P, P, VA));
    a.Add(Mat(1, n, {2, 0, 1}));
    VelaValue out[8] = {};
    for (VelaValue &o : out) a.Add(VelawinRef(&o));
    ASSERT_EQ(Call(FnImpulse, "FnImpulse", a), 1);
    const Vec resp = ToVector(out[0]), se = ToVector(out[1]), acc = ToVector(out[2]), fevd = ToVector(out[4]),
              lr = ToVector(out[5]), chol = ToVector(out[6]);
    // Impact responses are the Cholesky factor for investment first, then output, then consumption.
    for (int k = 0; k < nn; ++k) EXPECT_NEAR(resp[k], chol[k], 1e-15);
    EXPECT_EQ(chol[2 * n + 0], 0.0);
    EXPECT_EQ(chol[0 * n + 1], 0.0);
    EXPECT_NEAR(fevd[2 * n + 2], 1.0, 1e-15);
    for (int h = 0; h < H; ++h)
        for (int i = 0; i < n; ++i) EXPECT_NEAR(fevd[h * nn + i * n] + fevd[h * nn + i * n + 1] + fevd[h * nn + i * n + 2], 1.0, 1e-14);
    // Accumulated orthogonalised responses tend to the long-run multipliers times the factor.
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double x = 0.0;
            for (int k = 0; k < n; ++k) x += lr[i * n + k] * chol[k * n + j];
            EXPECT_NEAR(acc[(H - 1) * nn + i * n + j], x, 1e-8);
        }
    EXPECT_EQ(se[0], 0.0);
    EXPECT_GT(se[nn + 1], 0.0);
    for (VelaValue &o : out) VelaFreeByValue(&o);
}

TEST(ImpulseExport, ChecksArguments) {
    const long live = VelawinLiveBlocks();
    {
        ValueSet a;
        a.Add(Mat(2, 2, {0.5, 0.1, 0.0, 0.3}));
        a.Add(Mat(2, 2, {1.0, 0.5, 0.5, 1.0}));
        a.Add(VelawinInt(1));
        a.Add(VelawinInt(4));
        a.Add(VelawinInt(1));
        a.Add(VelawinInt(1));
        a.Add(Empty());
        a.Add(Empty());
        const long inputs = VelawinLiveBlocks();
        EXPECT_EQ(Call(FnImpulse, "FnImpulse", a), 1);  // no outputs asked for: nothing allocated
        EXPECT_EQ(VelawinLiveBlocks(), inputs);
        VelaValue resp{}, se{};
        a.Add(VelawinRef(&resp));
        a.Add(VelawinRef(&se));
        EXPECT_EQ(Call(FnImpulse, "FnImpulse", a), 1);
        // Accumulated, orthogonalised: at h = 1 the impact plus A times it.
        const Vec r = ToVector(resp);
        const double p00 = 1.0, p10 = 0.5, p11 = std::sqrt(0.75);
        EXPECT_NEAR(r[4 + 0], p00 + 0.5 * p00 + 0.1 * p10, 1e-15);
        EXPECT_NEAR(r[4 + 3], p11 + 0.3 * p11, 1e-15);
        EXPECT_TRUE(std::isnan(ToVector(se)[5]));
        VelaFreeByValue(&resp);
        VelaFreeByValue(&se);

        const long before = VelawinLiveBlocks();
        auto rejects = [&](int index, VelaValue bad) {
            VelaValue keep = a[index];
            a[index] = bad;
            EXPECT_EQ(Call(FnImpulse, "FnImpulse", a), -1);
            EXPECT_TRUE(ErrorAt(index)) << index << ": " << VelawinLastError();
            VelaFreeByValue(&a[index]);
            a[index] = keep;
        };
        rejects(0, Mat(2, 3, {0, 0, 0, 0, 0, 0}));
        rejects(1, Mat(2, 2, {1.0, 2.0, 2.0, 1.0}));  // not positive definite, orthogonalised shocks
        rejects(3, VelawinInt(0));
        rejects(4, VelawinInt(4));
        rejects(5, VelawinInt(2));
        rejects(6, Mat(3, 3, {}));
        rejects(7, Mat(1, 2, {0, 0}));  // not a permutation
        rejects(7, Mat(1, 2, {0, 1.5}));
        rejects(7, Mat(1, 3, {0, 1, 2}));
        rejects(2, VelawinDouble(1.0));
        EXPECT_EQ(VelawinLiveBlocks(), before);
        EXPECT_EQ(resp.type, VELA_EMPTY);

        // Unit shocks do not need a positive definite Omega; a unit root gives 0 and NaN multipliers.
        VelaValue lr{};
        a[1].data.mat[0][1] = a[1].data.mat[1][0] = 2.0;
        a[4] = VelawinInt(0);
        a[0].data.mat[0][0] = 1.0;
        for (int i = 10; i < 13; ++i) a.Add(VelawinInt(0));
        a.Add(VelawinRef(&lr));
        EXPECT_EQ(Call(FnImpulse, "FnImpulse", a), 0);
        EXPECT_TRUE(std::isnan(ToVector(lr)[0]));
        EXPECT_EQ(ToVector(resp)[12], 4.0);  // accumulated unit response of the random walk
        VelaFreeByValue(&lr);
        VelaFreeByValue(&resp);
        VelaFreeByValue(&se);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

// ---- FnComfac --------------------------------------------------------------------------------

TEST(ComfacExport, AdlOneOneAndChecks) {
    const long live = VelawinLiveBlocks();
    {
        const double a1 = 0.5, b0 = 1.2, b1 = -0.3;
        ValueSet a;
        a.Add(Mat(1, 4, {2.0, b1, a1, b0}));  // a constant first, then the coefficients out of order
        a.Add(Mat(4, 4, {1, 0, 0, 0, 0, 0.01, 0, 0, 0, 0, 0.02, 0.005, 0, 0, 0.005, 0.03}));
        a.Add(VelawinInt(1));
        a.Add(VelawinInt(1));
        a.Add(Mat(1, 3, {2, 3, 1}));
        a.Add(VelawinInt(1));
        VelaValue stat{}, df{}, pval{};
        a.Add(VelawinRef(&stat));
        EXPECT_EQ(Call(FnComfac, "FnComfac", a), 1);
        // Var(b1 + a1 b0) by the delta method: gradient (b0, a1, 1) in the order a1, b0, b1.
        const double g = b1 + a1 * b0;
        const double var = b0 * b0 * 0.02 + 2 * b0 * a1 * 0.005 + a1 * a1 * 0.03 + 0.01;
        EXPECT_NEAR(ToVector(stat)[0], g * g / var, 1e-8);
        a.Add(VelawinRef(&df));
        a.Add(VelawinRef(&pval));
        EXPECT_EQ(Call(FnComfac, "FnComfac", a), 1);
        EXPECT_EQ(ToVector(df)[0], 1.0);
        EXPECT_NEAR(ToVector(pval)[0], std::erfc(std::sqrt(g * g / var / 2)), 1e-9);

        const long before = VelawinLiveBlocks();
        auto rejects = [&](int index, VelaValue bad) {
            VelaValue keep = a[index];
            a[index] = bad;
            EXPECT_EQ(Call(FnComfac, "FnComfac", a), -1);
            EXPECT_TRUE(ErrorAt(index)) << index << ": " << VelawinLastError();
            VelaFreeByValue(&a[index]);
            a[index] = keep;
        };
        rejects(1, Mat(3, 3, {}));
        rejects(2, VelawinInt(0));
        rejects(3, VelawinInt(0));
        rejects(4, Mat(1, 3, {2, 3, 3}));  // repeated
        rejects(4, Mat(1, 3, {2, 3, 4}));  // outside theta
        rejects(4, Mat(1, 2, {2, 3}));
        rejects(5, VelawinInt(2));         // more factors than the lag length
        rejects(6, VelawinInt(1));
        EXPECT_EQ(VelawinLiveBlocks(), before);
        VelaFreeByValue(&stat);
        VelaFreeByValue(&df);
        VelaFreeByValue(&pval);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

// ---- FnRalsForecast --------------------------------------------------------------------------

TEST(RalsForecastExport, ForecastsAndChecks) {
    const long live = VelawinLiveBlocks();
    {
        // y = 1 + 2 x + u, u_t = 0.5 u_(t-1) + e_t; sample residuals 0.1, -0.2, 0.4.
        const Vec x = {1, 2, 3, 4, 5};
        Vec y, X;
        const Vec u = {0.1, -0.2, 0.4};
        for (int t = 0; t < 3; ++t) y.push_back(1 + 2 * x[t] + u[t]);
        for (double v : x) X.push_back(1.0), X.push_back(v);
        ValueSet a;
        a.Add(Mat(1, 3, {1.0, 2.0, 0.5}));
        a.Add(Mat(3, 1, y));
        a.Add(Mat(5, 2, X));
        a.Add(VelawinInt(1));
        a.Add(VelawinInt(1));
        a.Add(VelawinDouble(4.0));
        VelaValue f{}, se{}, uf{};
        a.Add(VelawinRef(&f));
        EXPECT_EQ(Call(FnRalsForecast, "FnRalsForecast", a), 2);
        Vec fv = ToVector(f);
        EXPECT_NEAR(fv[0], 1 + 2 * 4 + 0.2, 1e-14);
        EXPECT_NEAR(fv[1], 1 + 2 * 5 + 0.1, 1e-14);
        a.Add(VelawinRef(&se));
        a.Add(VelawinRef(&uf));
        EXPECT_EQ(Call(FnRalsForecast, "FnRalsForecast", a), 2);
        EXPECT_NEAR(ToVector(se)[1], 2.0 * std::sqrt(1.25), 1e-14);
        EXPECT_NEAR(ToVector(uf)[1], 0.1, 1e-15);

        const long before = VelawinLiveBlocks();
        auto rejects = [&](int index, VelaValue bad) {
            VelaValue keep = a[index];
            a[index] = bad;
            EXPECT_EQ(Call(FnRalsForecast, "FnRalsForecast", a), -1);
            EXPECT_TRUE(ErrorAt(index)) << index << ": " << VelawinLastError();
            VelaFreeByValue(&a[index]);
            a[index] = keep;
        };
        rejects(0, Mat(1, 2, {1, 2}));           // no room for alpha
        rejects(1, Mat(3, 2, {}));
        rejects(2, Mat(2, 2, {1, 1, 1, 1}));     // fewer rows than the sample
        rejects(3, VelawinInt(0));
        rejects(4, VelawinInt(4));                // r2 beyond the sample
        rejects(5, VelawinDouble(-1.0));
        rejects(5, VelawinInt(1));                // a type mismatch
        EXPECT_EQ(VelawinLiveBlocks(), before);

        // No forecast periods: 0 and nothing filled.
        VelaFreeByValue(&f);
        VelaValue keep = a[2];
        a[2] = Mat(3, 2, Vec(X.begin(), X.begin() + 6));
        EXPECT_EQ(Call(FnRalsForecast, "FnRalsForecast", a), 0);
        EXPECT_EQ(f.type, VELA_EMPTY);
        VelaFreeByValue(&a[2]);
        a[2] = keep;
        VelaFreeByValue(&se);
        VelaFreeByValue(&uf);
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

}  // namespace
