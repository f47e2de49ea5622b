#include "algebra/database.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>

#include "numeric/missing.h"
#include "tests/algebra/report_capture.h"

namespace tessel {
namespace {

using testing_support::ReportCapture;

struct DbDeleter {
    void operator()(AlgebraDatabase *db) const { AlgebraDbFree(db); }
};
using DbPtr = std::unique_ptr<AlgebraDatabase, DbDeleter>;

DbPtr NewDb(int capacity) {
    DbPtr db(AlgebraDbCreate(capacity));
    EXPECT_NE(db, nullptr);
    return db;
}

int g_notified = 0;
void CountNotify(AlgebraDatabase *, void *) { ++g_notified; }

TEST(AlgebraDatabase, CreatesWithDefaults) {
    DbPtr db = NewDb(7);
    EXPECT_EQ(db->count, 0);
    EXPECT_EQ(db->capacity, 7);
    EXPECT_EQ(db->nobs, 10);
    EXPECT_EQ(db->sample.startYear, 1996);
    EXPECT_EQ(db->sample.startPeriod, 1);
    EXPECT_EQ(db->sample.endYear, 2005);
    EXPECT_EQ(db->sample.endPeriod, 1);
    EXPECT_EQ(db->sample.frequency, 1);
    EXPECT_EQ(db->changed, 0);
    EXPECT_EQ(db->journalEnabled, 0);
    EXPECT_FALSE(AlgebraDbHasDates(db.get()));
    EXPECT_TRUE(IsMissing(AlgebraDbDateAt(db.get(), 0)));
}

TEST(AlgebraDatabase, AddedVariablesAreNamedFromOneAndMissing) {
    DbPtr db = NewDb(0);
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    EXPECT_STREQ(db->names[0], "Var1");
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), 9), 1);
    EXPECT_STREQ(db->names[9], "Var10");
    EXPECT_EQ(db->count, 10);
    EXPECT_EQ(db->changed, 1);
    for (int i = 0; i < db->count; ++i) {
        ASSERT_EQ(db->storage[i]->count, 10);
        EXPECT_EQ(db->data[i], db->storage[i]->values);
        EXPECT_EQ(db->labels[i], nullptr);
        EXPECT_EQ(db->flags[i], 0u) << "flags 2 and 8 are cleared outside batch mode";
        for (int t = 0; t < 10; ++t) EXPECT_EQ(std::bit_cast<uint64_t>(db->data[i][t]), 0x7FF8000000000000ull);
    }
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), 0), 10);
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), -1), -1);
}

TEST(AlgebraDatabase, CapacityGrowsByAtLeast256) {
    DbPtr db = NewDb(5);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 5), 0);
    EXPECT_EQ(db->capacity, 5);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 300), 5);
    EXPECT_EQ(db->capacity, 305);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 305);
    EXPECT_EQ(db->capacity, 305 + 256);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 255), 306);
    EXPECT_EQ(db->capacity, 561) << "fits without growing";
    EXPECT_STREQ(db->names[560], "Var561");
}

TEST(AlgebraDatabase, ReportsWhenTheTableCannotGrow) {
    ReportCapture capture;
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbSetDatabaseName(db.get(), "macro"), 1);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 0);
    EXPECT_EQ(AlgebraDbAddVariables(db.get(), 2147483000), -1);
    EXPECT_EQ(db->count, 2);
    EXPECT_EQ(db->capacity, 2);
    ASSERT_EQ(ReportCapture::Messages().size(), 1u);
    EXPECT_EQ(ReportCapture::Messages()[0].first, "Error");
    EXPECT_EQ(ReportCapture::Messages()[0].second, "Maximum number of variables reached in database macro");
}

TEST(AlgebraDatabase, RenameCleansTheName) {
    DbPtr db = NewDb(4);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), 0, " \t my\"x\" \r\n", 1), 1);
    EXPECT_STREQ(db->names[0], "my_x_");
    std::string longName(80, 'a');
    longName[63] = 'z';
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, longName.c_str(), 1), 1);
    EXPECT_EQ(std::string(db->names[1]), longName.substr(0, 64));
    // Trailing blanks are dropped only after the cut to 64 characters.
    std::string padded = std::string(63, 'b') + "   c";
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, padded.c_str(), 1), 1);
    EXPECT_EQ(std::string(db->names[1]), std::string(63, 'b'));
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, "  \t ", 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, "", 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, nullptr, 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), 2, "ok", 1), 0);
    EXPECT_EQ(AlgebraDbRename(db.get(), -1, "ok", 1), 0);
    EXPECT_EQ(std::string(db->names[1]), std::string(63, 'b'));
}

