// Recursive-descent parser and one-pass postfix code generator for Algebra programs.
#include "algebra/compiler.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "algebra/calendar.h"
#include "algebra/catalogue.h"
#include "algebra/database.h"
#include "algebra/report.h"
#include "algebra/scanner.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// Parser error codes: entry k + 6 of the shared message table.
enum ParseError {
    kDuplicateIdentifier = 6,
    kConstantBufferFull = 7,
    kCodeBufferFull = 8,
    kSymbolTableFull = 9,
    kOutOfMemory = 10,
    kUndeclaredIdentifier = 11,
    kParameterBufferFull = 14,
    kMissingText = 15,
    kNotAFunction = 16,
    kOutOfPlace = 17,
    kExpectedVariable = 18,
    kCouldNotCreate = 19,
    kMustBeVariableName = 20,
};

// Deep nesting would exhaust the machine stack long before any buffer fills.
constexpr int kMaxNesting = 300;

struct ParseFailure {};

struct Parser {
    AlgebraWorkspace *ws;
    AlgebraDatabase *db;
    const unsigned char *buf;
    size_t size;
    size_t pos;  // code byte of the current token, after newline markers
    int line;    // line of the last newline marker passed
    int depth;   // nesting of expressions
};

[[noreturn]] void Fail(Parser &p, int code, const char *text) {
    AlgebraWorkspace *ws = p.ws;
    std::snprintf(ws->error_text, sizeof ws->error_text, "Parse error: %s %s on line %d", text ? text : "",
                  AlgebraMessageText(code), p.line + ws->line_offset);
    AlgebraError(ws->error_text);
    throw ParseFailure{};
}

// ---- Token access ----------------------------------------------------------------------------

bool HasText(unsigned char code) { return code == kTokIdent || code == kTokNumber || code == kTokString; }

// Moves past newline markers and returns the current token's code (end of code past the buffer).
unsigned char Peek(Parser &p) {
    while (p.pos < p.size && p.buf[p.pos] == kTokNewline) {
        int line = 0;
        for (size_t i = p.pos + 1; i < p.pos + 4 && i < p.size; ++i)
            if (p.buf[i] >= '0' && p.buf[i] <= '9') line = line * 10 + (p.buf[i] - '0');
        p.line = line;
        p.pos += 4;
    }
    return p.pos < p.size ? p.buf[p.pos] : static_cast<unsigned char>(kTokEnd);
}

// Text of the current token (its name, number or string); "" for other tokens or a cut-off buffer.
const char *TokenText(Parser &p) {
    unsigned char code = Peek(p);
    if (!HasText(code)) return "";
    const void *nul = std::memchr(p.buf + p.pos + 1, 0, p.size - p.pos - 1);
    return nul ? reinterpret_cast<const char *>(p.buf + p.pos + 1) : "";
}

void Advance(Parser &p) {
    unsigned char code = Peek(p);
    if (p.pos >= p.size || code == kTokEnd) return;
    if (HasText(code)) {
        const void *nul = std::memchr(p.buf + p.pos + 1, 0, p.size - p.pos - 1);
        p.pos = nul ? static_cast<size_t>(static_cast<const unsigned char *>(nul) - p.buf) + 1 : p.size;
    } else {
        ++p.pos;
    }
}

// The text a message shows for the current token.
const char *MessageText(Parser &p) {
    static char single[2];
    switch (Peek(p)) {
        case kTokEnd: return "end of code";
        case kTokIdent:
        case kTokNumber:
        case kTokString: return TokenText(p);
        case kTokAnd: return "&&";
        case kTokParam: return "&";
        case kTokEq: return "==";
        case kTokNe: return "!=";
        case kTokLe: return "<=";
        case kTokGe: return ">=";
        case kTokOr: return "||";
        case kTokFalse: return "FALSE";
        case kTokTrue: return "TRUE";
        case kTokPi: return "PI";
        case kTokMissing: return "MISSING";
        case kTokFrequency: return "FREQUENCY";
        default:
            single[0] = static_cast<char>(p.buf[p.pos]);
            single[1] = 0;
            return single;
    }
}

