#include "algebra/journal.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace tessel {

namespace {

std::vector<AlgebraJournal> &Journals() {
    static std::vector<AlgebraJournal> journals;
    return journals;
}

}  // namespace

AlgebraJournalEntry::AlgebraJournalEntry(AlgebraJournalEntry &&o) noexcept
    : kind(o.kind), grouped(o.grouped), wasChanged(o.wasChanged), index(o.index), values(std::move(o.values)),
      flags(o.flags), sample(o.sample), nobs(o.nobs), hasText(o.hasText), text(std::move(o.text)),
      block(o.block), copy(o.copy) {
    o.block = AlgebraVarKind{};
    o.copy = nullptr;
}

AlgebraJournalEntry &AlgebraJournalEntry::operator=(AlgebraJournalEntry &&o) noexcept {
    if (this != &o) {
        this->~AlgebraJournalEntry();
        new (this) AlgebraJournalEntry(std::move(o));
    }
    return *this;
}

AlgebraJournalEntry::~AlgebraJournalEntry() {
    std::free(block.block);
    block.block = nullptr;
    if (copy) AlgebraDbFree(copy);
    copy = nullptr;
}

int AlgebraJournalOpen() {
    try {
        auto &all = Journals();
        for (size_t i = 0; i < all.size(); ++i) {
            if (!all[i].inUse) {
                all[i].inUse = true;
                return static_cast<int>(i);
            }
        }
        all.emplace_back();
        all.back().inUse = true;
        return static_cast<int>(all.size() - 1);
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

AlgebraJournal *AlgebraJournalAt(int slot) {
    auto &all = Journals();
    if (slot < 0 || static_cast<size_t>(slot) >= all.size() || !all[slot].inUse) return nullptr;
    return &all[slot];
}

void AlgebraJournalClear(int slot) {
    AlgebraJournal *j = AlgebraJournalAt(slot);
    if (!j) return;
    j->entries.clear();
    j->position = 0;
}

void AlgebraJournalClose(int slot) {
    AlgebraJournal *j = AlgebraJournalAt(slot);
    if (!j) return;
    std::vector<AlgebraJournalEntry>().swap(j->entries);
    j->position = 0;
    j->inUse = false;
}

bool AlgebraJournalPush(int slot, AlgebraJournalEntry &&entry) {
    AlgebraJournal *j = AlgebraJournalAt(slot);
    if (!j) return false;
    j->entries.erase(j->entries.begin() + static_cast<std::ptrdiff_t>(j->position), j->entries.end());
    try {
        j->entries.push_back(std::move(entry));
    } catch (const std::bad_alloc &) {
        AlgebraJournalClear(slot);
        return false;
    }
    j->position = j->entries.size();
    return true;
}

}  // namespace tessel
