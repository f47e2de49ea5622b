// The table of built-in Algebra functions: name, argument kinds, the signature shown to users and the
// handler that computes the value at the current observation. The parser resolves names through it and
// stores the entry's index in OpCall; the interpreter calls the handler through that index.
#ifndef TESSEL_ALGEBRA_CATALOGUE_H
#define TESSEL_ALGEBRA_CATALOGUE_H

#include <cstdint>

namespace tessel {

struct AlgebraWorkspace;

// A handler receives the workspace and the arguments in source order (argument 0 first) and returns
// the value at the workspace's current observation. It never reports: failures set run-time flag bits.
using AlgebraFunctionHandler = double (*)(AlgebraWorkspace *ws, const double *args);

// One catalogue entry. Argument kinds: 'v' a value, 'r' an existing variable, 'd' a destination
// variable filled over the whole sample; 'r' and 'd' arrive as the variable's index, as a double.
struct AlgebraFunction {
    AlgebraFunctionHandler handler;
    const char *name;
    int32_t arg_count;  // always strlen(kinds)
    const char *kinds;
    const char *signature;
};

inline constexpr int kAlgebraMaxFunctions = 100;
inline constexpr int kAlgebraFunctionCount = 85;  // entries registered by AlgebraInitFunctions

// Adds a function at the end of the process-wide table and returns its index; -1 when the table is full.
// A name already present keeps its entry and index; the new handler, kinds and signature only go into
// the free slot after the last entry, whose name stays null so it never becomes visible.
int AlgebraRegisterFunction(const char *name, AlgebraFunctionHandler handler, const char *kinds,
                            const char *signature);

// Builds the catalogue once per process: resets the random generators, then registers the built-ins.
void AlgebraInitFunctions();

// Index of the first entry named exactly `name` (case-sensitive), or -1.
int AlgebraFindFunction(const char *name);

// The process-wide table: kAlgebraMaxFunctions entries plus one spare slot that always keeps a null
// name, so the used part always ends with a null name.
const AlgebraFunction *AlgebraFunctionTable();

// Number of used entries (those before the first null name).
int AlgebraFunctionCount();

// Entry `index`, or null when the index is outside the used part (a bounded access for the interpreter).
const AlgebraFunction *AlgebraGetFunction(int index);

// The same operations on a caller's table of kAlgebraMaxFunctions + 1 zeroed entries.
int AlgebraRegisterFunctionIn(AlgebraFunction *table, const char *name, AlgebraFunctionHandler handler,
                              const char *kinds, const char *signature);
int AlgebraFindFunctionIn(const AlgebraFunction *table, const char *name);

}  // namespace tessel

#endif
