// Running Algebra code: evaluation order, operators and missing values, bounds, flags and reports.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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

// Runs `a OP b` over the four combinations of present and missing operands, in every form the
// interpreter distinguishes: right operand a variable, a constant or an expression, each both as a
// plain statement (evaluated a block at a time) and inside a conditional (one observation at a time).
std::vector<double> Binary(const std::string &op, double a, double b) {
    std::vector<std::vector<double>> results;
    const std::string forms[] = {"a " + op + " b", "a " + op + " (b * 1)", "a " + op + " (-(-b))"};
    for (const std::string &form : forms) {
        for (const std::string &code : {"r = " + form + ";", "r = TRUE ? " + form + " : 0;"}) {
            Program p({{"a", {a, M, a, M}}, {"b", {b, b, M, M}}}, 4);
            EXPECT_TRUE(p.Compile(code)) << code;
            p.Run();
            results.push_back(p.Var("r"));
        }
    }
    // A constant right operand, present and missing: rows 0-1 and 2-3 of the variable form.
    const std::string constants[2] = {std::to_string(b), "MISSING"};
    for (int c = 0; c < 2; ++c) {
        for (const std::string &code : {"r = a " + op + " " + constants[c] + ";",
                                        "r = TRUE ? a " + op + " " + constants[c] + " : 0;"}) {
            Program p({{"a", {a, M}}}, 2);
            EXPECT_TRUE(p.Compile(code)) << code;
            p.Run();
            std::vector<double> r = p.Var("r");
            r.insert(c == 0 ? r.end() : r.begin(), 2, 0.0);
            results.push_back(r);
        }
    }
    for (size_t k = 1; k < results.size(); ++k) {
        for (size_t i = 0; i < 4; ++i) {
            if (k >= 6 && (k < 8 ? i >= 2 : i < 2)) continue;  // rows the constant forms do not cover
            if (IsMissing(results[0][i]))
                EXPECT_TRUE(IsMissing(results[k][i])) << op << " form " << k << " row " << i;
            else
                EXPECT_EQ(results[k][i], results[0][i]) << op << " form " << k << " row " << i;
        }
    }
    return results[0];
}

TEST(AlgebraInterpreter, ArithmeticMissingTable) {
    ExpectSeries(Binary("+", 2, 3), {5, M, M, M}, "+");
    ExpectSeries(Binary("-", 2, 3), {-1, M, M, M}, "-");
    ExpectSeries(Binary("*", 2, 3), {6, M, M, M}, "*");
    ExpectSeries(Binary("/", 3, 2), {1.5, M, M, M}, "/");
    ExpectSeries(Binary("^", 2, 3), {8, M, M, M}, "^");
    ExpectSeries(Binary("^", 1.5, 2), {2.25, M, M, M}, "^2");
    ExpectSeries(Binary("^", 4, 0.5), {2, M, M, M}, "^0.5");
}

TEST(AlgebraInterpreter, ComparisonMissingTable) {
    // Ordering with a missing operand is false; equality treats two missing values as equal.
    ExpectSeries(Binary("<", 1, 2), {1, 0, 0, 0}, "<");
    ExpectSeries(Binary(">", 1, 2), {0, 0, 0, 0}, ">");
    ExpectSeries(Binary(">", 3, 2), {1, 0, 0, 0}, ">");
    ExpectSeries(Binary("<=", 2, 2), {1, 0, 0, 0}, "<=");
    ExpectSeries(Binary(">=", 2, 2), {1, 0, 0, 0}, ">=");
    ExpectSeries(Binary(">=", 1, 2), {0, 0, 0, 0}, ">=");
    ExpectSeries(Binary("==", 2, 2), {1, 0, 0, 1}, "==");
    ExpectSeries(Binary("==", 2, 3), {0, 0, 0, 1}, "==");
    ExpectSeries(Binary("!=", 2, 2), {0, 1, 1, 0}, "!=");
    ExpectSeries(Binary("!=", 2, 3), {1, 1, 1, 0}, "!=");
}

TEST(AlgebraInterpreter, LogicalMissingTable) {
    // A missing operand is not zero, so it counts as true.
    ExpectSeries(Binary("&&", 1, 1), {1, 1, 1, 1}, "&& 1 1");
    ExpectSeries(Binary("&&", 0, 1), {0, 1, 0, 1}, "&& 0 1");
    ExpectSeries(Binary("&&", 1, 0), {0, 0, 1, 1}, "&& 1 0");
    ExpectSeries(Binary("||", 0, 0), {0, 1, 1, 1}, "|| 0 0");
    ExpectSeries(Binary("||", 0, 2), {1, 1, 1, 1}, "|| 0 2");
}

