// The Algebra interpreter per observation, and one non-linear model evaluation through the exports.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "algebra/catalogue.h"
#include "algebra/compiler.h"
#include "algebra/database.h"
#include "algebra/interpreter.h"
#include "algebra/report.h"
#include "algebra/scanner.h"
#include "host/exports.h"
#include "velawin/velawin.h"

namespace {

void Quiet(const char *, const char *) {}

// Runs `code` over a database of `n` observations with x > 0 and z.
void RunProgram(benchmark::State &state, const char *code) {
    using namespace tessel;
    const int n = static_cast<int>(state.range(0));
    AlgebraSetReporter(Quiet);
    AlgebraInitFunctions();
    AlgebraDatabase *db = AlgebraDbCreate(8);
    AlgebraSample s{1, 1, 0, 0, 1};
    AlgebraSampleSetEnd(&s, n);
    AlgebraDbSetSample(db, s);
    AlgebraDbAddVariables(db, 3);
    AlgebraDbSetName(db, 0, "x");
    AlgebraDbSetName(db, 1, "z");
    AlgebraDbSetName(db, 2, "y");
    for (int t = 0; t < n; ++t) {
        db->data[0][t] = 1.0 + 0.001 * (t % 1000);
        db->data[1][t] = std::sin(0.01 * t);
        db->data[2][t] = 0.0;
    }
    AlgebraWorkspace ws{};
    AlgebraTokens tokens{nullptr, 0};
    if (!AlgebraScan(&tokens, code, nullptr, ws.error_text, sizeof ws.error_text)) {
        state.SkipWithError("scan failed");
        return;
    }
    ws.tokens.assign(tokens.data, tokens.data + tokens.size);
    AlgebraTokensFree(&tokens);
    if (!AlgebraCompile(&ws, db)) {
        state.SkipWithError(ws.error_text);
        return;
    }
    for (auto _ : state) {
        // The first observation is presample for the recursion.
        AlgebraRun(&ws, 1, n - 1, n, 1);
        benchmark::DoNotOptimize(db->data[2][n - 1]);
    }
    // Seconds per observation (printed with an SI prefix, "n" for nanoseconds).
    state.counters["per_obs"] = benchmark::Counter(
        static_cast<double>(n - 1), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    AlgebraWorkspaceClear(&ws);
    AlgebraDbFree(db);
}

void BM_AlgebraLogAndPower(benchmark::State &state) { RunProgram(state, "y = log(x) + 0.5 * z ^ 2;"); }
BENCHMARK(BM_AlgebraLogAndPower)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_AlgebraRecursion(benchmark::State &state) { RunProgram(state, "y = 0.9 * y[-1] + x;"); }
BENCHMARK(BM_AlgebraRecursion)->Arg(1000000)->Unit(benchmark::kMillisecond);

// One trial of a 5-parameter model on 200 observations: FnRunAlgebraNls after one FnInitAlgebraNls.
void BM_FnRunAlgebraNls(benchmark::State &state) {
    tessel::AlgebraSetReporter(Quiet);
    const int n = 200;
    std::vector<double> data;
    for (int t = 0; t < n; ++t) {
        const double x1 = std::sin(0.1 * t), x2 = std::cos(0.07 * t), x3 = 1.0 + 0.01 * t;
        data.insert(data.end(), {x1, x2, x3, 1.0 + 2.0 * x1 - x2 + 0.5 * std::pow(x3, 1.5)});
    }
    VelaValue args[9]{}, start{}, numbers{}, rtn{};
    args[0] = VelawinMatrix(n, 4, data.data());
    VelaLibValArrayCalloc(&args[1], 4);
    const char *names[4] = {"x1", "x2", "x3", "y"};
    for (int j = 0; j < 4; ++j) VelaValSetString(VelaValGetArrayVal(&args[1], j), names[j]);
    args[2] = VelawinInt(1);
    args[3] = VelawinInt(1);
    args[4] = VelawinInt(1);
    args[5] = VelawinInt(0);
    args[6] = VelawinString("&0 = 1; &1 = 1; &2 = 1; &3 = 1; &4 = 1;\n"
                            "fit = &0 + &1 * x1 + &2 * x2 + &3 * x3 ^ &4;\nres = y - fit;");
    args[7] = VelawinRef(&start);
    args[8] = VelawinRef(&numbers);
    FnInitAlgebraNls(&rtn, args, 9);
    if (rtn.type == VELA_STRING) {
        state.SkipWithError(rtn.data.str);
    } else {
        const double params[5] = {1.0, 2.0, -1.0, 0.5, 1.5};
        VelaValue pv[3] = {VelawinMatrix(5, 1, params), VelawinInt(0), VelawinInt(n - 1)};
        for (auto _ : state) {
            FnRunAlgebraNls(&rtn, pv, 3);
            benchmark::DoNotOptimize(rtn.type);
        }
        VelaFreeByValue(&pv[0]);
    }
    FnExitAlgebraNls(nullptr, nullptr, 0);
    for (VelaValue &v : args) VelaFreeByValue(&v);
    VelaFreeByValue(&start);
    VelaFreeByValue(&numbers);
    VelaFreeByValue(&rtn);
}
BENCHMARK(BM_FnRunAlgebraNls)->Unit(benchmark::kMicrosecond);

}  // namespace
