// Running Algebra code: evaluation order, operators and missing values, bounds, flags and reports.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "numeric/missing.h"
#include "tests/algebra/engine_fixture.h"

namespace tessel::testing {
namespace {

const double M = kMissing;
const double kInf = std::numeric_limits<double>::infinity();

// Compares with missing values equal to each other.
void ExpectSeries(const std::vector<double> &got, const std::vector<double> &want, const std::string &what) {
    ASSERT_EQ(got.size(), want.size()) << what;
    for (size_t i = 0; i < got.size(); ++i) {
        if (IsMissing(want[i]))
            EXPECT_TRUE(IsMissing(got[i])) << what << " at " << i << ": " << got[i];
        else
            EXPECT_DOUBLE_EQ(got[i], want[i]) << what << " at " << i;
    }
}

// `a OP b` over the four combinations of present and missing operands, in every form the interpreter
// distinguishes: right operand a variable, an expression or a constant, each as a plain statement (a
// block at a time) and inside a conditional (one observation at a time). All forms must agree.
std::vector<double> Binary(const std::string &op, double a, double b) {
    const auto run = [](std::vector<Variable> vars, int n, const std::string &code) {
        Program p(std::move(vars), n);
        EXPECT_TRUE(p.Compile(code)) << code;
        p.Run();
        return p.Var("r");
    };
    std::vector<std::vector<double>> results;
    for (const std::string &form : {"a " + op + " b", "a " + op + " (b * 1)", "a " + op + " (-(-b))"})
        for (const std::string &code : {"r = " + form + ";", "r = TRUE ? " + form + " : 0;"})
            results.push_back(run({{"a", {a, M, a, M}}, {"b", {b, b, M, M}}}, 4, code));
    // A constant right operand, present (rows 0-1) and missing (rows 2-3).
    const std::string constants[2] = {std::to_string(b), "MISSING"};
    for (int c = 0; c < 2; ++c)
        for (const std::string &code : {"r = a " + op + " " + constants[c] + ";", "r = TRUE ? a " + op + " " + constants[c] + " : 0;"}) {
            std::vector<double> r = run({{"a", {a, M}}}, 2, code);
            r.insert(c == 0 ? r.end() : r.begin(), 2, 0.0);
            results.push_back(r);
        }
    for (size_t k = 1; k < results.size(); ++k)
        for (size_t i = 0; i < 4; ++i) {
            if (k >= 6 && (k < 8 ? i >= 2 : i < 2)) continue;  // rows the constant forms do not cover
            EXPECT_TRUE(results[k][i] == results[0][i] || (IsMissing(results[0][i]) && IsMissing(results[k][i])))
                << op << " form " << k << " row " << i << ": " << results[k][i] << " vs " << results[0][i];
        }
    return results[0];
}

TEST(AlgebraInterpreter, MissingValueTableOfEveryBinaryOperator) {
    // Rows: both present, left missing, right missing, both missing. Ordering with a missing operand is
    // false, equality takes two missing values as equal, and a missing operand counts as true in && and ||.
    struct Row { const char *op; double a, b; std::vector<double> want; };
    const Row rows[] = {
        {"+", 2, 3, {5, M, M, M}},     {"-", 2, 3, {-1, M, M, M}},    {"*", 2, 3, {6, M, M, M}},
        {"/", 3, 2, {1.5, M, M, M}},   {"^", 2, 3, {8, M, M, M}},     {"^", 1.5, 2, {2.25, M, M, M}},
        {"^", 4, 0.5, {2, M, M, M}},   {"<", 1, 2, {1, 0, 0, 0}},     {">", 1, 2, {0, 0, 0, 0}},
        {">", 3, 2, {1, 0, 0, 0}},     {"<=", 2, 2, {1, 0, 0, 0}},    {">=", 2, 2, {1, 0, 0, 0}},
        {">=", 1, 2, {0, 0, 0, 0}},    {"==", 2, 2, {1, 0, 0, 1}},    {"==", 2, 3, {0, 0, 0, 1}},
        {"!=", 2, 2, {0, 1, 1, 0}},    {"!=", 2, 3, {1, 1, 1, 0}},    {"&&", 1, 1, {1, 1, 1, 1}},
        {"&&", 0, 1, {0, 1, 0, 1}},    {"&&", 1, 0, {0, 0, 1, 1}},    {"||", 0, 0, {0, 1, 1, 1}},
        {"||", 0, 2, {1, 1, 1, 1}},
    };
    for (const Row &r : rows) ExpectSeries(Binary(r.op, r.a, r.b), r.want, std::string(r.op) + " " + std::to_string(r.a));
}

TEST(AlgebraInterpreter, UnaryOperatorsAndDivisionByZero) {
    Program p({{"a", {2, 0, M, -0.0}}}, 4);
    ASSERT_TRUE(p.Compile("n = -a; m = !a; k = !!a; r = a / 0;"));
    CapturedReports reports;
    EXPECT_TRUE(p.Run(0, 3, 0));  // dividing by zero is a warning that still computes
    ExpectSeries(p.Var("n"), {-2, -0.0, M, 0.0}, "-");
    EXPECT_TRUE(std::signbit(p.Var("n")[1]));
    EXPECT_FALSE(std::signbit(p.Var("n")[3]));
    ExpectSeries(p.Var("m"), {0, 1, M, 1}, "!");
    ExpectSeries(p.Var("k"), {1, 0, M, 0}, "!!");
    const std::vector<double> r = p.Var("r");
    EXPECT_EQ(r[0], kInf);
    EXPECT_TRUE(IsMissing(r[1]) && IsMissing(r[2]) && IsMissing(r[3]));  // 0/0 and -0/0 are not numbers
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].first, "Error");
    EXPECT_EQ(reports.Log()[0].second, "There were Algebra run-time errors:\r\n    Divide by zero\r\n");
    EXPECT_EQ(p.ws.flags, 0u);  // warnings are cleared once reported
    Program q({{"a", {-1}}}, 1);
    ASSERT_TRUE(q.Compile("r = a / 0;"));
    EXPECT_TRUE(q.Run(0, 0, 1));
    EXPECT_EQ(q.Var("r")[0], -kInf);
}