// The code of the token after the current one.
unsigned char PeekNext(Parser &p) {
    size_t pos = p.pos;
    int line = p.line;
    Advance(p);
    unsigned char code = Peek(p);
    p.pos = pos;
    p.line = line;
    return code;
}

void Expect(Parser &p, unsigned char code) {
    if (Peek(p) != code) {
        const char text[2] = {static_cast<char>(code), 0};
        Fail(p, kMissingText, text);
    }
    Advance(p);
}

// Numbers may carry a Fortran-style exponent letter D.
double NumberValue(const char *text) {
    char tmp[300];
    size_t n = 0;
    for (; text[n] && n + 1 < sizeof tmp; ++n) tmp[n] = (text[n] == 'D' || text[n] == 'd') ? 'e' : text[n];
    tmp[n] = 0;
    double v = 0.0;
    auto res = std::from_chars(tmp, tmp + n, v);
    if (res.ec == std::errc::result_out_of_range) {
        // from_chars leaves v unchanged on overflow and underflow; mimic strtod.
        v = std::strtod(tmp, nullptr);
    }
    return v;
}

int TruncInt(double v) {
    if (!(v > -2147483648.0 && v < 2147483648.0)) return 0;
    return static_cast<int>(v);
}

// ---- Buffers ---------------------------------------------------------------------------------

void Emit(Parser &p, int32_t op, int32_t arg) {
    AlgebraWorkspace *ws = p.ws;
    if (static_cast<size_t>(ws->ncode) >= ws->code.size()) Fail(p, kCodeBufferFull, "");
    ws->code[static_cast<size_t>(ws->ncode++)] = AlgebraInstr{op, arg};
}

int NewConst(Parser &p, double value) {
    AlgebraWorkspace *ws = p.ws;
    if (static_cast<size_t>(ws->nconst) >= ws->consts.size()) Fail(p, kConstantBufferFull, "");
    ws->consts[static_cast<size_t>(ws->nconst)] = value;
    return ws->nconst++;
}

// Slot of a literal: missing is slot 7, a value equal to slot 0-6 reuses it, others are new.
int LiteralSlot(Parser &p, double value) {
    if (IsMissing(value)) return kAlgebraSlotMissing;
    for (int i = 0; i < 7; ++i)
        if (p.ws->consts[static_cast<size_t>(i)] == value) return i;
    return NewConst(p, value);
}

// Growth between statements.
void GrowBuffers(AlgebraWorkspace *ws) {
    if (ws->symbols.size() - static_cast<size_t>(ws->nsym) <= 10) ws->symbols.resize(ws->symbols.size() + kAlgebraSymbolGrowth);
    if (ws->code.size() - static_cast<size_t>(ws->ncode) <= 100) ws->code.resize(ws->code.size() + kAlgebraCodeGrowth);
    if (static_cast<size_t>(ws->nconst) > ws->consts.size() - 50) ws->consts.resize(ws->consts.size() + kAlgebraConstGrowth);
}

// ---- Symbols ---------------------------------------------------------------------------------

// Index of the topmost symbol called `name` (any kind), or -1.
int FindSymbol(const AlgebraWorkspace *ws, const char *name) {
    for (int i = ws->nsym - 1; i >= 0; --i) {
        const AlgebraSymbol &s = ws->symbols[static_cast<size_t>(i)];
        if (s.flags != 0 && s.name == name) return i;
    }
    return -1;
}

int FindVariableSymbol(const AlgebraWorkspace *ws, const char *name) {
    for (int i = ws->nsym - 1; i >= 0; --i) {
        const AlgebraSymbol &s = ws->symbols[static_cast<size_t>(i)];
        if ((s.flags & kAlgebraSymVariable) && s.name == name) return i;
    }
    return -1;
}

