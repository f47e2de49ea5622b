// FnActFitTable through the stand-in runtime.
#include <gtest/gtest.h>
#include "host/exports.h"
#include "tests/choice/test_support.h"

namespace {
using tessel::testing::HostCall;
using tessel::testing::Vec;

Vec Table(const HostCall &c) {
    Vec t;
    for (int r = 0; r < c.rtn.ival; ++r) t.insert(t.end(), c.rtn.data.mat[r], c.rtn.data.mat[r] + c.rtn.cols);
    return t;
}

TEST(FnActFitTable, ChoicesCountsAndShares) {
    HostCall c;  // fitted rows: clear winner, tie (first wins), winner, all zero, all negative (both column 0), winner
    c.M(6, 1, {1, 0, 2.6, 1, 2, 0}).M(6, 3, {0.1, 0.7, 0.2, 0.5, 0.5, 0, 0.1, 0.1, 0.8, 0, 0, 0, -1, -2, -0.5, 0.3, 0.3, 0.4});
    c.Run("FnActFitTable", FnActFitTable);
    EXPECT_EQ(Table(c), (Vec{1, 0, 1, 2, 1, 1, 0, 2, 1, 0, 1, 2, 3, 1, 2, 6}));
    HostCall s;  // shares: 0.6 + 0.6 in one cell stays 1.2 but contributes 1 to the totals
    s.M(3, 2, {0.6, 0.0, 0.6, 2.0, 1.0, 1.5}).M(3, 2, {0.9, 0.1, 0.8, 0.2, 0.3, 0.7}).Run("FnActFitTable", FnActFitTable);
    const Vec want = {1.2, 1.0, 2, 2.0, 1.5, 3, 3, 2, 5}, got = Table(s);
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) EXPECT_DOUBLE_EQ(got[i], want[i]);
}

TEST(FnActFitTable, DegenerateAndRefused) {
    HostCall none, empty;
    none.M(2, 1, {0, 1}).M(2, 0, {}).Run("FnActFitTable", FnActFitTable);  // no alternatives: 1 x 1 zero
    EXPECT_EQ(Table(none), Vec{0.0});
    empty.M(0, 1, {}).M(0, 2, {}).Run("FnActFitTable", FnActFitTable);
    EXPECT_EQ(Table(empty), Vec(9, 0.0));
    HostCall outside, narrow, short_fit, type;
    outside.M(2, 1, {0, 3}).M(2, 3, Vec(6, 0.3));  // alternative 3 of 0..2
    tessel::testing::ExpectRefused(outside, "FnActFitTable", FnActFitTable, 0);
    narrow.M(2, 2, {1, 0, 0, 1}).M(2, 3, Vec(6, 0.3));  // two count columns for three alternatives
    tessel::testing::ExpectRefused(narrow, "FnActFitTable", FnActFitTable, 0);
    short_fit.M(3, 1, {0, 1, 0}).M(2, 2, Vec(4, 0.5));
    tessel::testing::ExpectRefused(short_fit, "FnActFitTable", FnActFitTable, 1);
    type.I(1).M(2, 2, Vec(4, 0.5));
    tessel::testing::ExpectRefused(type, "FnActFitTable", FnActFitTable, 0);
}

}  // namespace
