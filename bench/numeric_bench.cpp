// Kernels at n = 8, 32, 128, 512 (GFLOP/s from the textbook operation counts) and the cost of
// one uniform and one normal draw.
#include <benchmark/benchmark.h>

#include <random>

#include "numeric/kernels.h"
#include "numeric/random.h"

namespace {

using tessel::MATRIX;

MATRIX RandomMatrix(int r, int c, unsigned seed) {
    MATRIX m = tessel::MatAlloc(r, c);
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) m[i][j] = nd(rng);
    return m;
}

MATRIX RandomSpd(int n) {
    MATRIX g = RandomMatrix(n, n, 3);
    MATRIX a = tessel::MatAlloc(n, n);
    tessel::MatMulABt(g, n, n, g, n, a);
    for (int i = 0; i < n; ++i) a[i][i] += n;
    tessel::MatFree(g);
    return a;
}

void SetFlops(benchmark::State &state, double flops_per_iteration) {
    state.counters["GFLOP/s"] = benchmark::Counter(flops_per_iteration * 1e-9 * state.iterations(),
                                                   benchmark::Counter::kIsRate);
}

void BM_MatMul(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    MATRIX a = RandomMatrix(n, n, 1), b = RandomMatrix(n, n, 2), out = tessel::MatAlloc(n, n);
    for (auto _ : state) {
        tessel::MatMul(a, n, n, b, n, out);
        benchmark::DoNotOptimize(out[0][0]);
    }
    SetFlops(state, 2.0 * n * n * n);
    tessel::MatFree(a);
    tessel::MatFree(b);
    tessel::MatFree(out);
}

// Factorisations work in place: each iteration restores the input first (copy time included,
// it is O(n^2) against O(n^3)).
template <int (*Factor)(MATRIX, int)>
void RunInPlace(benchmark::State &state, MATRIX src, int n, double flops) {
    MATRIX work = tessel::MatAlloc(n, n);
    for (auto _ : state) {
        tessel::MatCopy(work, src, n, n);
        benchmark::DoNotOptimize(Factor(work, n));
    }
    SetFlops(state, flops);
    tessel::MatFree(work);
}

int InvSymNoDet(MATRIX a, int n) { return tessel::MatInvSymLdl(a, n, nullptr); }
int InvLu(MATRIX a, int n) { return tessel::MatInvLu(a, n, nullptr, nullptr); }

void BM_MatCholeskyBlocked(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    MATRIX a = RandomSpd(n);
    RunInPlace<tessel::MatCholeskyBlocked>(state, a, n, n * double(n) * n / 3.0);
    tessel::MatFree(a);
}

void BM_MatInvSymLdl(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    MATRIX a = RandomSpd(n);
    RunInPlace<InvSymNoDet>(state, a, n, n * double(n) * n);
    tessel::MatFree(a);
}

void BM_MatInvLu(benchmark::State &state) {
    const int n = static_cast<int>(state.range(0));
    MATRIX a = RandomMatrix(n, n, 4);
    for (int i = 0; i < n; ++i) a[i][i] += n;
    RunInPlace<InvLu>(state, a, n, 2.0 * n * double(n) * n);
    tessel::MatFree(a);
}

// Regression of one variable on k = n regressors over T = 4n observations.
void BM_OlsQr(benchmark::State &state) {
    const int k = static_cast<int>(state.range(0)), T = 4 * k;
    MATRIX x = RandomMatrix(k, T, 5), y = RandomMatrix(1, T, 6);
    MATRIX xt = tessel::MatAlloc(k, T), b = tessel::MatAlloc(1, k), e = tessel::MatAlloc(1, T);
    for (auto _ : state) {
        tessel::MatCopy(xt, x, k, T);
        benchmark::DoNotOptimize(tessel::OlsQr(xt, k, T, y, 1, b, nullptr, e, nullptr));
    }
    SetFlops(state, 2.0 * k * double(k) * (T - k / 3.0));
    for (MATRIX m : {x, y, xt, b, e}) tessel::MatFree(m);
}

void BM_RanUniform(benchmark::State &state, const char *name) {
    tessel::RanReset();
    tessel::RanSelect(tessel::RanCurrent(), name);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::RanUniform());
}

void BM_RanNormal(benchmark::State &state, const char *name) {
    tessel::RanReset();
    tessel::RanSelect(tessel::RanCurrent(), name);
    for (auto _ : state) benchmark::DoNotOptimize(tessel::RanNormal());
}

// Reference point for reading the draw timings on a loaded machine: the standard library's
// minimal-standard generator, a few instructions per draw.
void BM_StdMinstdReference(benchmark::State &state) {
    std::minstd_rand rng(1);
    for (auto _ : state) benchmark::DoNotOptimize(rng());
}

}  // namespace

BENCHMARK(BM_MatMul)->Arg(8)->Arg(32)->Arg(128)->Arg(512);
BENCHMARK(BM_MatCholeskyBlocked)->Arg(8)->Arg(32)->Arg(128)->Arg(512);
BENCHMARK(BM_MatInvSymLdl)->Arg(8)->Arg(32)->Arg(128)->Arg(512);
BENCHMARK(BM_MatInvLu)->Arg(8)->Arg(32)->Arg(128)->Arg(512);
BENCHMARK(BM_OlsQr)->Arg(8)->Arg(32)->Arg(128)->Arg(512);
BENCHMARK_CAPTURE(BM_RanUniform, MWC_52, "MWC_52");
BENCHMARK_CAPTURE(BM_RanUniform, MWC_32, "MWC_32");
BENCHMARK_CAPTURE(BM_RanUniform, PM, "PM");
BENCHMARK_CAPTURE(BM_RanNormal, MWC_52, "MWC_52");
BENCHMARK_CAPTURE(BM_RanNormal, MWC_32, "MWC_32");
BENCHMARK_CAPTURE(BM_RanNormal, LE, "LE");
BENCHMARK(BM_StdMinstdReference);
