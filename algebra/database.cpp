#include "algebra/database.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "algebra/journal.h"
#include "algebra/report.h"
#include "algebra/series.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

char *DupText(const char *s) {
    if (!s) return nullptr;
    size_t n = std::strlen(s);
    char *d = static_cast<char *>(std::malloc(n + 1));
    if (d) std::memcpy(d, s, n + 1);
    return d;
}

// Keeps at most 64 characters, drops leading white space and trailing control characters and
// blanks, and turns double quotes into underscores (they would end a quoted name in code).
bool CleanName(const char *in, char out[kAlgebraNameMax + 1]) {
    size_t n = 0;
    while (n < static_cast<size_t>(kAlgebraNameMax) && in[n]) ++n;
    size_t b = 0;
    while (b < n && (in[b] == ' ' || (in[b] >= '\t' && in[b] <= '\r'))) ++b;
    while (n > b && static_cast<unsigned char>(in[n - 1]) <= ' ') --n;
    size_t k = 0;
    for (size_t i = b; i < n; ++i) out[k++] = in[i] == '"' ? '_' : in[i];
    out[k] = '\0';
    return k > 0;
}

void ReleaseSlot(AlgebraDatabase *db, int i) {
    AlgebraStorageRelease(db->storage[i]);
    std::free(db->names[i]);
    std::free(db->labels[i]);
    if (db->kinds[i].kind == kAlgebraKindBlock) std::free(db->kinds[i].block);
    db->storage[i] = nullptr;
    db->data[i] = nullptr;
    db->names[i] = nullptr;
    db->labels[i] = nullptr;
    db->flags[i] = 0;
    db->kinds[i] = AlgebraVarKind{};
}

// Grows the per-variable arrays to `cap` slots; false (nothing changed) when out of memory.
bool GrowSlots(AlgebraDatabase *db, int cap) {
    size_t n = static_cast<size_t>(cap > 0 ? cap : 1);
    auto grow = [&](auto *&arr) {
        using T = std::remove_reference_t<decltype(*arr)>;
        T *p = static_cast<T *>(std::realloc(arr, n * sizeof(T)));
        if (!p) return false;
        for (size_t i = static_cast<size_t>(db->capacity); i < n; ++i) p[i] = T{};  // capacity <= n here
        arr = p;
        return true;
    };
    // Each realloc either succeeds or leaves its array as it was; a partial success only leaves
    // larger arrays behind, which is harmless since capacity is updated last.
    if (!grow(db->storage) || !grow(db->data) || !grow(db->names) || !grow(db->labels) || !grow(db->flags) ||
        !grow(db->kinds))
        return false;
    db->capacity = cap;
    return true;
}

void NotifyAndClear(AlgebraDatabase *db) {
    if (db->observer) db->observer(db, db->observerContext);
    for (int i = 0; i < db->count; ++i) db->flags[i] &= ~(kAlgebraVarModified | kAlgebraVarNew);
}

// ---- journal ----

bool Journaling(const AlgebraDatabase *db) {
    if (!db->journalEnabled) return false;
    AlgebraJournal *j = AlgebraJournalAt(db->journal);
    if (!j) return false;
    // Within a batch that began with a grouped full copy, that copy already covers every edit.
    if (db->batch && j->position > 0) {
        const AlgebraJournalEntry &top = j->entries[j->position - 1];
        if (top.kind == kJournalFullCopy && top.grouped) return false;
    }
    return true;
}

AlgebraJournalEntry NewEntry(const AlgebraDatabase *db, int kind, int index) {
    AlgebraJournalEntry e;
    e.kind = kind;
    e.grouped = db->batch != 0;
    e.wasChanged = db->changed != 0;
    e.index = index;
    return e;
}

void JournalFullCopy(AlgebraDatabase *db);

void JournalName(AlgebraDatabase *db, int kind, int index) {
    if (!Journaling(db)) return;
    try {
        AlgebraJournalEntry e = NewEntry(db, kind, index);
        const char *s = kind == kJournalName ? db->names[index] : kind == kJournalLabel ? db->labels[index] : db->text;
        e.hasText = s != nullptr;
        if (s) e.text = s;
        AlgebraJournalPush(db->journal, std::move(e));
    } catch (const std::bad_alloc &) {
        AlgebraJournalClear(db->journal);
    }
}

