// GARCH(1,1) and EGARCH(1,1) recursions through their exports at realistic sample sizes.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "switching/garch.h"
#include "velawin/velawin.h"

namespace {

std::vector<double> SimulatedReturns(int T) {
    std::vector<double> y(T);
    unsigned s = 12345;
    for (int t = 0; t < T; ++t) {
        s = s * 1664525u + 1013904223u;
        y[t] = (static_cast<double>(s >> 8) / 16777216.0 - 0.5) * 2.0;
    }
    return y;
}

void BM_GarchVar11(benchmark::State &state) {
    const int T = static_cast<int>(state.range(0));
    std::vector<double> y = SimulatedReturns(T), c(T, 0.05);
    const double theta[3] = {0.0, 0.93, 0.85};
    VelaValue h{}, u{};
    VelaValue a[11] = {VelawinMatrix(T, 1, y.data()), VelawinMatrix(T, 1, c.data()), VelawinMatrix(3, 1, theta),
                       VelawinInt(1), VelawinInt(1), VelawinInt(0), VelawinDouble(0), VelawinDouble(0),
                       VelawinDouble(0), VelawinRef(&h), VelawinRef(&u)};
    for (auto _ : state) {
        VelaValue rtn{};
        FnGarchVar(&rtn, a, 11);
        benchmark::DoNotOptimize(h.data.mat);
    }
    state.counters["ns_per_obs"] = benchmark::Counter(static_cast<double>(T) * state.iterations(),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    for (VelaValue *v : {&h, &u, &a[0], &a[1], &a[2]}) VelaFreeByValue(v);
}
BENCHMARK(BM_GarchVar11)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_EgarchVar11(benchmark::State &state) {
    const int T = static_cast<int>(state.range(0));
    std::vector<double> y = SimulatedReturns(T), c(T, -0.02);
    const double a1 = 0.2, b1 = 0.95;
    VelaValue l{}, u{};
    VelaValue a[11] = {VelawinMatrix(T, 1, y.data()), VelawinMatrix(T, 1, c.data()), VelawinDouble(-0.1),
                       VelawinDouble(0.25), VelawinDouble(std::sqrt(2.0 / M_PI)), VelawinMatrix(1, 1, &a1),
                       VelawinMatrix(1, 1, &b1), VelawinInt(0), VelawinDouble(0), VelawinRef(&l), VelawinRef(&u)};
    for (auto _ : state) {
        VelaValue rtn{};
        FnEgarchVar(&rtn, a, 11);
        benchmark::DoNotOptimize(l.data.mat);
    }
    state.counters["ns_per_obs"] = benchmark::Counter(static_cast<double>(T) * state.iterations(),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    for (VelaValue *v : {&l, &u, &a[0], &a[1], &a[5], &a[6]}) VelaFreeByValue(v);
}
BENCHMARK(BM_EgarchVar11)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The recursions alone, without the host's allocation and zero-filling of the two results.
void BM_GarchRecursion11(benchmark::State &state) {
    const int T = static_cast<int>(state.range(0));
    std::vector<double> y = SimulatedReturns(T), c(T, 0.05), h(T), u(T);
    const double theta[3] = {0.0, 0.93, 0.85};
    for (auto _ : state) {
        tessel::GarchVarRecursion(y.data(), c.data(), theta, T, 1, 1, 0, 0.0, 0.0, 0.0, h.data(), u.data());
        benchmark::DoNotOptimize(h.data());
    }
    state.counters["ns_per_obs"] = benchmark::Counter(static_cast<double>(T) * state.iterations(),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_GarchRecursion11)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_EgarchRecursion11(benchmark::State &state) {
    const int T = static_cast<int>(state.range(0));
    std::vector<double> y = SimulatedReturns(T), c(T, -0.02), l(T), u(T);
    const double a1 = 0.2, b1 = 0.95;
    for (auto _ : state) {
        tessel::EgarchVarRecursion(y.data(), c.data(), T, -0.1, 0.25, 0.8, &a1, 1, &b1, 1, 0, 0.0, l.data(), u.data());
        benchmark::DoNotOptimize(l.data());
    }
    state.counters["ns_per_obs"] = benchmark::Counter(static_cast<double>(T) * state.iterations(),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_EgarchRecursion11)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
