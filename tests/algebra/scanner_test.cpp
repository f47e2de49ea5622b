#include "algebra/scanner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/algebra/engine_fixture.h"

namespace tessel {
namespace {

using testing::CapturedReports;

// Reads a token buffer back into readable tokens: "I:name", "C:1.5", "S:text", "L:002", and for
// the one-byte codes the code as a number or character. The start and end bytes are checked and
// left out.
std::vector<std::string> Decode(const AlgebraTokens &t) {
    std::vector<std::string> out;
    EXPECT_GE(t.size, 2);
    if (t.size < 2) return out;
    EXPECT_EQ(t.data[0], kTokStart);
    EXPECT_EQ(t.data[t.size - 1], kTokEnd);
    int i = 1;
    while (i < t.size - 1) {
        unsigned char c = t.data[i++];
        if (c == kTokIdent || c == kTokNumber || c == kTokString) {
            std::string text(reinterpret_cast<const char *>(t.data + i));
            i += static_cast<int>(text.size()) + 1;
            out.push_back(std::string(c == kTokIdent ? "I:" : c == kTokNumber ? "C:" : "S:") + text);
        } else if (c == kTokNewline) {
            out.push_back("L:" + std::string(reinterpret_cast<const char *>(t.data + i), 3));
            i += 3;
        } else if (c < 32 || c >= 127 || c == kTokParam) {
            out.push_back(std::to_string(c));
        } else {
            out.push_back(std::string(1, static_cast<char>(c)));
        }
    }
    EXPECT_EQ(i, t.size - 1) << "tokens must end exactly at the end byte";
    return out;
}

struct Scanned {
    int ok;
    std::vector<std::string> tokens;
    std::string error;
};

// Scans `text`; a failure must leave no buffer and report the message it returns, as an error.
Scanned Scan(const std::string &text) {
    AlgebraTokens t{};
    char err[512] = "untouched";
    CapturedReports capture;
    Scanned s{AlgebraScan(&t, text.c_str(), nullptr, err, sizeof err), {}, err};
    const auto &log = CapturedReports::Log();
    if (s.ok) {
        s.tokens = Decode(t);
        EXPECT_EQ(s.error, "");
        EXPECT_TRUE(log.empty());
    } else {
        EXPECT_TRUE(t.data == nullptr && t.size == 0);
        EXPECT_EQ(log, (std::vector<std::pair<std::string, std::string>>{{"Error", s.error}}));
    }
    AlgebraTokensFree(&t);
    return s;
}

using V = std::vector<std::string>;

// Each case: program text and either its tokens or its error message.
struct Case {
    Case(std::string t, V v, std::string e = "") : text(std::move(t)), tokens(std::move(v)), error(std::move(e)) {}
    std::string text;
    V tokens;
    std::string error;
};

void RunCases(const std::vector<Case> &cases) {
    for (const Case &c : cases) {
        const Scanned s = Scan(c.text);
        EXPECT_EQ(s.ok, c.error.empty()) << c.text << ": " << s.error;
        EXPECT_EQ(s.error, c.error) << c.text;
        EXPECT_EQ(s.tokens, c.tokens) << c.text;
    }
}

TEST(AlgebraScanner, OperatorsAndKeywords) {
    RunCases({
        {"  \t\r ", {}},
        {", { } ( ) = ! < > ; ? : [ ] ^ * / + -",
         {",", "{", "}", "(", ")", "=", "!", "<", ">", ";", "?", ":", "[", "]", "^", "*", "/", "+", "-"}},
        {"a==b!=c<=d>=e&&f||g", {"I:a", "E", "I:b", "N", "I:c", "L", "I:d", "G", "I:e", "&", "I:f", "|", "I:g"}},
        {"!!x<-1", {"!", "!", "I:x", "<", "-", "C:1"}},
        {"a = =b", {"I:a", "=", "=", "I:b"}},
        {"x ==", {"I:x", "E"}},
        {"FALSE TRUE FREQUENCY MISSING PI NOBS", {"F", "T", "f", "M", "P", "#"}},
        {"true Pi NOBSx _PI", {"I:true", "I:Pi", "I:NOBSx", "I:_PI"}},  // case-sensitive, whole words
        // A single & is the parameter mark (64); && is the logical and.
        {"a & b", {"I:a", "64", "I:b"}},
        {"a && b", {"I:a", "&", "I:b"}},
        {"&12 = 0.5;", {"64", "C:12", "=", "C:0.5", ";"}},
        {"x &", {"I:x", "64"}},
        // A look-ahead across a newline leaves the newline to be counted once.
        {"a <\n= b\nc", {"I:a", "<", "L:002", "=", "I:b", "L:003", "I:c"}},
        {"a | b", {}, "Scan error: | Missing on line 1"},
        {"x;\ny;\n  a |", {}, "Scan error: | Missing on line 3"},
        {"x = y !", {}, "Scan error: Unexpected end of code on line 1"},
        {"x <", {}, "Scan error: Unexpected end of code on line 1"},
        {"x;\ny @ z;", {}, "Scan error: @ Unrecognized on line 2"},
        {std::string(99, '\n') + "x = ~1;", {}, "Scan error: ~ Unrecognized on line 100"},
    });
}

TEST(AlgebraScanner, NumbersStringsAndWords) {
    RunCases({
        {"x == 1.5E-2", {"I:x", "E", "C:1.5E-2"}},
        {"1.5e3 1.e3 .5 12 2.5D+3 3.d7 007", {"C:1.5e3", "C:1.e3", "C:.5", "C:12", "C:2.5D+3", "C:3.d7", "C:007"}},
        {".", {"C:."}},
        {"1.5.5", {"C:1.5", "C:.5"}},
        {".5e-1x", {"C:.5e-1", "I:x"}},
        {"2020-01-15", {"C:2020", "-", "C:01", "-", "C:15"}},
        {"1.\n2", {"C:1.", "L:002", "C:2"}},
        // The word reader takes "1e3" whole, and a word that starts with a digit must be all digits.
        {"y = 1e3;", {}, "Scan error: 1e3 Unrecognized on line 1"},
        {"\n\n2x", {}, "Scan error: 2x Unrecognized on line 3"},
        {"\"my var\" = \"a/*b*/ //c\";", {"S:my var", "=", "S:a/*b*/ //c", ";"}},
        {"\"\"", {"S:"}},
        {"\"" + std::string(255, 's') + "\"", {"S:" + std::string(255, 's')}},
        {"x\n\"" + std::string(256, 's') + "\"", {}, "Scan error: Token too long on line 2"},
        {"a;\n\"broken\nstring\"", {}, "Scan error: End of string missing on line 2"},
        {"\"open", {}, "Scan error: Unexpected end of code on line 1"},
        // Identifiers and numbers are bounded like strings.
        {std::string(255, 'v'), {"I:" + std::string(255, 'v')}},
        {std::string(256, 'v'), {}, "Scan error: Token too long on line 1"},
        {std::string(5000, '7'), {}, "Scan error: Token too long on line 1"},
        {"1." + std::string(300, '5'), {}, "Scan error: Token too long on line 1"},
        {"1.5e+" + std::string(300, '5'), {}, "Scan error: Token too long on line 1"},
    });
}

TEST(AlgebraScanner, CommentsAndLineMarkers) {
    RunCases({
        {"a\nb\r\n\nc", {"I:a", "L:002", "I:b", "L:003", "L:004", "I:c"}},
        {"a // note\nb // end", {"I:a", "L:002", "I:b"}},
        {"x; //", {"I:x", ";"}},
        {"a /* one\ntwo\nthree */ b\nc", {"I:a", "I:b", "L:004", "I:c"}},
        // "**/" does not close: the second '*' is consumed by the test for '/'.
        {"/* a **/ b */ x", {"I:x"}},
        // A newline straight after a '*' in a comment goes uncounted.
        {"/* *\n */\ny", {"L:002", "I:y"}},
        {"a/b", {"I:a", "/", "I:b"}},
        {"a\n/* never closed\n\n", {}, "Scan error: Unexpected end of code on line 2"},
        {"a /* ends in star *", {}, "Scan error: Unexpected end of code on line 1"},
        {"a /", {}, "Scan error: Unexpected end of code on line 1"},
        // A literal end byte ends the program; a literal marker byte still carries its digits.
        {std::string("a\x02 b"), {"I:a"}},
        {std::string("a\x7f" "b"), {"I:a", "L:001", "I:b"}},
    });
}

TEST(AlgebraScanner, LinesAboveNineHundredNinetyNineKeepThreeDigits) {
    AlgebraTokens t{};
    ASSERT_EQ(AlgebraScan(&t, (std::string(999, '\n') + "x\ny").c_str(), nullptr, nullptr, 0), 1);
    // Markers for lines 2 .. 1000 (4 bytes each), then x, the marker of line 1001 and y.
    const char *p = reinterpret_cast<const char *>(t.data) + 1 + 997 * 4;
    EXPECT_EQ(std::string(p, 8), "\x7f" "999" "\x7f" "100");
    EXPECT_EQ(p[8], kTokIdent) << "the fourth digit of line 1000 is overwritten by the next token";
    EXPECT_EQ(t.size, 1 + 999 * 4 + 3 + 4 + 3 + 1);
    AlgebraTokensFree(&t);
}

TEST(AlgebraScanner, BufferGrowsForLongPrograms) {
    std::string text;
    V expected;
    for (int line = 1; line <= 900; ++line) {
        if (line > 1) {
            char marker[8];
            std::snprintf(marker, sizeof marker, "L:%03d", line);
            text += "\n", expected.push_back(marker);
        }
        const std::string name = "series_" + std::to_string(line) + std::string(40, 'q'), label = "label " + std::to_string(line);
        text += name + " = (" + name + "[-1] + 2.5e-3) * \"" + label + "\"; // note";
        for (auto tok : V{"I:" + name, "=", "(", "I:" + name, "[", "-", "C:1", "]", "+", "C:2.5e-3", ")", "*", "S:" + label, ";"})
            expected.push_back(tok);
    }
    const Scanned s = Scan(text);
    ASSERT_EQ(s.ok, 1) << s.error;
    EXPECT_EQ(s.tokens, expected);
}

TEST(AlgebraScanner, StreamsAndFailures) {
    std::FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    std::fputs("y = x[-1] && 3; /* c */\n\"s\"", f);
    std::rewind(f);
    AlgebraTokens t{};
    ASSERT_EQ(AlgebraScan(&t, nullptr, f, nullptr, 0), 1);
    EXPECT_EQ(Decode(t), (V{"I:y", "=", "I:x", "[", "-", "C:1", "]", "&", "C:3", ";", "L:002", "S:s"}));
    std::fclose(f);
    // A failure releases the earlier buffer and cuts its message to the space given, never overrunning it.
    CapturedReports capture;
    char err[64], small[12];
    EXPECT_EQ(AlgebraScan(&t, "a | b", nullptr, small, sizeof small), 0);
    EXPECT_STREQ(small, "Scan error:");
    EXPECT_EQ(t.data, nullptr);
    EXPECT_EQ(AlgebraScan(&t, nullptr, nullptr, err, sizeof err), 0);
    EXPECT_STREQ(err, "Scan error: Unexpected end of code on line 1");
    EXPECT_EQ(AlgebraScan(nullptr, "a", nullptr, err, sizeof err), 0);
    // The message table is shared with the parser, whose entries follow at 6.
    EXPECT_STREQ(AlgebraMessageText(6), "Duplicate identifier");
    EXPECT_STREQ(AlgebraMessageText(20), "Argument must be variable name, found");
    EXPECT_STREQ(AlgebraMessageText(21), "");
}

TEST(AlgebraScanner, RandomTextNeverBreaksTheBuffer) {
    std::mt19937 rng(12345);
    const std::string alphabet = "ab_19.eE+-*/\"\n\r\t &|=!<>;(){}[]^?:,@#\x7f\x02";
    CapturedReports capture;
    for (int round = 0; round < 3000; ++round) {
        std::string text(rng() % 80, ' ');
        for (char &c : text) c = alphabet[rng() % alphabet.size()];
        AlgebraTokens t{};
        char err[512];
        if (AlgebraScan(&t, text.c_str(), nullptr, err, sizeof err))
            Decode(t);
        else
            EXPECT_TRUE(std::string(err).starts_with("Scan error: ") && std::string(err).find(" on line ") != std::string::npos) << err;
        AlgebraTokensFree(&t);
    }
}

}  // namespace
}  // namespace tessel