TEST(AlgebraInterpreter, UnaryOperators) {
    Program p({{"a", {2, 0, M, -0.0}}}, 4);
    ASSERT_TRUE(p.Compile("n = -a; m = !a; k = !!a;"));
    ASSERT_TRUE(p.Run());
    ExpectSeries(p.Var("n"), {-2, -0.0, M, 0.0}, "-");
    EXPECT_TRUE(std::signbit(p.Var("n")[1]));
    EXPECT_FALSE(std::signbit(p.Var("n")[3]));
    ExpectSeries(p.Var("m"), {0, 1, M, 1}, "!");
    ExpectSeries(p.Var("k"), {1, 0, M, 0}, "!!");
}

TEST(AlgebraInterpreter, DivideByZeroIsAWarningThatStillComputes) {
    Program p({{"a", {1, -1, 0, 2}}}, 4);
    ASSERT_TRUE(p.Compile("r = a / 0;"));
    CapturedReports reports;
    EXPECT_TRUE(p.Run(0, 3, 0));
    const std::vector<double> r = p.Var("r");
    EXPECT_EQ(r[0], kInf);
    EXPECT_EQ(r[1], -kInf);
    EXPECT_TRUE(IsMissing(r[2]));
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].first, "Error");
    EXPECT_EQ(reports.Log()[0].second, "There were Algebra run-time errors:\r\n    Divide by zero\r\n");
    // Warnings are cleared once reported.
    EXPECT_EQ(p.ws.flags, 0u);
}

TEST(AlgebraInterpreter, StatementMajorOrderAndRecursion) {
    const std::vector<double> x = {1, 2, 3, 4, 5, 6};
    Program p({{"x", x}}, 6);
    // The second statement sees the finished column of the first; the third reads its own past.
    ASSERT_TRUE(p.Compile("y = x * 2;\nz = y[1] - y;\nw = x;\nw = 0.5 * w[-1] + x;"));
    ASSERT_TRUE(p.Run(1, 5));
    std::vector<double> y(6, M), z(6, M), w(6, M);
    for (int t = 1; t <= 5; ++t) y[t] = 2 * x[t];
    for (int t = 1; t <= 5; ++t) z[t] = t + 1 <= 5 ? y[t + 1] - y[t] : M;
    for (int t = 1; t <= 5; ++t) w[t] = x[t];
    // w[0] is presample and missing, so the recursion is missing from the start.
    for (int t = 1; t <= 5; ++t) w[t] = IsMissing(w[t - 1]) ? M : 0.5 * w[t - 1] + x[t];
    ExpectSeries(p.Var("y"), y, "y");
    ExpectSeries(p.Var("z"), z, "z");
    ExpectSeries(p.Var("w"), w, "w");

}

TEST(AlgebraInterpreter, ReadsSpanTheColumnWritesOnlyTheSample) {
    const std::vector<double> x = {10, 11, 12, 13, 14, 15, 16, 17};
    Program p({{"x", x}, {"y", std::vector<double>(8, 0.0)}}, 8);
    ASSERT_TRUE(p.Compile("a = x[-2];\nb = x[3];\ny[-1] = 5;\ny[2] = 7;"));
    ASSERT_TRUE(p.Run(2, 5));
    // Presample and postsample values are read...
    ExpectSeries(p.Var("a"), {M, M, 10, 11, 12, 13, M, M}, "lag");
    ExpectSeries(p.Var("b"), {M, M, 15, 16, 17, M, M, M}, "lead");
    // ...but writes outside 2..5 are dropped.
    ExpectSeries(p.Var("y"), {0, 0, 5, 5, 7, 7, 0, 0}, "stores");
}

TEST(AlgebraInterpreter, LagOfFirstObservationIsMissingAndPropagates) {
    Program p({{"x", {1, 2, 3, 4}}}, 4);
    ASSERT_TRUE(p.Compile("x = x[-1] + 1;"));
    ASSERT_TRUE(p.Run());
    ExpectSeries(p.Var("x"), {M, M, M, M}, "x");
}