void JournalSample(AlgebraDatabase *db) {
    if (!Journaling(db)) return;
    AlgebraJournalEntry e = NewEntry(db, kJournalSample, -1);
    e.sample = db->sample;
    e.nobs = db->nobs;
    AlgebraJournalPush(db->journal, std::move(e));
}

void JournalStorage(AlgebraDatabase *db, int index) {
    if (!Journaling(db)) return;
    try {
        AlgebraJournalEntry e = NewEntry(db, kJournalStorage, index);
        const AlgebraStorage *s = db->storage[index];
        if (s) e.values.assign(s->values, s->values + s->count);
        e.flags = db->flags[index];
        AlgebraJournalPush(db->journal, std::move(e));
    } catch (const std::bad_alloc &) {
        AlgebraJournalClear(db->journal);
    }
}

// A deep copy of everything but the journal and observer, for full-copy entries.
AlgebraDatabase *CloneDb(const AlgebraDatabase *db) {
    AlgebraDatabase *c = AlgebraDbCreate(db->capacity > 0 ? db->capacity : 1);
    if (!c) return nullptr;
    AlgebraJournalClose(c->journal);
    c->journal = -1;
    bool ok = true;
    std::free(c->name);
    c->name = DupText(db->name);
    c->info = DupText(db->info);
    c->text = DupText(db->text);
    ok = (c->name || !db->name) && (c->info || !db->info) && (c->text || !db->text);
    c->sample = db->sample;
    c->nobs = db->nobs;
    c->changed = db->changed;
    for (int i = 0; ok && i < db->count; ++i) {
        const AlgebraStorage *s = db->storage[i];
        if (s) {
            AlgebraStorage *t = AlgebraStorageCreate(s->count);
            if (!t) {
                ok = false;
                break;
            }
            std::memcpy(t->values, s->values, sizeof(double) * static_cast<size_t>(s->count));
            c->storage[i] = t;
            c->data[i] = t->values;
        }
        c->names[i] = DupText(db->names[i]);
        c->labels[i] = DupText(db->labels[i]);
        c->flags[i] = db->flags[i];
        c->kinds[i] = db->kinds[i];
        c->count = i + 1;
        if (db->kinds[i].kind == kAlgebraKindBlock && db->kinds[i].block) {
            c->kinds[i].block = std::malloc(static_cast<size_t>(db->kinds[i].blockSize > 0 ? db->kinds[i].blockSize : 1));
            if (c->kinds[i].block)
                std::memcpy(c->kinds[i].block, db->kinds[i].block, static_cast<size_t>(db->kinds[i].blockSize));
            else
                c->kinds[i].kind = kAlgebraKindPlain, ok = false;
        }
        if ((!c->names[i] && db->names[i]) || (!c->labels[i] && db->labels[i])) ok = false;
    }
    if (!ok) {
        AlgebraDbFree(c);
        return nullptr;
    }
    return c;
}

void JournalFullCopy(AlgebraDatabase *db) {
    if (!Journaling(db)) return;
    AlgebraDatabase *copy = CloneDb(db);
    if (!copy) {
        AlgebraJournalClear(db->journal);
        return;
    }
    AlgebraJournalEntry e = NewEntry(db, kJournalFullCopy, -1);
    e.copy = copy;
    AlgebraJournalPush(db->journal, std::move(e));
}