TEST(AlgebraInterpreter, StatementMajorOrderLagsLeadsAndRecursion) {
    const std::vector<double> x = {1, 2, 3, 4, 5, 6};
    Program p({{"x", x}}, 6);
    // The second statement sees the finished column of the first; the last reads its own past, and w[0]
    // is presample and missing, so the recursion is missing throughout.
    ASSERT_TRUE(p.Compile("y = x * 2;\nz = y[1] - y;\nw = x;\nw = 0.5 * w[-1] + x;\nv = x[-1] + 1;"));
    ASSERT_TRUE(p.Run(1, 5));
    std::vector<double> y(6, M), z(6, M), v(6, M);
    for (int t = 1; t <= 5; ++t) y[t] = 2 * x[t], v[t] = x[t - 1] + 1;
    for (int t = 1; t < 5; ++t) z[t] = y[t + 1] - y[t];
    ExpectSeries(p.Var("y"), y, "y");
    ExpectSeries(p.Var("z"), z, "z");
    ExpectSeries(p.Var("w"), std::vector<double>(6, M), "w");
    ExpectSeries(p.Var("v"), v, "v");
    Program q({{"x", {1, 2, 3, 4}}}, 4);
    ASSERT_TRUE(q.Compile("x = x[-1] + 1;"));
    ASSERT_TRUE(q.Run());
    ExpectSeries(q.Var("x"), {M, M, M, M}, "a missing first lag propagates");
}

