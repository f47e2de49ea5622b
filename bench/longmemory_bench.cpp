// Exact ARFIMA(2, d, 2) autocovariances through FnFracSigma.
#include <benchmark/benchmark.h>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

void BM_FnFracSigma(benchmark::State &state) {
    // Complex autoregressive roots of modulus 0.8 and a long-memory d.
    const double theta[] = {0.3, 0.9, -0.64, 0.4, 0.2};
    VelaValue th = VelawinMatrix(1, 5, theta), out{}, rtn{};
    VelaValue args[] = {th, VelawinInt(2), VelawinInt(2), VelawinDouble(1.0), VelawinInt(int(state.range(0))),
                        VelawinRef(&out)};
    for (auto _ : state) {
        FnFracSigma(&rtn, args, 6);
        benchmark::DoNotOptimize(out.data.mat);
    }
    if (rtn.ival != 0) state.SkipWithError("FnFracSigma failed");
    VelaFreeByValue(&th);
    VelaFreeByValue(&out);
}

}  // namespace

BENCHMARK(BM_FnFracSigma)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