// Exchanges the database content with what an entry saved, so that the same call undoes and redoes.
bool SwapWithEntry(AlgebraDatabase *db, AlgebraJournalEntry &e) {
    switch (e.kind) {
        case kJournalStorage: {
            if (e.index < 0 || e.index >= db->count || !db->storage[e.index]) return false;
            AlgebraStorage *s = db->storage[e.index];
            if (static_cast<size_t>(s->count) == e.values.size()) {
                for (int t = 0; t < s->count; ++t) std::swap(s->values[t], e.values[static_cast<size_t>(t)]);
            } else {
                AlgebraStorage *n = AlgebraStorageCreate(static_cast<int>(e.values.size()));
                if (!n) return false;
                std::copy(e.values.begin(), e.values.end(), n->values);
                e.values.assign(s->values, s->values + s->count);
                AlgebraStorageRelease(s);
                db->storage[e.index] = n;
                db->data[e.index] = n->values;
            }
            std::swap(db->flags[e.index], e.flags);
            return true;
        }
        case kJournalSample:
            std::swap(db->sample, e.sample);
            std::swap(db->nobs, e.nobs);
            return true;
        case kJournalName:
        case kJournalLabel:
        case kJournalText: {
            char **slot;
            if (e.kind == kJournalText) {
                slot = &db->text;
            } else {
                if (e.index < 0 || e.index >= db->count) return false;
                slot = e.kind == kJournalName ? &db->names[e.index] : &db->labels[e.index];
            }
            char *saved = e.hasText ? DupText(e.text.c_str()) : nullptr;
            if (e.hasText && !saved) return false;
            e.hasText = *slot != nullptr;
            e.text = *slot ? *slot : "";
            std::free(*slot);
            *slot = saved;
            return true;
        }
        case kJournalBlock:
            if (e.index < 0 || e.index >= db->count) return false;
            std::swap(db->kinds[e.index], e.block);
            return true;
        case kJournalFullCopy: {
            AlgebraDatabase *c = e.copy;
            if (!c) return false;
            std::swap(db->name, c->name);
            std::swap(db->info, c->info);
            std::swap(db->count, c->count);
            std::swap(db->nobs, c->nobs);
            std::swap(db->capacity, c->capacity);
            std::swap(db->sample, c->sample);
            std::swap(db->text, c->text);
            std::swap(db->storage, c->storage);
            std::swap(db->data, c->data);
            std::swap(db->names, c->names);
            std::swap(db->labels, c->labels);
            std::swap(db->flags, c->flags);
            std::swap(db->kinds, c->kinds);
            return true;
        }
        default:
            return false;
    }
}

}  // namespace

// ---- storage ----

AlgebraStorage *AlgebraStorageCreate(int count) {
    if (count < 0) count = 0;
    auto *s = static_cast<AlgebraStorage *>(std::malloc(sizeof(AlgebraStorage)));
    if (!s) return nullptr;
    s->values = static_cast<double *>(std::malloc(sizeof(double) * (count > 0 ? static_cast<size_t>(count) : 1)));
    if (!s->values) {
        std::free(s);
        return nullptr;
    }
    s->refs = 1;
    s->count = count;
    for (int i = 0; i < count; ++i) s->values[i] = kMissing;
    return s;
}

void AlgebraStorageRetain(AlgebraStorage *s) {
    if (s) ++s->refs;
}

void AlgebraStorageRelease(AlgebraStorage *s) {
    if (!s || --s->refs > 0) return;
    std::free(s->values);
    std::free(s);
}

// ---- sample arithmetic ----

namespace {

int Frequency(const AlgebraSample &s) { return s.frequency > 0 ? s.frequency : 1; }

}  // namespace

int64_t AlgebraSampleObservations(const AlgebraSample &s) {
    return (int64_t{s.endYear} - s.startYear) * Frequency(s) - s.startPeriod + s.endPeriod + 1;
}

int64_t AlgebraSampleIndex(const AlgebraSample &s, int year, int period) {
    return int64_t{period} + (int64_t{year} - s.startYear) * Frequency(s) - s.startPeriod;
}

int AlgebraSampleYear(const AlgebraSample &s, int t) {
    const int f = Frequency(s);
    int64_t y = int64_t{s.startYear} + t / f;
    if (int64_t{s.startPeriod} + t - int64_t{f} * (t / f) > f) ++y;
    return static_cast<int>(y);
}

int AlgebraSamplePeriod(const AlgebraSample &s, int t) {
    const int f = Frequency(s);
    int64_t p = int64_t{s.startPeriod} + t - int64_t{f} * (t / f);
    if (p > f) p -= f;
    return static_cast<int>(p);
}

