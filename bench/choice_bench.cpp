// Logit and count-model likelihood exports at realistic sizes; the counter ns/obs is the time per
// observation of one full evaluation.
#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

benchmark::Counter PerObservation(int N) {
    return benchmark::Counter(N, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_LogitGradientInformation(benchmark::State &state) {
    const int N = 100000, J = 4, kx = 5, n = (J - 1) * kx;
    std::mt19937 rng(1);
    std::normal_distribution<double> nd;
    std::vector<double> theta(n), y(N), X(static_cast<size_t>(N) * kx);
    for (double &t : theta) t = 0.3 * nd(rng);
    for (int i = 0; i < N; ++i) {
        y[i] = i % J;
        X[static_cast<size_t>(i) * kx] = 1.0;
        for (int c = 1; c < kx; ++c) X[static_cast<size_t>(i) * kx + c] = nd(rng);
    }
    VelaValue grad{}, info{};
    VelaValue args[9] = {VelawinMatrix(n, 1, theta.data()), VelawinMatrix(N, 1, y.data()), VelawinInt(J),
                         VelawinMatrix(N, kx, X.data()), VelawinMatrix(0, 0, nullptr), VelawinMatrix(0, 0, nullptr),
                         VelawinMatrix(0, 0, nullptr), VelawinRef(&grad), VelawinRef(&info)};
    VelaValue rtn{};
    for (auto _ : state) {
        FnLogitJD(&rtn, args, 9);
        benchmark::DoNotOptimize(rtn.data.dval);
    }
    state.counters["ns/obs"] = PerObservation(N);
    for (VelaValue &a : args) VelaFreeByValue(&a);
    VelaFreeByValue(&grad);
    VelaFreeByValue(&info);
    VelaFreeByValue(&rtn);
}
BENCHMARK(BM_LogitGradientInformation)->Unit(benchmark::kMillisecond);

// randhie.csv (20,190 rows) replicated to 1,000,000 rows: counts and a constant plus nine regressors.
struct RandHie {
    int N = 0, k = 10;
    std::vector<double> y, X;
};

const RandHie &RandHieMillion() {
    static RandHie data = [] {
        RandHie d;
        std::ifstream in(std::string(TESSEL_EXAMPLES_DIR) + "/randhie.csv");
        std::string line;
        std::getline(in, line);
        std::vector<std::vector<double>> rows;
        while (std::getline(in, line)) {
            std::stringstream ss(line);
            std::string cell;
            std::vector<double> r;
            while (std::getline(ss, cell, ',')) r.push_back(std::stod(cell));
            if (r.size() == 10) rows.push_back(r);
        }
        if (rows.empty()) return d;
        d.N = 1000000;
        d.y.resize(d.N);
        d.X.resize(static_cast<size_t>(d.N) * d.k);
        for (int i = 0; i < d.N; ++i) {
            const std::vector<double> &r = rows[i % rows.size()];
            d.y[i] = r[0];
            d.X[static_cast<size_t>(i) * d.k] = 1.0;
            for (int c = 1; c < 10; ++c) d.X[static_cast<size_t>(i) * d.k + c] = r[c];
        }
        return d;
    }();
    return data;
}

void BM_CountAllOutputs(benchmark::State &state) {
    const int model = static_cast<int>(state.range(0));
    const RandHie &d = RandHieMillion();
    if (d.N == 0) {
        state.SkipWithError("randhie.csv not found");
        return;
    }
    std::vector<double> theta = {0.7, -0.05, -0.1, 0.05, -0.02, 0.2, 0.02, -0.03, 0.1, 0.2, -0.4};
    const int n = model == 1 ? 11 : 10;
    VelaValue out[5] = {};
    VelaValue args[12] = {VelawinMatrix(n, 1, theta.data()), VelawinMatrix(d.N, 1, d.y.data()),
                          VelawinMatrix(d.N, d.k, d.X.data()), VelawinInt(model), VelawinInt(0), VelawinInt(10),
                          VelawinDouble(0.0), VelawinRef(&out[0]), VelawinRef(&out[1]), VelawinRef(&out[2]),
                          VelawinRef(&out[3]), VelawinRef(&out[4])};
    VelaValue rtn{};
    for (auto _ : state) {
        FnCountJD(&rtn, args, 12);
        benchmark::DoNotOptimize(rtn.data.dval);
    }
    state.counters["ns/obs"] = PerObservation(d.N);
    for (VelaValue &a : args) VelaFreeByValue(&a);
    for (VelaValue &o : out) VelaFreeByValue(&o);
    VelaFreeByValue(&rtn);
}
BENCHMARK(BM_CountAllOutputs)->Arg(0)->Arg(1)->ArgName("negbin")->Unit(benchmark::kMillisecond);

}  // namespace