int AddSymbol(Parser &p, const char *name, uint32_t flags, int var) {
    AlgebraWorkspace *ws = p.ws;
    if (static_cast<size_t>(ws->nsym) >= ws->symbols.size()) Fail(p, kSymbolTableFull, name);
    AlgebraSymbol &s = ws->symbols[static_cast<size_t>(ws->nsym)];
    s.name = name;
    s.flags = flags;
    s.var = var;
    s.storage = nullptr;
    s.data = nullptr;
    if ((flags & kAlgebraSymVariable) && var >= 0) {
        s.storage = p.db->storage[var];
        AlgebraStorageRetain(s.storage);
    }
    return ws->nsym++;
}

// The variable that an assignment (or a destination argument) writes: the topmost variable symbol of
// that name, else the database's variable, else a new one.
int TargetSymbol(Parser &p, const char *name) {
    AlgebraDatabase *db = p.db;
    int sym = FindVariableSymbol(p.ws, name);
    if (sym >= 0) {
        int var = p.ws->symbols[static_cast<size_t>(sym)].var;
        if (var >= 0) AlgebraDbMarkModified(db, var, var);
        return sym;
    }
    if (static_cast<size_t>(p.ws->nsym) >= p.ws->symbols.size()) Fail(p, kSymbolTableFull, name);
    int var = AlgebraDbFind(db, name);
    if (var < 0) {
        var = AlgebraDbAddVariables(db, 1);
        if (var >= 0 && !AlgebraDbRename(db, var, name, 1)) {
            AlgebraDbDelete(db, var);
            var = -1;
        }
    }
    if (var < 0 || !db->storage[var]) Fail(p, kCouldNotCreate, name);
    return AddSymbol(p, name, kAlgebraSymVariable, var);
}

// ---- Expressions -----------------------------------------------------------------------------

void Expression(Parser &p);

struct Nesting {
    Parser &p;
    explicit Nesting(Parser &parser) : p(parser) {
        if (++p.depth > kMaxNesting) Fail(p, kOutOfMemory, MessageText(p));
    }
    ~Nesting() { --p.depth; }
};

bool IsWhole(double v) { return std::isfinite(v) && v == std::floor(v); }

// After a whole number: `: number : number` makes it a time of day. Returns false, consuming nothing,
// when the pattern is incomplete.
bool TimeOfDay(Parser &p, double hours, double *value) {
    size_t pos = p.pos;
    int line = p.line;
    if (Peek(p) == ':') {
        Advance(p);
        if (Peek(p) == kTokNumber) {
            double minutes = NumberValue(TokenText(p));
            Advance(p);
            if (Peek(p) == ':') {
                Advance(p);
                if (Peek(p) == kTokNumber) {
                    double seconds = NumberValue(TokenText(p));
                    Advance(p);
                    double hundredths = std::floor(seconds * 100.0);
                    if (!(hundredths > -2147483648.0 && hundredths < 2147483648.0)) hundredths = 0.0;
                    int c = static_cast<int>(hundredths);
                    *value = CalTimeOfDay(TruncInt(hours), TruncInt(minutes), c / 100, c % 100);
                    return true;
                }
            }
        }
    }
    p.pos = pos;
    p.line = line;
    return false;
}

// After a whole number: `- number - number` makes it a date, optionally followed by a time.
bool DateValue(Parser &p, double year, double *value) {
    size_t pos = p.pos;
    int line = p.line;
    if (Peek(p) == '-') {
        Advance(p);
        if (Peek(p) == kTokNumber) {
            double month = NumberValue(TokenText(p));
            Advance(p);
            if (Peek(p) == '-') {
                Advance(p);
                if (Peek(p) == kTokNumber) {
                    double day = NumberValue(TokenText(p));
                    Advance(p);
                    *value = CalMakeDate(year, month, day);
                    if (Peek(p) == kTokNumber) {
                        double hours = NumberValue(TokenText(p));
                        size_t tpos = p.pos;
                        int tline = p.line;
                        Advance(p);
                        double time = 0.0;
                        if (IsWhole(hours) && TimeOfDay(p, hours, &time)) {
                            *value += time;
                        } else {
                            p.pos = tpos;
                            p.line = tline;
                        }
                    }
                    return true;
                }
            }
        }
    }
    p.pos = pos;
    p.line = line;
    return false;
}