void AlgebraSampleSetEnd(AlgebraSample *s, int n) {
    if (n == INT32_MIN) n = INT32_MIN + 1;
    s->endYear = AlgebraSampleYear(*s, n - 1);
    s->endPeriod = AlgebraSamplePeriod(*s, n - 1);
}

// ---- creation and release ----

AlgebraDatabase *AlgebraDbCreate(int capacity) {
    if (capacity < 0) capacity = 0;
    auto *db = static_cast<AlgebraDatabase *>(std::calloc(1, sizeof(AlgebraDatabase)));
    if (!db) return nullptr;
    db->journal = -1;
    db->nobs = 10;
    db->sample = AlgebraSample{1996, 1, 2005, 1, 1};
    db->name = DupText("");
    if (!db->name || !GrowSlots(db, capacity)) {
        AlgebraDbFree(db);
        return nullptr;
    }
    db->journal = AlgebraJournalOpen();
    if (db->journal < 0) {
        AlgebraDbFree(db);
        return nullptr;
    }
    return db;
}

void AlgebraDbFree(AlgebraDatabase *db) {
    if (!db) return;
    for (int i = db->count - 1; i >= 0; --i) ReleaseSlot(db, i);
    AlgebraJournalClose(db->journal);
    std::free(db->storage);
    std::free(db->data);
    std::free(db->names);
    std::free(db->labels);
    std::free(db->flags);
    std::free(db->kinds);
    std::free(db->name);
    std::free(db->info);
    std::free(db->text);
    std::free(db);
}

// ---- variables ----

int AlgebraDbAddVariables(AlgebraDatabase *db, int n) {
    if (!db || n < 0) return -1;
    if (n == 0) return db->count;
    char msg[160];
    if (int64_t{db->count} + n > db->capacity) {
        int64_t cap = int64_t{db->count} + (n > 256 ? n : 256);
        if (cap > kAlgebraMaxVariables || !GrowSlots(db, static_cast<int>(cap))) {
            std::snprintf(msg, sizeof msg, "Maximum number of variables reached in database %s",
                          db->name ? db->name : "");
            AlgebraError(msg);
            return -1;
        }
    }
    JournalFullCopy(db);
    db->changed = 1;
    const int first = db->count;
    for (int i = first; i < first + n; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "Var%d", i + 1);
        db->storage[i] = AlgebraStorageCreate(db->nobs);
        db->names[i] = DupText(name);
        db->data[i] = db->storage[i] ? db->storage[i]->values : nullptr;
        db->labels[i] = nullptr;
        db->kinds[i] = AlgebraVarKind{};
        db->flags[i] = kAlgebraVarNew;
        if (!db->storage[i] || !db->names[i]) {
            for (int k = i; k >= first; --k) ReleaseSlot(db, k);
            std::snprintf(msg, sizeof msg, "Cannot add %d variable(s) to database", n);
            AlgebraError(msg);
            return -1;
        }
    }
    db->count += n;
    if (!db->batch) NotifyAndClear(db);
    return first;
}

void AlgebraDbDelete(AlgebraDatabase *db, int index) {
    if (!db || index < 0 || index >= db->count) return;
    if (db->flags[index] & kAlgebraVarProtected) {
        char msg[kAlgebraNameMax + 40];
        std::snprintf(msg, sizeof msg, "%s cannot be deleted", db->names[index] ? db->names[index] : "");
        AlgebraError(msg);
        return;
    }
    if (db->batch) {
        db->flags[index] |= kAlgebraVarDeletePending;
        db->changed = 1;
        return;
    }
    JournalFullCopy(db);
    db->changed = 1;
    ReleaseSlot(db, index);
    for (int i = index; i + 1 < db->count; ++i) {
        db->storage[i] = db->storage[i + 1];
        db->data[i] = db->data[i + 1];
        db->names[i] = db->names[i + 1];
        db->labels[i] = db->labels[i + 1];
        db->flags[i] = db->flags[i + 1];
        db->kinds[i] = db->kinds[i + 1];
    }
    --db->count;
    int last = db->count;
    db->storage[last] = nullptr;
    db->data[last] = nullptr;
    db->names[last] = nullptr;
    db->labels[last] = nullptr;
    db->flags[last] = 0;
    db->kinds[last] = AlgebraVarKind{};
    NotifyAndClear(db);
}

