// Whole-series Algebra functions at realistic lengths: correlograms, periodogram and smoothers.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "algebra/correlogram.h"
#include "algebra/smoothing.h"
#include "algebra/sorting.h"

namespace {

std::vector<double> Series(int n) {
    std::vector<double> x(n);
    double a = 0.0;
    for (int t = 0; t < n; ++t) {
        a = 0.7 * a + std::sin(1.3 * t * t + 0.1 * t);  // deterministic, noise-like
        x[t] = a;
    }
    return x;
}

void BM_Acf(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<double> r(n);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::AlgebraAcf(x.data(), n, r.data()));
}
BENCHMARK(BM_Acf)->Arg(1000)->Arg(100000);

void BM_Pacf(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<double> p(n);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::AlgebraPacf(x.data(), n, p.data()));
}
BENCHMARK(BM_Pacf)->Arg(1000)->Arg(100000);

void BM_Periodogram(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<double> I(n), w(n);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::AlgebraPeriodogram(x.data(), n, I.data(), w.data()));
}
BENCHMARK(BM_Periodogram)->Arg(1000)->Arg(100003);

void BM_KernelSmooth(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<double> out(n);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::AlgebraKernelSmooth(x.data(), n, 5.0, out.data()));
}
BENCHMARK(BM_KernelSmooth)->Arg(1000)->Arg(100000);

// The default bandwidth grows like n^0.8, so long series go through the FFT convolution.
void BM_KernelSmoothDefaultBandwidth(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<double> out(n);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::AlgebraKernelSmooth(x.data(), n, 0.0, out.data()));
}
BENCHMARK(BM_KernelSmoothDefaultBandwidth)->Arg(1000)->Arg(100000);

void BM_SplineSmooth(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<double> out(n);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::AlgebraSplineSmooth(x.data(), n, 1600.0, out.data()));
}
BENCHMARK(BM_SplineSmooth)->Arg(1000)->Arg(100000);

void BM_SortOrder(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    const std::vector<double> x = Series(n);
    std::vector<int> order;
    for (auto _ : state) {
        tessel::AlgebraSortOrder(x.data(), n, order);
        benchmark::DoNotOptimize(order.data());
    }
}
BENCHMARK(BM_SortOrder)->Arg(100000);

}  // namespace