void NumberLiteral(Parser &p) {
    double value = NumberValue(TokenText(p));
    Advance(p);
    double composed = 0.0;
    if (IsWhole(value) && (DateValue(p, value, &composed) || TimeOfDay(p, value, &composed))) value = composed;
    Emit(p, OpLoadConst, LiteralSlot(p, value));
}

// Slot of parameter `n`, allocated (holding the missing value) on first use.
int ParameterSlot(Parser &p, const char *text) {
    AlgebraWorkspace *ws = p.ws;
    double v = NumberValue(text);
    if (!(v >= 0.0 && v < ws->param_map_size)) Fail(p, kParameterBufferFull, text);
    int n = static_cast<int>(v);
    if (ws->param_map[n] < 0) ws->param_map[n] = NewConst(p, kMissing);
    if (n > *ws->max_param) *ws->max_param = n;
    return ws->param_map[n];
}

void FunctionCall(Parser &p, const char *name) {
    int index = AlgebraFindFunction(name);
    const AlgebraFunction *fn = index >= 0 ? AlgebraGetFunction(index) : nullptr;
    if (!fn) Fail(p, kNotAFunction, name);
    Expect(p, '(');
    const char *kinds = fn->kinds ? fn->kinds : "";
    bool first = true;
    for (const char *k = kinds; *k; ++k) {
        if (*k == '|') {
            // Optional arguments follow: the list may end here. The handler still receives one value
            // per position, so absent ones (and the mark's own position) are filled with zero.
            if (Peek(p) == ')') {
                for (const char *r = k; *r; ++r) Emit(p, OpLoadConst, kAlgebraSlotFalse);
                break;
            }
            Emit(p, OpLoadConst, kAlgebraSlotFalse);
            continue;
        }
        if (!first) Expect(p, ',');
        first = false;
        if (*k == 'r' || *k == 'd') {
            unsigned char code = Peek(p);
            if (code != kTokIdent && code != kTokString) Fail(p, kMustBeVariableName, MessageText(p));
            std::string arg = TokenText(p);
            int sym;
            if (*k == 'r') {
                sym = FindSymbol(p.ws, arg.c_str());
                if (sym < 0) Fail(p, kUndeclaredIdentifier, arg.c_str());
                if (!(p.ws->symbols[static_cast<size_t>(sym)].flags & kAlgebraSymVariable))
                    Fail(p, kExpectedVariable, arg.c_str());
            } else {
                sym = FindSymbol(p.ws, arg.c_str());
                if (sym >= 0 && !(p.ws->symbols[static_cast<size_t>(sym)].flags & kAlgebraSymVariable))
                    Fail(p, kExpectedVariable, arg.c_str());
                sym = TargetSymbol(p, arg.c_str());
            }
            Advance(p);
            Emit(p, OpLoadConst, NewConst(p, static_cast<double>(sym)));
            if (Peek(p) != ',' && Peek(p) != ')') Fail(p, kMustBeVariableName, MessageText(p));
        } else {
            Expression(p);
        }
    }
    Expect(p, ')');
    Emit(p, OpCall, index);
}