namespace {

int RenameImpl(AlgebraDatabase *db, int index, const char *name, bool unique, int report) {
    if (!db || !name || index < 0 || index >= db->count) return 0;
    char clean[kAlgebraNameMax + 1];
    if (!CleanName(name, clean)) return 0;
    if (db->names[index] && std::strcmp(db->names[index], clean) == 0) return 1;
    if (unique) {
        int other = AlgebraDbFind(db, clean);
        if (other >= 0 && other != index) {
            if (report) {
                char msg[kAlgebraNameMax + 48];
                std::snprintf(msg, sizeof msg, "%s already exists, use a different name", clean);
                AlgebraError(msg);
            }
            return 0;
        }
    }
    char *copy = DupText(clean);
    if (!copy) return 0;
    JournalName(db, kJournalName, index);
    db->changed = 1;
    std::free(db->names[index]);
    db->names[index] = copy;
    if (!db->batch) NotifyAndClear(db);
    return 1;
}

}  // namespace

int AlgebraDbRename(AlgebraDatabase *db, int index, const char *name, int report) {
    return RenameImpl(db, index, name, true, report);
}

int AlgebraDbSetName(AlgebraDatabase *db, int index, const char *name) {
    return RenameImpl(db, index, name, false, 0);
}

int AlgebraDbFind(const AlgebraDatabase *db, const char *name) {
    if (!db || !name) return -1;
    for (int i = 0; i < db->count; ++i)
        if (db->names[i] && std::strcmp(db->names[i], name) == 0) return i;
    return -1;
}

int AlgebraDbSetLabel(AlgebraDatabase *db, int index, const char *label) {
    if (!db || index < 0 || index >= db->count) return 0;
    char *copy = DupText(label);
    if (label && !copy) return 0;
    JournalName(db, kJournalLabel, index);
    db->changed = 1;
    std::free(db->labels[index]);
    db->labels[index] = copy;
    return 1;
}

int AlgebraDbSetText(AlgebraDatabase *db, const char *text) {
    if (!db) return 0;
    char *copy = DupText(text);
    if (text && !copy) return 0;
    JournalName(db, kJournalText, -1);
    db->changed = 1;
    std::free(db->text);
    db->text = copy;
    return 1;
}

int AlgebraDbSetBlock(AlgebraDatabase *db, int index, const void *data, int size) {
    if (!db || index < 0 || index >= db->count || size < 0 || (size > 0 && !data)) return 0;
    void *copy = std::malloc(size > 0 ? static_cast<size_t>(size) : 1);
    if (!copy) return 0;
    if (size > 0) std::memcpy(copy, data, static_cast<size_t>(size));
    AlgebraVarKind &k = db->kinds[index];
    if (Journaling(db)) {
        // The entry takes over the old record (and its block); undo swaps it back.
        AlgebraJournalEntry e = NewEntry(db, kJournalBlock, index);
        e.block = k;
        if (AlgebraJournalPush(db->journal, std::move(e)))
            k = AlgebraVarKind{};
        else
            e.block = AlgebraVarKind{};  // not taken: the record still owns its block
    }
    if (k.kind == kAlgebraKindBlock) std::free(k.block);
    k = AlgebraVarKind{kAlgebraKindBlock, size, copy};
    db->changed = 1;
    return 1;
}

// ---- sample ----

