// The Algebra scanner: turns program text into a compact token buffer in one pass.
//
// Token buffer: a byte string that starts with kTokStart and ends with kTokEnd. Each token is one
// code byte; identifiers, numbers and strings are followed by their text and a NUL, and a newline
// marker by three ASCII digits ("%03d") giving the number of the line that begins there. Line 1000
// and above print four digits but the buffer still advances by three, so the fourth digit is
// overwritten by the next token: programs are expected to stay within 999 lines.
#ifndef TESSEL_ALGEBRA_SCANNER_H
#define TESSEL_ALGEBRA_SCANNER_H

#include <cstddef>
#include <cstdio>

namespace tessel {

enum AlgebraToken : unsigned char {
    kTokStart = 1,
    kTokEnd = 2,
    kTokNewline = 127,   // + 3 digits
    kTokIdent = 'I',     // + name, NUL
    kTokNumber = 'C',    // + number text, NUL
    kTokString = '"',    // + text without quotes, NUL
    kTokFalse = 'F',
    kTokTrue = 'T',
    kTokFrequency = 'f',
    kTokMissing = 'M',
    kTokPi = 'P',
    kTokNobs = '#',
    kTokEq = 'E',        // ==
    kTokNe = 'N',        // !=
    kTokLe = 'L',        // <=
    kTokGe = 'G',        // >=
    kTokAnd = '&',       // &&
    kTokOr = '|',        // ||
    kTokParam = 64,      // a single &, the parameter mark
    // The single characters , { } ( ) = ! < > ; ? : [ ] ^ * / + - stand for themselves.
};

// The token buffer: malloc'd bytes (release with AlgebraTokensFree) and the number in use, the
// final kTokEnd included.
struct AlgebraTokens {
    unsigned char *data;
    int size;
};

// Scanner error codes; their messages open the message table that the parser continues at 6.
enum AlgebraScanError {
    kScanUnexpectedEnd = 0,
    kScanUnrecognized = 1,
    kScanOutOfMemory = 2,
    kScanMissing = 3,
    kScanTokenTooLong = 4,
    kScanStringEnd = 5,
};

// The message of a scanner or parser error code (0..20); "" for other codes.
const char *AlgebraMessageText(int code);

inline constexpr int kAlgebraWordMax = 256;  // characters of a word, string or number, less one

// Scans `text` (NUL-terminated) or, when it is null, `stream`. Returns 1 with the buffer in
// `tokens`; on failure returns 0, reports "Scan error: ..." through AlgebraError, copies the message
// into `errorText` (when given, at most errorSize bytes with the NUL) and leaves `tokens` empty.
// Any buffer `tokens` held before is released first.
int AlgebraScan(AlgebraTokens *tokens, const char *text, std::FILE *stream, char *errorText, size_t errorSize);

void AlgebraTokensFree(AlgebraTokens *tokens);

// The line of the last newline marker before `pos` in a token buffer (1 when there is none).
int AlgebraTokenLine(const unsigned char *buffer, const unsigned char *pos, const unsigned char *bufferEnd);

}  // namespace tessel

#endif
