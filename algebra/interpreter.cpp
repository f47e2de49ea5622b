// The Algebra run driver and execution loop.
#include "algebra/interpreter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "algebra/catalogue.h"
#include "algebra/database.h"
#include "algebra/interpreter_exec.h"
#include "algebra/report.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

inline double BoolValue(bool b) { return b ? 1.0 : 0.0; }

// Runs prepared code on `stack` (and block-safe statements on `scratch`, when given); 0 on a normal
// end, else the depth where it stopped.
int Execute(AlgebraWorkspace *ws, const AlgebraExecInstr *code, double *stack, double *scratch) {
    ws->first_year = ws->db ? ws->db->sample.startYear : 0;
    ws->first_period = ws->db ? ws->db->sample.startPeriod : 0;
    ws->frequency = ws->db ? ws->db->sample.frequency : 1;
    const int64_t t1 = ws->t1, t2 = ws->t2, nobs = ws->nobs;
    double *const s = stack;
    double *sp = s;  // next free slot
    int64_t t = t2 + 1;
    int mark = 0;
    int pc = 0;
    for (;;) {
        const AlgebraExecInstr &x = code[pc];
        switch (x.op) {
            case kExStatement:
                if (++t <= t2) {
                    pc = mark + 1;
                    continue;
                }
                t = t1;
                sp = s;
                mark = pc;
                if (x.k == -1) {
                    ws->t = static_cast<int32_t>(t1);
                    return 0;
                }
                if (x.block_end > 0 && scratch) {
                    // The whole statement at once; the next mark then moves on.
                    t = std::max(t1, t2);
                    AlgebraExecuteBlocks(ws, code, pc + 1, x.block_end, t1, t, scratch);
                    pc = x.block_end;
                    continue;
                }
                break;
            case kExConst: *sp++ = x.v; break;
            case kExVar: *sp++ = x.p[t]; break;
            case kExLag: {
                int64_t j;
                double &top = sp[-1];
                top = (AlgebraTrunc32(top, &j) && t + j >= 0 && t + j < nobs) ? x.p[t + j] : kMissing;
                break;
            }
            case kExLagConst: {
                const int64_t j = t + x.k;
                *sp++ = (j >= 0 && j < nobs) ? x.p[j] : kMissing;
                break;
            }
            case kExMissing: *sp++ = kMissing; break;
            case kExDate: {
                int64_t obs;
                const bool ok = AlgebraDateObservation(ws, sp[-2], sp[-1], &obs) && obs >= 0 && obs < nobs;
                sp -= 2;
                *sp++ = ok ? x.p[obs] : kMissing;
                break;
            }
            case kExStore: x.p[t] = *--sp; break;
            case kExStoreLag: {
                int64_t j;
                if (AlgebraTrunc32(sp[-2], &j) && t + j >= t1 && t + j <= t2) x.p[t + j] = sp[-1];
                sp -= 2;
                break;
            }
            case kExStoreDate: {
                int64_t obs;
                if (AlgebraDateObservation(ws, sp[-3], sp[-2], &obs) && obs >= t1 && obs <= t2) x.p[obs] = sp[-1];
                sp -= 3;
                break;
            }
            case kExJumpFalse:
                if (*--sp == 0.0) {
                    pc = x.k;
                    continue;
                }
                break;
            case kExJump: pc = x.k; continue;
            case kExDiscard: sp += x.k; break;
            case kExCall: {
                const int n = x.k;
                sp -= n;
                bool missing = false;
                for (int i = 0; i < n; ++i) missing |= IsMissing(sp[i]);
                double r = kMissing;
                if (!missing) {
                    ws->t = static_cast<int32_t>(t);
                    r = x.fn(ws, sp);
                }
                *sp++ = r;
                if (sp - s > kAlgebraStackLimit - 1) {
                    ws->flags |= kAlgebraFlagStackFull;
                    return 0;
                }
                break;
            }
            case kExNeg:
                if (!IsMissing(sp[-1])) sp[-1] = -sp[-1];
                break;
            case kExNot:
                if (!IsMissing(sp[-1])) sp[-1] = BoolValue(sp[-1] == 0.0);
                break;
            case kExNop: break;
            case kExEnd: return static_cast<int>(sp - s);
            default: {
                // Binary operators: a is the second value, b the top (or the instruction's operand).
                double &a = sp[-1 - (x.op < kExAddConst)];
                double b;
                if (x.op < kExAddConst) {
                    b = sp[-1];
                    --sp;
                } else if (x.op < kExAddVar) {
                    b = x.v;
                } else {
                    b = x.p[t];
                }
                const bool am = IsMissing(a), bm = IsMissing(b);
                switch (x.op) {
                    case kExAdd:
                    case kExAddConst:
                    case kExAddVar: a = (am || bm) ? kMissing : a + b; break;
                    case kExSub:
                    case kExSubConst:
                    case kExSubVar: a = (am || bm) ? kMissing : a - b; break;
                    case kExMul:
                    case kExMulConst:
                    case kExMulVar: a = (am || bm) ? kMissing : a * b; break;
                    case kExDiv:
                    case kExDivConst:
                    case kExDivVar:
                        if (am || bm) {
                            a = kMissing;
                        } else {
                            if (b == 0.0) ws->flags |= kAlgebraFlagDivideByZero;
                            a = a / b;
                        }
                        break;
                    case kExSquare: a = am ? kMissing : a * a; break;
                    // x*x is the correctly rounded square, which pow also returns.
                    case kExPow:
                    case kExPowConst: a = (am || bm) ? kMissing : (b == 2.0 ? a * a : std::pow(a, b)); break;
                    case kExLess: a = BoolValue(!am && !bm && a < b); break;
                    case kExGreater: a = BoolValue(!am && !bm && a > b); break;
                    case kExLessEq: a = BoolValue(!am && !bm && a <= b); break;
                    case kExGreaterEq: a = BoolValue(!am && !bm && a >= b); break;
                    case kExEqual: a = (am || bm) ? BoolValue(am && bm) : BoolValue(a == b); break;
                    case kExNotEqual: a = (am || bm) ? BoolValue(am != bm) : BoolValue(a != b); break;
                    // A missing operand is not zero, so it counts as true.
                    case kExAnd: a = BoolValue(!(a == 0.0 || b == 0.0)); break;
                    case kExOr: a = BoolValue(a != 0.0 || b != 0.0); break;
                    default: break;
                }
                break;
            }
        }
        ++pc;
    }
}

}  // namespace

