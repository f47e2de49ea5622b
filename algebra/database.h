// The Algebra database: named series of equal length over one dated sample, with variable flags,
// an observer notified after structural changes and an optional change journal.
#ifndef TESSEL_ALGEBRA_DATABASE_H
#define TESSEL_ALGEBRA_DATABASE_H

#include <cstdint>

namespace tessel {

// Start year, start period, end year, end period, periods per year.
struct AlgebraSample {
    int32_t startYear;
    int32_t startPeriod;
    int32_t endYear;
    int32_t endPeriod;
    int32_t frequency;
};

// A reference-counted vector of doubles: the values of one variable. Compiled code may hold a
// reference of its own (AlgebraStorageRetain) so that the column outlives a deletion.
struct AlgebraStorage {
    int32_t refs;
    int32_t count;
    double *values;
};

AlgebraStorage *AlgebraStorageCreate(int count);  // every value missing; nullptr when out of memory
void AlgebraStorageRetain(AlgebraStorage *s);
void AlgebraStorageRelease(AlgebraStorage *s);     // frees at the last reference

// Variable flags.
enum : uint32_t {
    kAlgebraVarProtected = 1,   // cannot be deleted
    kAlgebraVarModified = 2,
    kAlgebraVarDeletePending = 4,
    kAlgebraVarNew = 8,
};

// Variable kinds (first word of the kind record).
enum : int32_t {
    kAlgebraKindPlain = 0,
    kAlgebraKindDates = 1,  // only the first variable is ever tested for this
    kAlgebraKindBlock = 2,  // carries an owned block, released with the variable
};

struct AlgebraVarKind {
    int32_t kind;
    int32_t blockSize;  // bytes in block (kind 2)
    void *block;        // malloc'd, owned (kind 2)
};

inline constexpr int kAlgebraNameMax = 64;                  // characters kept of a variable name
inline constexpr int kAlgebraMaxObservations = 100000000;  // longest sample
inline constexpr int kAlgebraMaxVariables = 1 << 24;       // table slots, well before any overflow

struct AlgebraDatabase;
using AlgebraObserver = void (*)(AlgebraDatabase *db, void *context);

struct AlgebraDatabase {
    char *name;     // used in messages
    char *info;     // second descriptive text, copied with the database
    int32_t count;  // variables in use
    int32_t nobs;   // observations per variable
    int32_t capacity;
    AlgebraSample sample;
    char *text;  // database text
    int32_t changed;
    int32_t batch;  // deletions only marked, observers not notified
    int32_t journal;         // slot of this database's change journal
    int32_t journalEnabled;  // journal kept only when the owner sets this
    AlgebraObserver observer;
    void *observerContext;
    // Per variable, `capacity` entries each.
    AlgebraStorage **storage;
    double **data;  // storage[i]->values, renewed whenever the storage is replaced
    char **names;
    char **labels;  // may be null
    uint32_t *flags;
    AlgebraVarKind *kinds;
};

// New database with `capacity` variable slots, 10 observations and the sample 1996(1)-2005(1),
// frequency 1; nullptr when out of memory.
AlgebraDatabase *AlgebraDbCreate(int capacity);
void AlgebraDbFree(AlgebraDatabase *db);

// Adds n variables named "Var%d" (slot + 1), all values missing; index of the first, or -1.
int AlgebraDbAddVariables(AlgebraDatabase *db, int n);
// Deletes a variable (ignored when out of range; protected variables are kept and reported).
void AlgebraDbDelete(AlgebraDatabase *db, int index);
// Renames with cleaning and the uniqueness test; 1 on success, 0 on failure. `report` non-zero
// reports a clash with an existing name.
int AlgebraDbRename(AlgebraDatabase *db, int index, const char *name, int report);
// As AlgebraDbRename without the uniqueness test.
int AlgebraDbSetName(AlgebraDatabase *db, int index, const char *name);
// Exact, case-sensitive lookup; index or -1.
int AlgebraDbFind(const AlgebraDatabase *db, const char *name);
// Sets the sample and the number of observations (at most 100,000,000, with a warning). Columns
// shorter than the new sample are extended with missing values; none is ever shortened.
void AlgebraDbSetSample(AlgebraDatabase *db, const AlgebraSample &sample);
// The database's own name, used in messages; 0 when out of memory.
int AlgebraDbSetDatabaseName(AlgebraDatabase *db, const char *name);
// Sets flag 2 on first..last (bounded by the count) and journals their values when enabled.
void AlgebraDbMarkModified(AlgebraDatabase *db, int first, int last);

// Label and database text (null clears); 1 on success, 0 when out of memory or out of range.
int AlgebraDbSetLabel(AlgebraDatabase *db, int index, const char *label);
int AlgebraDbSetText(AlgebraDatabase *db, const char *text);

// Gives variable `index` the block kind with a copy of `size` bytes of `data` (its previous block,
// if any, is released); 1 on success, 0 when out of memory or out of range.
int AlgebraDbSetBlock(AlgebraDatabase *db, int index, const void *data, int size);

// Batch mode: deletions are only marked and the observer is not told. Ending it removes the marked
// variables and notifies once.
void AlgebraDbBeginBatch(AlgebraDatabase *db);
void AlgebraDbEndBatch(AlgebraDatabase *db);

void AlgebraDbSetObserver(AlgebraDatabase *db, AlgebraObserver observer, void *context);

// Dates: the first variable may hold day numbers (plus a fraction of a day for the time).
void AlgebraDbSetDates(AlgebraDatabase *db, int on);
bool AlgebraDbHasDates(const AlgebraDatabase *db);
// The first variable's value at t clamped into 0..nobs-1; missing when there is none.
double AlgebraDbDateAt(const AlgebraDatabase *db, int t);
// Observations between two date values; first and last index through the pointers.
int AlgebraDbObsRange(const AlgebraDatabase *db, double from, double to, int *first, int *last);

// Span of `var` over t1..t2 without missing values (see AlgebraSpanWithoutMissing); its length.
int AlgebraDbSpanWithoutMissing(const AlgebraDatabase *db, int var, int t1, int t2, int *first, int *last);

// Sample arithmetic. Integer division truncates; a frequency below 1 counts as 1.
int64_t AlgebraSampleObservations(const AlgebraSample &s);
int64_t AlgebraSampleIndex(const AlgebraSample &s, int year, int period);
int AlgebraSampleYear(const AlgebraSample &s, int t);
int AlgebraSamplePeriod(const AlgebraSample &s, int t);
// Sets the end date of `s` to that of observation n - 1.
void AlgebraSampleSetEnd(AlgebraSample *s, int n);

// Change journal, when enabled: undo and redo one edit (or one batch); 1 if something changed.
void AlgebraDbEnableJournal(AlgebraDatabase *db, int on);
int AlgebraDbUndo(AlgebraDatabase *db);
int AlgebraDbRedo(AlgebraDatabase *db);

}  // namespace tessel

#endif