TEST(AlgebraInterpreter, ReadsSpanTheColumnWritesOnlyTheSample) {
    Program p({{"x", {10, 11, 12, 13, 14, 15, 16, 17}}, {"y", std::vector<double>(8, 0.0)}}, 8);
    ASSERT_TRUE(p.Compile("a = x[-2];\nb = x[3];\ny[-1] = 5;\ny[2] = 7;"));
    ASSERT_TRUE(p.Run(2, 5));
    ExpectSeries(p.Var("a"), {M, M, 10, 11, 12, 13, M, M}, "lag");
    ExpectSeries(p.Var("b"), {M, M, 15, 16, 17, M, M, M}, "lead");
    ExpectSeries(p.Var("y"), {0, 0, 5, 5, 7, 7, 0, 0}, "stores outside 2..5 are dropped");
    // Offsets truncate toward zero; offsets with no 32-bit value read and write nothing.
    Program q({{"x", {1, 2, 3, 4, 5}}, {"j", {1.9, -1.9, 1e300, M, -3e9}}}, 5);
    ASSERT_TRUE(q.Compile("r = x[j];\ns = x; s[j] = 0;"));
    ASSERT_TRUE(q.Run());
    ExpectSeries(q.Var("r"), {2, 1, M, M, M}, "r");
    ExpectSeries(q.Var("s"), {0, 0, 3, 4, 5}, "s");
}

TEST(AlgebraInterpreter, DateIndexing) {
    std::vector<double> x(12);
    for (int t = 0; t < 12; ++t) x[t] = 100 + t;
    Program p({{"x", x}, {"y", std::vector<double>(12, 0.0)}}, 12, 1990, 2, 4);  // 1990(2) .. 1993(1)
    ASSERT_TRUE(p.Compile("a = x[1991(3)];\nb = x[3(0)];\nc = x[1989(4)];\nd = x[1993(2)];\n"
                          "y[1990(4)] = 1;\ny[1992(1)] = 2;"));
    ASSERT_TRUE(p.Run(0, 6));
    // Observation of year Y, period P is (Y - 1990) * 4 + P - 2.
    EXPECT_EQ(p.Var("a")[0], x[5]);
    EXPECT_EQ(p.Var("b")[5], x[3]);
    EXPECT_TRUE(IsMissing(p.Var("c")[0]) && IsMissing(p.Var("d")[0]));
    EXPECT_EQ(p.Var("y")[2], 1.0);
    EXPECT_EQ(p.Var("y")[7], 0.0);  // outside 0..6: not stored
    ASSERT_TRUE(p.Run(0, 7));
    EXPECT_EQ(p.Var("y")[7], 2.0);
}

TEST(AlgebraInterpreter, ConditionalsAndEmptySamples) {
    Program p({{"z", {1, 0, M, 2}}, {"y", {9, 9, 9, 9}}}, 4);
    ASSERT_TRUE(p.Compile("a = z ? 1 : 2;\ny = z > 0 ? 5;"));
    ASSERT_TRUE(p.Run());
    ExpectSeries(p.Var("a"), {1, 2, 1, 1}, "a missing condition takes the then branch");
    ExpectSeries(p.Var("y"), {5, 9, 9, 5}, "without else the target keeps its value");
    // An empty sample evaluates each statement once at its start.
    Program q({{"c", std::vector<double>(6, 0.0)}}, 6);
    ASSERT_TRUE(q.Compile("c = c + 1;\nc = c * 10;"));
    ASSERT_TRUE(q.Run(3, 2));
    ExpectSeries(q.Var("c"), {0, 0, 0, 10, 0, 0}, "c");
    EXPECT_EQ(q.ws.t, 3);
}

TEST(AlgebraInterpreter, RangeOutsideTheColumnsIsCut) {
    Program p({{"x", {1, 2, 3}}}, 3);
    ASSERT_TRUE(p.Compile("y = x + 1; x[5] = 1; z = x[-7];"));
    EXPECT_TRUE(p.Run(-5, 1));
    ExpectSeries(p.Var("y"), {2, 3, M}, "y");
    EXPECT_TRUE(p.Run(1, 1000));
    ExpectSeries(p.Var("y"), {2, 3, 4}, "y");
    ASSERT_TRUE(p.Compile("y = 0;"));
    const int imin = -2147483647 - 1, imax = 2147483647;
    for (auto [a, b] : {std::pair{50, 40}, {3, 3}, {-1, -1}, {-1, -2}, {imax, imax}, {imin, imin}}) {
        EXPECT_TRUE(p.Run(a, b));
        ExpectSeries(p.Var("y"), {2, 3, 4}, "ranges wholly outside run nothing");
    }
    EXPECT_TRUE(p.Run(2, 1));
    ExpectSeries(p.Var("y"), {2, 3, 0}, "empty range at an observation");
    EXPECT_TRUE(p.Run(imin, imax));
    ExpectSeries(p.Var("y"), {0, 0, 0}, "whole column");
}