void Primary(Parser &p) {
    Nesting nest(p);
    unsigned char code = Peek(p);
    switch (code) {
        case kTokNumber: return NumberLiteral(p);
        case kTokFalse: Advance(p); return Emit(p, OpLoadConst, kAlgebraSlotFalse);
        case kTokTrue: Advance(p); return Emit(p, OpLoadConst, kAlgebraSlotTrue);
        case kTokFrequency: Advance(p); return Emit(p, OpLoadConst, kAlgebraSlotFrequency);
        case kTokMissing: Advance(p); return Emit(p, OpLoadConst, kAlgebraSlotMissing);
        case kTokPi: Advance(p); return Emit(p, OpLoadConst, kAlgebraSlotPi);
        case kTokNobs: Advance(p); return Emit(p, OpLoadConst, kAlgebraSlotNobs);
        case '(':
            Advance(p);
            Expression(p);
            return Expect(p, ')');
        case kTokParam: {
            if (!p.ws->param_map) {
                AlgebraWarning("'&' indicates a parameter, and is only allowed in Model formulation");
                Fail(p, kOutOfPlace, "&");
            }
            Advance(p);
            if (Peek(p) != kTokNumber) Fail(p, kOutOfPlace, MessageText(p));
            int slot = ParameterSlot(p, TokenText(p));
            Advance(p);
            return Emit(p, OpLoadConst, slot);
        }
        case kTokIdent:
        case kTokString: {
            std::string name = TokenText(p);
            int sym = FindSymbol(p.ws, name.c_str());
            if (sym < 0) Fail(p, kUndeclaredIdentifier, name.c_str());
            Advance(p);
            bool is_var = (p.ws->symbols[static_cast<size_t>(sym)].flags & kAlgebraSymVariable) != 0;
            unsigned char next = Peek(p);
            if (next == '(') return FunctionCall(p, name.c_str());
            if (next == '[') {
                if (!is_var) Fail(p, kExpectedVariable, name.c_str());
                Advance(p);
                Expression(p);
                int op = OpLoadLag;
                if (Peek(p) == '(') {
                    Advance(p);
                    Expression(p);
                    Expect(p, ')');
                    op = OpLoadDate;
                }
                Expect(p, ']');
                return Emit(p, op, sym);
            }
            if (!is_var) Fail(p, kMissingText, "(");
            return Emit(p, OpLoadVar, sym);
        }
        default: Fail(p, kOutOfPlace, MessageText(p));
    }
}

void Power(Parser &p) {
    Primary(p);
    while (Peek(p) == '^') {
        Advance(p);
        Primary(p);
        Emit(p, OpOperator, kAlgebraOpPower);
    }
}

void Unary(Parser &p) {
    Nesting nest(p);
    switch (Peek(p)) {
        case '!': Advance(p); Unary(p); return Emit(p, OpOperator, kAlgebraOpNot);
        case '-': Advance(p); Unary(p); return Emit(p, OpOperator, kAlgebraOpNegate);
        case '+': Advance(p); return Unary(p);
        default: return Power(p);
    }
}

// One left-associative binary level: operands from `next`, operators from `ops` (their codes are
// the token codes).
template <void (*Next)(Parser &)>
void Binary(Parser &p, const char *ops) {
    Next(p);
    for (;;) {
        unsigned char code = Peek(p);
        if (code == 0 || !std::strchr(ops, code)) return;
        Advance(p);
        Next(p);
        Emit(p, OpOperator, code);
    }
}

void Multiplicative(Parser &p) { Binary<Unary>(p, "*/"); }
void Additive(Parser &p) { Binary<Multiplicative>(p, "+-"); }
void Relational(Parser &p) { Binary<Additive>(p, "LG<>"); }
void Equality(Parser &p) { Binary<Relational>(p, "EN"); }
void Conjunction(Parser &p) { Binary<Equality>(p, "&"); }

void Expression(Parser &p) {
    Nesting nest(p);
    Binary<Conjunction>(p, "|");
}

// ---- Statements ------------------------------------------------------------------------------

// `= expr ;` or `= cond ? a [: b] ;` after a target, then the store.
void AssignmentValue(Parser &p, int sym, int32_t store_op) {
    Expect(p, '=');
    Expression(p);
    if (Peek(p) == '?') {
        Advance(p);
        AlgebraWorkspace *ws = p.ws;
        int jump_false = ws->ncode;
        Emit(p, OpJumpFalse, 0);
        Expression(p);
        int jump = ws->ncode;
        Emit(p, OpJump, 0);
        ws->code[static_cast<size_t>(jump_false)].arg = ws->ncode;
        if (Peek(p) == ':') {
            Advance(p);
            Expression(p);
        } else {
            Emit(p, OpLoadVar, sym);
        }
        ws->code[static_cast<size_t>(jump)].arg = ws->ncode;
    }
    Expect(p, ';');
    Emit(p, store_op, sym);
}