TEST(AlgebraInterpreter, NonIntegerAndHugeOffsets) {
    Program p({{"x", {1, 2, 3, 4, 5}}, {"j", {1.9, -1.9, 1e300, M, -3e9}}}, 5);
    ASSERT_TRUE(p.Compile("r = x[j];\ns = x; s[j] = 0;"));
    ASSERT_TRUE(p.Run());
    // Offsets truncate toward zero; offsets with no 32-bit value read nothing.
    ExpectSeries(p.Var("r"), {2, 1, M, M, M}, "r");
    ExpectSeries(p.Var("s"), {0, 0, 3, 4, 5}, "s");
}

TEST(AlgebraInterpreter, DateIndexing) {
    std::vector<double> x(12);
    for (int t = 0; t < 12; ++t) x[t] = 100 + t;
    Program p({{"x", x}, {"y", std::vector<double>(12, 0.0)}}, 12, 1990, 2, 4);  // 1990(2) .. 1993(1)
    ASSERT_TRUE(p.Compile("a = x[1991(3)];\nb = x[3(0)];\nc = x[1989(4)];\nd = x[1993(2)];\n"
                          "y[1990(4)] = 1;\ny[1992(1)] = 2;"));
    ASSERT_TRUE(p.Run(0, 7));
    // Observation of year Y, period P is (Y - 1990) * 4 + P - 2.
    EXPECT_EQ(p.Var("a")[0], x[(1991 - 1990) * 4 + 3 - 2]);
    EXPECT_EQ(p.Var("b")[5], x[3]);
    EXPECT_TRUE(IsMissing(p.Var("c")[0]));
    EXPECT_TRUE(IsMissing(p.Var("d")[0]));
    const std::vector<double> y = p.Var("y");
    EXPECT_EQ(y[2], 1.0);
    EXPECT_EQ(y[(1992 - 1990) * 4 + 1 - 2], 2.0);
    Program q({{"y", std::vector<double>(12, 0.0)}}, 12, 1990, 2, 4);
    ASSERT_TRUE(q.Compile("y[1992(1)] = 2;"));
    ASSERT_TRUE(q.Run(0, 6));
    EXPECT_EQ(q.Var("y")[7], 0.0);  // outside 0..6: not stored
    ASSERT_TRUE(q.Run(0, 7));
    EXPECT_EQ(q.Var("y")[7], 2.0);
}

TEST(AlgebraInterpreter, ConditionalsAndMissingConditions) {
    Program p({{"z", {1, 0, M, 2}}, {"y", {9, 9, 9, 9}}}, 4);
    ASSERT_TRUE(p.Compile("a = z ? 1 : 2;\ny = z > 0 ? 5;"));
    ASSERT_TRUE(p.Run());
    // A missing condition is not zero: the then branch.
    ExpectSeries(p.Var("a"), {1, 2, 1, 1}, "a");
    ExpectSeries(p.Var("y"), {5, 9, 9, 5}, "y");
}

TEST(AlgebraInterpreter, EmptySampleEvaluatesEachStatementOnceAtItsStart) {
    Program p({{"c", std::vector<double>(6, 0.0)}}, 6);
    ASSERT_TRUE(p.Compile("c = c + 1;\nc = c * 10;"));
    ASSERT_TRUE(p.Run(3, 2));
    ExpectSeries(p.Var("c"), {0, 0, 0, 10, 0, 0}, "c");
    EXPECT_EQ(p.ws.t, 3);
}

TEST(AlgebraInterpreter, RangeOutsideTheColumnsIsCut) {
    Program p({{"x", {1, 2, 3}}}, 3);
    ASSERT_TRUE(p.Compile("y = x + 1; x[5] = 1; z = x[-7];"));
    EXPECT_TRUE(p.Run(-5, 1));
    ExpectSeries(p.Var("y"), {2, 3, M}, "y");
    EXPECT_TRUE(p.Run(1, 1000));
    ExpectSeries(p.Var("y"), {2, 3, 4}, "y");
    // Ranges wholly outside run nothing, empty ones included.
    ASSERT_TRUE(p.Compile("y = 0;"));
    const int ranges[][2] = {{50, 40}, {3, 3}, {-1, -1}, {-1, -2}, {2147483647, 2147483647},
                             {-2147483647 - 1, -2147483647 - 1}};
    for (const auto &r : ranges) {
        EXPECT_TRUE(p.Run(r[0], r[1]));
        ExpectSeries(p.Var("y"), {2, 3, 4}, "untouched");
    }
    EXPECT_TRUE(p.Run(2, 1));
    ExpectSeries(p.Var("y"), {2, 3, 0}, "empty range at an observation");
    EXPECT_TRUE(p.Run(-2147483647 - 1, 2147483647));
    ExpectSeries(p.Var("y"), {0, 0, 0}, "whole column");
}

