// Code listings and parse errors of the Algebra compiler.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "numeric/missing.h"
#include "tests/algebra/engine_fixture.h"

namespace tessel::testing {
namespace {

using Code = std::vector<AlgebraInstr>;

// The message of a failed compilation (and checks that it was reported as an error).
std::string CompileError(Program &p, const std::string &code, bool parameters = false) {
    CapturedReports reports;
    EXPECT_FALSE(p.Compile(code, parameters)) << code;
    EXPECT_FALSE(reports.Log().empty());
    if (reports.Log().empty()) return "";
    EXPECT_EQ(reports.Log().back().first, "Error");
    EXPECT_EQ(reports.Log().back().second, p.ws.error_text);
    return reports.Log().back().second;
}

TEST(AlgebraCompiler, SimpleListings) {
    for (const char *code : {"", ";", ";;\n;"}) {
        Program p;
        ASSERT_TRUE(p.Compile(code)) << code;
        EXPECT_EQ(p.Code(), (Code{{OpStatement, -1}, {OpEnd, 0}})) << code;
    }
    // An assignment creates its target; an expression statement discards its value.
    Program p({{"y", {}}});
    ASSERT_EQ(AlgebraDbFind(p.db, "x"), -1);
    ASSERT_TRUE(p.Compile("x = 2;\ny == 1;"));
    ASSERT_EQ(AlgebraDbFind(p.db, "x"), 1);
    const int x = p.Symbol("x"), y = p.Symbol("y");
    EXPECT_EQ(p.Code(), (Code{{OpStatement, 0}, {OpLoadConst, 2}, {OpStore, x}, {OpStatement, 0}, {OpLoadVar, y},
                              {OpLoadConst, 1}, {OpOperator, 'E'}, {OpDiscard, -1}, {OpStatement, -1}, {OpEnd, 0}}));
    EXPECT_EQ(p.ws.symbols[static_cast<size_t>(x)].data, p.db->data[1]);
}

// The constant slots that the statement's loads name.
std::vector<int> LoadedSlots(const Program &p) {
    std::vector<int> loaded;
    for (const AlgebraInstr &in : p.Code())
        if (in.op == OpLoadConst) loaded.push_back(in.arg);
    return loaded;
}

TEST(AlgebraCompiler, ConstantSlots) {
    Program p({}, 12, 1990, 1, 7);
    ASSERT_TRUE(p.Compile("y = FALSE + TRUE + FREQUENCY + MISSING + PI + NOBS;"));
    const double expect[10] = {0, 1, 2, 3, 4, 5, 7, kMissing, 3.141592653589793, 12};
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(p.ws.consts[i] == expect[i] || (i == 7 && IsMissing(p.ws.consts[7]))) << i;
    EXPECT_EQ(LoadedSlots(p), (std::vector<int>{0, 1, 6, 7, 8, 9}));
    EXPECT_EQ(p.ws.nconst, 10);
    // 3 is slot 3; 7 equals the frequency in slot 6; 1.5 and 9 take new slots, each time anew.
    ASSERT_TRUE(p.Compile("y = 3 + 7 + 1.5 + 9 + 1.5;"));
    EXPECT_EQ(LoadedSlots(p), (std::vector<int>{3, 6, 10, 11, 12}));
    EXPECT_EQ(p.ws.consts[10], 1.5);
    EXPECT_EQ(p.ws.consts[11], 9.0);
}

TEST(AlgebraCompiler, PrecedenceAndAssociativity) {
    // Functions come first in the symbol table, then the database's variables in order.
    AlgebraInitFunctions();
    const int a = AlgebraFunctionCount(), b = a + 1, c = a + 2;
    struct Case {
        const char *code;
        Code expr;  // the expression's code, between the statement mark and the store
    };
    const auto op = [](int k) { return AlgebraInstr{OpOperator, k}; };
    const AlgebraInstr la{OpLoadVar, a}, lb{OpLoadVar, b}, lc{OpLoadVar, c};
    const Case cases[] = {
        {"z = -a^b;", {la, lb, op('^'), op('U')}},
        {"z = a^b^c;", {la, lb, op('^'), lc, op('^')}},
        {"z = a - b - c;", {la, lb, op('-'), lc, op('-')}},
        {"z = a + b * c;", {la, lb, lc, op('*'), op('+')}},
        {"z = a / b * c;", {la, lb, op('/'), lc, op('*')}},
        {"z = a || b && c;", {la, lb, lc, op('&'), op('|')}},
        {"z = a == b < c;", {la, lb, lc, op('<'), op('E')}},
        {"z = a != b >= c;", {la, lb, lc, op('G'), op('N')}},
        {"z = a <= b > c;", {la, lb, op('L'), lc, op('>')}},
        {"z = !a == +-b;", {la, op('!'), lb, op('U'), op('E')}},
        {"z = !!a;", {la, op('!'), op('!')}},
        {"z = (a + b) * c;", {la, lb, op('+'), lc, op('*')}},
    };
    for (const Case &k : cases) {
        Program q({{"a", {}}, {"b", {}}, {"c", {}}});
        ASSERT_TRUE(q.Compile(k.code)) << k.code;
        Code code = q.Code();
        ASSERT_GE(code.size(), 4u);
        Code expr(code.begin() + 1, code.end() - 3);
        EXPECT_EQ(expr, k.expr) << k.code;
        EXPECT_EQ(code[code.size() - 3].op, OpStore) << k.code;
    }
}

TEST(AlgebraCompiler, ConditionalAssignmentListings) {
    Program p({{"x", {}}, {"y", {}}});
    ASSERT_TRUE(p.Compile("y = x > 0 ? 1;"));
    const int x = p.Symbol("x"), y = p.Symbol("y");
    // Without an else branch the target keeps its own value.
    EXPECT_EQ(p.Code(), (Code{{OpStatement, 0}, {OpLoadVar, x}, {OpLoadConst, 0}, {OpOperator, '>'}, {OpJumpFalse, 7},
                          {OpLoadConst, 1}, {OpJump, 8}, {OpLoadVar, y}, {OpStore, y}, {OpStatement, -1}, {OpEnd, 0}}));

    Program q({{"a", {}}, {"b", {}}, {"c", {}}});
    ASSERT_TRUE(q.Compile("z = a ? b : c + 1;"));
    const int b = q.Symbol("b"), c = q.Symbol("c"), z = q.Symbol("z");
    EXPECT_EQ(q.Code(), (Code{{OpStatement, 0}, {OpLoadVar, q.Symbol("a")}, {OpJumpFalse, 5}, {OpLoadVar, b}, {OpJump, 8},
                          {OpLoadVar, c}, {OpLoadConst, 1}, {OpOperator, '+'}, {OpStore, z}, {OpStatement, -1}, {OpEnd, 0}}));
}

TEST(AlgebraCompiler, IndexedLoadsAndStores) {
    Program p({{"x", {}}, {"y", {}}});
    ASSERT_TRUE(p.Compile("y = x[-1] + x[1990(2)];\ny[2] = 5;\ny[2000(1)] = x;"));
    const int x = p.Symbol("x"), y = p.Symbol("y");
    EXPECT_EQ(p.Code(), (Code{{OpStatement, 0}, {OpLoadConst, 1}, {OpOperator, 'U'}, {OpLoadLag, x},
                          {OpLoadConst, p.Code()[4].arg}, {OpLoadConst, 2}, {OpLoadDate, x}, {OpOperator, '+'}, {OpStore, y},
                          {OpStatement, 0}, {OpLoadConst, 2}, {OpLoadConst, 5}, {OpStoreLag, y}, {OpStatement, 0},
                          {OpLoadConst, p.Code()[14].arg}, {OpLoadConst, 1}, {OpLoadVar, x}, {OpStoreDate, y},
                          {OpStatement, -1}, {OpEnd, 0}}));
    EXPECT_EQ(p.ws.consts[static_cast<size_t>(p.Code()[4].arg)], 1990.0);
    EXPECT_EQ(p.ws.consts[static_cast<size_t>(p.Code()[14].arg)], 2000.0);
}

TEST(AlgebraCompiler, FunctionCallsPassVariablesAsSymbolIndices) {
    Program p({{"x", {}}});
    ASSERT_TRUE(p.Compile("y = lag(x, 2) + log(x + 1);"));
    const int x = p.Symbol("x");
    const int lag = AlgebraFindFunction("lag"), log = AlgebraFindFunction("log");
    const Code code = p.Code();
    ASSERT_EQ(code.size(), 12u);
    EXPECT_EQ(code[1].op, OpLoadConst);
    EXPECT_EQ(p.ws.consts[static_cast<size_t>(code[1].arg)], static_cast<double>(x));
    EXPECT_EQ(code[2], (AlgebraInstr{OpLoadConst, 2}));
    EXPECT_EQ(code[3], (AlgebraInstr{OpCall, lag}));
    EXPECT_EQ(code[4], (AlgebraInstr{OpLoadVar, x}));
    EXPECT_EQ(code[7], (AlgebraInstr{OpCall, log}));
    EXPECT_EQ(code[8], (AlgebraInstr{OpOperator, '+'}));
    // Destination arguments are created.
    ASSERT_TRUE(p.Compile("s = smooth_hp(x, 1600, trend_x);"));
    EXPECT_GE(AlgebraDbFind(p.db, "trend_x"), 0);
    EXPECT_GE(AlgebraDbFind(p.db, "s"), 0);
}

TEST(AlgebraCompiler, DateAndTimeLiterals) {
    // 1 January 2000 is day 2451545, and 2000 to 2020 holds five leap days.
    const double jan15_2020 = 2451545.0 + 20 * 365 + 5 + 14;
    const std::pair<const char *, double> cases[] = {
        {"d = 2020-01-15;", jan15_2020},
        {"d = 2020-1-15 12:00:00;", jan15_2020 + 0.5},
        {"d = 10.0-2-3;", CalMakeDate(10, 2, 3)},
        {"d = 10-2-3;", CalMakeDate(10, 2, 3)},
        {"d = 12:30:15.5;", (12 * 3600 + 30 * 60 + 15.5) / 86400.0},
        {"d = 0:0:1.239;", 1.23 / 86400.0},
        {"d = 2020-0-15;", 4294967295.0},
    };
    for (const auto &[text, value] : cases) {
        Program p;
        ASSERT_TRUE(p.Compile(text)) << text;
        const Code code = p.Code();
        ASSERT_EQ(code.size(), 5u) << text;
        ASSERT_EQ(code[1].op, OpLoadConst);
        EXPECT_NEAR(p.ws.consts[static_cast<size_t>(code[1].arg)], value, 1e-9) << text;
    }
    // Incomplete patterns leave ordinary arithmetic.
    for (const char *text : {"d = 10-2;", "d = 10.5-2-3;"}) {
        Program p;
        ASSERT_TRUE(p.Compile(text)) << text;
        const Code code = p.Code();
        EXPECT_GT(std::count(code.begin(), code.end(), AlgebraInstr{OpOperator, '-'}), 0) << text;
    }
    Program half;
    EXPECT_EQ(CompileError(half, "d = 1:30;"), "Parse error: ; Missing on line 1");
    Program q({{"c", {}}});
    ASSERT_TRUE(q.Compile("d = c ? 1:2;"));
    EXPECT_EQ(q.Code()[2].op, OpJumpFalse);
}

TEST(AlgebraCompiler, ParametersAndStartValues) {
    Program p({{"x", {}}});
    ASSERT_TRUE(p.Compile("&3 = -0.5;\ny = &1 * x + &3;\n&1 = +2;", true));
    EXPECT_EQ(p.max_param, 3);
    ASSERT_GE(p.map[1], 10);
    ASSERT_GE(p.map[3], 10);
    EXPECT_EQ(p.map[0], -1);
    EXPECT_EQ(p.map[2], -1);
    EXPECT_EQ(p.ws.consts[static_cast<size_t>(p.map[3])], -0.5);
    EXPECT_EQ(p.ws.consts[static_cast<size_t>(p.map[1])], 2.0);
    // Parameter statements emit no code; the only statement loads both parameters.
    const Code code = p.Code();
    EXPECT_EQ(std::count(code.begin(), code.end(), AlgebraInstr{OpStatement, 0}), 1);
    EXPECT_EQ(std::count_if(code.begin(), code.end(), [&](const AlgebraInstr &in) {
                  return in.op == OpLoadConst && (in.arg == p.map[1] || in.arg == p.map[3]);
              }), 2);
    Program unset;
    ASSERT_TRUE(unset.Compile("y = &2;", true));
    EXPECT_TRUE(IsMissing(unset.ws.consts[static_cast<size_t>(unset.map[2])]));
    for (const char *full : {"&500 = 1;", "y = &499 + &500;"}) {
        Program f;
        EXPECT_EQ(CompileError(f, full, true), "Parse error: 500 Parameter buffer full on line 1");
    }
    // Outside model formulation a parameter is a warning and then an error.
    Program q;
    CapturedReports reports;
    EXPECT_FALSE(q.Compile("y = 1 + &0;"));
    EXPECT_EQ(reports.Log(), (std::vector<std::pair<std::string, std::string>>{
                                 {"Warning", "'&' indicates a parameter, and is only allowed in Model formulation"},
                                 {"Error", "Parse error: & Out of place on line 1"}}));
    Program r;
    EXPECT_EQ(CompileError(r, "&0 = 1;"), "Parse error: & Out of place on line 1");
}

TEST(AlgebraCompiler, DeleteRunsAtCompileTime) {
    Program p({{"x", {1, 2, 3}}, {"w", {2}}, {"v", {3}}}, 3);
    ASSERT_TRUE(p.Compile("delete(w, nosuch, \"v\");\ny = x + 1;"));
    EXPECT_EQ(AlgebraDbFind(p.db, "w"), -1);
    EXPECT_EQ(AlgebraDbFind(p.db, "v"), -1);
    EXPECT_EQ(AlgebraDbFind(p.db, "x"), 0);
    EXPECT_EQ(p.db->count, 2);  // x and the new y
    EXPECT_EQ(p.ws.symbols[static_cast<size_t>(p.Symbol("y"))].var, 1);
    EXPECT_EQ(p.Code().size(), 7u);  // only the assignment produced code
    // A variable deleted after its assignment still runs on its own column.
    ASSERT_TRUE(p.Compile("y = x + 1; delete(y); z = y * 2;"));
    EXPECT_EQ(AlgebraDbFind(p.db, "y"), -1);
    ASSERT_TRUE(p.Run(0, 2));
    EXPECT_EQ(p.Var("z"), (std::vector<double>{4, 6, 8}));
    EXPECT_EQ(CompileError(p, "delete(1);"), "Parse error: identifier Argument must be variable name, found on line 1");
}

TEST(AlgebraCompiler, QuotedNamesShadowedFunctionsAndTheClosingBrace) {
    Program p({{"log", {2, 4}}, {"x", {1, 10}}}, 2);
    ASSERT_TRUE(p.Compile("\"my var\" = log + 1;\ny = log(x) + \"my var\";"));
    ASSERT_TRUE(p.Run(0, 1));
    EXPECT_DOUBLE_EQ(p.Var("y")[0], 0.0 + 3.0);
    EXPECT_DOUBLE_EQ(p.Var("y")[1], std::log(10.0) + 5.0);
    // Text after a closing brace is ignored.
    Program q;
    ASSERT_TRUE(q.Compile("x = 1; } y = undeclared + ;"));
    EXPECT_EQ(AlgebraDbFind(q.db, "y"), -1);
    EXPECT_EQ(q.Code().size(), 5u);
}

TEST(AlgebraCompiler, ParseErrorMessages) {
    const std::pair<const char *, const char *> cases[] = {
        {"y = x + 1", "; Missing on line 1"},
        {"y = nosuch + 1;", "nosuch Undeclared identifier on line 1"},
        {"y = x(1);", "x Not a function on line 1"},
        {"y = log;", "( Missing on line 1"},
        {"y = log(x;", ") Missing on line 1"},
        {"y = diff(x 1);", "1 Argument must be variable name, found on line 1"},
        {"y = lag(x + 1, 1);", "+ Argument must be variable name, found on line 1"},
        {"y = lag(2, 1);", "2 Argument must be variable name, found on line 1"},
        {"y = lag(log, 1);", "log Expected a variable, not a function on line 1"},
        {"y = lag(nosuch, 1);", "nosuch Undeclared identifier on line 1"},
        {"y = log[1];", "log Expected a variable, not a function on line 1"},
        {"y = nofunc(x);", "nofunc Undeclared identifier on line 1"},
        {"y = x^-1;", "- Out of place on line 1"},
        {"1 + x;", "1 Out of place on line 1"},
        {"(x);", "( Out of place on line 1"},
        {"y = x[1;", "] Missing on line 1"},
        {"y[1] 2;", "= Missing on line 1"},
        {"x x;", "; Missing on line 1"},
        {"y = ;", "; Out of place on line 1"},
        {"y = x &&;", "; Out of place on line 1"},
        {"y = x +", "end of code Out of place on line 1"},
        {"y = TRUE FALSE;", "; Missing on line 1"},
        {"\n\ny = x\n+ ==;", "== Out of place on line 4"},
        {"y = x;\n\nz = PI PI;", "; Missing on line 3"},
        {"y = \"no var\";", "no var Undeclared identifier on line 1"},
        {"z = (x ? x : x);", ") Missing on line 1"},
    };
    for (const auto &[code, message] : cases) {
        Program p({{"x", {}}});
        EXPECT_EQ(CompileError(p, code), std::string("Parse error: ") + message) << code;
    }
    Program p;
    p.ws.line_offset = 10;  // added to the reported lines
    EXPECT_EQ(CompileError(p, "\ny = ;"), "Parse error: ; Out of place on line 12");
}

TEST(AlgebraCompiler, Capacities) {
    // The code buffer is full within one statement, but grows between statements.
    Program p({{"x", {1, 2}}}, 2);
    std::string code = "y = x";
    for (int i = 0; i < 120; ++i) code += " + x";
    EXPECT_EQ(CompileError(p, code + ";"), "Parse error:  Code buffer full on line 1");
    code.clear();
    for (int i = 0; i < 400; ++i) (((code += 'v') += std::to_string(i)) += " = x + ") += std::to_string(i + 100) + ".5;\n";
    ASSERT_TRUE(p.Compile(code));
    EXPECT_GT(p.ws.code.size(), 1000u);
    EXPECT_GE(p.ws.consts.size(), 800u);
    EXPECT_GT(p.ws.symbols.size(), 300u);
    ASSERT_TRUE(p.Run(0, 1));
    EXPECT_EQ(p.Var("v0")[1], 102.5);
    EXPECT_EQ(p.Var("v399")[0], 500.5);
    // Deep nesting is rejected, not followed; moderate nesting is fine.
    EXPECT_FALSE(p.Compile("y = " + std::string(100000, '(') + "1" + std::string(100000, ')') + ";"));
    EXPECT_FALSE(p.Compile("y = " + std::string(100000, '-') + "1;"));
    EXPECT_TRUE(p.Compile("y = " + std::string(50, '(') + "1" + std::string(50, ')') + ";"));
}

// Programs stitched together from random tokens either fail to compile with a message or compile and
// run; nothing reads or writes outside its buffers (the sanitizer build checks that).
TEST(AlgebraCompiler, RandomProgramsCompileOrFailCleanly) {
    const std::vector<std::string> operands = {"x", "y", "-1", "2", "x[-1]", "y[2]", "x[1990(3)]", "log(x)",
                                               "lag(y, 1)", "MISSING", "&0", "&2", "(x ? y : 2)", "mean(x)",
                                               "2020-01-15", "12:30:00", "NOBS", "\"q\""};
    const std::vector<std::string> operators = {"+", "-", "*", "/", "^", "<", ">=", "==", "!=", "&&", "||"};
    const std::vector<std::string> stray = {"=", ";", "(", ")", "[", "]", "?", ":", "!", "&", ",", "delete(",
                                            "}", "\n", "smooth_hp(", "ewma(", "z", "1e", ".5", "y[1]"};
    uint32_t state = 12345;
    auto pick = [&](const std::vector<std::string> &from) {
        state = state * 1664525u + 1013904223u;
        return from[(state >> 8) % from.size()];
    };
    int compiled = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        // Odd trials: statements of random operands and operators; even ones: any tokens at all.
        std::string code = trial % 2 ? "z = " : "";
        for (int i = 0; i < 1 + trial % 13; ++i)
            code += pick(trial % 2 ? operands : stray) + " " + pick(trial % 3 ? operators : stray) + " ";
        code += pick(operands) + (trial % 5 ? ";" : "");
        Program p({{"x", {1, 2, 3, 4, 5, 6}}, {"y", {0, kMissing, 2, 3, 4, 5}}}, 6, 1990, 1, 4);
        CapturedReports reports;
        if (p.Compile(code, trial % 4 < 2))
            ++compiled, p.Run(trial % 7 - 1, trial % 9 - 1);
        else
            EXPECT_FALSE(reports.Log().empty()) << code;
    }
    EXPECT_GT(compiled, 200);
}

}  // namespace
}  // namespace tessel::testing