void DeleteStatement(Parser &p) {
    AlgebraWorkspace *ws = p.ws;
    AlgebraDatabase *db = p.db;
    Advance(p);  // delete
    Expect(p, '(');
    for (;;) {
        unsigned char code = Peek(p);
        if (code != kTokIdent && code != kTokString) Fail(p, kMustBeVariableName, "identifier");
        int var = AlgebraDbFind(db, TokenText(p));
        if (var >= 0) {
            int before = db->count;
            AlgebraDbDelete(db, var);
            if (db->count < before) {
                // Symbols keep their storage; only their database indices move.
                for (int i = 0; i < ws->nsym; ++i) {
                    AlgebraSymbol &s = ws->symbols[static_cast<size_t>(i)];
                    if (!(s.flags & kAlgebraSymVariable)) continue;
                    if (s.var == var) s.var = -1;
                    else if (s.var > var) --s.var;
                }
            }
        }
        Advance(p);
        if (Peek(p) != ',') break;
        Advance(p);
    }
    Expect(p, ')');
    Expect(p, ';');
}

void ParameterStatement(Parser &p) {
    Advance(p);  // &
    if (Peek(p) != kTokNumber) Fail(p, kOutOfPlace, MessageText(p));
    std::string number = TokenText(p);
    Advance(p);
    Expect(p, '=');
    double sign = 1.0;
    if (Peek(p) == '+' || Peek(p) == '-') {
        if (Peek(p) == '-') sign = -1.0;
        Advance(p);
    }
    if (Peek(p) != kTokNumber) Fail(p, kOutOfPlace, MessageText(p));
    double value = sign * NumberValue(TokenText(p));
    Advance(p);
    Expect(p, ';');
    int slot = ParameterSlot(p, number.c_str());
    p.ws->consts[static_cast<size_t>(slot)] = value;
}

void Statement(Parser &p) {
    unsigned char code = Peek(p);
    if (code == ';') return Advance(p);
    if (code == kTokParam && p.ws->param_map) return ParameterStatement(p);
    if (code != kTokIdent && code != kTokString) Fail(p, kOutOfPlace, MessageText(p));
    std::string name = TokenText(p);
    unsigned char next = PeekNext(p);
    if (code == kTokIdent && name == "delete" && next == '(') return DeleteStatement(p);
    if (next == '=') {
        int sym = TargetSymbol(p, name.c_str());
        Advance(p);
        return AssignmentValue(p, sym, OpStore);
    }
    if (next == '[') {
        int sym = TargetSymbol(p, name.c_str());
        Advance(p);
        Advance(p);
        Expression(p);
        int32_t op = OpStoreLag;
        if (Peek(p) == '(') {
            Advance(p);
            Expression(p);
            Expect(p, ')');
            op = OpStoreDate;
        }
        Expect(p, ']');
        return AssignmentValue(p, sym, op);
    }
    Expression(p);
    Expect(p, ';');
    Emit(p, OpDiscard, -1);
}

bool LastIs(const AlgebraWorkspace *ws, int32_t op, int32_t arg) {
    return ws->ncode > 0 && ws->code[static_cast<size_t>(ws->ncode - 1)].op == op &&
           ws->code[static_cast<size_t>(ws->ncode - 1)].arg == arg;
}

void ReleaseSymbols(AlgebraWorkspace *ws) {
    for (AlgebraSymbol &s : ws->symbols) {
        if (s.storage) AlgebraStorageRelease(s.storage);
        s = AlgebraSymbol{};
    }
    ws->nsym = 0;
}

