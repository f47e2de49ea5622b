// Markov-switching filter and smoother through their exports, per observation.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "host/exports.h"
#include "switching/ms_filter.h"
#include "velawin/velawin.h"

namespace {

constexpr int kT = 1000000;

struct MsInputs {
    VelaValue eta, P, prior, filt;
    explicit MsInputs(int p) {
        std::mt19937 gen(5);
        std::uniform_real_distribution<double> u(0.05, 1.0);
        std::vector<double> e(size_t(kT) * p), tp(size_t(p) * p), pr(p, 1.0 / p);
        for (double &x : e) x = u(gen);
        for (int j = 0; j < p; ++j) {
            double s = 0.0;
            for (int i = 0; i < p; ++i) s += (tp[size_t(i) * p + j] = u(gen) + (i == j ? p : 0.0));
            for (int i = 0; i < p; ++i) tp[size_t(i) * p + j] /= s;
        }
        eta = VelawinMatrix(kT, p, e.data());
        P = VelawinMatrix(p, p, tp.data());
        prior = VelawinMatrix(1, p, pr.data());
        VelaValue lik{}, rtn{};
        filt = VelaValue{};
        VelaValue args[] = {eta, P, prior, VelawinRef(&lik), VelawinRef(&filt)};
        FnFilterMS(&rtn, args, 5);
        VelaFreeByValue(&lik);
    }
    ~MsInputs() {
        for (VelaValue *v : {&eta, &P, &prior, &filt}) VelaFreeByValue(v);
    }
};

void PerObservation(benchmark::State &state) {
    state.counters["per_obs"] =
        benchmark::Counter(double(kT), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_FnFilterMS(benchmark::State &state) {
    MsInputs in(int(state.range(0)));
    VelaValue lik{}, filt{}, rtn{};
    VelaValue args[] = {in.eta, in.P, in.prior, VelawinRef(&lik), VelawinRef(&filt)};
    for (auto _ : state) {
        FnFilterMS(&rtn, args, 5);
        benchmark::DoNotOptimize(lik.data.mat);
    }
    PerObservation(state);
    VelaFreeByValue(&lik);
    VelaFreeByValue(&filt);
}

void BM_FnSmoothMS(benchmark::State &state) {
    MsInputs in(int(state.range(0)));
    VelaValue smooth{}, S{}, rtn{};
    VelaValue args[] = {in.filt, in.P, VelawinRef(&smooth), VelawinRef(&S)};
    for (auto _ : state) {
        FnSmoothMS(&rtn, args, 4);
        benchmark::DoNotOptimize(smooth.data.mat);
    }
    PerObservation(state);
    VelaFreeByValue(&smooth);
    VelaFreeByValue(&S);
}

// The recursions alone on the same data, without the host's allocation of the outputs.
void BM_MsRecursions(benchmark::State &state) {
    const int p = int(state.range(0));
    const bool smoother = state.range(1) != 0;
    MsInputs in(p);
    std::vector<double> out(size_t(kT) * p), S(size_t(p) * p);
    std::vector<double *> rows(kT), srows(p);
    for (int t = 0; t < kT; ++t) rows[t] = out.data() + size_t(t) * (smoother ? p : 1);
    for (int i = 0; i < p; ++i) srows[i] = S.data() + size_t(i) * p;
    for (auto _ : state) {
        if (smoother)
            tessel::MsSmooth(in.filt.data.mat, in.P.data.mat, kT, p, rows.data(), srows.data());
        else
            tessel::MsFilter(in.eta.data.mat, in.P.data.mat, in.prior.data.mat[0], kT, p, rows.data(), nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    PerObservation(state);
}

}  // namespace

BENCHMARK(BM_MsRecursions)
    ->ArgNames({"p", "smoother"})
    ->ArgsProduct({{2, 3, 4, 8}, {0, 1}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FnFilterMS)->Arg(2)->Arg(3)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FnSmoothMS)->Arg(2)->Arg(3)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);