TEST(AlgebraInterpreter, FunctionWithMissingArgumentIsNotCalled) {
    Program p({{"x", {M, 0, -1, 4}}}, 4);
    ASSERT_TRUE(p.Compile("r = log(x);\ns = sqrt(x);"));
    CapturedReports reports;
    EXPECT_TRUE(p.Run(0, 0, 0));  // only the missing observation: no flag either
    EXPECT_TRUE(reports.Log().empty());
    EXPECT_FALSE(p.Run(0, 3, 0));
    const std::vector<double> r = p.Var("r"), s = p.Var("s");
    EXPECT_TRUE(IsMissing(r[0]));
    EXPECT_EQ(r[1], -kInf);
    EXPECT_TRUE(IsMissing(r[2]));
    EXPECT_DOUBLE_EQ(r[3], std::log(4.0));
    EXPECT_TRUE(IsMissing(s[2]));
    EXPECT_EQ(s[3], 2.0);
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].second,
              "There were Algebra run-time errors:\r\n"
              "    Logarithm of non-positive number\r\n"
              "    Square root of negative number\r\n"
              "    Logarithm of zero\r\n");
    // Error bits stay for the caller; the warning bit is gone.
    EXPECT_EQ(p.ws.flags, kAlgebraFlagLogNonPositive | kAlgebraFlagSqrtNegative);
}

TEST(AlgebraInterpreter, ErrorTextListsBitsInOrder) {
    AlgebraWorkspace ws{};
    EXPECT_STREQ(AlgebraErrorText(&ws), "No errors.");
    ws.flags = 0x1FF;
    const std::string all = AlgebraErrorText(&ws);
    EXPECT_EQ(all,
              "There were Algebra run-time errors:\r\n"
              "    Stack full\r\n"
              "    Overflow in exponent\r\n"
              "    Logarithm of non-positive number\r\n"
              "    Divide by zero\r\n"
              "    Non-positive degrees of freedom\r\n"
              "    Square root of negative number\r\n"
              "    Arguments must be different (smooth, sortby)\r\n"
              "    Stack error\r\n"
              "    Logarithm of zero\r\n");
    // Bits without a message add nothing.
    ws.flags = 0x200 | 0x80000000u;
    EXPECT_STREQ(AlgebraErrorText(&ws), "There were Algebra run-time errors:\r\n");
}

// Replaces the compiled code of `p` by `code` (the symbols and constants stay).
void SetCode(Program &p, const std::vector<AlgebraInstr> &code) {
    p.ws.code.assign(code.begin(), code.end());
    p.ws.ncode = static_cast<int32_t>(code.size());
}

TEST(AlgebraInterpreter, StackFullStopsTheRun) {
    Program p({{"x", {1, 2}}}, 2);
    ASSERT_TRUE(p.Compile("y = abs(x); z = 1;"));
    // 500 values, a call on the last one, and the sum of them all into y.
    std::vector<AlgebraInstr> code = {{OpStatement, 0}};
    for (int i = 0; i < 500; ++i) code.push_back({OpLoadConst, 1});
    code.push_back({OpCall, AlgebraFindFunction("abs")});
    for (int i = 0; i < 499; ++i) code.push_back({OpOperator, '+'});
    code.push_back({OpStore, p.Symbol("y")});
    code.push_back({OpStatement, 0});
    code.push_back({OpLoadConst, 2});
    code.push_back({OpStore, p.Symbol("z")});
    code.push_back({OpStatement, -1});
    code.push_back({OpEnd, 0});
    SetCode(p, code);
    CapturedReports reports;
    EXPECT_FALSE(p.Run(0, 1, 0));
    EXPECT_EQ(p.ws.flags, kAlgebraFlagStackFull);
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].second, "There were Algebra run-time errors:\r\n    Stack full\r\n");
    ExpectSeries(p.Var("y"), {M, M}, "y never stored");
    ExpectSeries(p.Var("z"), {M, M}, "z never evaluated");

    // 499 values after the call stay within the limit.
    code.erase(code.begin() + 1);
    code.erase(code.begin() + 502);
    SetCode(p, code);
    EXPECT_TRUE(p.Run(0, 1, 1));
    ExpectSeries(p.Var("y"), {499, 499}, "y");
    ExpectSeries(p.Var("z"), {2, 2}, "z");
}

