// Checking and decoding compiled code once per run, so that the execution loop itself needs no bound
// or stack checks.
#include <cstdint>
#include <cstring>
#include <vector>

#include "algebra/database.h"
#include "algebra/interpreter_exec.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// What an instruction takes from the stack and how it changes the depth.
struct Effect {
    int need;
    int delta;
};

Effect EffectOf(const AlgebraInstr &in, const AlgebraFunction *fn) {
    switch (in.op) {
        case OpLoadConst:
        case OpLoadVar: return {0, 1};
        case OpLoadLag: return {1, 0};
        case OpLoadDate: return {2, -1};
        case OpStore: return {1, -1};
        case OpStoreLag: return {2, -2};
        case OpStoreDate: return {3, -3};
        case OpJumpFalse: return {1, -1};
        case OpDiscard: return {in.arg < 0 ? -in.arg : 0, in.arg};
        case OpCall: return {fn->arg_count, 1 - fn->arg_count};
        case OpOperator:
            switch (in.arg) {
                case kAlgebraOpNegate:
                case kAlgebraOpNot: return {1, 0};
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
                case kAlgebraOpOr: return {2, -1};
                default: return {0, 0};
            }
        default: return {0, 0};
    }
}

bool OperandsInRange(const AlgebraWorkspace *ws, const AlgebraInstr &in, int n, int nfun) {
    const int k = in.arg;
    switch (in.op) {
        case OpLoadConst: return k >= 0 && k < ws->nconst && static_cast<size_t>(k) < ws->consts.size();
        case OpLoadVar:
        case OpLoadLag:
        case OpLoadDate:
        case OpStore:
        case OpStoreLag:
        case OpStoreDate:
            return k >= 0 && k < ws->nsym && static_cast<size_t>(k) < ws->symbols.size() &&
                   ws->symbols[static_cast<size_t>(k)].data;
        case OpJumpFalse:
        case OpJump: return k >= 0 && k < n;
        case OpDiscard: return k > -1000000 && k < 1000000;
        case OpCall: {
            const AlgebraFunction *fn = k >= 0 && k < nfun ? AlgebraGetFunction(k) : nullptr;
            return fn && fn->handler && fn->arg_count >= 0 && fn->arg_count <= 1000;
        }
        default: return true;
    }
}

bool IsStatement(const AlgebraInstr &in) { return in.op == OpStatement; }

// Jumps go forward within one statement: the statement loop restarts at the last mark passed.
bool JumpStaysInStatement(const std::vector<AlgebraInstr> &code, int from, int to) {
    if (to <= from) return false;
    for (int i = from + 1; i < to; ++i)
        if (IsStatement(code[static_cast<size_t>(i)])) return false;
    return true;
}

// Depth analysis over every path; the deepest stack, or -1.
int CheckDepths(const AlgebraWorkspace *ws, int n, int nfun) {
    const std::vector<AlgebraInstr> &code = ws->code;
    std::vector<int> depth(static_cast<size_t>(n), -1);
    std::vector<int> work;
    depth[0] = 0;
    work.push_back(0);
    int deepest = 0;
    auto reach = [&](int pc, int d) {
        if (pc < 0 || pc >= n) return false;
        int &known = depth[static_cast<size_t>(pc)];
        if (known < 0) {
            known = d;
            work.push_back(pc);
            return true;
        }
        return known == d;
    };
    while (!work.empty()) {
        const int pc = work.back();
        work.pop_back();
        const AlgebraInstr &in = code[static_cast<size_t>(pc)];
        const int d = depth[static_cast<size_t>(pc)];
        if (in.op == OpStatement) {
            if (d != 0) return -1;
            if (in.arg != -1 && !reach(pc + 1, 0)) return -1;
            continue;
        }
        if (in.op != OpLoadConst && in.op != OpLoadVar && in.op != OpLoadLag && in.op != OpLoadDate &&
            in.op != OpStore && in.op != OpStoreLag && in.op != OpStoreDate && in.op != OpJumpFalse &&
            in.op != OpJump && in.op != OpDiscard && in.op != OpCall && in.op != OpOperator)
            continue;  // OpEnd and unknown codes end the run
        const Effect e = EffectOf(in, in.op == OpCall ? AlgebraGetFunction(in.arg) : nullptr);
        if (d < e.need || d + e.delta < 0) return -1;
        const int after = d + e.delta;
        if (after > deepest) deepest = after;
        if (in.op == OpJump || in.op == OpJumpFalse) {
            if (!JumpStaysInStatement(code, pc, in.arg) || !reach(in.arg, after)) return -1;
            if (in.op == OpJump) continue;
        }
        if (!reach(pc + 1, after)) return -1;
    }
    (void)ws;
    (void)nfun;
    return deepest;
}

