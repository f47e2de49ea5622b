// FnDynForc and FnImpulse for a VAR(4) in 6 variables over 40 horizons, with standard errors from
// a full coefficient covariance.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

constexpr int n = 6, s = 4, H = 40, T = 200;

// A stable VAR(4): small coefficients that decay with the lag.
std::vector<double> Coefficients() {
    std::vector<double> A(n * n * s);
    unsigned u = 2024;
    for (int r = 0; r < n; ++r)
        for (int i = 0; i < s; ++i)
            for (int q = 0; q < n; ++q) {
                u = u * 1664525u + 1013904223u;
                const double x = (static_cast<double>(u >> 8) / 16777216.0 - 0.5) * 0.3 / (i + 1);
                A[r * n * s + i * n + q] = x + (r == q && i == 0 ? 0.4 : 0.0);
            }
    return A;
}

// Identity plus a little correlation: positive definite.
std::vector<double> Covariance(int p, double scale) {
    std::vector<double> V(static_cast<size_t>(p) * p);
    for (int a = 0; a < p; ++a)
        for (int b = 0; b < p; ++b) V[a * p + b] = scale * ((a == b ? 1.0 : 0.0) + 0.2 / (1.0 + std::abs(a - b)));
    return V;
}

void BM_DynForcVar4(benchmark::State &state) {
    const std::vector<double> A = Coefficients(), Omega = Covariance(n, 1.0), V = Covariance(n * n * s, 0.001);
    std::vector<double> Y(T * n);
    for (int k = 0; k < T * n; ++k) Y[k] = std::sin(0.1 * k);
    const int P = n * n * s;
    VelaValue out[9] = {};
    VelaValue a[19] = {VelawinMatrix(T, n, Y.data()), VelawinMatrix(0, 0, nullptr), VelawinMatrix(n, n * s, A.data()),
                       VelawinMatrix(0, 0, nullptr), VelawinInt(s), VelawinInt(H),
                       VelawinMatrix(n, n, Omega.data()), VelawinMatrix(P, P, V.data()), VelawinMatrix(0, 0, nullptr),
                       VelawinInt(1)};
    for (int i = 0; i < 9; ++i) a[10 + i] = VelawinRef(&out[i]);
    for (auto _ : state) {
        VelaValue rtn{};
        FnDynForc(&rtn, a, 19);
        benchmark::DoNotOptimize(out[2].data.mat);
    }
    for (VelaValue &o : out) VelaFreeByValue(&o);
    for (int i = 0; i < 9; ++i) VelaFreeByValue(&a[i]);
}
BENCHMARK(BM_DynForcVar4)->Unit(benchmark::kMillisecond);

void BM_ImpulseVar4(benchmark::State &state) {
    const std::vector<double> A = Coefficients(), Omega = Covariance(n, 1.0), V = Covariance(n * n * s, 0.001);
    const int P = n * n * s;
    VelaValue out[8] = {};
    VelaValue a[16] = {VelawinMatrix(n, n * s, A.data()), VelawinMatrix(n, n, Omega.data()), VelawinInt(s),
                       VelawinInt(H), VelawinInt(1), VelawinInt(0), VelawinMatrix(P, P, V.data()),
                       VelawinMatrix(0, 0, nullptr)};
    for (int i = 0; i < 8; ++i) a[8 + i] = VelawinRef(&out[i]);
    for (auto _ : state) {
        VelaValue rtn{};
        FnImpulse(&rtn, a, 16);
        benchmark::DoNotOptimize(out[1].data.mat);
    }
    for (VelaValue &o : out) VelaFreeByValue(&o);
    for (int i = 0; i < 8; ++i) VelaFreeByValue(&a[i]);
}
BENCHMARK(BM_ImpulseVar4)->Unit(benchmark::kMillisecond);

}  // namespace
