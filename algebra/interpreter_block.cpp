// Evaluating one statement a block of observations at a time: each instruction runs over the whole
// block on a stack of columns, which spreads the cost of decoding over many observations.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "algebra/interpreter_exec.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

inline double BoolValue(bool b) { return b ? 1.0 : 0.0; }

// a[i] = f(a[i], b(i)) for i < m, where b reads the right operand.
template <class F, class B>
inline void Combine(double *a, int m, B b, F f) {
    for (int i = 0; i < m; ++i) a[i] = f(a[i], b(i));
}

template <class B>
void Binary(AlgebraWorkspace *ws, int op, double *a, int m, B b) {
    switch (op) {
        case kExAdd:
        case kExAddConst:
        case kExAddVar:
            Combine(a, m, b, [](double x, double y) { return (IsMissing(x) || IsMissing(y)) ? kMissing : x + y; });
            break;
        case kExSub:
        case kExSubConst:
        case kExSubVar:
            Combine(a, m, b, [](double x, double y) { return (IsMissing(x) || IsMissing(y)) ? kMissing : x - y; });
            break;
        case kExMul:
        case kExMulConst:
        case kExMulVar:
            Combine(a, m, b, [](double x, double y) { return (IsMissing(x) || IsMissing(y)) ? kMissing : x * y; });
            break;
        case kExDiv:
        case kExDivConst:
        case kExDivVar: {
            bool zero = false;
            for (int i = 0; i < m; ++i) {
                const double x = a[i], y = b(i);
                if (IsMissing(x) || IsMissing(y)) {
                    a[i] = kMissing;
                } else {
                    zero |= y == 0.0;
                    a[i] = x / y;
                }
            }
            if (zero) ws->flags |= kAlgebraFlagDivideByZero;
            break;
        }
        case kExSquare: Combine(a, m, b, [](double x, double) { return IsMissing(x) ? kMissing : x * x; }); break;
        case kExPow:
        case kExPowConst:
            Combine(a, m, b, [](double x, double y) {
                return (IsMissing(x) || IsMissing(y)) ? kMissing : (y == 2.0 ? x * x : std::pow(x, y));
            });
            break;
        case kExLess:
            Combine(a, m, b, [](double x, double y) { return BoolValue(!IsMissing(x) && !IsMissing(y) && x < y); });
            break;
        case kExGreater:
            Combine(a, m, b, [](double x, double y) { return BoolValue(!IsMissing(x) && !IsMissing(y) && x > y); });
            break;
        case kExLessEq:
            Combine(a, m, b, [](double x, double y) { return BoolValue(!IsMissing(x) && !IsMissing(y) && x <= y); });
            break;
        case kExGreaterEq:
            Combine(a, m, b, [](double x, double y) { return BoolValue(!IsMissing(x) && !IsMissing(y) && x >= y); });
            break;
        case kExEqual:
            Combine(a, m, b, [](double x, double y) {
                const bool xm = IsMissing(x), ym = IsMissing(y);
                return (xm || ym) ? BoolValue(xm && ym) : BoolValue(x == y);
            });
            break;
        case kExNotEqual:
            Combine(a, m, b, [](double x, double y) {
                const bool xm = IsMissing(x), ym = IsMissing(y);
                return (xm || ym) ? BoolValue(xm != ym) : BoolValue(x != y);
            });
            break;
        case kExAnd: Combine(a, m, b, [](double x, double y) { return BoolValue(!(x == 0.0 || y == 0.0)); }); break;
        case kExOr: Combine(a, m, b, [](double x, double y) { return BoolValue(x != 0.0 || y != 0.0); }); break;
        default: break;
    }
}

}  // namespace

void AlgebraExecuteBlocks(AlgebraWorkspace *ws, const AlgebraExecInstr *code, int begin, int end, int64_t first,
                          int64_t last, double *scratch) {
    const int64_t nobs = ws->nobs;
    for (int64_t t0 = first; t0 <= last; t0 += kAlgebraBlock) {
        const int m = static_cast<int>(std::min<int64_t>(kAlgebraBlock, last - t0 + 1));
        int d = 0;  // columns on the stack
        auto column = [&](int i) { return scratch + static_cast<ptrdiff_t>(i) * kAlgebraBlock; };
        for (int pc = begin; pc < end; ++pc) {
            const AlgebraExecInstr &x = code[pc];
            switch (x.op) {
                case kExConst: std::fill(column(d), column(d) + m, x.v), ++d; break;
                case kExMissing: std::fill(column(d), column(d) + m, kMissing), ++d; break;
                case kExVar: std::memcpy(column(d), x.p + t0, sizeof(double) * static_cast<size_t>(m)), ++d; break;
                case kExLagConst: {
                    double *o = column(d++);
                    for (int i = 0; i < m; ++i) {
                        const int64_t j = t0 + i + x.k;
                        o[i] = (j >= 0 && j < nobs) ? x.p[j] : kMissing;
                    }
                    break;
                }
                case kExLag: {
                    double *o = column(d - 1);
                    for (int i = 0; i < m; ++i) {
                        int64_t j;
                        o[i] = (AlgebraTrunc32(o[i], &j) && t0 + i + j >= 0 && t0 + i + j < nobs) ? x.p[t0 + i + j] : kMissing;
                    }
                    break;
                }
                case kExDate: {
                    double *year = column(d - 2), *period = column(d - 1);
                    for (int i = 0; i < m; ++i) {
                        int64_t obs;
                        const bool ok = AlgebraDateObservation(ws, year[i], period[i], &obs) && obs >= 0 && obs < nobs;
                        year[i] = ok ? x.p[obs] : kMissing;
                    }
                    --d;
                    break;
                }
                case kExStore:
                    --d;
                    std::memcpy(x.p + t0, column(d), sizeof(double) * static_cast<size_t>(m));
                    break;
                case kExDiscard: d += x.k; break;
                case kExCall: {
                    const int n = x.k;
                    d -= n;
                    double args[kAlgebraBlockDepth];
                    double *out = column(d);
                    for (int i = 0; i < m; ++i) {
                        bool missing = false;
                        for (int a = 0; a < n; ++a) {
                            args[a] = column(d + a)[i];
                            missing |= IsMissing(args[a]);
                        }
                        ws->t = static_cast<int32_t>(t0 + i);
                        out[i] = missing ? kMissing : x.fn(ws, args);
                    }
                    ++d;
                    break;
                }
                case kExNeg: {
                    double *o = column(d - 1);
                    for (int i = 0; i < m; ++i) o[i] = IsMissing(o[i]) ? o[i] : -o[i];
                    break;
                }
                case kExNot: {
                    double *o = column(d - 1);
                    for (int i = 0; i < m; ++i) o[i] = IsMissing(o[i]) ? o[i] : BoolValue(o[i] == 0.0);
                    break;
                }
                case kExNop: break;
                default:
                    if (x.op < kExAddConst) {
                        const double *b = column(d - 1);
                        Binary(ws, x.op, column(d - 2), m, [b](int i) { return b[i]; });
                        --d;
                    } else if (x.op < kExAddVar) {
                        const double v = x.v;
                        Binary(ws, x.op, column(d - 1), m, [v](int) { return v; });
                    } else {
                        const double *b = x.p + t0;
                        Binary(ws, x.op, column(d - 1), m, [b](int i) { return b[i]; });
                    }
                    break;
            }
        }
    }
}

}  // namespace tessel
