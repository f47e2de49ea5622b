#include "algebra/scanner.h"

#include <cstdlib>
#include <cstring>

#include "algebra/report.h"

namespace tessel {

namespace {

const char *const kMessages[] = {
    "Unexpected end of code",
    "Unrecognized",
    "Out of heap memory",
    "Missing",
    "Token too long",
    "End of string missing",
    "Duplicate identifier",
    "Constant buffer full",
    "Code buffer full",
    "Symbol table full",
    "Out of memory",
    "Undeclared identifier",
    "Unmatched {}",
    "Unmatched ()",
    "Parameter buffer full",
    "Missing",
    "Not a function",
    "Out of place",
    "Expected a variable, not a function",
    "Could not create variable",
    "Argument must be variable name, found",
};

constexpr int kEndOfInput = -1;
constexpr int kBufferStep = 8192;
constexpr int kHeadroom = 1024;  // room for the longest token (a word and a line marker)

// The keyword table in the order searched; the newline entry comes first.
struct Keyword {
    const char *word;
    unsigned char code;
};
const Keyword kKeywords[] = {
    {"\n", kTokNewline}, {"FALSE", kTokFalse},         {"TRUE", kTokTrue}, {"FREQUENCY", kTokFrequency},
    {"MISSING", kTokMissing}, {"PI", kTokPi}, {"NOBS", kTokNobs},
};

// The operator set: 22 characters, then the end and newline codes.
const char kOperators[] = ",{}()=!<>&|;?:\"[]^*/+-\x02\x7f";

bool IsLetter(int c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsDigit(int c) { return c >= '0' && c <= '9'; }
bool IsWordChar(int c) { return IsLetter(c) || IsDigit(c) || c == '_'; }

struct ScanFailure {
    int code;
    bool withText;
};

struct Scanner {
    const char *text;
    std::FILE *stream;
    int pushback = 0;
    int line = 1;
    char word[kAlgebraWordMax + 1];
    int wordLen = 0;
    unsigned char *out = nullptr;
    int outSize = 0;
    int pos = 0;

    [[noreturn]] void Fail(int code, bool withText = false) { throw ScanFailure{code, withText}; }

    // Next raw character, the push-back first; -1 at the end of the input.
    int GetChar() {
        if (pushback) {
            int c = pushback;
            pushback = 0;
            return c;
        }
        if (text) {
            if (*text == '\0') return kEndOfInput;
            return static_cast<unsigned char>(*text++);
        }
        int c = std::fgetc(stream);
        return c == EOF ? kEndOfInput : c;
    }

    void PushBack(int c) {
        // The end of the input repeats by itself, so it needs no push-back.
        if (c != kEndOfInput) pushback = c;
    }

    // Next character with comments removed: newlines are counted here, the end gives kTokEnd.
    int GetCodeChar() {
        for (;;) {
            int c = GetChar();
            if (c == kEndOfInput) return kTokEnd;
            if (c == '\n') {
                ++line;
                return c;
            }
            if (c != '/') return c;
            int n = GetChar();
            if (n == kEndOfInput) Fail(kScanUnexpectedEnd);
            if (n == '*') {
                // Block comment. The character after a '*' is consumed by the close test, so "**/"
                // does not close it and a newline right after '*' goes uncounted.
                for (;;) {
                    int k = GetChar();
                    if (k == kEndOfInput) Fail(kScanUnexpectedEnd);
                    if (k == '\n') ++line;
                    if (k == '*') {
                        k = GetChar();
                        if (k == kEndOfInput) Fail(kScanUnexpectedEnd);
                        if (k == '/') break;
                    }
                }
                continue;
            }
            if (n == '/') {
                for (;;) {
                    int k = GetChar();
                    if (k == kEndOfInput) return kTokEnd;
                    if (k == '\n') {
                        ++line;
                        return k;
                    }
                }
            }
            PushBack(n);
            return '/';
        }
    }

    void Store(int c) {
        if (wordLen >= kAlgebraWordMax - 1) Fail(kScanTokenTooLong);
        word[wordLen++] = static_cast<char>(c);
        word[wordLen] = '\0';
    }

    // Reads one word; true when it is a quoted string.
    bool ReadWord() {
        wordLen = 0;
        word[0] = '\0';
        int c;
        do {
            c = GetCodeChar();
        } while (c == ' ' || c == '\t' || c == '\r');
        if (c == '"') {
            for (;;) {
                int k = GetChar();
                if (k == kEndOfInput) Fail(kScanUnexpectedEnd);
                if (k == '"') return true;
                if (k == '\n') Fail(kScanStringEnd);
                Store(k);
            }
        }
        Store(c);
        if (IsWordChar(c)) {
            for (;;) {
                int k = GetChar();
                if (!IsWordChar(k)) {
                    PushBack(k);
                    break;
                }
                Store(k);
            }
        }
        return false;
    }

    // Continues a number after its leading digits (or after a lone '.'): fraction, then exponent.
    void ReadNumberTail(bool afterDot) {
        int c = GetChar();
        if (!afterDot && c == '.') {
            Store(c);
            c = GetChar();
            afterDot = true;
        }
        if (afterDot) {
            while (IsDigit(c)) {
                Store(c);
                c = GetChar();
            }
        }
        if (c == 'E' || c == 'e' || c == 'D' || c == 'd') {
            Store(c);
            c = GetChar();
            if (c == '+' || c == '-') {
                Store(c);
                c = GetChar();
            }
            while (IsDigit(c)) {
                Store(c);
                c = GetChar();
            }
        }
        PushBack(c);
    }

    void Grow() {
        int grown = outSize + kBufferStep;
        auto *p = static_cast<unsigned char *>(std::realloc(out, static_cast<size_t>(grown)));
        if (!p) Fail(kScanOutOfMemory);
        out = p;
        outSize = grown;
    }

    void EmitLine() {
        // Line numbers above 999 print more digits; the next token overwrites them.
        std::snprintf(reinterpret_cast<char *>(out + pos), 16, "%03d", line);
        pos += 3;
    }

    void Emit(unsigned char code) { out[pos++] = code; }

    void EmitText(const char *s, int len) {
        std::memcpy(out + pos, s, static_cast<size_t>(len));
        pos += len;
        out[pos++] = '\0';
    }

    // Reads, classifies and writes one token; returns its code.
    unsigned char Token() {
        if (outSize - pos < kHeadroom) Grow();
        if (ReadWord()) {
            Emit(kTokString);
            EmitText(word, wordLen);
            return kTokString;
        }
        for (const Keyword &k : kKeywords) {
            if (std::strcmp(word, k.word) == 0) {
                Emit(k.code);
                if (k.code == kTokNewline) EmitLine();
                return k.code;
            }
        }
        const unsigned char c0 = static_cast<unsigned char>(word[0]);
        if (wordLen == 1 && c0 != 0 && std::strchr(kOperators, c0)) {
            unsigned char code = c0;
            if (c0 == '&') {
                int n = GetChar();
                if (n == '&')
                    code = kTokAnd;
                else
                    PushBack(n), code = kTokParam;
            } else if (c0 == '|') {
                int n = GetChar();
                if (n != '|') {
                    PushBack(n);
                    Fail(kScanMissing, true);
                }
                code = kTokOr;
            } else if (c0 == '!' || c0 == '<' || c0 == '=' || c0 == '>') {
                int n = GetChar();
                if (n == kEndOfInput) Fail(kScanUnexpectedEnd);
                if (n == '=')
                    code = c0 == '!' ? kTokNe : c0 == '<' ? kTokLe : c0 == '=' ? kTokEq : kTokGe;
                else
                    PushBack(n);
            }
            Emit(code);
            // A literal marker byte in the text still gets its digits, so that readers of the
            // buffer can always skip three bytes after a marker.
            if (code == kTokNewline) EmitLine();
            return code;
        }
        if (IsLetter(c0) || c0 == '_') {
            Emit(kTokIdent);
            EmitText(word, wordLen);
            return kTokIdent;
        }
        if (IsDigit(c0) || (wordLen == 1 && c0 == '.')) {
            // The word reader has taken letters too, so "1e3" arrives here whole and is rejected.
            if (c0 != '.')
                for (int i = 0; i < wordLen; ++i)
                    if (!IsDigit(static_cast<unsigned char>(word[i]))) Fail(kScanUnrecognized, true);
            ReadNumberTail(c0 == '.');
            Emit(kTokNumber);
            EmitText(word, wordLen);
            return kTokNumber;
        }
        Fail(kScanUnrecognized, true);
    }
};

}  // namespace

const char *AlgebraMessageText(int code) {
    if (code < 0 || code >= static_cast<int>(sizeof kMessages / sizeof kMessages[0])) return "";
    return kMessages[code];
}

int AlgebraTokenLine(const unsigned char *buffer, const unsigned char *pos, const unsigned char *bufferEnd) {
    if (!buffer || !pos || pos <= buffer) return 1;
    const unsigned char *p = pos;
    while (p > buffer) {
        --p;
        if (*p == kTokNewline) {
            int line = 0;
            const unsigned char *d = p + 1;
            for (int k = 0; k < 9 && d < bufferEnd && *d >= '0' && *d <= '9'; ++k, ++d) line = line * 10 + (*d - '0');
            return line;
        }
    }
    return 1;
}

void AlgebraTokensFree(AlgebraTokens *tokens) {
    if (!tokens) return;
    std::free(tokens->data);
    tokens->data = nullptr;
    tokens->size = 0;
}

int AlgebraScan(AlgebraTokens *tokens, const char *text, std::FILE *stream, char *errorText, size_t errorSize) {
    if (!tokens) return 0;
    AlgebraTokensFree(tokens);
    if (errorText && errorSize) errorText[0] = '\0';
    Scanner s;
    s.text = text;
    s.stream = text ? nullptr : stream;
    s.word[0] = '\0';
    try {
        if (!text && !stream) s.Fail(kScanUnexpectedEnd);
        s.out = static_cast<unsigned char *>(std::malloc(kBufferStep));
        if (!s.out) s.Fail(kScanOutOfMemory);
        s.outSize = kBufferStep;
        s.Emit(kTokStart);
        while (s.Token() != kTokEnd) {
        }
    } catch (const ScanFailure &f) {
        char msg[kAlgebraWordMax + 96];
        const int line = s.out ? AlgebraTokenLine(s.out, s.out + s.pos, s.out + s.outSize) : 1;
        if (f.withText)
            std::snprintf(msg, sizeof msg, "Scan error: %s %s on line %d", s.word, AlgebraMessageText(f.code), line);
        else
            std::snprintf(msg, sizeof msg, "Scan error: %s on line %d", AlgebraMessageText(f.code), line);
        std::free(s.out);
        if (errorText && errorSize) std::snprintf(errorText, errorSize, "%s", msg);
        AlgebraError(msg);
        return 0;
    }
    tokens->data = s.out;
    tokens->size = s.pos;
    return 1;
}

}  // namespace tessel