TEST(AlgebraInterpreter, RunTimeFlagsAndTheirReport) {
    Program p({{"x", {M, 0, -1, 4}}}, 4);
    ASSERT_TRUE(p.Compile("r = log(x);\ns = sqrt(x);"));
    CapturedReports reports;
    EXPECT_TRUE(p.Run(0, 0, 0));  // a missing argument: the function is not called, no flag
    EXPECT_TRUE(reports.Log().empty());
    EXPECT_FALSE(p.Run(0, 3, 0));
    ExpectSeries(p.Var("r"), {M, -kInf, M, std::log(4.0)}, "log");
    ExpectSeries(p.Var("s"), {M, 0, M, 2}, "sqrt");
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].second, "There were Algebra run-time errors:\r\n    Logarithm of non-positive number\r\n"
                                       "    Square root of negative number\r\n    Logarithm of zero\r\n");
    EXPECT_EQ(p.ws.flags, kAlgebraFlagLogNonPositive | kAlgebraFlagSqrtNegative);  // the warning bit is gone

    AlgebraWorkspace ws{};
    EXPECT_STREQ(AlgebraErrorText(&ws), "No errors.");
    ws.flags = 0x1FF;
    EXPECT_STREQ(AlgebraErrorText(&ws), "There were Algebra run-time errors:\r\n    Stack full\r\n"
                                        "    Overflow in exponent\r\n    Logarithm of non-positive number\r\n"
                                        "    Divide by zero\r\n    Non-positive degrees of freedom\r\n"
                                        "    Square root of negative number\r\n"
                                        "    Arguments must be different (smooth, sortby)\r\n    Stack error\r\n"
                                        "    Logarithm of zero\r\n");
    ws.flags = 0x200 | 0x80000000u;  // bits without a message add nothing
    EXPECT_STREQ(AlgebraErrorText(&ws), "There were Algebra run-time errors:\r\n");
    AlgebraWorkspace empty{};
    EXPECT_EQ(AlgebraRun(&empty, 0, 5, 10, 0), 0);  // no program: fails quietly
    EXPECT_EQ(reports.Log().size(), 1u);
}

// Replaces the compiled code of `p` (the symbols and constants stay).
void SetCode(Program &p, const std::vector<AlgebraInstr> &code) {
    p.ws.code.assign(code.begin(), code.end());
    p.ws.ncode = static_cast<int32_t>(code.size());
}

TEST(AlgebraInterpreter, StackFullStopsTheRun) {
    Program p({{"x", {1, 2}}}, 2);
    ASSERT_TRUE(p.Compile("y = abs(x); z = 1;"));
    // `values` constants, a call on the last one, their sum into y; then z = 2.
    const auto code = [&](int values) {
        std::vector<AlgebraInstr> c = {{OpStatement, 0}};
        c.insert(c.end(), values, {OpLoadConst, 1});
        c.push_back({OpCall, AlgebraFindFunction("abs")});
        c.insert(c.end(), values - 1, {OpOperator, '+'});
        c.insert(c.end(), {{OpStore, p.Symbol("y")}, {OpStatement, 0}, {OpLoadConst, 2}, {OpStore, p.Symbol("z")},
                           {OpStatement, -1}, {OpEnd, 0}});
        return c;
    };
    SetCode(p, code(500));
    CapturedReports reports;
    EXPECT_FALSE(p.Run(0, 1, 0));
    EXPECT_EQ(p.ws.flags, kAlgebraFlagStackFull);
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].second, "There were Algebra run-time errors:\r\n    Stack full\r\n");
    ExpectSeries(p.Var("y"), {M, M}, "y never stored");
    ExpectSeries(p.Var("z"), {M, M}, "z never evaluated");
    SetCode(p, code(499));
    EXPECT_TRUE(p.Run(0, 1, 1));
    ExpectSeries(p.Var("y"), {499, 499}, "y");
    ExpectSeries(p.Var("z"), {2, 2}, "z");
}

