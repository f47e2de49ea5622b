// The interpreter's own form of a program: the postfix code checked once and decoded into
// instructions that carry their constant, data column or handler directly, with common pairs fused.
#ifndef TESSEL_ALGEBRA_INTERPRETER_EXEC_H
#define TESSEL_ALGEBRA_INTERPRETER_EXEC_H

#include <cstdint>
#include <vector>

#include "algebra/catalogue.h"
#include "algebra/workspace.h"

namespace tessel {

enum AlgebraExecOp : int32_t {
    kExStatement,   // k: -1 on the last statement
    kExConst,       // push v
    kExVar,         // push p[t]
    kExLag,         // top j -> p[t + trunc(j)]
    kExLagConst,    // push p[t + k] (k an offset known in advance)
    kExMissing,     // push missing (a constant offset with no 32-bit value)
    kExDate,        // pop year, period -> p[observation]
    kExStore,       // p[t] = pop
    kExStoreLag,    // pop v, j; p[t + trunc(j)] = v inside the sample
    kExStoreDate,   // pop v, period, year
    kExJumpFalse,   // k: target
    kExJump,        // k: target
    kExDiscard,     // d += k
    kExCall,        // fn with k arguments
    kExNeg,
    kExNot,
    kExAdd,
    kExSub,
    kExMul,
    kExDiv,
    kExPow,
    kExLess,
    kExGreater,
    kExLessEq,
    kExGreaterEq,
    kExEqual,
    kExNotEqual,
    kExAnd,
    kExOr,
    kExNop,         // an unknown operator
    kExAddConst,    // top = top + v (right operand a constant)
    kExSubConst,
    kExMulConst,
    kExDivConst,
    kExPowConst,
    kExSquare,
    kExAddVar,      // top = top + p[t] (right operand a variable)
    kExSubVar,
    kExMulVar,
    kExDivVar,
    kExEnd,         // end with the current depth
};

struct AlgebraExecInstr {
    int32_t op;
    int32_t k;
    // For a statement mark whose statement can be evaluated a block of observations at a time: the
    // index of the next mark; otherwise 0.
    int32_t block_end;
    union {
        double v;
        double *p;
        AlgebraFunctionHandler fn;
    };
};

// Truncation toward zero to a 32-bit integer; false when the value has none (NaN or out of range).
inline bool AlgebraTrunc32(double v, int64_t *out) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return false;
    *out = static_cast<int32_t>(v);
    return true;
}

// Observation of a (year, period) pair under the sample start and frequency copied into the
// workspace; a period of zero or less makes the year an observation index.
inline bool AlgebraDateObservation(const AlgebraWorkspace *ws, double year, double period, int64_t *obs) {
    int64_t y, p;
    if (!AlgebraTrunc32(year, &y)) return false;
    if (period <= 0.0) {
        *obs = y;
        return true;
    }
    if (!AlgebraTrunc32(period, &p)) return false;
    *obs = (y - ws->first_year) * ws->frequency + p - ws->first_period;
    return true;
}

// Block evaluation: statements of straight-line code that cannot see their own writes at other
// observations run instruction by instruction over blocks of observations, with a stack of columns.
inline constexpr int kAlgebraBlock = 128;
inline constexpr int kAlgebraBlockDepth = 32;

// Evaluates code[begin, end) (one statement, marked block-safe) for observations first..last on
// `scratch`, which holds kAlgebraBlockDepth * kAlgebraBlock values.
void AlgebraExecuteBlocks(AlgebraWorkspace *ws, const AlgebraExecInstr *code, int begin, int end, int64_t first,
                          int64_t last, double *scratch);

// Checks `ws`'s code (operands in range, every path keeping the stack balanced: never below what an
// instruction takes, empty at each statement mark) and decodes it into `out`. Returns the deepest
// stack the code can reach, or -1 when the code is unsound.
int AlgebraPrepareCode(const AlgebraWorkspace *ws, std::vector<AlgebraExecInstr> *out);

}  // namespace tessel

#endif
