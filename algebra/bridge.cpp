// The module-wide Algebra state behind the non-linear model exports.
#include "algebra/bridge.h"

#include <cstring>
#include <new>

#include "algebra/catalogue.h"
#include "algebra/compiler.h"
#include "algebra/database.h"
#include "algebra/interpreter.h"
#include "algebra/scanner.h"
#include "numeric/missing.h"

namespace tessel {

AlgebraBridgeState &AlgebraBridge() {
    static AlgebraBridgeState state;
    return state;
}

void AlgebraBridgeExit() {
    AlgebraBridgeState &b = AlgebraBridge();
    if (b.ws) {
        AlgebraWorkspaceClear(b.ws);
        delete b.ws;
    }
    if (b.db) AlgebraDbFree(b.db);
    delete[] b.param_map;
    b = AlgebraBridgeState{};
}

namespace {

// Builds the state, loads the data and compiles; throws std::bad_alloc when memory runs out.
std::string Init(const AlgebraBridgeSetup &in, std::vector<double> *start_values, std::vector<double> *numbers) {
    AlgebraBridgeState &b = AlgebraBridge();

    AlgebraSample sample{in.start_year, in.start_period, 0, 0, in.frequency};
    AlgebraSampleSetEnd(&sample, in.rows);
    b.db = AlgebraDbCreate(in.cols + 20);
    b.param_map = new (std::nothrow) int32_t[kAlgebraParameterMapSize];
    if (!b.db || !b.param_map) return "Algebra initialization error";
    for (int i = 0; i < kAlgebraParameterMapSize; ++i) b.param_map[i] = -1;
    b.initial_count = in.cols;
    AlgebraDbSetSample(b.db, sample);
    b.ws = new AlgebraWorkspace{};

    if (in.cols > 0 && AlgebraDbAddVariables(b.db, in.cols) < 0) return "Algebra initialization error: cannot create database";
    const int64_t rows = in.rows < b.db->nobs ? in.rows : b.db->nobs;
    for (int j = 0; j < in.cols; ++j) {
        char name[kAlgebraNameMax + 1] = {};
        std::strncpy(name, in.names[j] ? in.names[j] : "", kAlgebraNameMax);
        AlgebraDbSetName(b.db, j, name);
        double *col = b.db->data[j];
        for (int64_t t = 0; t < rows; ++t) col[t] = in.data[t * in.cols + j];
    }
    if (in.dates && in.cols > 0) AlgebraDbSetDates(b.db, 1);

    AlgebraWorkspace *ws = b.ws;
    AlgebraTokens tokens{nullptr, 0};
    if (!AlgebraScan(&tokens, in.code ? in.code : "", nullptr, ws->error_text, sizeof ws->error_text))
        return ws->error_text;
    try {
        ws->tokens.assign(tokens.data, tokens.data + tokens.size);
    } catch (const std::bad_alloc &) {
        AlgebraTokensFree(&tokens);
        throw;
    }
    AlgebraTokensFree(&tokens);

    AlgebraInitFunctions();
    AlgebraSetParameters(ws, b.param_map, &b.max_param, kAlgebraParameterMapSize);
    ws->error_text[0] = 0;
    if (!AlgebraCompile(ws, b.db)) return ws->error_text;

    b.nparams = 0;
    bool all_started = true;
    for (int n = 0; n <= b.max_param && n < kAlgebraParameterMapSize; ++n) {
        if (b.param_map[n] < 0) continue;
        ++b.nparams;
        if (IsMissing(ws->consts[static_cast<size_t>(b.param_map[n])])) all_started = false;
    }
    if (!all_started) return "Error: Need starting values for all parameters";
    if (in.want_parameters) {
        if (b.nparams == 0) return "Error: No parameters to estimate";
        start_values->clear();
        numbers->clear();
        for (int n = 0; n <= b.max_param && n < kAlgebraParameterMapSize; ++n) {
            if (b.param_map[n] < 0) continue;
            start_values->push_back(ws->consts[static_cast<size_t>(b.param_map[n])]);
            numbers->push_back(n);
        }
    } else if (b.nparams > 0) {
        return "Error: No parameters alllowed here";
    }
    return "";
}

}  // namespace

std::string AlgebraBridgeInit(const AlgebraBridgeSetup &setup, std::vector<double> *start_values,
                              std::vector<double> *numbers) {
    AlgebraBridgeExit();
    std::string message;
    try {
        message = Init(setup, start_values, numbers);
    } catch (const std::bad_alloc &) {
        message = "Algebra initialization error";
    }
    if (!message.empty()) AlgebraBridgeExit();
    return message;
}

std::string AlgebraBridgeRun(const double *values, int64_t count, int first, int last) {
    AlgebraBridgeState &b = AlgebraBridge();
    if (!b.db || !b.ws || count != b.nparams) return "Algebra run error";
    AlgebraWorkspace *ws = b.ws;
    int64_t i = 0;
    for (int n = 0; n <= b.max_param && n < kAlgebraParameterMapSize; ++n)
        if (b.param_map[n] >= 0) ws->consts[static_cast<size_t>(b.param_map[n])] = values[i++];
    if (AlgebraRun(ws, first, last, b.db->nobs, 1)) return "";
    if (ws->flags == 0) return "Algebra run error";
    return AlgebraErrorText(ws);
}

int AlgebraBridgeFindVariable(const char *name) {
    const AlgebraBridgeState &b = AlgebraBridge();
    if (!b.db || !name) return -1;
    for (int i = 0; i < b.db->count; ++i) {
        const char *v = b.db->names[i];
        if (!v) continue;
        const size_t len = strnlen(v, kAlgebraNameMax);
        if (std::strlen(name) == len && std::memcmp(v, name, len) == 0) return i;
    }
    return -1;
}

}  // namespace tessel
