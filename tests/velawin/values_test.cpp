// The stand-in runtime: host values never leak whatever a module does with them, references are
// never followed when released, and check failures read as a person would want them.
#include <gtest/gtest.h>

#include "velawin/velawin.h"

namespace {

TEST(VelawinValues, MatricesAreOneRowMajorBlockAndZeroFilled) {
    const long live = VelawinLiveBlocks();
    VelaValue m{};
    ASSERT_EQ(VelaLibValMatMalloc(&m, 3, 4), 1);
    EXPECT_EQ(VelawinLiveBlocks(), live + 1);
    EXPECT_EQ(m.type, VELA_MATRIX);
    EXPECT_EQ(m.ival, 3);
    EXPECT_EQ(m.cols, 4);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m.data.mat[i], m.data.mat[0] + 4 * i);
        for (int j = 0; j < 4; ++j) EXPECT_EQ(m.data.mat[i][j], 0.0);
    }
    // Reallocating releases the old block first.
    ASSERT_EQ(VelaLibValMatMalloc(&m, 0, 5), 1);
    EXPECT_EQ(m.ival, 0);
    EXPECT_EQ(m.cols, 5);
    EXPECT_EQ(VelawinLiveBlocks(), live + 1);
    ASSERT_EQ(VelaLibValMatMalloc(&m, 2, 0), 1);
    VelaFreeByValue(&m);
    EXPECT_EQ(m.type, VELA_EMPTY);
    EXPECT_EQ(VelawinLiveBlocks(), live);
    EXPECT_EQ(VelaLibValMatMalloc(&m, -1, 2), 0);
}

TEST(VelawinValues, SettersReleaseWhatTheValueHeld) {
    const long live = VelawinLiveBlocks();
    const double data[4] = {1, 2, 3, 4};
    VelaValue v = VelawinMatrix(2, 2, data);
    VelaValSetString(&v, "hello");
    EXPECT_STREQ(VelaValGetString(&v), "hello");
    VelaValSetInt(&v, 7);
    EXPECT_EQ(v.type, VELA_INT);
    EXPECT_EQ(VelaValGetString(&v), nullptr);
    EXPECT_EQ(VelawinLiveBlocks(), live);

    VelaValue src = VelawinMatrix(2, 2, data);
    ASSERT_EQ(VelaLibValMatDup(&v, src.data.mat, 2, 2), 1);
    EXPECT_EQ(v.data.mat[1][0], 3.0);
    EXPECT_NE(v.data.mat[0], src.data.mat[0]);
    VelaFreeByValue(&v);
    VelaFreeByValue(&src);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(VelawinValues, ArraysOwnTheirElementsButReferencesDoNotOwnTheirTargets) {
    const long live = VelawinLiveBlocks();
    VelaValue arr{};
    ASSERT_EQ(VelaLibValArrayCalloc(&arr, 3), 1);
    VelaValSetString(VelaValGetArrayVal(&arr, 0), "x");
    VelaValSetString(VelaValGetArrayVal(&arr, 2), "zz");
    EXPECT_EQ(VelaValGetArrayVal(&arr, 3), nullptr);
    EXPECT_EQ(VelaValGetArrayVal(&arr, -1), nullptr);
    EXPECT_EQ(VelaValGetArrayVal(&arr, 1)->type, VELA_EMPTY);
    VelaFreeByValue(&arr);
    EXPECT_EQ(VelawinLiveBlocks(), live);

    VelaValue target = VelawinString("kept");
    VelaValue ref = VelawinRef(&target);
    VelaFreeByValue(&ref);
    EXPECT_STREQ(VelaValGetString(&target), "kept");
    VelaFreeByValue(&target);
    EXPECT_EQ(VelawinLiveBlocks(), live);
}

TEST(VelawinValues, SimulatedOutOfMemoryLeavesValuesEmpty) {
    VelaValue v = VelawinInt(3);
    VelawinFailAllocations(0, 1);
    EXPECT_EQ(VelaLibValMatMalloc(&v, 2, 2), 0);
    EXPECT_EQ(v.type, VELA_EMPTY);
    EXPECT_EQ(VelaLibValMatMalloc(&v, 2, 2), 1);
    VelaFreeByValue(&v);
}

TEST(VelawinChecks, ReportReadableErrorsNamingTheExport) {
    VelaValue args[3] = {VelawinInt(1), VelawinDouble(2.0), VelawinMatrix(2, 3, nullptr)};
    VelawinBeginCall("FnSomething");
    EXPECT_EQ(VelaLibCheckType(VELA_INT, args, 0, 0), 1);
    EXPECT_EQ(VelawinErrorCount(), 0);
    EXPECT_STREQ(VelawinLastError(), "");
    EXPECT_EQ(VelaLibCheckType(VELA_INT, args, 0, 1), 0);
    EXPECT_STREQ(VelawinLastError(), "argument 1 of FnSomething: expected an integer, got a double");
    EXPECT_EQ(VelaLibCheckMatrixSize(args, 2, 2, 2, 3), 1);
    EXPECT_EQ(VelaLibCheckMatrixSize(args, 2, 2, 3, 2), 0);
    EXPECT_STREQ(VelawinLastError(), "argument 2 of FnSomething: expected a 3 x 2 matrix, got 2 x 3");
    VelaLibArgError(5);
    EXPECT_STREQ(VelawinLastError(), "argument 5 of FnSomething: bad value");
    EXPECT_EQ(VelawinErrorCount(), 3);
    VelawinBeginCall("FnOther");
    EXPECT_EQ(VelawinErrorCount(), 0);
    VelaFreeByValue(&args[2]);
}

}  // namespace
