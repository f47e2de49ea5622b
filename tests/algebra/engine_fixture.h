// A small Algebra program over an in-memory database, for the compiler, interpreter and bridge
// tests: builds the database, scans and compiles code, runs it and collects what was reported.
#ifndef TESSEL_TESTS_ALGEBRA_ENGINE_FIXTURE_H
#define TESSEL_TESTS_ALGEBRA_ENGINE_FIXTURE_H

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "algebra/calendar.h"
#include "algebra/catalogue.h"
#include "algebra/compiler.h"
#include "algebra/database.h"
#include "algebra/interpreter.h"
#include "algebra/report.h"
#include "algebra/scanner.h"
#include "algebra/workspace.h"

namespace tessel::testing {

// Everything reported through AlgebraError/AlgebraWarning while a CapturedReports is alive.
struct CapturedReports {
    static std::vector<std::pair<std::string, std::string>> &Log() {
        static std::vector<std::pair<std::string, std::string>> log;
        return log;
    }
    static void Capture(const char *kind, const char *text) { Log().emplace_back(kind, text); }
    AlgebraReporter previous = (Log().clear(), AlgebraSetReporter(Capture));
    ~CapturedReports() { AlgebraSetReporter(previous); }
    CapturedReports() = default;
    CapturedReports(const CapturedReports &) = delete;
    CapturedReports &operator=(const CapturedReports &) = delete;
};

struct Variable { std::string name; std::vector<double> values; };

class Program {
  public:
    // A database of `nobs` observations from start_year(start_period) at `frequency`.
    explicit Program(std::vector<Variable> vars = {}, int nobs = 10, int start_year = 1990, int start_period = 1,
                     int frequency = 1) {
        AlgebraInitFunctions();
        db = AlgebraDbCreate(static_cast<int>(vars.size()) + 20);
        AlgebraSample s{start_year, start_period, 0, 0, frequency};
        AlgebraSampleSetEnd(&s, nobs);
        AlgebraDbSetSample(db, s);
        for (size_t j = 0; j < vars.size(); ++j) {
            AlgebraDbAddVariables(db, 1);
            AlgebraDbSetName(db, static_cast<int>(j), vars[j].name.c_str());
            for (int t = 0; t < nobs && t < static_cast<int>(vars[j].values.size()); ++t)
                db->data[j][t] = vars[j].values[static_cast<size_t>(t)];
        }
    }
    ~Program() {
        AlgebraWorkspaceClear(&ws);
        AlgebraDbFree(db);
    }
    // Non-const, so that a braced list of one variable never looks like a copy.
    Program(Program &) = delete;
    Program &operator=(const Program &) = delete;

    // Scans and compiles; parameters are allowed when `parameters` is set.
    bool Compile(const std::string &code, bool parameters = false) {
        AlgebraTokens tokens{nullptr, 0};
        if (!AlgebraScan(&tokens, code.c_str(), nullptr, ws.error_text, sizeof ws.error_text)) return false;
        ws.tokens.assign(tokens.data, tokens.data + tokens.size);
        AlgebraTokensFree(&tokens);
        if (parameters) AlgebraSetParameters(&ws, map, &max_param, kAlgebraParameterMapSize);
        return AlgebraCompile(&ws, db) == 1;
    }

    bool Run(int t1, int t2, int quiet = 1) { return AlgebraRun(&ws, t1, t2, db->nobs, quiet) == 1; }
    bool Run() { return Run(0, db->nobs - 1); }

    std::vector<double> Var(const char *name) const {
        int v = AlgebraDbFind(db, name);
        if (v < 0) return {};
        return std::vector<double>(db->data[v], db->data[v] + db->nobs);
    }
    int Symbol(const char *name) const {
        for (int i = ws.nsym - 1; i >= 0; --i)
            if (ws.symbols[static_cast<size_t>(i)].name == name) return i;
        return -1;
    }
    std::vector<AlgebraInstr> Code() const { return std::vector<AlgebraInstr>(ws.code.begin(), ws.code.begin() + ws.ncode); }

    AlgebraDatabase *db = nullptr;
    AlgebraWorkspace ws{};
    int32_t map[kAlgebraParameterMapSize] = {};
    int32_t max_param = -1;
};

}  // namespace tessel::testing

namespace tessel {
inline bool operator==(const AlgebraInstr &a, const AlgebraInstr &b) { return a.op == b.op && a.arg == b.arg; }
inline void PrintTo(const AlgebraInstr &in, std::ostream *os) { *os << "{" << in.op << ", " << in.arg << "}"; }
}  // namespace tessel

#endif
