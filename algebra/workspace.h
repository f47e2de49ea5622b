// The Algebra workspace: everything one compiled program needs, from the token buffer through the
// postfix code and its constants to the state of a run (current observation, sample range, run-time
// flags). Built-in function handlers receive it and read the current observation and the variables'
// data columns from it; they report faults only by setting run-time flag bits.
#ifndef TESSEL_ALGEBRA_WORKSPACE_H
#define TESSEL_ALGEBRA_WORKSPACE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tessel {

struct AlgebraDatabase;
struct AlgebraWorkspace;

// Run-time flag bits. Handlers set them instead of reporting; the run reports them once at its end.
enum : uint32_t {
    kAlgebraFlagStackFull = 0x001,         // "Stack full" (error)
    kAlgebraFlagExpOverflow = 0x002,       // "Overflow in exponent" (warning)
    kAlgebraFlagLogNonPositive = 0x004,    // "Logarithm of non-positive number" (error)
    kAlgebraFlagDivideByZero = 0x008,      // "Divide by zero" (warning)
    kAlgebraFlagNonPositiveDf = 0x010,     // "Non-positive degrees of freedom" (error)
    kAlgebraFlagSqrtNegative = 0x020,      // "Square root of negative number" (error)
    kAlgebraFlagSameArguments = 0x040,     // "Arguments must be different (smooth, sortby)" (error)
    kAlgebraFlagStackError = 0x080,        // "Stack error" (error)
    kAlgebraFlagLogZero = 0x100,           // "Logarithm of zero" (warning)
};
// Bits that are reported but do not make a run fail; they are cleared after the report.
inline constexpr uint32_t kAlgebraWarningFlags =
    kAlgebraFlagExpOverflow | kAlgebraFlagDivideByZero | kAlgebraFlagLogZero;

// Operation codes of the postfix code.
enum AlgebraOp : int32_t {
    OpEnd = 0,
    OpStatement = 115,
    OpOperator = 79,
    OpLoadConst = 108,
    OpLoadVar = 76,
    OpLoadLag = 88,
    OpLoadDate = 68,
    OpStore = 83,
    OpStoreLag = 120,
    OpStoreDate = 100,
    OpJumpFalse = 106,
    OpJump = 74,
    OpCall = 67,
    OpDiscard = 73,
};

// Operator codes carried by OpOperator (the token codes of the operators).
enum AlgebraOperator : int32_t {
    kAlgebraOpPower = 94,
    kAlgebraOpNegate = 85,
    kAlgebraOpNot = 33,
    kAlgebraOpMul = 42,
    kAlgebraOpDiv = 47,
    kAlgebraOpAdd = 43,
    kAlgebraOpSub = 45,
    kAlgebraOpLess = 60,
    kAlgebraOpGreater = 62,
    kAlgebraOpLessEq = 76,
    kAlgebraOpGreaterEq = 71,
    kAlgebraOpEqual = 69,
    kAlgebraOpNotEqual = 78,
    kAlgebraOpAnd = 38,
    kAlgebraOpOr = 124,
};

struct AlgebraInstr {
    int32_t op;
    int32_t arg;
};

// Symbol flags.
enum : uint32_t {
    kAlgebraSymVariable = 1,
    kAlgebraSymFunction = 8,
};

struct AlgebraStorage;

// One symbol table entry. A variable holds a reference to its database storage, so that its column
// outlives a deletion, and `var`, its index in the database (-1 once deleted); `data` is the
// storage's data column once compilation has finished. A function entry has neither.
struct AlgebraSymbol {
    std::string name;
    uint32_t flags = 0;
    int32_t var = -1;
    double *data = nullptr;
    AlgebraStorage *storage = nullptr;
};

// Sizes of the fixed buffers.
inline constexpr int kAlgebraErrorTextSize = 512;
inline constexpr int kAlgebraMessageSize = 1024;
inline constexpr int kAlgebraParameterMapSize = 500;

struct AlgebraWorkspace {
    // Token buffer of the scanner: starts with byte 1, ends with byte 2; `pos` is the parser's read
    // position in it.
    std::vector<unsigned char> tokens;
    size_t pos = 0;

    // Compile-time error text ("Scan error: ..." / "Parse error: ...") and a line offset added to
    // every reported line number.
    char error_text[kAlgebraErrorTextSize] = {};
    int32_t line_offset = 0;

    // Symbol table: `symbols.size()` is the capacity, `nsym` the entries in use.
    std::vector<AlgebraSymbol> symbols;
    int32_t nsym = 0;

    // Code buffer: `code.size()` is the capacity, `ncode` the write position.
    std::vector<AlgebraInstr> code;
    int32_t ncode = 0;

    // Constant buffer: `consts.size()` is the capacity, `nconst` the slots in use. Slots 0-9 are
    // 0, 1, 2, 3, 4, 5, frequency, missing, pi, number of observations.
    std::vector<double> consts;
    int32_t nconst = 0;

    // Parameter map (parameter number -> constant slot or -1) installed by AlgebraSetParameters;
    // null when parameters are not allowed.
    int32_t *param_map = nullptr;
    int32_t *max_param = nullptr;
    int32_t param_map_size = 0;

    // The database compiled against and run on.
    AlgebraDatabase *db = nullptr;

    // State of a run. t is the current observation, t1..t2 the sample range of the run, nobs the
    // length of every data column; all are observation indices from 0.
    int32_t t = 0;
    int32_t t1 = 0;
    int32_t t2 = -1;
    int32_t nobs = 0;
    uint32_t flags = 0;
    // Sample start and frequency of the database, copied at the start of a run for date indexing.
    int32_t first_year = 0;
    int32_t first_period = 0;
    int32_t frequency = 1;

    // Report of the run-time flags.
    char message[kAlgebraMessageSize] = {};
};

// The data column of the variable whose symbol index a handler received as an `r` or `d` argument
// (the index is truncated); null when the index names no variable. Columns hold ws->nobs values.
inline double *AlgebraVarColumn(const AlgebraWorkspace *ws, double index) {
    if (!(index > -1.0 && index < 2147483647.0)) return nullptr;
    const int32_t k = static_cast<int32_t>(index);
    if (k < 0 || k >= ws->nsym || static_cast<size_t>(k) >= ws->symbols.size()) return nullptr;
    const AlgebraSymbol &s = ws->symbols[static_cast<size_t>(k)];
    return (s.flags & kAlgebraSymVariable) ? s.data : nullptr;
}

// The database index of that variable, or -1 when there is none (for marking destinations modified).
inline int32_t AlgebraVarIndex(const AlgebraWorkspace *ws, double index) {
    if (!(index > -1.0 && index < 2147483647.0)) return -1;
    const int32_t k = static_cast<int32_t>(index);
    if (k < 0 || k >= ws->nsym || static_cast<size_t>(k) >= ws->symbols.size()) return -1;
    const AlgebraSymbol &s = ws->symbols[static_cast<size_t>(k)];
    return (s.flags & kAlgebraSymVariable) ? s.var : -1;
}

// The reporter (AlgebraError, AlgebraWarning, AlgebraSetReporter) is declared in algebra/report.h.

// Fills ws->message with the report of the current run-time flags and returns it.
const char *AlgebraErrorText(AlgebraWorkspace *ws);

}  // namespace tessel

#endif