int AlgebraStackNeed(const AlgebraWorkspace *ws) {
    const int deepest = AlgebraPrepareCode(ws, nullptr);
    return std::max(kAlgebraStackSize, deepest + 1);
}

int AlgebraExecute(AlgebraWorkspace *ws, double *stack) {
    std::vector<AlgebraExecInstr> code;
    if (AlgebraPrepareCode(ws, &code) < 0) return -1;
    std::vector<double> scratch(static_cast<size_t>(kAlgebraBlockDepth) * kAlgebraBlock);
    return Execute(ws, code.data(), stack, scratch.data());
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
    ws->flags = 0;
    ws->message[0] = 0;
    // Observations outside the columns are never evaluated: a range is cut to them, and an empty range
    // is evaluated once at its start only when that start is an observation.
    if (t1 <= t2) {
        t1 = std::max(t1, 0);
        t2 = std::min(t2, ws->nobs - 1);
        if (t1 > t2) return 1;
    } else if (t1 < 0 || t1 >= ws->nobs) {
        return 1;
    }
    ws->t1 = t1;
    ws->t2 = t2;
    ws->t = t1;

    // The code is checked and decoded once; a program that could unbalance the stack never runs.
    std::vector<AlgebraExecInstr> code;
    int deepest;
    try {
        deepest = AlgebraPrepareCode(ws, &code);
    } catch (const std::bad_alloc &) {
        AlgebraError("Out of memory");
        return 0;
    }
    if (deepest < 0) {
        ws->flags |= kAlgebraFlagStackError;
    } else {
        // One allocation holds the value stack and, after it, the columns for block evaluation.
        const size_t size = static_cast<size_t>(std::max(kAlgebraStackSize, deepest + 1));
        const size_t block = static_cast<size_t>(kAlgebraBlockDepth) * kAlgebraBlock;
        double *stack = static_cast<double *>(std::malloc((size + block) * sizeof(double)));
        if (!stack) {
            AlgebraError("Out of memory");
            return 0;
        }
        // Only the value stack can be read before it is written (after a positive discard).
        std::memset(stack, 0, size * sizeof(double));
        if (Execute(ws, code.data(), stack, stack + size) != 0) ws->flags |= kAlgebraFlagStackError;
        std::free(stack);
    }
    if (ws->flags) {
        if (!quiet) AlgebraError(AlgebraErrorText(ws));
        ws->flags &= ~kAlgebraWarningFlags;
    }
    return ws->flags == 0 ? 1 : 0;
}

}  // namespace tessel