TEST(AlgebraInterpreter, MalformedCodeIsAStackError) {
    Program p({{"x", {3, 4}}}, 2);
    ASSERT_TRUE(p.Compile("y = x;"));
    const int y = p.Symbol("y");
    // Underflow, a value left at an unknown instruction, code naming things that do not exist, jumps
    // backwards or out of their statement, code running off its end.
    const std::vector<std::vector<AlgebraInstr>> bad = {
        {{OpDiscard, -1}}, {{OpOperator, '+'}}, {{OpStore, y}}, {{OpLoadConst, 1}, {OpLoadConst, 1}, {OpStoreDate, y}},
        {{OpLoadConst, 1}, {999, 0}}, {{OpLoadConst, 1}}, {{OpLoadConst, 100000}, {OpStore, y}},
        {{OpLoadConst, 1}, {OpStore, 100000}}, {{OpJump, 50}}, {{OpLoadConst, 0}, {OpJumpFalse, 1}},
        {{OpJump, 3}, {OpStatement, 0}}, {{OpCall, 5000}},
    };
    const AlgebraInstr open{OpStatement, 0}, last{OpStatement, -1}, end{OpEnd, 0};
    std::vector<std::vector<AlgebraInstr>> programs = {{open, {OpLoadConst, 1}, {OpStore, y}}, {}};
    for (auto body : bad) {
        body.insert(body.begin(), open);
        body.insert(body.end(), {last, end});
        programs.push_back(body);
    }
    for (size_t i = 0; i < programs.size(); ++i) {
        SetCode(p, programs[i]);
        CapturedReports reports;
        EXPECT_FALSE(p.Run(0, 1, 0)) << i;
        EXPECT_EQ(p.ws.flags, kAlgebraFlagStackError) << i;
    }
    // An unknown operator code leaves the stack alone.
    SetCode(p, {open, {OpLoadVar, p.Symbol("x")}, {OpOperator, 7}, {OpStore, y}, last, end});
    EXPECT_TRUE(p.Run());
    ExpectSeries(p.Var("y"), {3, 4}, "y");
}

TEST(AlgebraInterpreter, WholeSampleFunctionsAgainstDirectFormulas) {
    const std::vector<double> x = {3, M, 1, 4, 1, 5, 9, 2, 6, 5};
    Program p({{"x", x}}, 10);
    ASSERT_TRUE(p.Compile("m = mean(x);\nv = variance(x);\nc = cum(x);\nl = lag(x, 2);\nd = diff(x, 1);"));
    ASSERT_TRUE(p.Run(2, 8));
    double sum = 0, ss = 0, cum = 0;
    for (int t = 2; t <= 8; ++t) sum += x[t];
    for (int t = 2; t <= 8; ++t) ss += (x[t] - sum / 7) * (x[t] - sum / 7);
    for (int t = 2; t <= 8; ++t) {
        cum += x[t];
        EXPECT_DOUBLE_EQ(p.Var("m")[t], sum / 7) << t;
        EXPECT_DOUBLE_EQ(p.Var("v")[t], ss / 7) << t;
        EXPECT_DOUBLE_EQ(p.Var("c")[t], cum) << t;
        ExpectSeries({p.Var("l")[t], p.Var("d")[t]}, {t == 3 ? M : x[t - 2], t == 2 ? M : x[t] - x[t - 1]}, "lag, diff");
    }
}

