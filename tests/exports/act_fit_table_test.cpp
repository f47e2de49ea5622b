// End-to-end calls of FnActFitTable through the stand-in runtime.
#include <string>

#include <gtest/gtest.h>

#include "host/exports.h"
#include "tests/choice/host_values.h"

namespace {

using tessel::testing::HostCall;
using tessel::testing::HostMatrix;

std::vector<double> Table(HostCall &c) {
    std::vector<double> t;
    for (int r = 0; r < c.rtn.ival; ++r)
        for (int k = 0; k < c.rtn.cols; ++k) t.push_back(c.rtn.data.mat[r][k]);
    return t;
}

TEST(FnActFitTable, ChosenAlternatives) {
    HostCall c;
    // Fitted rows: a clear winner, a tie (first column wins), all zeros and all negative (column 0).
    c.Add(HostMatrix(6, 1, {1, 0, 2.6, 1, 2, 0}));
    c.Add(HostMatrix(6, 3, {0.1, 0.7, 0.2, 0.5, 0.5, 0.0, 0.1, 0.1, 0.8, 0, 0, 0, -1, -2, -0.5, 0.3, 0.3, 0.4}));
    c.Run("FnActFitTable", FnActFitTable);
    ASSERT_EQ(c.rtn.type, VELA_MATRIX);
    ASSERT_EQ(c.rtn.ival, 4);
    // actual 1 -> 1, 0 -> 0, 2 -> 2, 1 -> 0, 2 -> 0, 0 -> 2
    const std::vector<double> want = {1, 0, 1, 2,  //
                                      1, 1, 0, 2,  //
                                      1, 0, 1, 2,  //
                                      3, 1, 2, 6};
    EXPECT_EQ(Table(c), want);
}

TEST(FnActFitTable, CountsAndSharesCutPerCellInTotals) {
    HostCall c;
    c.Add(HostMatrix(3, 2, {0.6, 0.0, 0.6, 2.0, 1.0, 1.5}));
    c.Add(HostMatrix(3, 2, {0.9, 0.1, 0.8, 0.2, 0.3, 0.7}));
    c.Run("FnActFitTable", FnActFitTable);
    // Column 0 receives rows 0 and 1, column 1 row 2.
    const std::vector<double> want = {1.2, 1.0, 2,  //
                                      2.0, 1.5, 3,  //
                                      3, 2, 5};
    const std::vector<double> got = Table(c);
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) EXPECT_DOUBLE_EQ(got[i], want[i]) << i;
}

TEST(FnActFitTable, DegenerateAndBadArguments) {
    {
        HostCall c;  // no alternatives: a 1 x 1 zero
        c.Add(HostMatrix(2, 1, {0, 1}));
        c.Add(HostMatrix(2, 0, {}));
        c.Run("FnActFitTable", FnActFitTable);
        ASSERT_EQ(c.rtn.type, VELA_MATRIX);
        EXPECT_EQ(Table(c), std::vector<double>{0.0});
    }
    {
        HostCall c;  // no observations
        c.Add(HostMatrix(0, 1, {}));
        c.Add(HostMatrix(0, 2, {}));
        c.Run("FnActFitTable", FnActFitTable);
        EXPECT_EQ(Table(c), std::vector<double>(9, 0.0));
    }
    for (int variant = 0; variant < 4; ++variant) {
        HostCall c;
        switch (variant) {
        case 0: c.Add(HostMatrix(2, 1, {0, 3})); c.Add(HostMatrix(2, 3, std::vector<double>(6, 0.3))); break;  // actual 3 of 0..2
        case 1: c.Add(HostMatrix(2, 2, {1, 0, 0, 1})); c.Add(HostMatrix(2, 3, std::vector<double>(6, 0.3))); break;  // 2 count columns, J = 3
        case 2: c.Add(HostMatrix(3, 1, {0, 1, 0})); c.Add(HostMatrix(2, 2, std::vector<double>(4, 0.5))); break;  // fitted too short
        case 3: c.Add(VelawinInt(1)); c.Add(HostMatrix(2, 2, std::vector<double>(4, 0.5))); break;
        }
        const int want[4] = {0, 0, 1, 0};
        const long live = VelawinLiveBlocks();
        c.Run("FnActFitTable", FnActFitTable);
        EXPECT_EQ(VelawinErrorCount(), 1) << variant;
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(want[variant])), std::string::npos);
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
}

}  // namespace