void AlgebraDbSetSample(AlgebraDatabase *db, const AlgebraSample &sample) {
    if (!db) return;
    const AlgebraSample &o = db->sample;
    if (o.startYear == sample.startYear && o.startPeriod == sample.startPeriod && o.endYear == sample.endYear &&
        o.endPeriod == sample.endPeriod && o.frequency == sample.frequency)
        return;
    AlgebraSample s = sample;
    int64_t n = AlgebraSampleObservations(s);
    bool truncated = false;
    if (n > kAlgebraMaxObservations) {
        n = kAlgebraMaxObservations;
        AlgebraSampleSetEnd(&s, kAlgebraMaxObservations);
        truncated = true;
    }
    // A sample that ends before it starts holds no observations.
    const int nobs = n > 0 ? static_cast<int>(n) : 0;
    // Callers set the sample before adding variables, but a longer sample over existing columns
    // must not let readers run past their storage: extend those columns with missing values.
    for (int i = 0; i < db->count; ++i) {
        AlgebraStorage *old = db->storage[i];
        if (!old || old->count >= nobs) continue;
        AlgebraStorage *grown = AlgebraStorageCreate(nobs);
        if (!grown) {
            AlgebraError("Out of memory");
            return;
        }
        std::memcpy(grown->values, old->values, sizeof(double) * static_cast<size_t>(old->count));
        AlgebraStorageRelease(old);
        db->storage[i] = grown;
        db->data[i] = grown->values;
    }
    JournalSample(db);
    db->changed = 1;
    db->sample = s;
    if (truncated) {
        char msg[80];
        std::snprintf(msg, sizeof msg, "Truncated number of observations to %d", kAlgebraMaxObservations);
        AlgebraWarning(msg);
    }
    if (!db->batch) NotifyAndClear(db);
    db->nobs = nobs;
}

int AlgebraDbSetDatabaseName(AlgebraDatabase *db, const char *name) {
    if (!db) return 0;
    char *copy = DupText(name ? name : "");
    if (!copy) return 0;
    std::free(db->name);
    db->name = copy;
    return 1;
}

void AlgebraDbMarkModified(AlgebraDatabase *db, int first, int last) {
    if (!db) return;
    if (first < 0) first = 0;
    if (last >= db->count) last = db->count - 1;
    for (int i = first; i <= last; ++i) {
        JournalStorage(db, i);
        db->flags[i] |= kAlgebraVarModified;
        if (db->storage[i]) db->data[i] = db->storage[i]->values;
    }
}

// ---- batch and observer ----

void AlgebraDbBeginBatch(AlgebraDatabase *db) {
    if (!db || db->batch) return;
    db->batch = 1;
    JournalFullCopy(db);
}

void AlgebraDbEndBatch(AlgebraDatabase *db) {
    if (!db || !db->batch) return;
    db->batch = 0;
    int kept = 0;
    for (int i = 0; i < db->count; ++i) {
        if (db->flags[i] & kAlgebraVarDeletePending) {
            ReleaseSlot(db, i);
            continue;
        }
        if (kept != i) {
            db->storage[kept] = db->storage[i];
            db->data[kept] = db->data[i];
            db->names[kept] = db->names[i];
            db->labels[kept] = db->labels[i];
            db->flags[kept] = db->flags[i];
            db->kinds[kept] = db->kinds[i];
            db->storage[i] = nullptr;
            db->data[i] = nullptr;
            db->names[i] = nullptr;
            db->labels[i] = nullptr;
            db->flags[i] = 0;
            db->kinds[i] = AlgebraVarKind{};
        }
        ++kept;
    }
    db->count = kept;
    NotifyAndClear(db);
}

void AlgebraDbSetObserver(AlgebraDatabase *db, AlgebraObserver observer, void *context) {
    if (!db) return;
    db->observer = observer;
    db->observerContext = context;
}

// ---- dates ----

void AlgebraDbSetDates(AlgebraDatabase *db, int on) {
    if (!db || db->count < 1) return;
    if (on) {
        if (db->kinds[0].kind == kAlgebraKindBlock) std::free(db->kinds[0].block);
        db->kinds[0] = AlgebraVarKind{kAlgebraKindDates, 0, nullptr};
    } else if (db->kinds[0].kind == kAlgebraKindDates) {
        db->kinds[0].kind = kAlgebraKindPlain;
    }
}

bool AlgebraDbHasDates(const AlgebraDatabase *db) {
    return db && db->count > 0 && db->kinds[0].kind == kAlgebraKindDates && db->data[0] && db->nobs > 0;
}

double AlgebraDbDateAt(const AlgebraDatabase *db, int t) {
    if (!db || db->count < 1 || !db->data[0] || db->nobs < 1) return kMissing;
    const int n = db->storage[0] && db->storage[0]->count < db->nobs ? db->storage[0]->count : db->nobs;
    if (n < 1) return kMissing;
    if (t < 0) t = 0;
    if (t > n - 1) t = n - 1;
    return db->data[0][t];
}

