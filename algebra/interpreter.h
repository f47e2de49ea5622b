// Running compiled Algebra code: each statement over every observation of the sample before the next
// statement, on a value stack, with run-time faults collected as flag bits and reported once.
#ifndef TESSEL_ALGEBRA_INTERPRETER_H
#define TESSEL_ALGEBRA_INTERPRETER_H

#include "algebra/workspace.h"

namespace tessel {

// Values the run driver allocates for the stack; a call that leaves more than kAlgebraStackLimit - 1
// values on it stops the run with "Stack full".
inline constexpr int kAlgebraStackSize = 510;
inline constexpr int kAlgebraStackLimit = 500;

// Runs the compiled code over observations t1..t2 of columns holding nobs values; quiet non-zero
// suppresses the report. 1 when no error flag remains, else 0. A range reaching outside the columns
// is cut to them, and one that lies wholly outside runs nothing, so that nothing reads or writes
// outside a column.
int AlgebraRun(AlgebraWorkspace *ws, int t1, int t2, int nobs, int quiet);

// The execution loop on `stack`, which must hold AlgebraStackNeed(ws) values. ws->t1, t2 and nobs
// must already describe a range inside the columns. Code that could leave the stack unbalanced is
// refused before it runs (-1). 0 on a normal end, else the depth where it stopped.
int AlgebraExecute(AlgebraWorkspace *ws, double *stack);

// Values the stack of a run of this workspace's code must hold (at least kAlgebraStackSize).
int AlgebraStackNeed(const AlgebraWorkspace *ws);

}  // namespace tessel

#endif
