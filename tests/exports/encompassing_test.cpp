// FnEncompassing end to end through the stand-in runtime.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "host/exports.h"
#include "tests/encompassing/iv_reference.h"
#include "velawin/velawin.h"

using ivref::Model;
using ivref::Rows;
using ivref::Series;

namespace {

constexpr int kPreset = 77;

// One call's arguments and output variables; the outputs start as the integer 77 so that a test
// can see whether they were touched.
struct Call {
    VelaValue args[11]{};
    VelaValue stats = VelawinInt(kPreset), index = VelawinInt(kPreset), k = VelawinInt(kPreset);
    VelaValue rtn{};

    Call(const Model &m1, const Model &m2) : Call(m1.Block(), m1.d(), m1.e(), m1.z(), m2.Block(), m2.d(), m2.e(), m2.z()) {}
    Call(const Rows &a, int d1, int e1, int z1, const Rows &b, int d2, int e2, int z2) {
        args[0] = Matrix(a);
        args[1] = VelawinInt(d1);
        args[2] = VelawinInt(e1);
        args[3] = VelawinInt(z1);
        args[4] = Matrix(b);
        args[5] = VelawinInt(d2);
        args[6] = VelawinInt(e2);
        args[7] = VelawinInt(z2);
        args[8] = VelawinRef(&stats);
        args[9] = VelawinRef(&index);
        args[10] = VelawinRef(&k);
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;
    ~Call() {
        for (VelaValue &v : args)
            if (v.type != VELA_ARRAY) VelaFreeByValue(&v);
        VelaFreeByValue(&stats);
        VelaFreeByValue(&index);
        VelaFreeByValue(&k);
        VelaFreeByValue(&rtn);
    }

    static VelaValue Matrix(const Rows &rows) {
        const int T = rows.empty() ? 0 : static_cast<int>(rows[0].size());
        const std::vector<double> flat = ivref::Flatten(rows);
        return VelawinMatrix(static_cast<int>(rows.size()), T, flat.data());
    }

    void Invoke(int cArg = 11) {
        VelawinBeginCall("FnEncompassing");
        FnEncompassing(&rtn, args, cArg);
    }
    void ReplaceArg(int i, VelaValue v) {
        if (args[i].type != VELA_ARRAY) VelaFreeByValue(&args[i]);
        args[i] = v;
    }
    bool OutputsUntouched() const {
        return stats.type == VELA_INT && stats.ival == kPreset && index.type == VELA_INT && index.ival == kPreset &&
               k.type == VELA_INT && k.ival == kPreset;
    }
};

void ExpectStats(const VelaValue &stats, const std::vector<double> &want, double rel) {
    ASSERT_EQ(stats.type, VELA_MATRIX);
    ASSERT_EQ(stats.ival, 1);
    ASSERT_EQ(stats.cols, 11);
    for (int i = 0; i < 11; ++i)
        EXPECT_NEAR(stats.data.mat[0][i], want[i], rel * (1.0 + std::fabs(want[i]))) << "statistic " << i;
}

// Consumption growth explained by income growth (instrumented) and its own lag, against
// consumption growth explained by output growth (instrumented) and the bill rate, on the quarterly
// macro data, growth in annualised percent.
void MacroModels(Model &m1, Model &m2) {
    const Rows c = ivref::MacroColumns(std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv",
                                       {"realcons", "realdpi", "realgdp", "realinv", "realgovt", "tbilrate", "unemp"});
    ASSERT_EQ(c.size(), 7u);
    const size_t n = c[0].size();
    ASSERT_GT(n, 100u);
    // Observations t = 2 .. n-1, so that growth lagged once is available.
    auto growth = [&](int col, int lag) {
        Series s;
        for (size_t t = 2; t < n; ++t) s.push_back(400.0 * std::log(c[col][t - lag] / c[col][t - lag - 1]));
        return s;
    };
    auto level = [&](int col, int lag) {
        Series s;
        for (size_t t = 2; t < n; ++t) s.push_back(c[col][t - lag]);
        return s;
    };
    const Series one(n - 2, 1.0), y = growth(0, 0);
    m1 = Model{y, {growth(1, 0)}, {one, growth(0, 1)}, {growth(1, 1), growth(4, 0)}};
    m2 = Model{y, {growth(2, 0)}, {one, level(5, 0)}, {growth(2, 1), growth(3, 1), level(6, 1)}};
}

TEST(FnEncompassingExport, SimulatedModels) {
    Model m1, m2;
    ivref::Simulated(250, 17, m1, m2);
    const long live = VelawinLiveBlocks();
    Call call(m1, m2);
    call.Invoke();
    EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
    ASSERT_EQ(call.rtn.type, VELA_INT);
    ASSERT_EQ(call.rtn.ival, 0);
    ExpectStats(call.stats, ivref::Statistics(m1, m2), 1e-8);
    ASSERT_EQ(call.index.type, VELA_MATRIX);
    ASSERT_EQ(call.index.ival, 1);
    ASSERT_EQ(call.index.cols, 7);
    const double want_index[] = {0, 1, 2, 3, 5, 6, 7};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(call.index.data.mat[0][i], want_index[i]);
    EXPECT_EQ(call.k.type, VELA_INT);
    EXPECT_EQ(call.k.ival, 5);
    // Two input matrices and two result matrices.
    EXPECT_EQ(VelawinLiveBlocks(), live + 4);
}

TEST(FnEncompassingExport, QuarterlyMacroData) {
    Model m1, m2;
    MacroModels(m1, m2);
    Call call(m1, m2);
    call.Invoke();
    ASSERT_EQ(call.rtn.ival, 0);
    ExpectStats(call.stats, ivref::Statistics(m1, m2), 1e-8);
    EXPECT_EQ(call.k.ival, 5);  // the constant is shared
    EXPECT_EQ(call.index.cols, 8);
}

TEST(FnEncompassingExport, FailureCodesFillOnlyTheStatisticsRow) {
    Model m1, m2;
    ivref::Simulated(60, 2, m1, m2);
    Call same(m1, m1);
    same.Invoke();
    EXPECT_EQ(same.rtn.ival, 2);
    ASSERT_EQ(same.stats.type, VELA_MATRIX);
    EXPECT_EQ(same.stats.ival, 1);
    EXPECT_EQ(same.stats.cols, 11);
    EXPECT_EQ(same.index.ival, kPreset);
    EXPECT_EQ(same.k.ival, kPreset);

    Model zero = m1;
    zero.instruments.push_back(Series(60, 0.0));
    Call singular(zero, m2);
    singular.Invoke();
    EXPECT_EQ(singular.rtn.ival, 3);
    EXPECT_EQ(singular.stats.type, VELA_MATRIX);
    EXPECT_EQ(singular.index.ival, kPreset);
    EXPECT_EQ(singular.k.ival, kPreset);
}

TEST(FnEncompassingExport, MismatchedOrEmptyMatricesReturnMinusOne) {
    Model m1, m2;
    ivref::Simulated(30, 1, m1, m2);
    const long live = VelawinLiveBlocks();
    {
        Call call(m1, m2);
        Rows shorter = m2.Block();
        for (Series &r : shorter) r.pop_back();
        call.ReplaceArg(4, Call::Matrix(shorter));
        call.Invoke();
        EXPECT_EQ(call.rtn.type, VELA_INT);
        EXPECT_EQ(call.rtn.ival, -1);
        EXPECT_TRUE(call.OutputsUntouched());
        EXPECT_EQ(VelawinErrorCount(), 0);
    }
    {
        Call call(Rows{}, 1, 0, 0, Rows{}, 1, 0, 0);
        call.Invoke();
        EXPECT_EQ(call.rtn.ival, -1);
        EXPECT_TRUE(call.OutputsUntouched());
    }
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(FnEncompassingExport, RejectsWrongTypesAndMissingArguments) {
    Model m1, m2;
    ivref::Simulated(30, 1, m1, m2);
    struct Bad {
        int arg;
        VelaValue value;
    };
    for (Bad bad : {Bad{0, VelawinInt(3)}, Bad{1, VelawinDouble(2.0)}, Bad{3, VelawinMatrix(1, 1, nullptr)},
                    Bad{4, VelawinInt(1)}, Bad{7, VelawinString("2")}, Bad{8, VelawinInt(0)},
                    Bad{10, VelawinDouble(0.0)}}) {
        Call call(m1, m2);
        call.ReplaceArg(bad.arg, bad.value);
        const long live = VelawinLiveBlocks();
        call.Invoke();
        EXPECT_EQ(VelawinErrorCount(), 1) << bad.arg;
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(bad.arg) + " of FnEncompassing"),
                  std::string::npos)
            << VelawinLastError();
        EXPECT_EQ(call.rtn.type, VELA_EMPTY);
        EXPECT_TRUE(call.OutputsUntouched());
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    Call call(m1, m2);
    const long live = VelawinLiveBlocks();
    call.Invoke(10);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(call.rtn.type, VELA_EMPTY);
    EXPECT_TRUE(call.OutputsUntouched());
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

// Counts that would take the routine outside a matrix are rejected before anything is allocated.
TEST(FnEncompassingExport, RejectsCountsOutsideTheMatrices) {
    Model m1, m2;
    ivref::Simulated(30, 1, m1, m2);  // both blocks have 6 rows: d 2, e 2, z 2
    struct Bad {
        int arg;      // argument changed
        int value;    // its new value
        int blamed;   // argument reported
    };
    for (Bad bad : {Bad{1, 0, 1}, Bad{1, -3, 1}, Bad{2, -1, 2}, Bad{3, -1, 3}, Bad{3, 3, 0}, Bad{1, 5, 0},
                    Bad{5, 0, 5}, Bad{6, -2, 6}, Bad{7, -1, 7}, Bad{7, 3, 4}, Bad{6, 2147483647, 4}}) {
        Call call(m1, m2);
        call.ReplaceArg(bad.arg, VelawinInt(bad.value));
        const long live = VelawinLiveBlocks();
        call.Invoke();
        EXPECT_EQ(VelawinErrorCount(), 1) << bad.arg << " = " << bad.value;
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(bad.blamed) + " of"),
                  std::string::npos)
            << VelawinLastError();
        EXPECT_TRUE(call.OutputsUntouched());
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    // Rows beyond the counted ones are simply not read.
    Rows longer = m1.Block();
    longer.push_back(Series(30, 5.0));
    Call call(longer, m1.d(), m1.e(), m1.z(), m2.Block(), m2.d(), m2.e(), m2.z());
    call.Invoke();
    EXPECT_EQ(call.rtn.ival, 0);
}

TEST(FnEncompassingExport, HostAllocationFailures) {
    Model m1, m2;
    ivref::Simulated(40, 8, m1, m2);
    {
        // The statistics row cannot be had: nothing is written.
        Call call(m1, m2);
        const long live = VelawinLiveBlocks();
        VelawinFailAllocations(0, 1);
        call.Invoke();
        VelawinFailAllocations(0, 0);
        EXPECT_EQ(call.rtn.type, VELA_INT);
        EXPECT_EQ(call.rtn.ival, 0);
        EXPECT_TRUE(call.OutputsUntouched());
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    {
        // The index row cannot be had: code 0 with the statistics marked as not computed.
        Call call(m1, m2);
        const long live = VelawinLiveBlocks();
        VelawinFailAllocations(1, 1);
        call.Invoke();
        VelawinFailAllocations(0, 0);
        EXPECT_EQ(call.rtn.ival, 0);
        ASSERT_EQ(call.stats.type, VELA_MATRIX);
        for (int i = 0; i < 11; ++i) EXPECT_TRUE(std::isnan(call.stats.data.mat[0][i]));
        EXPECT_EQ(call.index.ival, kPreset);
        EXPECT_EQ(call.k.ival, kPreset);
        EXPECT_EQ(VelawinLiveBlocks(), live + 1);
    }
}

TEST(FnEncompassingExport, NoObservations) {
    // Matrices with rows but no columns: all series compare equal, so model 2 adds nothing.
    Call call(Rows(4, Series{}), 2, 1, 1, Rows(4, Series{}), 2, 1, 1);
    ASSERT_EQ(call.args[0].ival, 4);
    ASSERT_EQ(call.args[0].cols, 0);
    call.Invoke();
    EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
    EXPECT_EQ(call.rtn.ival, 2);
    EXPECT_EQ(call.stats.type, VELA_MATRIX);
    EXPECT_EQ(call.k.ival, kPreset);
}

}  // namespace
