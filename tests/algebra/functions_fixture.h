// A small database and a workspace whose symbol table names its variables, for calling built-in
// function handlers directly the way the interpreter does.
#ifndef TESSEL_TESTS_ALGEBRA_FUNCTIONS_FIXTURE_H
#define TESSEL_TESTS_ALGEBRA_FUNCTIONS_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "algebra/catalogue.h"
#include "algebra/database.h"
#include "algebra/functions.h"
#include "algebra/workspace.h"
#include "numeric/missing.h"
#include "tests/algebra/reference.h"

namespace tessel {

class FunctionsFixture : public ::testing::Test {
protected:
    // nobs observations from year y1, period p1 at the given frequency.
    void MakeDatabase(int nobs, int y1 = 1990, int p1 = 1, int freq = 1) {
        db_ = AlgebraDbCreate(8);
        ASSERT_NE(db_, nullptr);
        AlgebraSample s{y1, p1, y1, p1, freq};
        AlgebraSampleSetEnd(&s, nobs);
        AlgebraDbSetSample(db_, s);
        ASSERT_EQ(db_->nobs, nobs);
        ws_.db = db_, ws_.nobs = nobs, ws_.t1 = 0, ws_.t2 = nobs - 1;
        // Symbol 0 is a function, as in a compiled program, so variable symbols start at 1.
        AlgebraSymbol fn;
        fn.name = "abs", fn.flags = kAlgebraSymFunction, fn.var = 0;
        ws_.symbols.push_back(fn);
        ws_.nsym = 1;
    }
    void TearDown() override {
        if (db_ != nullptr) AlgebraDbFree(db_);
    }

    // Adds a variable with the given values (missing beyond them) and returns its symbol index.
    double AddVar(const std::string &name, const std::vector<double> &values = {}) {
        const int v = AlgebraDbAddVariables(db_, 1);
        EXPECT_GE(v, 0);
        AlgebraDbSetName(db_, v, name.c_str());
        for (size_t i = 0; i < values.size() && static_cast<int>(i) < db_->nobs; ++i) db_->data[v][i] = values[i];
        AlgebraSymbol sym;
        sym.name = name, sym.flags = kAlgebraSymVariable, sym.var = v;
        ws_.symbols.push_back(sym);
        ws_.nsym = static_cast<int32_t>(ws_.symbols.size());
        // Columns can be replaced when the database grows; keep the symbols pointing at the live ones.
        for (AlgebraSymbol &s : ws_.symbols)
            if (s.flags & kAlgebraSymVariable) s.data = db_->data[s.var];
        return ws_.nsym - 1;
    }

    double *Col(double sym) { return AlgebraVarColumn(&ws_, sym); }
    std::vector<double> Values(double sym) { return std::vector<double>(Col(sym), Col(sym) + ws_.nobs); }
    double Call(AlgebraFunctionHandler h, std::vector<double> args, int t) {
        ws_.t = t;
        return h(&ws_, args.data());
    }
    // The handler at every observation of t1 .. t2, in order, as a statement would call it.
    std::vector<double> Run(AlgebraFunctionHandler h, const std::vector<double> &args) {
        std::vector<double> out;
        for (int t = ws_.t1; t <= ws_.t2; ++t) out.push_back(Call(h, args, t));
        return out;
    }

    AlgebraDatabase *db_ = nullptr;
    AlgebraWorkspace ws_;
};

}  // namespace tessel

#endif