void CompileProgram(Parser &p) {
    AlgebraWorkspace *ws = p.ws;
    AlgebraDatabase *db = p.db;

    ReleaseSymbols(ws);
    try {
        ws->symbols.assign(static_cast<size_t>(db->count) + kAlgebraSymbolSpare, AlgebraSymbol{});
        if (ws->code.empty()) ws->code.resize(kAlgebraCodeStart);
        std::fill(ws->code.begin(), ws->code.end(), AlgebraInstr{0, 0});
        ws->consts.assign(kAlgebraConstStart, 0.0);
    } catch (const std::bad_alloc &) {
        Fail(p, kOutOfMemory, "");
    }
    ws->ncode = 0;
    ws->nconst = 0;
    const double fixed[10] = {0.0, 1.0, 2.0, 3.0, 4.0, 5.0, static_cast<double>(db->sample.frequency),
                              kMissing, 3.141592653589793, static_cast<double>(db->nobs)};
    for (double v : fixed) NewConst(p, v);

    if (ws->param_map) {
        for (int i = 0; i < ws->param_map_size; ++i) ws->param_map[i] = -1;
        *ws->max_param = -1;
    }

    const int nfun = AlgebraFunctionCount();
    for (int i = 0; i < nfun && i < kAlgebraMaxFunctions; ++i) {
        const AlgebraFunction *fn = AlgebraGetFunction(i);
        if (!fn || !fn->name) break;
        if (FindSymbol(ws, fn->name) >= 0) Fail(p, kDuplicateIdentifier, fn->name);
        AddSymbol(p, fn->name, kAlgebraSymFunction, -1);
    }
    for (int v = 0; v < db->count; ++v)
        if (db->storage[v] && db->names[v]) AddSymbol(p, db->names[v], kAlgebraSymVariable, v);

    if (Peek(p) == kTokStart) Advance(p);
    for (;;) {
        unsigned char code = Peek(p);
        if (code == kTokEnd || code == '}') break;
        if (!LastIs(ws, OpStatement, 0)) Emit(p, OpStatement, 0);
        Statement(p);
        try {
            GrowBuffers(ws);
        } catch (const std::bad_alloc &) {
            Fail(p, kOutOfMemory, "");
        }
    }
    if (ws->ncode > 0 && ws->code[static_cast<size_t>(ws->ncode - 1)].op == OpStatement)
        ws->code[static_cast<size_t>(ws->ncode - 1)].arg = -1;
    else
        Emit(p, OpStatement, -1);
    Emit(p, OpEnd, 0);

    for (int i = 0; i < ws->nsym; ++i) {
        AlgebraSymbol &s = ws->symbols[static_cast<size_t>(i)];
        if (s.storage) s.data = s.storage->values;
    }
}

}  // namespace

void AlgebraSetParameters(AlgebraWorkspace *ws, int32_t *map, int32_t *max_parameter, int size) {
    if (!map || !max_parameter || size <= 0) {
        ws->param_map = nullptr;
        ws->max_param = nullptr;
        ws->param_map_size = 0;
        return;
    }
    ws->param_map = map;
    ws->max_param = max_parameter;
    ws->param_map_size = size;
}

int AlgebraCompile(AlgebraWorkspace *ws, AlgebraDatabase *db) {
    ws->error_text[0] = 0;
    ws->db = db;
    Parser p{ws, db, ws->tokens.data(), ws->tokens.size(), 0, 1, 0};
    if (!db) {
        try {
            Fail(p, kOutOfMemory, "");
        } catch (const ParseFailure &) {
            return 0;
        }
    }
    try {
        CompileProgram(p);
    } catch (const ParseFailure &) {
        return 0;
    } catch (const std::bad_alloc &) {
        // A symbol name or a database edit ran out of memory.
        try {
            Fail(p, kOutOfMemory, "");
        } catch (const ParseFailure &) {
        }
        return 0;
    }
    return 1;
}

void AlgebraWorkspaceClear(AlgebraWorkspace *ws) {
    ReleaseSymbols(ws);
    std::vector<AlgebraSymbol>().swap(ws->symbols);
    std::vector<AlgebraInstr>().swap(ws->code);
    std::vector<double>().swap(ws->consts);
    std::vector<unsigned char>().swap(ws->tokens);
    ws->ncode = 0;
    ws->nconst = 0;
    ws->pos = 0;
}

}  // namespace tessel
