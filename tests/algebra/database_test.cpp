#include "algebra/database.h"

#include <gtest/gtest.h>

#include <bit>
#include <memory>
#include <string>

#include "numeric/missing.h"
#include "tests/algebra/engine_fixture.h"

namespace tessel {
namespace {

using testing::CapturedReports;
using DbPtr = std::unique_ptr<AlgebraDatabase, decltype(&AlgebraDbFree)>;

DbPtr NewDb(int capacity, int vars) {
    DbPtr db(AlgebraDbCreate(capacity), &AlgebraDbFree);
    EXPECT_NE(db, nullptr);
    if (db && vars > 0) {
        EXPECT_EQ(AlgebraDbAddVariables(db.get(), vars), 0);
    }
    return db;
}

int g_notified = 0;
void CountNotify(AlgebraDatabase *, void *) { ++g_notified; }
void Observe(AlgebraDatabase *db) {
    g_notified = 0;
    AlgebraDbSetObserver(db, CountNotify, nullptr);
}
const std::string &Reported(size_t i) { return CapturedReports::Log().at(i).second; }

TEST(AlgebraDatabase, AddedVariablesStartMissingAndCapacityGrowsByAtLeast256) {
    CapturedReports reports;
    DbPtr db = NewDb(0, 1);
    EXPECT_EQ(db->nobs, 10) << "default sample 1996(1) - 2005(1), annual";
    EXPECT_STREQ(db->names[0], "Var1");
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), 9), 1);
    EXPECT_STREQ(db->names[9], "Var10");
    for (int i = 0; i < db->count; ++i) {
        EXPECT_EQ(db->flags[i], 0u) << "flags 2 and 8 are cleared outside batch mode";
        for (int t = 0; t < 10; ++t) EXPECT_EQ(std::bit_cast<uint64_t>(db->data[i][t]), 0x7FF8000000000000ull);
    }
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), -1), -1);
    // After a deletion the slot number names the next variable, even if that repeats a name.
    AlgebraDbDelete(db.get(), 0);
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), 1), 9);
    EXPECT_STREQ(db->names[9], "Var10");

    DbPtr big = NewDb(5, 5);
    ASSERT_EQ(AlgebraDbAddVariables(big.get(), 300), 5);
    EXPECT_EQ(big->capacity, 305);
    ASSERT_EQ(AlgebraDbAddVariables(big.get(), 1), 305);
    EXPECT_EQ(big->capacity, 305 + 256);
    ASSERT_EQ(AlgebraDbAddVariables(big.get(), 255), 306);
    EXPECT_EQ(big->capacity, 561) << "fits without growing";
    ASSERT_EQ(AlgebraDbSetDatabaseName(big.get(), "macro"), 1);
    EXPECT_EQ(AlgebraDbAddVariables(big.get(), 2147483000), -1);
    EXPECT_EQ(big->count, 561);
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].first, "Error");
    EXPECT_EQ(Reported(0), "Maximum number of variables reached in database macro");
}

TEST(AlgebraDatabase, RenameCleansTheNameAndKeepsItUnique) {
    CapturedReports reports;
    DbPtr db = NewDb(4, 3);
    EXPECT_EQ(AlgebraDbRename(db.get(), 0, " \t my\"x\" \r\n", 1), 1);
    EXPECT_STREQ(db->names[0], "my_x_");
    // The cut to 64 characters comes before trailing blanks are dropped.
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, (std::string(63, 'b') + "   c").c_str(), 1), 1);
    EXPECT_EQ(std::string(db->names[1]), std::string(63, 'b'));
    for (const char *bad : {"  \t ", "", static_cast<const char *>(nullptr)}) EXPECT_EQ(AlgebraDbRename(db.get(), 1, bad, 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), 3, "ok", 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), -1, "ok", 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, "my_x_", 0), 0);
    EXPECT_TRUE(reports.Log().empty()) << "reported only on request";
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, " my_x_", 1), 0);
    EXPECT_EQ(Reported(0), "my_x_ already exists, use a different name");
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, "MY_X_", 1), 1) << "names are case-sensitive";
    EXPECT_EQ(AlgebraDbFind(db.get(), "MY_X_"), 1);
    EXPECT_EQ(AlgebraDbFind(db.get(), "my_X_"), -1);
    // Renaming to the current name is no edit; SetName skips the uniqueness test.
    db->changed = 0;
    Observe(db.get());
    EXPECT_EQ(AlgebraDbRename(db.get(), 0, "my_x_", 1), 1);
    EXPECT_EQ(g_notified + db->changed, 0);
    EXPECT_EQ(AlgebraDbSetName(db.get(), 2, "my_x_"), 1);
    EXPECT_EQ(AlgebraDbFind(db.get(), "my_x_"), 0);
    EXPECT_EQ(g_notified, 1);
}