TEST(AlgebraInterpreter, StackErrors) {
    Program p({{"x", {1, 2}}}, 2);
    ASSERT_TRUE(p.Compile("y = x;"));
    const int y = p.Symbol("y");
    // Underflow, a value left at an unknown instruction, code naming things that do not exist, jumps
    // backwards or out of their statement, code running off its end.
    const std::vector<std::vector<AlgebraInstr>> bad = {
        {{OpStatement, 0}, {OpDiscard, -1}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpOperator, '+'}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpStore, y}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 1}, {OpLoadConst, 1}, {OpStoreDate, y}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 1}, {999, 0}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 1}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 100000}, {OpStore, y}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 1}, {OpStore, 100000}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpJump, 50}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 0}, {OpJumpFalse, 1}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpJump, 3}, {OpStatement, 0}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpCall, 5000}, {OpStatement, -1}, {OpEnd, 0}},
        {{OpStatement, 0}, {OpLoadConst, 1}, {OpStore, y}},
        {},
    };
    for (size_t i = 0; i < bad.size(); ++i) {
        SetCode(p, bad[i]);
        CapturedReports reports;
        EXPECT_FALSE(p.Run(0, 1, 0)) << i;
        EXPECT_EQ(p.ws.flags, kAlgebraFlagStackError) << i;
    }
}

TEST(AlgebraInterpreter, UnknownOperatorLeavesTheStackAlone) {
    Program p({{"x", {3, 4}}}, 2);
    ASSERT_TRUE(p.Compile("y = x;"));
    SetCode(p, {{OpStatement, 0}, {OpLoadVar, p.Symbol("x")}, {OpOperator, 7}, {OpStore, p.Symbol("y")},
                {OpStatement, -1}, {OpEnd, 0}});
    EXPECT_TRUE(p.Run());
    ExpectSeries(p.Var("y"), {3, 4}, "y");
}

TEST(AlgebraInterpreter, RunWithoutProgramFailsQuietly) {
    AlgebraWorkspace ws{};
    CapturedReports reports;
    EXPECT_EQ(AlgebraRun(&ws, 0, 5, 10, 0), 0);
    EXPECT_TRUE(reports.Log().empty());
}

TEST(AlgebraInterpreter, WholeSampleFunctionsAgainstDirectFormulas) {
    const std::vector<double> x = {3, M, 1, 4, 1, 5, 9, 2, 6, 5};
    Program p({{"x", x}}, 10);
    ASSERT_TRUE(p.Compile("m = mean(x);\nv = variance(x);\nc = cum(x);\nl = lag(x, 2);\nd = diff(x, 1);"));
    ASSERT_TRUE(p.Run(2, 8));
    double sum = 0, n = 0;
    for (int t = 2; t <= 8; ++t) sum += x[t], n += 1;
    const double mean = sum / n;
    double ss = 0;
    for (int t = 2; t <= 8; ++t) ss += (x[t] - mean) * (x[t] - mean);
    for (int t = 2; t <= 8; ++t) {
        EXPECT_DOUBLE_EQ(p.Var("m")[t], mean) << t;
        EXPECT_DOUBLE_EQ(p.Var("v")[t], ss / n) << t;
        double cum = 0;
        for (int j = 2; j <= t; ++j) cum += x[j];
        EXPECT_DOUBLE_EQ(p.Var("c")[t], cum) << t;
        if (t - 2 == 1)
            EXPECT_TRUE(IsMissing(p.Var("l")[t]));
        else
            EXPECT_EQ(p.Var("l")[t], x[t - 2]) << t;
        if (t - 1 == 1)
            EXPECT_TRUE(IsMissing(p.Var("d")[t]));
        else
            EXPECT_EQ(p.Var("d")[t], x[t] - x[t - 1]) << t;
    }
}

}  // namespace
}  // namespace tessel::testing