TEST(AlgebraDatabase, RenameKeepsNamesUniqueButCaseSensitive) {
    ReportCapture capture;
    DbPtr db = NewDb(4);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 3), 0);
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "gdp", 1), 1);
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, "gdp", 0), 0);
    EXPECT_TRUE(ReportCapture::Messages().empty());
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, " gdp ", 1), 0);
    ASSERT_EQ(ReportCapture::Messages().size(), 1u);
    EXPECT_EQ(ReportCapture::Messages()[0].second, "gdp already exists, use a different name");
    EXPECT_STREQ(db->names[1], "Var2");
    EXPECT_EQ(AlgebraDbRename(db.get(), 1, "GDP", 1), 1);
    EXPECT_EQ(AlgebraDbFind(db.get(), "GDP"), 1);
    EXPECT_EQ(AlgebraDbFind(db.get(), "gdp"), 0);
    EXPECT_EQ(AlgebraDbFind(db.get(), "Gdp"), -1);
    EXPECT_EQ(AlgebraDbFind(db.get(), nullptr), -1);
    // Renaming to its own name succeeds without an edit.
    g_notified = 0;
    db->changed = 0;
    AlgebraDbSetObserver(db.get(), CountNotify, nullptr);
    EXPECT_EQ(AlgebraDbRename(db.get(), 0, "gdp", 1), 1);
    EXPECT_EQ(g_notified, 0);
    EXPECT_EQ(db->changed, 0);
    // SetName skips the uniqueness test; Find then returns the first.
    EXPECT_EQ(AlgebraDbSetName(db.get(), 2, "gdp"), 1);
    EXPECT_STREQ(db->names[2], "gdp");
    EXPECT_EQ(AlgebraDbFind(db.get(), "gdp"), 0);
    EXPECT_EQ(g_notified, 1);
}

TEST(AlgebraDatabase, DeleteMovesLaterVariablesDownAndKeepsProtectedOnes) {
    ReportCapture capture;
    DbPtr db = NewDb(4);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 4), 0);
    db->data[2][0] = 2.0;
    db->data[3][0] = 3.0;
    db->flags[0] |= kAlgebraVarProtected;
    AlgebraDbDelete(db.get(), 1);
    ASSERT_EQ(db->count, 3);
    EXPECT_STREQ(db->names[1], "Var3");
    EXPECT_EQ(db->data[1][0], 2.0);
    EXPECT_STREQ(db->names[2], "Var4");
    EXPECT_EQ(db->data[2][0], 3.0);
    AlgebraDbDelete(db.get(), 0);
    EXPECT_EQ(db->count, 3);
    ASSERT_EQ(ReportCapture::Messages().size(), 1u);
    EXPECT_EQ(ReportCapture::Messages()[0].second, "Var1 cannot be deleted");
    AlgebraDbDelete(db.get(), 3);
    AlgebraDbDelete(db.get(), -1);
    EXPECT_EQ(db->count, 3);
    // Adding after a deletion names by slot, so names may repeat an existing one.
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 3);
    EXPECT_STREQ(db->names[3], "Var4");
}

TEST(AlgebraDatabase, BatchModeDefersDeletionAndNotification) {
    DbPtr db = NewDb(2);
    g_notified = 0;
    AlgebraDbSetObserver(db.get(), CountNotify, nullptr);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 3), 0);
    EXPECT_EQ(g_notified, 1);
    AlgebraDbBeginBatch(db.get());
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 3);
    EXPECT_EQ(db->flags[3], static_cast<uint32_t>(kAlgebraVarNew));
    AlgebraDbMarkModified(db.get(), 0, 0);
    EXPECT_EQ(db->flags[0], static_cast<uint32_t>(kAlgebraVarModified));
    AlgebraDbDelete(db.get(), 1);
    AlgebraDbDelete(db.get(), 4);
    EXPECT_EQ(db->count, 5);
    EXPECT_TRUE(db->flags[1] & kAlgebraVarDeletePending);
    EXPECT_EQ(g_notified, 1);
    AlgebraDbEndBatch(db.get());
    EXPECT_EQ(g_notified, 2);
    ASSERT_EQ(db->count, 3);
    EXPECT_STREQ(db->names[0], "Var1");
    EXPECT_STREQ(db->names[1], "Var3");
    EXPECT_STREQ(db->names[2], "Var4");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(db->flags[i], 0u);
}

