// The Algebra run driver and execution loop.
#include "algebra/interpreter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "algebra/catalogue.h"
#include "algebra/database.h"
#include "algebra/report.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// Truncation toward zero to a 32-bit integer; false when the value has none (NaN or out of range).
inline bool Trunc32(double v, int64_t *out) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return false;
    *out = static_cast<int32_t>(v);
    return true;
}

// Observation of a (year, period) pair; a period of zero or less makes the year an observation index.
inline bool DateObservation(const AlgebraWorkspace *ws, double year, double period, int64_t *obs) {
    int64_t y, p;
    if (!Trunc32(year, &y)) return false;
    if (period <= 0.0) {
        *obs = y;
        return true;
    }
    if (!Trunc32(period, &p)) return false;
    *obs = (y - ws->first_year) * ws->frequency + p - ws->first_period;
    return true;
}

// The code must only name existing symbols with columns, constant slots, instructions and catalogue
// entries, and end with OpEnd, so that the loop needs no per-instruction bound checks.
bool CodeIsSound(const AlgebraWorkspace *ws, int nfun) {
    const int n = ws->ncode;
    if (n <= 0 || static_cast<size_t>(n) > ws->code.size() || ws->code[static_cast<size_t>(n - 1)].op != OpEnd)
        return false;
    for (int i = 0; i < n; ++i) {
        const AlgebraInstr &in = ws->code[static_cast<size_t>(i)];
        const int k = in.arg;
        switch (in.op) {
            case OpLoadConst:
                if (k < 0 || k >= ws->nconst) return false;
                break;
            case OpLoadVar:
            case OpLoadLag:
            case OpLoadDate:
            case OpStore:
            case OpStoreLag:
            case OpStoreDate:
                if (k < 0 || k >= ws->nsym || !ws->symbols[static_cast<size_t>(k)].data) return false;
                break;
            case OpJumpFalse:
            case OpJump:
                if (k < 0 || k >= n) return false;
                break;
            case OpCall: {
                const AlgebraFunction *fn = k >= 0 && k < nfun ? AlgebraGetFunction(k) : nullptr;
                if (!fn || !fn->handler || fn->arg_count < 0) return false;
                break;
            }
            default: break;
        }
    }
    return true;
}

inline double BoolValue(bool b) { return b ? 1.0 : 0.0; }

inline bool IsBinaryOperator(int k) {
    switch (k) {
        case kAlgebraOpAdd:
        case kAlgebraOpSub:
        case kAlgebraOpMul:
        case kAlgebraOpDiv:
        case kAlgebraOpPower:
        case kAlgebraOpLess:
        case kAlgebraOpGreater:
        case kAlgebraOpLessEq:
        case kAlgebraOpGreaterEq:
        case kAlgebraOpEqual:
        case kAlgebraOpNotEqual:
        case kAlgebraOpAnd:
        case kAlgebraOpOr: return true;
        default: return false;
    }
}

}  // namespace

int AlgebraStackNeed(const AlgebraWorkspace *ws) {
    return std::max(kAlgebraStackSize, ws->stack_need + 16);
}

