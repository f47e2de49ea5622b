// Encompassing tests at T = 10,000 with ten regressors and fifteen instruments in each model
// (four endogenous regressors, six exogenous ones with a shared constant, nine further instruments).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "encompassing/encompassing.h"
#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

constexpr int kT = 10000, kEndogenous = 4, kExogenous = 6, kExtra = 9;
constexpr int kRows = 1 + kEndogenous + kExogenous + kExtra;

// Row-major blocks of the two models over the same y.
struct Data {
    std::vector<double> a, b;
    Data() : a(size_t{kRows} * kT), b(size_t{kRows} * kT) {
        std::mt19937_64 gen(2024);
        std::normal_distribution<double> n01;
        auto fill = [&](std::vector<double> &m) {
            for (int r = 1 + kEndogenous; r < kRows; ++r)
                for (int t = 0; t < kT; ++t) m[static_cast<size_t>(r) * kT + t] = r == 1 + kEndogenous ? 1.0 : n01(gen);
        };
        fill(a);
        fill(b);
        std::vector<double> y(kT, 0.0);
        for (std::vector<double> *m : {&a, &b})
            for (int r = 1; r <= kEndogenous; ++r)
                for (int t = 0; t < kT; ++t) {
                    double v = n01(gen);
                    double x = v;
                    for (int w = 1 + kEndogenous; w < kRows; ++w) x += 0.2 * (*m)[static_cast<size_t>(w) * kT + t];
                    (*m)[static_cast<size_t>(r) * kT + t] = x;
                    y[t] += 0.3 * x + 0.2 * v;
                }
        for (int t = 0; t < kT; ++t) y[t] += n01(gen);
        std::copy(y.begin(), y.end(), a.begin());
        std::copy(y.begin(), y.end(), b.begin());
    }
};

const Data &SharedData() {
    static const Data data;
    return data;
}

void BM_EncompassingTests(benchmark::State &state) {
    const Data &d = SharedData();
    std::vector<const double *> pa(kRows), pb(kRows);
    for (int r = 0; r < kRows; ++r) {
        pa[r] = d.a.data() + static_cast<size_t>(r) * kT;
        pb[r] = d.b.data() + static_cast<size_t>(r) * kT;
    }
    std::vector<int> index(2 * (kExogenous + kExtra));
    double stats[tessel::kEncompassingStats];
    for (auto _ : state) {
        int m = 0, k = 0;
        int code = tessel::EncompassingTests(pa.data(), 1 + kEndogenous, kExogenous, kExtra, pb.data(), 1 + kEndogenous,
                                             kExogenous, kExtra, kT, index.data(), &m, &k, stats);
        if (code != 0) state.SkipWithError("encompassing tests failed");
        benchmark::DoNotOptimize(stats);
    }
}
BENCHMARK(BM_EncompassingTests)->Unit(benchmark::kMillisecond);

void BM_FnEncompassing(benchmark::State &state) {
    const Data &d = SharedData();
    VelaValue stats{}, index{}, k{}, rtn{};
    VelaValue args[11] = {VelawinMatrix(kRows, kT, d.a.data()),
                          VelawinInt(1 + kEndogenous),
                          VelawinInt(kExogenous),
                          VelawinInt(kExtra),
                          VelawinMatrix(kRows, kT, d.b.data()),
                          VelawinInt(1 + kEndogenous),
                          VelawinInt(kExogenous),
                          VelawinInt(kExtra),
                          VelawinRef(&stats),
                          VelawinRef(&index),
                          VelawinRef(&k)};
    for (auto _ : state) {
        FnEncompassing(&rtn, args, 11);
        if (rtn.ival != 0) state.SkipWithError("FnEncompassing failed");
    }
    for (VelaValue *v : {&args[0], &args[4], &stats, &index, &k, &rtn}) VelaFreeByValue(v);
}
BENCHMARK(BM_FnEncompassing)->Unit(benchmark::kMillisecond);

}  // namespace