AlgebraExecInstr Decode(const AlgebraWorkspace *ws, const AlgebraInstr &in) {
    AlgebraExecInstr x{};
    x.k = in.arg;
    const size_t k = static_cast<size_t>(in.arg);
    switch (in.op) {
        case OpStatement: x.op = kExStatement; break;
        case OpLoadConst: x.op = kExConst; x.v = ws->consts[k]; break;
        case OpLoadVar: x.op = kExVar; x.p = ws->symbols[k].data; break;
        case OpLoadLag: x.op = kExLag; x.p = ws->symbols[k].data; break;
        case OpLoadDate: x.op = kExDate; x.p = ws->symbols[k].data; break;
        case OpStore: x.op = kExStore; x.p = ws->symbols[k].data; break;
        case OpStoreLag: x.op = kExStoreLag; x.p = ws->symbols[k].data; break;
        case OpStoreDate: x.op = kExStoreDate; x.p = ws->symbols[k].data; break;
        case OpJumpFalse: x.op = kExJumpFalse; break;
        case OpJump: x.op = kExJump; break;
        case OpDiscard: x.op = kExDiscard; break;
        case OpCall: {
            const AlgebraFunction *fn = AlgebraGetFunction(in.arg);
            x.op = kExCall;
            x.k = fn->arg_count;
            x.fn = fn->handler;
            break;
        }
        case OpOperator:
            switch (in.arg) {
                case kAlgebraOpNegate: x.op = kExNeg; break;
                case kAlgebraOpNot: x.op = kExNot; break;
                case kAlgebraOpAdd: x.op = kExAdd; break;
                case kAlgebraOpSub: x.op = kExSub; break;
                case kAlgebraOpMul: x.op = kExMul; break;
                case kAlgebraOpDiv: x.op = kExDiv; break;
                case kAlgebraOpPower: x.op = kExPow; break;
                case kAlgebraOpLess: x.op = kExLess; break;
                case kAlgebraOpGreater: x.op = kExGreater; break;
                case kAlgebraOpLessEq: x.op = kExLessEq; break;
                case kAlgebraOpGreaterEq: x.op = kExGreaterEq; break;
                case kAlgebraOpEqual: x.op = kExEqual; break;
                case kAlgebraOpNotEqual: x.op = kExNotEqual; break;
                case kAlgebraOpAnd: x.op = kExAnd; break;
                case kAlgebraOpOr: x.op = kExOr; break;
                default: x.op = kExNop; break;
            }
            break;
        default: x.op = kExEnd; break;
    }
    return x;
}

// Folds `next` into `last` where the pair has a single-instruction form.
bool Fuse(AlgebraExecInstr &last, const AlgebraExecInstr &next) {
    if (last.op == kExConst) {
        const double v = last.v;
        switch (next.op) {
            case kExNeg:
                if (!IsMissing(v)) last.v = -v;
                return true;
            case kExNot:
                if (!IsMissing(v)) last.v = v == 0.0 ? 1.0 : 0.0;
                return true;
            case kExLag:
                if (v > -2147483649.0 && v < 2147483648.0) {
                    last.op = kExLagConst;
                    last.k = static_cast<int32_t>(v);
                } else {
                    last.op = kExMissing;
                }
                last.p = next.p;
                return true;
            case kExAdd: last.op = kExAddConst; return true;
            case kExSub: last.op = kExSubConst; return true;
            case kExMul: last.op = kExMulConst; return true;
            case kExDiv: last.op = kExDivConst; return true;
            case kExPow: last.op = v == 2.0 ? kExSquare : kExPowConst; return true;
            default: return false;
        }
    }
    if (last.op == kExVar) {
        switch (next.op) {
            case kExAdd: last.op = kExAddVar; return true;
            case kExSub: last.op = kExSubVar; return true;
            case kExMul: last.op = kExMulVar; return true;
            case kExDiv: last.op = kExDivVar; return true;
            default: return false;
        }
    }
    return false;
}