namespace tessel::testing {
namespace {

// Long series cross block boundaries; every statement is checked against a direct computation.
TEST(AlgebraInterpreterLong, ManyObservationsAgainstDirectFormulas) {
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
    std::vector<double> a(n, M), b(n, M), c(n, M), d(n, M), e(n, M), f(n, M), g(n, M);
    for (int t = 3; t <= n - 2; ++t) {
        const double xt = x[t], zt = z[t], xl = x[t - 1], xf = t + 3 < n ? x[t + 3] : M;
        a[t] = (miss(xt) || miss(zt)) ? M : std::log(xt) + 0.5 * zt * zt;
        b[t] = (miss(xl) || miss(xf) || miss(zt)) ? M : xl - 2 * xf / zt;
        const double gt = miss(xt) ? 0.0 : (xt > 2 ? 1.0 : 0.0);
        const double nz = miss(zt) ? M : (zt == 0.0 ? 1.0 : 0.0);
        const double ne = (miss(zt) || miss(xt)) ? ((miss(zt) != miss(xt)) ? 1.0 : 0.0) : (zt != xt ? 1.0 : 0.0);
        c[t] = miss(nz) ? M : -gt + nz * ne;
        d[t] = (miss(xt) || miss(zt)) ? M : std::pow(xt, zt) - zt * xt;
        const bool first = miss(xl);
        const bool second = (!miss(zt) && zt >= 0.5) && (!miss(xt) && xt <= 4);
        e[t] = (first || second) ? 1.0 : 0.0;
        f[t] = miss(xt) ? M : 1.0 / (xt - 2.0);
    }
    // g is missing from the start: g[2] is before the sample and never set.
    ExpectSeries(p.Var("a"), a, "a");
    ExpectSeries(p.Var("b"), b, "b");
    ExpectSeries(p.Var("c"), c, "c");
    ExpectSeries(p.Var("d"), d, "d");
    ExpectSeries(p.Var("e"), e, "e");
    ExpectSeries(p.Var("f"), f, "f");
    ExpectSeries(p.Var("g"), g, "g");
}

TEST(AlgebraInterpreterLong, StatementsThatReadTheirOwnPastGoObservationByObservation) {
    const int n = 400;
    std::vector<double> x(n);
    for (int t = 0; t < n; ++t) x[t] = 0.5 * t;
    Program p({{"x", x}}, n);
    // Through a lag, a date index and a function reading the variable itself.
    ASSERT_TRUE(p.Compile("y = x; w = x; v = x;"));
    ASSERT_TRUE(p.Run(0, n - 1));
    ASSERT_TRUE(p.Compile("y = y[-1] + 1;\nw = w[2(0)] + w;\nv = lag(v, 1) + 1;"));
    ASSERT_TRUE(p.Run(1, n - 1));
    std::vector<double> y(x), w(x), v(x);
    for (int t = 1; t < n; ++t) y[t] = y[t - 1] + 1;
    for (int t = 1; t < n; ++t) w[t] = w[2] + w[t];
    for (int t = 1; t < n; ++t) v[t] = v[t - 1] + 1;
    ExpectSeries(p.Var("y"), y, "y");
    ExpectSeries(p.Var("w"), w, "w");
    ExpectSeries(p.Var("v"), v, "v");
}

}  // namespace
}  // namespace tessel::testing

namespace tessel::testing {
namespace {

TEST(AlgebraInterpreterFunctions, CallsKeepTheirOrderWithinAnObservation) {
    const int n = 300;
    // The draws one at a time, then two per observation: the second statement must take them in pairs.
    Program single({}, 2 * n);
    ASSERT_TRUE(single.Compile("s = ranseed(12345); u = ranu();"));
    ASSERT_TRUE(single.Run(0, 0));
    ASSERT_TRUE(single.Compile("u = ranu();"));
    ASSERT_TRUE(single.Run(0, 2 * n - 1));
    const std::vector<double> u = single.Var("u");
    for (const char *code : {"c = ranu() * 10 + ranu();", "c = TRUE ? ranu() * 10 + ranu() : 0;"}) {
        Program pair({}, n);
        ASSERT_TRUE(pair.Compile("s = ranseed(12345); u = ranu();"));
        ASSERT_TRUE(pair.Run(0, 0));
        ASSERT_TRUE(pair.Compile(code));
        ASSERT_TRUE(pair.Run(0, n - 1));
        const std::vector<double> c = pair.Var("c");
        for (int t = 0; t < n; ++t) EXPECT_DOUBLE_EQ(c[t], u[2 * t] * 10 + u[2 * t + 1]) << code << " at " << t;
    }
}

}  // namespace
}  // namespace tessel::testing