namespace {

int TruncYear(double x) {
    if (!(x == x)) return 0;
    if (x > 2e9) return 2000000000;
    if (x < -2e9) return -2000000000;
    return static_cast<int>(x);
}

int ClampIndex(int64_t v) {
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return static_cast<int>(v);
}

}  // namespace

int AlgebraDbObsRange(const AlgebraDatabase *db, double from, double to, int *first, int *last) {
    int f = 0, l = -1;
    if (db) {
        const double *d = AlgebraDbHasDates(db) ? db->data[0] : nullptr;
        int n = db->nobs;
        if (d && db->storage[0] && db->storage[0]->count < n) n = db->storage[0]->count;
        if (!d || n < 1 || IsMissing(d[0]) || IsMissing(d[n - 1])) {
            f = ClampIndex(AlgebraSampleIndex(db->sample, TruncYear(from), 1));
            l = ClampIndex(AlgebraSampleIndex(db->sample, TruncYear(to), 1));
        } else {
            const double lo = from - 6e-9, hi = to + 6e-9;
            if (d[0] >= lo && d[n - 1] <= hi) {
                f = 0;
                l = n - 1;
            } else {
                f = n;
                for (int t = 0; t < n; ++t)
                    if (d[t] >= lo) {
                        f = t;
                        break;
                    }
                l = -1;
                for (int t = n - 1; t >= 0; --t)
                    if (d[t] <= hi) {
                        l = t;
                        break;
                    }
            }
        }
    }
    if (first) *first = f;
    if (last) *last = l;
    return ClampIndex(int64_t{l} - f + 1);
}

int AlgebraDbSpanWithoutMissing(const AlgebraDatabase *db, int var, int t1, int t2, int *first, int *last) {
    if (first) *first = 0;
    if (last) *last = -1;
    if (!db || var < 0 || var >= db->count || !db->data[var]) return 0;
    int n = db->nobs;
    if (db->storage[var] && db->storage[var]->count < n) n = db->storage[var]->count;
    return AlgebraSpanWithoutMissing(db->data[var], n, t1, t2, first, last);
}

// ---- journal ----

void AlgebraDbEnableJournal(AlgebraDatabase *db, int on) {
    if (!db) return;
    db->journalEnabled = on ? 1 : 0;
    if (!on) AlgebraJournalClear(db->journal);
}

int AlgebraDbUndo(AlgebraDatabase *db) {
    if (!db) return 0;
    AlgebraJournal *j = AlgebraJournalAt(db->journal);
    if (!j || j->position == 0) return 0;
    bool any = false;
    bool wasChanged = db->changed != 0;
    while (j->position > 0) {
        AlgebraJournalEntry &e = j->entries[j->position - 1];
        if (!SwapWithEntry(db, e)) {
            AlgebraJournalClear(db->journal);
            break;
        }
        any = true;
        wasChanged = e.wasChanged;
        --j->position;
        if (!e.grouped || j->position == 0 || !j->entries[j->position - 1].grouped) break;
    }
    if (any) {
        db->changed = wasChanged ? 1 : 0;
        NotifyAndClear(db);
    }
    return any ? 1 : 0;
}

int AlgebraDbRedo(AlgebraDatabase *db) {
    if (!db) return 0;
    AlgebraJournal *j = AlgebraJournalAt(db->journal);
    if (!j || j->position >= j->entries.size()) return 0;
    bool any = false;
    while (j->position < j->entries.size()) {
        AlgebraJournalEntry &e = j->entries[j->position];
        if (!SwapWithEntry(db, e)) {
            AlgebraJournalClear(db->journal);
            break;
        }
        any = true;
        ++j->position;
        if (!e.grouped || j->position >= j->entries.size() || !j->entries[j->position].grouped) break;
    }
    if (any) {
        db->changed = 1;
        NotifyAndClear(db);
    }
    return any ? 1 : 0;
}

}  // namespace tessel