TEST(AlgebraDatabase, MarkModifiedIsBoundedByTheCount) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 0);
    AlgebraDbMarkModified(db.get(), -5, 99);
    EXPECT_EQ(db->flags[0], static_cast<uint32_t>(kAlgebraVarModified));
    EXPECT_EQ(db->flags[1], static_cast<uint32_t>(kAlgebraVarModified));
    AlgebraDbMarkModified(nullptr, 0, 1);
}

// Walks the calendar one period at a time: an independent account of the sample arithmetic.
TEST(AlgebraSampleArithmetic, AgreesWithCountingPeriods) {
    for (int f : {1, 4, 12, 52}) {
        for (int p1 = 1; p1 <= f; p1 += (f > 4 ? 5 : 1)) {
            AlgebraSample s{1990, p1, 0, 0, f};
            int year = 1990, period = p1;
            for (int t = 0; t < 3 * f + 7; ++t) {
                ASSERT_EQ(AlgebraSampleYear(s, t), year) << f << " " << p1 << " " << t;
                ASSERT_EQ(AlgebraSamplePeriod(s, t), period);
                ASSERT_EQ(AlgebraSampleIndex(s, year, period), t);
                AlgebraSample e = s;
                AlgebraSampleSetEnd(&e, t + 1);
                ASSERT_EQ(AlgebraSampleObservations(e), t + 1);
                if (++period > f) period = 1, ++year;
            }
        }
    }
    AlgebraSample q{1990, 1, 1990, 4, 4};
    EXPECT_EQ(AlgebraSampleObservations(q), 4);
    EXPECT_EQ(AlgebraSampleYear(q, 4), 1991);
    EXPECT_EQ(AlgebraSamplePeriod(q, 4), 1);
    // A frequency below 1 counts as 1 (no division by zero).
    AlgebraSample zero{2000, 1, 2001, 1, 0};
    EXPECT_EQ(AlgebraSampleYear(zero, 3), 2003);
    EXPECT_EQ(AlgebraSampleObservations(zero), 2);
    EXPECT_EQ(AlgebraSampleIndex(zero, 2001, 1), 1);
}

TEST(AlgebraDatabase, SetSampleStoresObservationsAndSkipsIdenticalSamples) {
    DbPtr db = NewDb(2);
    g_notified = 0;
    AlgebraDbSetObserver(db.get(), CountNotify, nullptr);
    AlgebraDbSetSample(db.get(), AlgebraSample{1996, 1, 2005, 1, 1});
    EXPECT_EQ(db->changed, 0);
    EXPECT_EQ(g_notified, 0);
    AlgebraDbSetSample(db.get(), AlgebraSample{1990, 1, 1990, 4, 4});
    EXPECT_EQ(db->nobs, 4);
    EXPECT_EQ(db->changed, 1);
    EXPECT_EQ(g_notified, 1);
    AlgebraDbSetSample(db.get(), AlgebraSample{1990, 3, 1990, 1, 4});
    EXPECT_EQ(db->nobs, 0) << "a sample that ends before it starts is empty";
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    // A longer sample over an existing column extends it with missing values.
    AlgebraDbSetSample(db.get(), AlgebraSample{1990, 1, 1999, 4, 4});
    ASSERT_EQ(db->nobs, 40);
    ASSERT_GE(db->storage[0]->count, 40);
    EXPECT_EQ(db->data[0], db->storage[0]->values);
    EXPECT_TRUE(IsMissing(db->data[0][39]));
}

TEST(AlgebraDatabase, SetSampleTruncatesAtOneHundredMillion) {
    ReportCapture capture;
    DbPtr db = NewDb(1);
    AlgebraDbSetSample(db.get(), AlgebraSample{1, 1, 200000000, 1, 1});
    EXPECT_EQ(db->nobs, 100000000);
    EXPECT_EQ(db->sample.endYear, 100000000);
    EXPECT_EQ(db->sample.endPeriod, 1);
    ASSERT_EQ(ReportCapture::Messages().size(), 1u);
    EXPECT_EQ(ReportCapture::Messages()[0].first, "Warning");
    EXPECT_EQ(ReportCapture::Messages()[0].second, "Truncated number of observations to 100000000");
    // Far past 32 bits the count is still computed without overflow.
    AlgebraDbSetSample(db.get(), AlgebraSample{-2000000000, 1, 2000000000, 12, 12});
    EXPECT_EQ(db->nobs, 100000000);
}