TEST(AlgebraDatabase, DeleteShiftsProtectsAndDefersInBatchMode) {
    CapturedReports reports;
    DbPtr db = NewDb(4, 5);
    db->data[2][0] = 2.0;
    db->flags[0] |= kAlgebraVarProtected;
    Observe(db.get());
    AlgebraDbDelete(db.get(), 1);
    ASSERT_EQ(db->count, 4);
    EXPECT_STREQ(db->names[1], "Var3");
    EXPECT_EQ(db->data[1][0], 2.0);
    for (int v : {0, 4, -1}) AlgebraDbDelete(db.get(), v);
    EXPECT_EQ(db->count, 4);
    EXPECT_EQ(Reported(0), "Var1 cannot be deleted");
    EXPECT_EQ(g_notified, 1);

    AlgebraDbBeginBatch(db.get());
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 4);
    EXPECT_EQ(db->flags[4], static_cast<uint32_t>(kAlgebraVarNew));
    AlgebraDbMarkModified(db.get(), -5, 99);  // bounded by the count
    AlgebraDbDelete(db.get(), 1);
    AlgebraDbDelete(db.get(), 4);
    EXPECT_EQ(db->count, 5);
    EXPECT_TRUE(db->flags[1] & kAlgebraVarDeletePending);
    EXPECT_EQ(g_notified, 1);
    AlgebraDbEndBatch(db.get());
    EXPECT_EQ(g_notified, 2);
    ASSERT_EQ(db->count, 3);
    EXPECT_STREQ(db->names[1], "Var4");
    EXPECT_STREQ(db->names[2], "Var5");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(db->flags[i] & ~uint32_t{kAlgebraVarProtected}, 0u);
}

// Walking the calendar one period at a time is an independent account of the sample arithmetic.
TEST(AlgebraDatabase, SampleArithmeticAgreesWithCountingPeriods) {
    for (int f : {1, 4, 12, 52})
        for (int p1 = 1; p1 <= f; p1 += (f > 4 ? 5 : 1)) {
            AlgebraSample s{1990, p1, 0, 0, f};
            int year = 1990, period = p1;
            for (int t = 0; t < 3 * f + 7; ++t) {
                ASSERT_EQ(AlgebraSampleYear(s, t), year) << f << " " << p1 << " " << t;
                ASSERT_EQ(AlgebraSamplePeriod(s, t), period);
                ASSERT_EQ(AlgebraSampleIndex(s, year, period), t);
                AlgebraSampleSetEnd(&s, t + 1);
                ASSERT_EQ(AlgebraSampleObservations(s), t + 1);
                if (++period > f) period = 1, ++year;
            }
        }
    AlgebraSample zero{2000, 1, 2001, 1, 0};  // counts as annual: no division by zero
    EXPECT_EQ(AlgebraSampleYear(zero, 3), 2003);
}

TEST(AlgebraDatabase, SetSample) {
    CapturedReports reports;
    DbPtr db = NewDb(2, 0);
    Observe(db.get());
    AlgebraDbSetSample(db.get(), AlgebraSample{1996, 1, 2005, 1, 1});
    EXPECT_EQ(g_notified + db->changed, 0) << "an identical sample is no edit";
    AlgebraDbSetSample(db.get(), AlgebraSample{1990, 3, 1990, 1, 4});
    EXPECT_EQ(db->nobs, 0) << "ends before it starts";
    EXPECT_EQ(g_notified, 1);
    // A longer sample over an existing column extends it with missing values.
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    AlgebraDbSetSample(db.get(), AlgebraSample{1990, 1, 1999, 4, 4});
    ASSERT_EQ(db->nobs, 40);
    ASSERT_GE(db->storage[0]->count, 40);
    EXPECT_TRUE(IsMissing(db->data[0][39]));
    AlgebraDbSetSample(db.get(), AlgebraSample{1, 1, 200000000, 1, 1});
    EXPECT_EQ(db->nobs, 100000000);
    EXPECT_EQ(db->sample.endYear, 100000000);
    ASSERT_EQ(reports.Log().size(), 1u);
    EXPECT_EQ(reports.Log()[0].first, "Warning");
    EXPECT_EQ(Reported(0), "Truncated number of observations to 100000000");
    AlgebraDbSetSample(db.get(), AlgebraSample{-2000000000, 1, 2000000000, 12, 12});  // no overflow
    EXPECT_EQ(db->nobs, 100000000);
}