// Long series cross block boundaries; every statement is checked against a direct computation.
TEST(AlgebraInterpreter, ManyObservationsAgainstDirectFormulas) {
    const int n = 1000;
    std::vector<double> x(n), z(n);
    for (int t = 0; t < n; ++t) {
        x[t] = (t % 37 == 5) ? M : 1.0 + 0.01 * t;
        z[t] = (t % 53 == 7) ? M : std::sin(0.1 * t);
    }
    Program p({{"x", x}, {"z", z}}, n);
    ASSERT_TRUE(p.Compile("a = log(x) + 0.5 * z ^ 2;\nb = x[-1] - 2 * x[3] / z;\nc = -(x > 2) + !z * (z != x);\n"
                          "d = x ^ z - z * x;\ne = x[-1] == MISSING || z >= 0.5 && x <= 4;\nf = 1 / (x - 2);\n"
                          "g = 0.9 * g[-1] + x;"));
    CapturedReports reports;
    ASSERT_TRUE(p.Run(3, n - 2, 0));
    ASSERT_EQ(reports.Log().size(), 1u);  // 1 / (x - 2) divides by zero once
    const auto miss = [](double v) { return IsMissing(v); };
    std::vector<double> a(n, M), b(n, M), c(n, M), d(n, M), e(n, M), f(n, M);
    for (int t = 3; t <= n - 2; ++t) {
        const double xt = x[t], zt = z[t], xl = x[t - 1], xf = t + 3 < n ? x[t + 3] : M;
        a[t] = (miss(xt) || miss(zt)) ? M : std::log(xt) + 0.5 * zt * zt;
        b[t] = (miss(xl) || miss(xf) || miss(zt)) ? M : xl - 2 * xf / zt;
        const double gt = miss(xt) ? 0.0 : (xt > 2 ? 1.0 : 0.0);
        const double nz = miss(zt) ? M : (zt == 0.0 ? 1.0 : 0.0);
        const double ne = (miss(zt) || miss(xt)) ? ((miss(zt) != miss(xt)) ? 1.0 : 0.0) : (zt != xt ? 1.0 : 0.0);
        c[t] = miss(nz) ? M : -gt + nz * ne;
        d[t] = (miss(xt) || miss(zt)) ? M : std::pow(xt, zt) - zt * xt;
        e[t] = (miss(xl) || ((!miss(zt) && zt >= 0.5) && (!miss(xt) && xt <= 4))) ? 1.0 : 0.0;
        f[t] = miss(xt) ? M : 1.0 / (xt - 2.0);
    }
    const std::vector<std::vector<double>> want = {a, b, c, d, e, f, std::vector<double>(n, M)};
    for (int k = 0; k < 7; ++k) ExpectSeries(p.Var(std::string(1, char('a' + k)).c_str()), want[k], std::string(1, char('a' + k)));
}

TEST(AlgebraInterpreter, StatementsThatReadTheirOwnPastGoObservationByObservation) {
    const int n = 400;
    std::vector<double> x(n);
    for (int t = 0; t < n; ++t) x[t] = 0.5 * t;
    Program p({{"x", x}}, n);
    // Through a lag, a date index and a function reading the variable itself.
    ASSERT_TRUE(p.Compile("y = x; w = x; v = x;"));
    ASSERT_TRUE(p.Run(0, n - 1));
    ASSERT_TRUE(p.Compile("y = y[-1] + 1;\nw = w[2(0)] + w;\nv = lag(v, 1) + 1;"));
    ASSERT_TRUE(p.Run(1, n - 1));
    std::vector<double> y(x), w(x);
    for (int t = 1; t < n; ++t) y[t] = y[t - 1] + 1, w[t] = w[2] + w[t];
    ExpectSeries(p.Var("y"), y, "y");
    ExpectSeries(p.Var("w"), w, "w");
    ExpectSeries(p.Var("v"), y, "v");
}

TEST(AlgebraInterpreter, CallsKeepTheirOrderWithinAnObservation) {
    const int n = 300;
    const auto seeded = [](int nobs, const char *code) {
        auto p = std::make_unique<Program>(std::vector<Variable>{}, nobs);
        EXPECT_TRUE(p->Compile("s = ranseed(12345); u = ranu();"));
        EXPECT_TRUE(p->Run(0, 0));
        EXPECT_TRUE(p->Compile(code));
        EXPECT_TRUE(p->Run(0, nobs - 1));
        return p;
    };
    // The draws one at a time, then two per observation: they must be taken in pairs.
    const std::vector<double> u = seeded(2 * n, "u = ranu();")->Var("u");
    for (const char *code : {"c = ranu() * 10 + ranu();", "c = TRUE ? ranu() * 10 + ranu() : 0;"}) {
        const std::vector<double> c = seeded(n, code)->Var("c");
        for (int t = 0; t < n; ++t) EXPECT_DOUBLE_EQ(c[t], u[2 * t] * 10 + u[2 * t + 1]) << code << " at " << t;
    }
}

}  // namespace
}  // namespace tessel::testing