// Whether the statement code[begin, end) gives the same results when each instruction runs over a
// block of observations before the next: straight-line code whose target is never read at another
// observation, with at most one call (so that calls keep their order) to a function that reads no
// variable itself.
bool BlockSafe(const AlgebraWorkspace *ws, int begin, int end) {
    const std::vector<AlgebraInstr> &code = ws->code;
    if (end <= begin) return false;
    const AlgebraInstr &last = code[static_cast<size_t>(end - 1)];
    const double *target = nullptr;
    if (last.op == OpStore)
        target = ws->symbols[static_cast<size_t>(last.arg)].data;
    else if (!(last.op == OpDiscard && last.arg == -1))
        return false;
    int calls = 0, depth = 0;
    for (int i = begin; i < end - 1; ++i) {
        const AlgebraInstr &in = code[static_cast<size_t>(i)];
        const AlgebraFunction *fn = nullptr;
        switch (in.op) {
            case OpLoadConst:
            case OpLoadVar:
            case OpOperator: break;
            case OpLoadLag:
            case OpLoadDate:
                if (ws->symbols[static_cast<size_t>(in.arg)].data == target) return false;
                break;
            case OpCall:
                fn = AlgebraGetFunction(in.arg);
                if (++calls > 1 || !fn->kinds || std::strpbrk(fn->kinds, "rd")) return false;
                // Date functions read the first variable, which the statement must not write.
                if (target && ws->db && ws->db->count > 0 && ws->db->data[0] == target) return false;
                break;
            default: return false;
        }
        depth += EffectOf(in, fn).delta;
        if (depth > kAlgebraBlockDepth) return false;
    }
    return true;
}

}  // namespace

int AlgebraPrepareCode(const AlgebraWorkspace *ws, std::vector<AlgebraExecInstr> *out) {
    const int n = ws->ncode;
    if (n <= 0 || static_cast<size_t>(n) > ws->code.size() || !IsStatement(ws->code[0])) return -1;
    const int nfun = AlgebraFunctionCount();
    for (int i = 0; i < n; ++i)
        if (!OperandsInRange(ws, ws->code[static_cast<size_t>(i)], n, nfun)) return -1;
    const int deepest = CheckDepths(ws, n, nfun);
    if (deepest < 0 || !out) return deepest;

    std::vector<bool> target(static_cast<size_t>(n), false);
    for (int i = 0; i < n; ++i) {
        const AlgebraInstr &in = ws->code[static_cast<size_t>(i)];
        if (in.op == OpJump || in.op == OpJumpFalse) target[static_cast<size_t>(in.arg)] = true;
    }
    std::vector<int> moved(static_cast<size_t>(n), 0);
    out->clear();
    out->reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const AlgebraExecInstr x = Decode(ws, ws->code[static_cast<size_t>(i)]);
        if (!target[static_cast<size_t>(i)] && !out->empty() && Fuse(out->back(), x)) {
            moved[static_cast<size_t>(i)] = static_cast<int>(out->size()) - 1;
            continue;
        }
        moved[static_cast<size_t>(i)] = static_cast<int>(out->size());
        out->push_back(x);
    }
    for (AlgebraExecInstr &x : *out)
        if (x.op == kExJump || x.op == kExJumpFalse) x.k = moved[static_cast<size_t>(x.k)];

    for (int i = 0; i < n; ++i) {
        const AlgebraInstr &in = ws->code[static_cast<size_t>(i)];
        if (in.op != OpStatement || in.arg == -1) continue;
        int next = i + 1;
        while (next < n && ws->code[static_cast<size_t>(next)].op != OpStatement) ++next;
        if (next < n && BlockSafe(ws, i + 1, next))
            (*out)[static_cast<size_t>(moved[static_cast<size_t>(i)])].block_end = moved[static_cast<size_t>(next)];
    }
    return deepest;
}

}  // namespace tessel