TEST(AlgebraDatabase, ObsRange) {
    DbPtr db = NewDb(2, 0);
    int first, last;
    // Undated: whole years of the sample (annual from 1996).
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 1998.7, 2000.2, &first, &last), 3);
    EXPECT_EQ(first, 2);
    EXPECT_LE(AlgebraDbObsRange(db.get(), 1e300, -1e300, &first, &last), 0);
    // Dated: the dates column is searched with a tolerance of 6e-9.
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    for (int t = 0; t < 10; ++t) db->data[0][t] = 2451545.0 + 7 * t + 0.25;
    AlgebraDbSetDates(db.get(), 1);
    const double d2 = db->data[0][2], d5 = db->data[0][5];
    EXPECT_EQ(AlgebraDbObsRange(db.get(), d2 + 5e-9, d5 - 5e-9, &first, &last), 4);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(AlgebraDbObsRange(db.get(), d2 + 7e-9, d5 - 7e-9, &first, &last), 2);
    EXPECT_EQ(first, 3);
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 0, 1e9, &first, &last), 10);
    EXPECT_LE(AlgebraDbObsRange(db.get(), d2 + 1, d2 + 2, &first, &last), 0);
    db->data[0][9] = kMissing;  // a missing last date falls back to the sample
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 1997, 1998, &first, &last), 2);
    EXPECT_EQ(AlgebraDbDateAt(db.get(), -3), db->data[0][0]) << "clamped into the sample";
    EXPECT_TRUE(IsMissing(AlgebraDbDateAt(db.get(), 1000)));
}

TEST(AlgebraDatabase, JournalUndoesAndRedoesEditsOnlyWhenEnabled) {
    DbPtr db = NewDb(2, 2);
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "x", 0), 1);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 0) << "off unless the owner enables it";
    db->changed = 0;
    for (int t = 0; t < 10; ++t) db->data[1][t] = t;
    AlgebraDbEnableJournal(db.get(), 1);
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "y", 0), 1);
    AlgebraDbSetSample(db.get(), AlgebraSample{2000, 1, 2000, 4, 4});
    ASSERT_EQ(AlgebraDbSetLabel(db.get(), 0, "a label"), 1);
    AlgebraDbMarkModified(db.get(), 1, 1);
    for (int t = 0; t < 10; ++t) db->data[1][t] = -1.0;
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    for (int t = 0; t < 10; ++t) EXPECT_EQ(db->data[1][t], t);
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_EQ(db->labels[0], nullptr);
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_EQ(db->nobs, 10);
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_STREQ(db->names[0], "x");
    EXPECT_EQ(db->changed, 0) << "the first edit found the database unchanged";
    EXPECT_EQ(AlgebraDbUndo(db.get()), 0);
    ASSERT_EQ(AlgebraDbRedo(db.get()), 1);
    EXPECT_STREQ(db->names[0], "y");
    ASSERT_EQ(AlgebraDbRedo(db.get()), 1);
    EXPECT_EQ(db->nobs, 4);
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "z", 0), 1);
    EXPECT_EQ(AlgebraDbRedo(db.get()), 0) << "a new edit cuts off the redo part";
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_STREQ(db->names[0], "y");

    // A batch is undone as one step.
    DbPtr b = NewDb(2, 2);
    b->data[1][3] = 42.0;
    const char block[] = "owned";
    ASSERT_EQ(AlgebraDbSetBlock(b.get(), 0, block, sizeof block), 1);
    AlgebraDbEnableJournal(b.get(), 1);
    AlgebraDbBeginBatch(b.get());
    ASSERT_EQ(AlgebraDbAddVariables(b.get(), 3), 2);
    ASSERT_EQ(AlgebraDbRename(b.get(), 1, "b", 0), 1);
    AlgebraDbDelete(b.get(), 0);
    AlgebraDbEndBatch(b.get());
    ASSERT_EQ(b->count, 4);
    EXPECT_STREQ(b->names[0], "b");
    ASSERT_EQ(AlgebraDbUndo(b.get()), 1);
    ASSERT_EQ(b->count, 2);
    EXPECT_STREQ(b->names[1], "Var2");
    EXPECT_EQ(b->data[1][3], 42.0);
    EXPECT_STREQ(static_cast<const char *>(b->kinds[0].block), "owned");
    EXPECT_EQ(AlgebraDbUndo(b.get()), 0);
    ASSERT_EQ(AlgebraDbRedo(b.get()), 1);
    ASSERT_EQ(b->count, 4);
    EXPECT_EQ(b->data[0][3], 42.0);
}

}  // namespace
}  // namespace tessel
