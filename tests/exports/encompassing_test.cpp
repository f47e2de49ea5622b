// FnEncompassing end to end through the stand-in runtime.
#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <sstream>
#include <string>

#include "host/exports.h"
#include "tests/encompassing/iv_reference.h"
#include "velawin/velawin.h"

using namespace ivref;

namespace {

// One call's arguments; the three output variables start as the integer 77 so that a test sees
// whether they were touched.
struct Call {
    VelaValue args[11]{}, stats = VelawinInt(77), index = VelawinInt(77), k = VelawinInt(77), rtn{};

    Call(const Model &a, const Model &b) {
        const Model *m[] = {&a, &b};
        for (int i : {0, 1}) {
            const Rows rows = m[i]->Block();
            std::vector<double> flat;
            for (const Series &r : rows) flat.insert(flat.end(), r.begin(), r.end());
            args[4 * i] = VelawinMatrix(static_cast<int>(rows.size()), static_cast<int>(rows[0].size()), flat.data());
            args[4 * i + 1] = VelawinInt(m[i]->d());
            args[4 * i + 2] = VelawinInt(m[i]->e());
            args[4 * i + 3] = VelawinInt(m[i]->z());
        }
        args[8] = VelawinRef(&stats);
        args[9] = VelawinRef(&index);
        args[10] = VelawinRef(&k);
    }
    Call(const Call &) = delete;
    ~Call() {
        for (VelaValue &v : args)
            if (v.type != VELA_ARRAY) VelaFreeByValue(&v);
        for (VelaValue *v : {&stats, &index, &k, &rtn}) VelaFreeByValue(v);
    }
    void Set(int i, VelaValue v) {
        if (args[i].type != VELA_ARRAY) VelaFreeByValue(&args[i]);
        args[i] = v;
    }
    long Invoke(int cArg = 11) {  // returns the number of blocks the call left allocated
        const long live = VelawinLiveBlocks();
        VelawinBeginCall("FnEncompassing");
        FnEncompassing(&rtn, args, cArg);
        return VelawinLiveBlocks() - live;
    }
    bool Untouched() const { return stats.ival == 77 && index.ival == 77 && k.ival == 77; }
};

void ExpectStats(const Call &c, const std::vector<double> &want) {
    ASSERT_EQ(c.rtn.ival, 0);
    ASSERT_EQ(c.stats.type, VELA_MATRIX);
    ASSERT_EQ(c.stats.ival * c.stats.cols, 11);
    for (int i = 0; i < 11; ++i) EXPECT_NEAR(c.stats.data.mat[0][i], want[i], 1e-8 * (1.0 + std::fabs(want[i]))) << i;
}

TEST(FnEncompassingExport, SimulatedAndQuarterlyData) {
    Model m1, m2;
    Simulated(250, 17, m1, m2);
    Call sim(m1, m2);
    EXPECT_EQ(sim.Invoke(), 2);  // the statistics and the index row
    ExpectStats(sim, Statistics(m1, m2));
    ASSERT_EQ(sim.index.cols, 7);
    EXPECT_EQ(sim.index.data.mat[0][4], 5.0);  // model 2's constant (index 4) was pooled
    EXPECT_EQ(sim.k.ival, 5);

    // Consumption growth on income growth (instrumented) and its own lag, against consumption
    // growth on output growth (instrumented) and the bill rate; growth in annualised percent.
    std::ifstream in(std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv");
    std::string line, cell;
    std::getline(in, line);
    Rows col(14);  // year quarter realgdp realcons realinv realgovt realdpi cpi m1 tbilrate unemp ...
    while (std::getline(in, line)) {
        std::stringstream ss(line);
        for (size_t j = 0; j < col.size() && std::getline(ss, cell, ','); ++j) col[j].push_back(std::stod(cell));
    }
    ASSERT_EQ(col[3].size(), 203u);
    auto at = [&](int j, int lag, bool growth) {
        Series s;
        for (size_t t = 2; t < col[j].size(); ++t)
            s.push_back(growth ? 400.0 * std::log(col[j][t - lag] / col[j][t - lag - 1]) : col[j][t - lag]);
        return s;
    };
    const Series one(201, 1.0);
    const Model c1{at(3, 0, true), {at(6, 0, true)}, {one, at(3, 1, true)}, {at(6, 1, true), at(5, 0, true)}};
    const Model c2{
        at(3, 0, true), {at(2, 0, true)}, {one, at(9, 0, false)}, {at(2, 1, true), at(4, 1, true), at(10, 1, false)}};
    Call macro(c1, c2);
    macro.Invoke();
    ExpectStats(macro, Statistics(c1, c2));
    EXPECT_EQ(macro.k.ival, 5);
}

TEST(FnEncompassingExport, CodesAndEmptyShapes) {
    Model m1, m2;
    Simulated(60, 2, m1, m2);
    Call same(m1, m1);  // code 2: the statistics row is allocated, nothing else is written
    EXPECT_EQ(same.Invoke(), 1);
    EXPECT_EQ(same.rtn.ival, 2);
    EXPECT_EQ(same.stats.ival * same.stats.cols, 11);
    EXPECT_EQ(same.index.ival + same.k.ival, 154);

    // Different numbers of observations, or no rows at all: -1 and nothing else.
    Call mismatch(m1, m2), empty(m1, m2), none(m1, m2);
    mismatch.Set(4, VelawinMatrix(6, 59, nullptr));
    empty.Set(0, VelawinMatrix(0, 0, nullptr));
    empty.Set(4, VelawinMatrix(0, 0, nullptr));
    for (Call *c : {&mismatch, &empty}) {
        EXPECT_EQ(c->Invoke(), 0);
        EXPECT_EQ(c->rtn.ival, -1);
        EXPECT_TRUE(c->Untouched());
    }
    // No observations: every series equals every other, so model 2 adds nothing.
    none.Set(0, VelawinMatrix(6, 0, nullptr));
    none.Set(4, VelawinMatrix(6, 0, nullptr));
    EXPECT_EQ(none.Invoke(), 1);
    EXPECT_EQ(none.rtn.ival, 2);
}

TEST(FnEncompassingExport, RejectsBadArgumentsBeforeAllocating) {
    Model m1, m2;
    Simulated(30, 1, m1, m2);  // both blocks: d 2, e 2, z 2 in six rows
    const struct {
        int arg;
        VelaValue value;
        int blamed;
    } bad[] = {{0, VelawinInt(3), 0},  {2, VelawinDouble(2.0), 2}, {4, VelawinString("B"), 4},
               {8, VelawinInt(0), 8},  {10, VelawinDouble(0), 10}, {1, VelawinInt(0), 1},
               {2, VelawinInt(-1), 2}, {3, VelawinInt(3), 0},      {5, VelawinInt(5), 4},
               {7, VelawinInt(-1), 7}, {6, VelawinInt(INT_MAX), 4}};
    for (const auto &b : bad) {
        Call c(m1, m2);
        c.Set(b.arg, b.value);
        EXPECT_EQ(c.Invoke(), 0);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(b.blamed) + " of"),
                  std::string::npos)
            << VelawinLastError();
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
        EXPECT_TRUE(c.Untouched());
    }
    Call few(m1, m2);
    EXPECT_EQ(few.Invoke(10), 0);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_TRUE(few.Untouched());
}

TEST(FnEncompassingExport, HostAllocationFailures) {
    Model m1, m2;
    Simulated(40, 8, m1, m2);
    Call first(m1, m2), second(m1, m2);
    VelawinFailAllocations(0, 1);  // no statistics row: nothing is written
    EXPECT_EQ(first.Invoke(), 0);
    EXPECT_EQ(first.rtn.ival, 0);
    EXPECT_TRUE(first.Untouched());
    VelawinFailAllocations(1, 1);  // no index row: code 0, the statistics marked as not computed
    EXPECT_EQ(second.Invoke(), 1);
    VelawinFailAllocations(0, 0);
    EXPECT_EQ(second.rtn.ival, 0);
    EXPECT_TRUE(std::isnan(second.stats.data.mat[0][0]) && std::isnan(second.stats.data.mat[0][10]));
    EXPECT_EQ(second.index.ival + second.k.ival, 154);
}

}  // namespace
