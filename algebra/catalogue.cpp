// Registration and lookup of the built-in Algebra functions.
#include "algebra/catalogue.h"

#include <cstring>

#include "algebra/functions.h"
#include "numeric/random.h"

namespace tessel {

namespace {

// One spare slot past the maximum: re-registering a name on a full table writes there, and its name
// stays null, so the used part always ends.
AlgebraFunction g_table[kAlgebraMaxFunctions + 1];
bool g_built = false;

int UsedCount(const AlgebraFunction *table) {
    int n = 0;
    while (n < kAlgebraMaxFunctions && table[n].name != nullptr) ++n;
    return n;
}

void Fill(AlgebraFunction &e, AlgebraFunctionHandler handler, const char *kinds, const char *signature) {
    e.handler = handler;
    e.kinds = kinds;
    e.arg_count = kinds ? static_cast<int32_t>(std::strlen(kinds)) : 0;
    e.signature = signature;
}

}  // namespace

int AlgebraFindFunctionIn(const AlgebraFunction *table, const char *name) {
    if (table == nullptr || name == nullptr) return -1;
    for (int i = 0; i < kAlgebraMaxFunctions && table[i].name != nullptr; ++i)
        if (std::strcmp(table[i].name, name) == 0) return i;
    return -1;
}

int AlgebraRegisterFunctionIn(AlgebraFunction *table, const char *name, AlgebraFunctionHandler handler,
                              const char *kinds, const char *signature) {
    if (table == nullptr || name == nullptr) return -1;
    const int used = UsedCount(table);
    const int existing = AlgebraFindFunctionIn(table, name);
    if (existing >= 0) {
        // The visible entry stays; the new fields land in the free slot after it, name left null.
        Fill(table[used], handler, kinds, signature);
        return existing;
    }
    if (used >= kAlgebraMaxFunctions) return -1;
    Fill(table[used], handler, kinds, signature);
    table[used].name = name;
    return used;
}

int AlgebraRegisterFunction(const char *name, AlgebraFunctionHandler handler, const char *kinds,
                            const char *signature) {
    return AlgebraRegisterFunctionIn(g_table, name, handler, kinds, signature);
}

int AlgebraFindFunction(const char *name) { return AlgebraFindFunctionIn(g_table, name); }

const AlgebraFunction *AlgebraFunctionTable() { return g_table; }

int AlgebraFunctionCount() { return UsedCount(g_table); }

const AlgebraFunction *AlgebraGetFunction(int index) {
    if (index < 0 || index >= UsedCount(g_table)) return nullptr;
    return &g_table[index];
}

void AlgebraInitFunctions() {
    if (g_built) return;
    g_built = true;
    RanReset();
    for (const AlgebraBuiltin &b : kAlgebraBuiltins)
        AlgebraRegisterFunction(b.name, b.handler, b.kinds, b.signature);
}

}  // namespace tessel