TEST(AlgebraDatabase, ObsRangeFromTheSampleWhenUndated) {
    DbPtr db = NewDb(1);
    int first = -9, last = -9;
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 1998.7, 2000.2, &first, &last), 3);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(last, 4);
    AlgebraDbSetSample(db.get(), AlgebraSample{2000, 2, 2003, 4, 4});
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 2001, 2002, &first, &last), 5);
    EXPECT_EQ(first, 3);
    EXPECT_EQ(last, 7);
    // Wild dates are bounded, never overflowed.
    EXPECT_LE(AlgebraDbObsRange(db.get(), 1e300, -1e300, &first, &last), 0);
    EXPECT_GT(first, last);
}

TEST(AlgebraDatabase, ObsRangeSearchesTheDatesWithATolerance) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    for (int t = 0; t < 10; ++t) db->data[0][t] = 2451545.0 + 7 * t + 0.25;
    AlgebraDbSetDates(db.get(), 1);
    ASSERT_TRUE(AlgebraDbHasDates(db.get()));
    const double d2 = db->data[0][2], d5 = db->data[0][5];
    int first, last;
    EXPECT_EQ(AlgebraDbObsRange(db.get(), d2 + 5e-9, d5 - 5e-9, &first, &last), 4);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(last, 5);
    EXPECT_EQ(AlgebraDbObsRange(db.get(), d2 + 7e-9, d5 - 7e-9, &first, &last), 2);
    EXPECT_EQ(first, 3);
    EXPECT_EQ(last, 4);
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 0, 1e9, &first, &last), 10);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(last, 9);
    // Nothing inside: an empty (non-positive) count.
    EXPECT_LE(AlgebraDbObsRange(db.get(), d2 + 1, d2 + 2, &first, &last), 0);
    // A missing last date falls back to the sample (annual from 1996).
    db->data[0][9] = kMissing;
    EXPECT_EQ(AlgebraDbObsRange(db.get(), 1997, 1998, &first, &last), 2);
    EXPECT_EQ(first, 1);
    // The date at t is clamped into the sample.
    EXPECT_EQ(AlgebraDbDateAt(db.get(), -3), db->data[0][0]);
    EXPECT_TRUE(IsMissing(AlgebraDbDateAt(db.get(), 1000)));
    EXPECT_EQ(AlgebraDbDateAt(db.get(), 4), db->data[0][4]);
}

TEST(AlgebraDatabase, SpanWithoutMissingStopsAtTheFirstGap) {
    DbPtr db = NewDb(1);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    double *x = db->data[0];
    for (int t = 2; t < 10; ++t) x[t] = t;
    x[6] = kMissing;
    int first, last;
    EXPECT_EQ(AlgebraDbSpanWithoutMissing(db.get(), 0, 0, 9, &first, &last), 4);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(last, 5);
    EXPECT_EQ(AlgebraDbSpanWithoutMissing(db.get(), 0, 6, 100, &first, &last), 3);
    EXPECT_EQ(first, 7);
    EXPECT_EQ(last, 9);
    EXPECT_EQ(AlgebraDbSpanWithoutMissing(db.get(), 0, 3, 4, &first, &last), 2);
    EXPECT_EQ(AlgebraDbSpanWithoutMissing(db.get(), 1, 0, 9, &first, &last), 0);
}

TEST(AlgebraJournal, IsOffUnlessTheOwnerEnablesIt) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "x", 0), 1);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 0);
    EXPECT_STREQ(db->names[0], "x");
}

