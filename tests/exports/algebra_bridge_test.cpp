// The six Algebra bridge exports end to end through the stand-in runtime.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "algebra/report.h"
#include "host/exports.h"
#include "numeric/missing.h"
#include "velawin/velawin.h"

namespace {

void Quiet(const char *, const char *) {}

// Arguments of FnInitAlgebraNls over a quarterly sample from 2000(1): x = t + 1 and y = 3 + 2 x + e.
class AlgebraExports : public ::testing::Test {
  protected:
    static constexpr int kRows = 8;
    std::vector<double> data;
    VelaValue args[9]{};
    VelaValue start{}, numbers{}, rtn{};
    tessel::AlgebraReporter previous = nullptr;
    long blocks = 0;
    long allocated = 0;  // blocks the last Init left allocated

    void SetUp() override {
        previous = tessel::AlgebraSetReporter(Quiet);
        FnExitAlgebraNls(nullptr, nullptr, 0);
        blocks = VelawinLiveBlocks();
        for (int t = 0; t < kRows; ++t) {
            data.push_back(t + 1.0);
            data.push_back(3.0 + 2.0 * (t + 1) + (t % 2 ? 0.5 : -0.5));
        }
        args[0] = VelawinMatrix(kRows, 2, data.data());
        VelaLibValArrayCalloc(&args[1], 2);
        VelaValSetString(VelaValGetArrayVal(&args[1], 0), "x");
        VelaValSetString(VelaValGetArrayVal(&args[1], 1), "y");
        args[2] = VelawinInt(2000), args[3] = VelawinInt(1), args[4] = VelawinInt(4), args[5] = VelawinInt(0);
        args[7] = VelawinRef(&start), args[8] = VelawinRef(&numbers);
    }
    void TearDown() override {
        FnExitAlgebraNls(nullptr, nullptr, 0);
        for (int i = 0; i < 7; ++i) VelaFreeByValue(&args[i]);
        for (VelaValue *v : {&start, &numbers, &rtn}) VelaFreeByValue(v);
        EXPECT_EQ(VelawinLiveBlocks(), blocks);
        VelawinFailAllocations(0, 0);
        tessel::AlgebraSetReporter(previous);
    }
    // FnInitAlgebraNls with `code`; returns the message or "" when rtn was left alone.
    std::string Init(const char *code, int cArg = 9) {
        VelaFreeByValue(&args[6]);
        args[6] = VelawinString(code);
        VelaFreeByValue(&rtn);
        VelawinBeginCall("FnInitAlgebraNls");
        const long before = VelawinLiveBlocks();
        FnInitAlgebraNls(&rtn, args, cArg);
        allocated = VelawinLiveBlocks() - before;
        return rtn.type == VELA_STRING ? rtn.data.str : "";
    }
    std::string Run(std::vector<double> params, int first, int last) {
        VelaValue pv[3] = {VelawinMatrix(static_cast<int>(params.size()), params.empty() ? 0 : 1, params.data()),
                           VelawinInt(first), VelawinInt(last)};
        VelaFreeByValue(&rtn);
        FnRunAlgebraNls(&rtn, pv, 3);
        VelaFreeByValue(&pv[0]);
        return rtn.type == VELA_STRING ? rtn.data.str : "";
    }
    // FnGetAlgebraVar; an empty vector when rtn was left alone.
    std::vector<double> Get(const char *name, int first, int last, const VelaValue *select = nullptr) {
        VelaValue pv[4] = {VelawinString(name), VelawinInt(first), VelawinInt(last), {}};
        if (select) pv[3] = *select;
        VelaFreeByValue(&rtn);
        FnGetAlgebraVar(&rtn, pv, select ? 4 : 3);
        VelaFreeByValue(&pv[0]);
        std::vector<double> out;
        if (rtn.type == VELA_MATRIX)
            for (int i = 0; i < rtn.ival; ++i) out.push_back(rtn.data.mat[i][0]);
        return out;
    }
    std::string Name(int index) {
        VelaValue pv[1] = {VelawinInt(index)};
        VelaFreeByValue(&rtn);
        FnGetAlgebraName(&rtn, pv, 1);
        return rtn.type == VELA_STRING ? rtn.data.str : "<none>";
    }
    // FnGetAlgebraAddedData: the matrix's rows and columns, its values column by column, and the names.
    std::vector<double> Added(std::vector<std::string> *names) {
        VelaValue added{}, list{};
        VelaValue pv[2] = {VelawinRef(&added), VelawinRef(&list)};
        FnGetAlgebraAddedData(&rtn, pv, 2);
        FnGetAlgebraAddedData(&rtn, pv, 2);  // fetching again replaces what the references held
        std::vector<double> out = {double(added.type == VELA_MATRIX ? added.ival : -1), double(added.cols)};
        for (int j = 0; j < added.cols; ++j)
            for (int t = 0; t < added.ival; ++t) out.push_back(added.data.mat[t][j]);
        EXPECT_EQ(list.type, VELA_ARRAY);
        for (int i = 0; i < list.ival; ++i) names->push_back(VelaValGetString(VelaValGetArrayVal(&list, i)));
        VelaFreeByValue(&added);
        VelaFreeByValue(&list);
        return out;
    }
};

std::vector<double> Column(const VelaValue &v) {
    std::vector<double> out;
    if (v.type == VELA_MATRIX && v.cols == 1)
        for (int i = 0; i < v.ival; ++i) out.push_back(v.data.mat[i][0]);
    return out;
}

TEST_F(AlgebraExports, NonLinearModelRoundTrip) {
    ASSERT_EQ(Init("&0 = 1; &1 = 0.5;\nfit = &0 + &1 * x;\nres = y - fit;"), "");
    EXPECT_EQ(rtn.type, VELA_EMPTY);
    EXPECT_EQ(Column(start), (std::vector<double>{1.0, 0.5}));
    EXPECT_EQ(Column(numbers), (std::vector<double>{0, 1}));
    ASSERT_EQ(Run({3.0, 2.0}, 0, kRows - 1), "");
    const std::vector<double> res = Get("res", 0, kRows - 1);
    ASSERT_EQ(res.size(), static_cast<size_t>(kRows));
    for (int t = 0; t < kRows; ++t) EXPECT_DOUBLE_EQ(res[t], t % 2 ? 0.5 : -0.5) << t;
    // A second trial vector over part of the sample.
    ASSERT_EQ(Run({0.0, 1.0}, 2, 4), "");
    const std::vector<double> fit = Get("fit", 0, kRows - 1);
    EXPECT_EQ(fit[2], 3.0);
    EXPECT_EQ(fit[4], 5.0);
    EXPECT_EQ(fit[5], 3.0 + 2.0 * 6);  // left from the first run
    EXPECT_EQ(Run({1.0}, 0, 3), "Algebra run error");
    EXPECT_EQ(Run({1.0, 2.0, 3.0}, 0, 3), "Algebra run error");
}

TEST_F(AlgebraExports, FetchingVariables) {
    ASSERT_EQ(Init("z = x * 10;", 7), "");
    ASSERT_EQ(Run({}, 0, kRows - 1), "");
    // The last observation is cut to the data; the first must not be negative.
    EXPECT_EQ(Get("z", 5, 100), (std::vector<double>{60, 70, 80}));
    EXPECT_EQ(Get("z", 3, 2), (std::vector<double>{}));
    EXPECT_EQ(rtn.type, VELA_MATRIX);
    EXPECT_EQ(rtn.ival, 0);
    VelawinBeginCall("FnGetAlgebraVar");
    EXPECT_TRUE(Get("z", -1, 3).empty());
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
    // Unknown names leave rtn untouched.
    VelaFreeByValue(&rtn);
    rtn = VelawinInt(42);
    VelaValue pv[3] = {VelawinString("nosuch"), VelawinInt(0), VelawinInt(3)};
    FnGetAlgebraVar(&rtn, pv, 3);
    EXPECT_EQ(rtn.type, VELA_INT);
    EXPECT_EQ(rtn.ival, 42);
    VelaFreeByValue(&pv[0]);
    // A selection row of one value per observation picks observations; one of another length is ignored.
    const double marks[kRows] = {1, 0, 0.9, 2, -1, 0, 1, 1};
    VelaValue select = VelawinMatrix(1, kRows, marks);
    EXPECT_EQ(Get("x", 0, 5, &select), (std::vector<double>{1, 4, 5}));
    VelaFreeByValue(&select);
    select = VelawinMatrix(1, kRows - 1, marks);
    EXPECT_EQ(Get("x", 0, 2, &select), (std::vector<double>{1, 2, 3}));
    VelaFreeByValue(&select);
    VelaValue not_matrix = VelawinInt(1);
    VelawinBeginCall("FnGetAlgebraVar");
    EXPECT_TRUE(Get("x", 0, 2, &not_matrix).empty());
    EXPECT_EQ(VelawinErrorCount(), 1);
}

TEST_F(AlgebraExports, NamesAndAddedData) {
    ASSERT_EQ(Init("b = x + 1;\na = b * 2;\nx = 0;", 7), "");
    ASSERT_EQ(Run({}, 0, kRows - 1), "");
    for (auto [i, name] : {std::pair{0, "x"}, {1, "y"}, {2, "b"}, {3, "a"}, {4, ""}, {-1, ""}}) EXPECT_EQ(Name(i), name) << i;
    std::vector<std::string> names;
    std::vector<double> want = {kRows, 2};
    for (int t = 0; t < kRows; ++t) want.push_back(t + 2.0);
    for (int t = 0; t < kRows; ++t) want.push_back(2.0 * (t + 2));
    EXPECT_EQ(Added(&names), want);
    EXPECT_EQ(names, (std::vector<std::string>{"b", "a"}));
    // Nothing added: a matrix of no columns and an empty list.
    names.clear();
    ASSERT_EQ(Init("x = x + 1;", 7), "");
    EXPECT_EQ(Added(&names), (std::vector<double>{kRows, 0}));
    EXPECT_TRUE(names.empty());
}

TEST_F(AlgebraExports, OptionalParameterOutputs) {
    // Without the references parameters are refused, and a plain transformation works; arguments 7 and 8
    // that are not references count as not passed.
    EXPECT_EQ(Init("&0 = 1; f = &0 * x;", 7), "Error: No parameters alllowed here");
    EXPECT_EQ(Init("f = x;", 7), "");
    args[7] = args[8] = VelawinInt(0);
    EXPECT_EQ(Init("f = x;", 9), "");
    // With references, code without parameters has nothing to estimate.
    args[7] = VelawinRef(&start);
    args[8] = VelawinRef(&numbers);
    EXPECT_EQ(Init("f = x;"), "Error: No parameters to estimate");
    EXPECT_EQ(start.type, VELA_EMPTY);
    EXPECT_EQ(Init("f = &1 * x + &3; &1 = 2; &3 = 4;"), "");
    EXPECT_EQ(Column(numbers), (std::vector<double>{1, 3}));
    EXPECT_EQ(Column(start), (std::vector<double>{2, 4}));
}

TEST_F(AlgebraExports, FailedInitialisationReleasesTheState) {
    ASSERT_EQ(Init("f = x;", 7), "");
    EXPECT_EQ(Init("f = nosuch;", 7), "Parse error: nosuch Undeclared identifier on line 1");
    EXPECT_EQ(Name(0), "");
    EXPECT_TRUE(Get("x", 0, 3).empty());
    EXPECT_EQ(Run({}, 0, 3), "Algebra run error");
    EXPECT_EQ(Init("&2 = 1; f = &2 + &0;"), "Error: Need starting values for all parameters");
    EXPECT_EQ(start.type, VELA_EMPTY);
    EXPECT_EQ(Name(0), "");
    EXPECT_EQ(Init("f = \"open;\n\";", 7), "Scan error: End of string missing on line 1");
    EXPECT_EQ(Name(0), "");
    // The second output cannot be allocated: the start-up fails as a whole.
    VelaFreeByValue(&args[6]);
    args[6] = VelawinString("&0 = 1; f = &0 * x;");
    VelaFreeByValue(&rtn);
    VelawinFailAllocations(1, 1);
    FnInitAlgebraNls(&rtn, args, 9);
    VelawinFailAllocations(0, 0);
    ASSERT_EQ(rtn.type, VELA_STRING);
    EXPECT_STREQ(rtn.data.str, "Algebra initialization error");
    EXPECT_EQ(start.type, VELA_EMPTY);
    EXPECT_EQ(numbers.type, VELA_EMPTY);
    EXPECT_EQ(Name(0), "");
}

TEST_F(AlgebraExports, WrongArgumentTypesAllocateNothing) {
    // Each case: the argument replaced, its stand-in, and the error (empty: any one error).
    VelaValue short_names{}, bad_name{};
    VelaLibValArrayCalloc(&short_names, 1);  // fewer names than columns
    VelaValSetString(VelaValGetArrayVal(&short_names, 0), "x");
    VelaLibValArrayCalloc(&bad_name, 2);  // a name that is not a string
    VelaValSetString(VelaValGetArrayVal(&bad_name, 0), "x");
    *VelaValGetArrayVal(&bad_name, 1) = VelawinInt(5);
    struct Case { int arg; VelaValue value; const char *error; };
    const Case cases[] = {
        {0, VelawinInt(3), "argument 0 of FnInitAlgebraNls: expected a matrix, got an integer"},
        {8, VelawinInt(0), "argument 8 of FnInitAlgebraNls: expected an array or reference, got an integer"},
        {1, short_names, "argument 1 of FnInitAlgebraNls: bad value"},
        {1, bad_name, ""},
    };
    for (const Case &c : cases) {
        const VelaValue saved = args[c.arg];
        args[c.arg] = c.value;
        EXPECT_EQ(Init("f = &0; &0 = 1;"), "") << c.arg;
        EXPECT_EQ(VelawinErrorCount(), 1) << c.arg;
        if (*c.error) {
            EXPECT_EQ(std::string(VelawinLastError()), c.error);
        }
        EXPECT_EQ(allocated, 0) << c.arg;
        args[c.arg] = saved;
        EXPECT_EQ(Name(0), "") << "no state was made";
    }
    VelaFreeByValue(&short_names);
    VelaFreeByValue(&bad_name);
    EXPECT_EQ(Init("f = x;", 6), "");  // too few arguments
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(allocated, 0);

    // The other exports, each with one argument of the wrong type or missing.
    ASSERT_EQ(Init("&0 = 1; f = &0 * x;"), "");
    const auto rejected = [&](const char *name, VelaExportFn fn, VelaValue *pv, int n) {
        VelawinBeginCall(name);
        VelaFreeByValue(&rtn);
        const long before = VelawinLiveBlocks();
        fn(&rtn, pv, n);
        EXPECT_EQ(VelawinErrorCount(), 1) << name;
        EXPECT_EQ(rtn.type, VELA_EMPTY) << name;
        EXPECT_EQ(VelawinLiveBlocks(), before) << name;
    };
    VelaValue text = VelawinString("p"), added{};
    VelaValue run[3] = {text, VelawinInt(0), VelawinInt(1)};
    VelaValue get[3] = {VelawinInt(1), VelawinInt(0), VelawinInt(1)};
    VelaValue refs[2] = {VelawinRef(&added), VelawinInt(0)};
    rejected("FnRunAlgebraNls", FnRunAlgebraNls, run, 3);
    rejected("FnRunAlgebraNls", FnRunAlgebraNls, get, 2);
    rejected("FnGetAlgebraVar", FnGetAlgebraVar, get, 3);
    rejected("FnGetAlgebraName", FnGetAlgebraName, run, 1);
    rejected("FnGetAlgebraName", FnGetAlgebraName, run, 0);
    rejected("FnGetAlgebraAddedData", FnGetAlgebraAddedData, refs, 2);
    rejected("FnGetAlgebraAddedData", FnGetAlgebraAddedData, refs, 1);
    EXPECT_EQ(added.type, VELA_EMPTY);
    VelaFreeByValue(&text);
}

TEST_F(AlgebraExports, ExitWithoutStateAndEmptyData) {
    FnExitAlgebraNls(nullptr, nullptr, 0);
    FnExitAlgebraNls(nullptr, nullptr, 0);
    VelaFreeByValue(&args[0]);
    args[0] = VelawinMatrix(0, 2, nullptr);
    ASSERT_EQ(Init("f = x + 1;", 7), "");
    EXPECT_EQ(Run({}, 0, -1), "");
    EXPECT_TRUE(Get("f", 0, 5).empty());
    EXPECT_EQ(rtn.type, VELA_MATRIX);
    EXPECT_EQ(rtn.ival, 0);
}

}  // namespace
