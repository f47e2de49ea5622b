// Compiling Algebra source (the scanner's token buffer in the workspace) into postfix code, a
// constant buffer and a symbol table bound to the database's columns.
#ifndef TESSEL_ALGEBRA_COMPILER_H
#define TESSEL_ALGEBRA_COMPILER_H

#include <cstdint>

#include "algebra/workspace.h"

namespace tessel {

// Capacities at the start of a compilation and their growth between statements.
inline constexpr int kAlgebraSymbolSpare = 150;  // symbol table: database variables + this
inline constexpr int kAlgebraSymbolGrowth = 20;
inline constexpr int kAlgebraCodeStart = 200;
inline constexpr int kAlgebraCodeGrowth = 200;
inline constexpr int kAlgebraConstStart = 400;
inline constexpr int kAlgebraConstGrowth = 400;
// Fixed constant slots loaded by the keywords.
inline constexpr int kAlgebraSlotFalse = 0;
inline constexpr int kAlgebraSlotTrue = 1;
inline constexpr int kAlgebraSlotFrequency = 6;
inline constexpr int kAlgebraSlotMissing = 7;
inline constexpr int kAlgebraSlotPi = 8;
inline constexpr int kAlgebraSlotNobs = 9;

// Compiles ws->tokens against `db`. 1 on success; 0 after a parse error, whose message has been
// reported and is kept in ws->error_text. Assignment targets that the database lacks are created in
// it, and `delete(...)` statements delete variables at once.
int AlgebraCompile(AlgebraWorkspace *ws, AlgebraDatabase *db);

// Installs the parameter map (parameter number -> constant slot) before compiling; without one `&` is
// rejected. Compilation sets every entry and *max_parameter to -1 and then records each parameter.
void AlgebraSetParameters(AlgebraWorkspace *ws, int32_t *map, int32_t *max_parameter, int size);

// Releases the compiled program: symbols (and their storage references), code, constants and the
// token buffer. The workspace can be compiled again afterwards.
void AlgebraWorkspaceClear(AlgebraWorkspace *ws);

}  // namespace tessel

#endif
