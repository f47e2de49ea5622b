// Throughput of the Algebra scanner and of the Hodrick-Prescott filter.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "algebra/scanner.h"
#include "algebra/series.h"

namespace {

// A 900-line transformation program with a mix of names, numbers, strings, operators and comments.
std::string Program900() {
    std::string text;
    for (int line = 1; line <= 900; ++line) {
        std::string v(1, 'y');
        v += std::to_string(line);
        switch (line % 4) {
            case 0:
                text.append(v).append(" = log(CONS) - 0.5 * log(INC[-1]) + 1.25e-3 * trend(); // growth\n");
                break;
            case 1:
                text.append("\"").append(v).append(" level\" = x > 0 && z != MISSING ? exp(x / 2.0) : -x ^ 2;\n");
                break;
            case 2:
                text.append(v).append(" = &1 + &2 * movingavg(INC, 2, 2) /* smoothed */ + &3 * lag(CONS, 4);\n");
                break;
            default:
                text.append(v).append("[2] = (a <= b || c >= d) + 2020-01-15 + PI * FREQUENCY - NOBS;\n");
        }
    }
    return text;
}

void BM_AlgebraScan900Lines(benchmark::State &state) {
    const std::string text = Program900();
    for (auto _ : state) {
        tessel::AlgebraTokens t{};
        if (!tessel::AlgebraScan(&t, text.c_str(), nullptr, nullptr, 0)) state.SkipWithError("scan failed");
        benchmark::DoNotOptimize(t.data);
        tessel::AlgebraTokensFree(&t);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_AlgebraScan900Lines)->Unit(benchmark::kMicrosecond);

void BM_HpFilter(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    std::mt19937 rng(1);
    std::normal_distribution<double> nd;
    std::vector<double> y(n), tau(n);
    double level = 0;
    for (auto &v : y) v = (level += nd(rng)) + nd(rng);
    for (auto _ : state) {
        if (!tessel::HpFilter(y.data(), n, 1600.0, tau.data(), true)) state.SkipWithError("filter failed");
        benchmark::DoNotOptimize(tau.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
    state.counters["ns_per_obs"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * n, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_HpFilter)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
