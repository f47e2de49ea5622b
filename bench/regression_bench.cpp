// Recursive least squares, HAC covariance and jackknife covariance at realistic sample sizes,
// through the exports.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

VelaValue RandomMatrix(int rows, int cols, unsigned seed) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> z;
    std::vector<double> data(static_cast<size_t>(rows) * cols);
    for (double &x : data) x = z(gen);
    return VelawinMatrix(rows, cols, data.data());
}

// Per recursive step: all seven outputs requested.
void BM_RlsEst(benchmark::State &state) {
    const int T = 100000, k = 10, n = static_cast<int>(state.range(0));
    VelaValue y = RandomMatrix(T, n, 1), X = RandomMatrix(T, k, 2);
    VelaValue targets[7] = {};
    for (auto _ : state) {
        VelaValue rtn{};
        std::vector<VelaValue> a = {y, X, VelawinInt(0), VelawinInt(T - 1), VelawinInt(-1)};
        for (VelaValue &t : targets) a.push_back(VelawinRef(&t));
        FnRlsEst(&rtn, a.data(), static_cast<int>(a.size()));
        benchmark::DoNotOptimize(targets[0].data.mat);
    }
    state.SetItemsProcessed(state.iterations() * (T - k));
    state.counters["ns_per_step"] =
        benchmark::Counter(static_cast<double>(T - k), benchmark::Counter::kIsIterationInvariantRate |
                                                           benchmark::Counter::kInvert);
    for (VelaValue &t : targets) VelaFreeByValue(&t);
    VelaFreeByValue(&y);
    VelaFreeByValue(&X);
}
BENCHMARK(BM_RlsEst)->Arg(1)->Arg(5)->Unit(benchmark::kMillisecond);

void BM_GlsCovarianceHac(benchmark::State &state) {
    const int T = 100000, k = 10;
    VelaValue X = RandomMatrix(T, k, 3), E = RandomMatrix(T, 1, 4);
    VelaValue rtn{};
    for (auto _ : state) {
        std::vector<VelaValue> a = {X, E, VelawinInt(1)};
        FnGLScovariance(&rtn, a.data(), 3);
        benchmark::DoNotOptimize(rtn.data.mat);
    }
    VelaFreeByValue(&rtn);
    VelaFreeByValue(&X);
    VelaFreeByValue(&E);
}
BENCHMARK(BM_GlsCovarianceHac)->Unit(benchmark::kMillisecond);

void BM_JackknifeHcse(benchmark::State &state) {
    const int T = 100000, k = 20;
    VelaValue X = RandomMatrix(T, k, 5), e = RandomMatrix(T, 1, 6);
    // A small inverse moment matrix keeps every leverage well below one.
    std::vector<double> q(k * k, 0.0);
    for (int i = 0; i < k; ++i) q[i * k + i] = 1.0 / T;
    VelaValue Q = VelawinMatrix(k, k, q.data());
    VelaValue rtn{};
    for (auto _ : state) {
        std::vector<VelaValue> a = {X, e, Q};
        FnJackknifeHCSE(&rtn, a.data(), 3);
        benchmark::DoNotOptimize(rtn.data.mat);
    }
    VelaFreeByValue(&rtn);
    for (VelaValue *v : {&X, &e, &Q}) VelaFreeByValue(v);
}
BENCHMARK(BM_JackknifeHcse)->Unit(benchmark::kMillisecond);

}  // namespace