int AlgebraExecute(AlgebraWorkspace *ws, double *stack) {
    const int nfun = AlgebraFunctionCount();
    if (!CodeIsSound(ws, nfun)) return -1;

    if (ws->db) {
        ws->first_year = ws->db->sample.startYear;
        ws->first_period = ws->db->sample.startPeriod;
        ws->frequency = ws->db->sample.frequency;
    }
    const AlgebraInstr *code = ws->code.data();
    const double *consts = ws->consts.data();
    const AlgebraSymbol *syms = ws->symbols.data();
    const AlgebraFunction *functions = AlgebraFunctionTable();
    const int64_t t1 = ws->t1, t2 = ws->t2, nobs = ws->nobs;
    const int capacity = AlgebraStackNeed(ws);
    double *s = stack;

    int64_t t = t2 + 1;
    int mark = 0;
    int d = 0;
    int pc = 0;
    for (;;) {
        const AlgebraInstr in = code[pc];
        const int k = in.arg;
        switch (in.op) {
            case OpStatement:
                if (++t <= t2) {
                    // A statement leaves nothing on the stack; anything else is malformed code.
                    if (d != 0) return d;
                    pc = mark + 1;
                    continue;
                }
                t = t1;
                d = 0;
                mark = pc;
                if (k == -1) {
                    ws->t = static_cast<int32_t>(t);
                    return 0;
                }
                break;
            case OpLoadConst:
                s[d++] = consts[k];
                break;
            case OpLoadVar:
                s[d++] = syms[k].data[t];
                break;
            case OpLoadLag: {
                if (d < 1) return -1;
                int64_t j;
                double v = kMissing;
                if (Trunc32(s[d - 1], &j) && t + j >= 0 && t + j < nobs) v = syms[k].data[t + j];
                s[d - 1] = v;
                break;
            }
            case OpLoadDate: {
                if (d < 2) return -1;
                int64_t obs;
                double v = kMissing;
                if (DateObservation(ws, s[d - 2], s[d - 1], &obs) && obs >= 0 && obs < nobs) v = syms[k].data[obs];
                d -= 2;
                s[d++] = v;
                break;
            }
            case OpStore:
                if (d < 1) return -1;
                syms[k].data[t] = s[--d];
                break;
            case OpStoreLag: {
                if (d < 2) return -1;
                int64_t j;
                const double v = s[d - 1];
                if (Trunc32(s[d - 2], &j) && t + j >= t1 && t + j <= t2) syms[k].data[t + j] = v;
                d -= 2;
                break;
            }
            case OpStoreDate: {
                if (d < 3) return -1;
                int64_t obs;
                const double v = s[d - 1];
                if (DateObservation(ws, s[d - 3], s[d - 2], &obs) && obs >= t1 && obs <= t2) syms[k].data[obs] = v;
                d -= 3;
                break;
            }
            case OpJumpFalse:
                if (d < 1) return -1;
                if (s[--d] == 0.0) {
                    pc = k;
                    continue;
                }
                break;
            case OpJump:
                pc = k;
                continue;
            case OpDiscard:
                d += k;
                break;
            case OpCall: {
                const AlgebraFunction &fn = functions[k];
                const int n = fn.arg_count;
                if (n > d) return d - n;
                d -= n;
                const double *args = s + d;
                bool missing = false;
                for (int i = 0; i < n; ++i) missing |= IsMissing(args[i]);
                double r = kMissing;
                if (!missing) {
                    ws->t = static_cast<int32_t>(t);
                    r = fn.handler(ws, args);
                }
                s[d++] = r;
                if (d > kAlgebraStackLimit - 1) {
                    ws->flags |= kAlgebraFlagStackFull;
                    return 0;
                }
                break;
            }
            case OpOperator: {
                if (k == kAlgebraOpNegate || k == kAlgebraOpNot) {
                    if (d < 1) return -1;
                    double &x = s[d - 1];
                    if (!IsMissing(x)) x = (k == kAlgebraOpNegate) ? -x : BoolValue(x == 0.0);
                    break;
                }
                if (!IsBinaryOperator(k)) break;  // unknown operators leave the stack as it is
                if (d < 2) return -1;
                const double b = s[d - 1];
                double &a = s[d - 2];
                const bool am = IsMissing(a), bm = IsMissing(b);
                switch (k) {
                    case kAlgebraOpAdd: a = (am || bm) ? kMissing : a + b; break;
                    case kAlgebraOpSub: a = (am || bm) ? kMissing : a - b; break;
                    case kAlgebraOpMul: a = (am || bm) ? kMissing : a * b; break;
                    case kAlgebraOpDiv:
                        if (am || bm) {
                            a = kMissing;
                        } else {
                            if (b == 0.0) ws->flags |= kAlgebraFlagDivideByZero;
                            a = a / b;
                        }
                        break;
                    case kAlgebraOpPower:
                        // x*x is the correctly rounded square, which pow also returns.
                        a = (am || bm) ? kMissing : (b == 2.0 ? a * a : std::pow(a, b));
                        break;
                    case kAlgebraOpLess: a = BoolValue(!am && !bm && a < b); break;
                    case kAlgebraOpGreater: a = BoolValue(!am && !bm && a > b); break;
                    case kAlgebraOpLessEq: a = BoolValue(!am && !bm && a <= b); break;
                    case kAlgebraOpGreaterEq: a = BoolValue(!am && !bm && a >= b); break;
                    case kAlgebraOpEqual: a = (am || bm) ? BoolValue(am && bm) : BoolValue(a == b); break;
                    case kAlgebraOpNotEqual: a = (am || bm) ? BoolValue(am != bm) : BoolValue(a != b); break;
                    // A missing operand is not zero, so it counts as true.
                    case kAlgebraOpAnd: a = BoolValue(!(a == 0.0 || b == 0.0)); break;
                    case kAlgebraOpOr: a = BoolValue(a != 0.0 || b != 0.0); break;
                    default: break;
                }
                --d;
                break;
            }
            default:
                ws->t = static_cast<int32_t>(std::clamp<int64_t>(t, INT32_MIN, INT32_MAX));
                return d;
        }
        if (d < 0) return d;
        if (d >= capacity) return -1;
        ++pc;
    }
}

int AlgebraRun(AlgebraWorkspace *ws, int t1, int t2, int nobs, int quiet) {
    if (!ws || ws->symbols.empty() || ws->nsym <= 0 || !ws->db) return 0;

    // Every column is as long as the shortest storage; the range is kept inside it.
    int64_t n = std::min<int64_t>(nobs, ws->db->nobs);
    for (int i = 0; i < ws->nsym; ++i) {
        const AlgebraSymbol &sym = ws->symbols[static_cast<size_t>(i)];
        if (sym.storage && sym.data) n = std::min<int64_t>(n, sym.storage->count);
    }
    ws->nobs = static_cast<int32_t>(std::max<int64_t>(n, 0));
    ws->t1 = std::clamp(t1, 0, std::max(ws->nobs - 1, 0));
    ws->t2 = std::min(t2, ws->nobs - 1);
    ws->t = ws->t1;
    ws->flags = 0;
    ws->message[0] = 0;
    if (ws->nobs <= 0) return 1;

    double *stack = static_cast<double *>(std::malloc(sizeof(double) * static_cast<size_t>(AlgebraStackNeed(ws))));
    if (!stack) {
        AlgebraError("Out of memory");
        return 0;
    }
    if (AlgebraExecute(ws, stack) != 0) ws->flags |= kAlgebraFlagStackError;
    if (ws->flags) {
        if (!quiet) AlgebraError(AlgebraErrorText(ws));
        ws->flags &= ~kAlgebraWarningFlags;
    }
    std::free(stack);
    return ws->flags == 0 ? 1 : 0;
}

}  // namespace tessel