TEST(AlgebraJournal, UndoesAndRedoesSingleEdits) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 1), 0);
    db->changed = 0;
    AlgebraDbEnableJournal(db.get(), 1);
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "x", 0), 1);
    AlgebraDbSetSample(db.get(), AlgebraSample{2000, 1, 2000, 4, 4});
    ASSERT_EQ(AlgebraDbSetLabel(db.get(), 0, "a label"), 1);
    ASSERT_EQ(AlgebraDbSetText(db.get(), "notes"), 1);

    EXPECT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_EQ(db->text, nullptr);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_EQ(db->labels[0], nullptr);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_EQ(db->nobs, 10);
    EXPECT_EQ(db->sample.frequency, 1);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_STREQ(db->names[0], "Var1");
    EXPECT_EQ(db->changed, 0) << "the first edit found the database unchanged";
    EXPECT_EQ(AlgebraDbUndo(db.get()), 0);

    EXPECT_EQ(AlgebraDbRedo(db.get()), 1);
    EXPECT_STREQ(db->names[0], "x");
    EXPECT_EQ(db->changed, 1);
    EXPECT_EQ(AlgebraDbRedo(db.get()), 1);
    EXPECT_EQ(db->nobs, 4);
    // A new edit cuts off what could still be redone.
    ASSERT_EQ(AlgebraDbRename(db.get(), 0, "y", 0), 1);
    EXPECT_EQ(AlgebraDbRedo(db.get()), 0);
    EXPECT_EQ(db->labels[0], nullptr);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_STREQ(db->names[0], "x");
}

TEST(AlgebraJournal, RestoresValuesSavedWhenMarkedModified) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 0);
    for (int t = 0; t < 10; ++t) db->data[1][t] = t;
    AlgebraDbEnableJournal(db.get(), 1);
    AlgebraDbMarkModified(db.get(), 1, 1);
    for (int t = 0; t < 10; ++t) db->data[1][t] = -1.0;
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    for (int t = 0; t < 10; ++t) EXPECT_EQ(db->data[1][t], t);
    ASSERT_EQ(AlgebraDbRedo(db.get()), 1);
    for (int t = 0; t < 10; ++t) EXPECT_EQ(db->data[1][t], -1.0);
}

TEST(AlgebraJournal, UndoesABatchAsOneStep) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 0);
    db->data[1][3] = 42.0;
    AlgebraDbEnableJournal(db.get(), 1);
    AlgebraDbBeginBatch(db.get());
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 3), 2);
    ASSERT_EQ(AlgebraDbRename(db.get(), 1, "b", 0), 1);
    AlgebraDbDelete(db.get(), 0);
    AlgebraDbEndBatch(db.get());
    ASSERT_EQ(db->count, 4);
    EXPECT_STREQ(db->names[0], "b");
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    ASSERT_EQ(db->count, 2);
    EXPECT_STREQ(db->names[0], "Var1");
    EXPECT_STREQ(db->names[1], "Var2");
    EXPECT_EQ(db->data[1][3], 42.0);
    EXPECT_EQ(AlgebraDbUndo(db.get()), 0);
    ASSERT_EQ(AlgebraDbRedo(db.get()), 1);
    ASSERT_EQ(db->count, 4);
    EXPECT_STREQ(db->names[0], "b");
    EXPECT_EQ(db->data[0][3], 42.0);
}

TEST(AlgebraJournal, BlocksAreOwnedAndRestored) {
    DbPtr db = NewDb(2);
    ASSERT_EQ(AlgebraDbAddVariables(db.get(), 2), 0);
    const char first[] = "first block", second[] = "second";
    ASSERT_EQ(AlgebraDbSetBlock(db.get(), 1, first, sizeof first), 1);
    AlgebraDbEnableJournal(db.get(), 1);
    ASSERT_EQ(AlgebraDbSetBlock(db.get(), 1, second, sizeof second), 1);
    EXPECT_EQ(db->kinds[1].kind, kAlgebraKindBlock);
    EXPECT_STREQ(static_cast<const char *>(db->kinds[1].block), "second");
    ASSERT_EQ(AlgebraDbUndo(db.get()), 1);
    EXPECT_STREQ(static_cast<const char *>(db->kinds[1].block), "first block");
    EXPECT_EQ(db->kinds[1].blockSize, static_cast<int>(sizeof first));
    EXPECT_EQ(AlgebraDbSetBlock(db.get(), 2, first, 4), 0);
    EXPECT_EQ(AlgebraDbSetBlock(db.get(), 0, nullptr, 4), 0);
    // Deleting a block variable and freeing the database release the blocks (checked by ASan).
    AlgebraDbDelete(db.get(), 1);
}

TEST(AlgebraJournal, FreeingADatabaseReleasesItsSlot) {
    AlgebraDatabase *a = AlgebraDbCreate(1);
    ASSERT_NE(a, nullptr);
    const int slot = a->journal;
    AlgebraDbFree(a);
    AlgebraDatabase *b = AlgebraDbCreate(1);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->journal, slot);
    AlgebraDbFree(b);
}

}  // namespace
}  // namespace tessel
