// The module-wide table of change journals, one per database slot. Each journal is a chain of
// entries with a current position; a new entry cuts off the entries ahead of it (the redo part).
#ifndef TESSEL_ALGEBRA_JOURNAL_H
#define TESSEL_ALGEBRA_JOURNAL_H

#include <cstdint>
#include <string>
#include <vector>

#include "algebra/database.h"

namespace tessel {

enum AlgebraJournalKind : int32_t {
    kJournalStorage = 2,   // a variable's values and flags
    kJournalSample = 3,    // the sample and the number of observations
    kJournalName = 6,      // a variable's name
    kJournalLabel = 7,     // a variable's label
    kJournalText = 8,      // the database text
    kJournalFullCopy = 11, // the whole database
    kJournalBlock = 12,    // a variable's owned block
};

struct AlgebraJournalEntry {
    int32_t kind = 0;
    bool grouped = false;     // made in batch mode
    bool wasChanged = false;  // the database had changed before this edit
    int32_t index = -1;       // variable, where the kind has one
    // Saved content; which members are used depends on the kind.
    std::vector<double> values;
    uint32_t flags = 0;
    AlgebraSample sample{};
    int32_t nobs = 0;
    bool hasText = false;
    std::string text;
    AlgebraVarKind block{};
    AlgebraDatabase *copy = nullptr;

    AlgebraJournalEntry() = default;
    AlgebraJournalEntry(const AlgebraJournalEntry &) = delete;
    AlgebraJournalEntry &operator=(const AlgebraJournalEntry &) = delete;
    AlgebraJournalEntry(AlgebraJournalEntry &&other) noexcept;
    AlgebraJournalEntry &operator=(AlgebraJournalEntry &&other) noexcept;
    ~AlgebraJournalEntry();
};

struct AlgebraJournal {
    bool inUse = false;
    std::vector<AlgebraJournalEntry> entries;
    size_t position = 0;  // entries before this have been applied
};

// A free journal slot, or -1 when out of memory.
int AlgebraJournalOpen();
// Discards the journal's entries and frees the slot.
void AlgebraJournalClose(int slot);
// The journal in `slot`, or nullptr.
AlgebraJournal *AlgebraJournalAt(int slot);
// Cuts off the redo part and appends; false when out of memory (the journal is then cleared, since
// a chain with a gap cannot be undone).
bool AlgebraJournalPush(int slot, AlgebraJournalEntry &&entry);
// Discards all entries of a journal.
void AlgebraJournalClear(int slot);

}  // namespace tessel

#endif
