#include "algebra/scanner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "tests/algebra/report_capture.h"

namespace tessel {
namespace {

using testing_support::ReportCapture;

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

Scanned Scan(const std::string &text) {
    AlgebraTokens t{};
    char err[512] = "untouched";
    ReportCapture capture;
    Scanned s;
    s.ok = AlgebraScan(&t, text.c_str(), nullptr, err, sizeof err);
    if (s.ok) {
        s.tokens = Decode(t);
        EXPECT_STREQ(err, "");
        EXPECT_TRUE(ReportCapture::Messages().empty());
    } else {
        s.error = err;
        EXPECT_EQ(t.data, nullptr);
        EXPECT_EQ(t.size, 0);
        EXPECT_EQ(ReportCapture::Messages().size(), 1u);
        if (!ReportCapture::Messages().empty()) {
            EXPECT_EQ(ReportCapture::Messages()[0].first, "Error");
            EXPECT_EQ(ReportCapture::Messages()[0].second, s.error);
        }
    }
    AlgebraTokensFree(&t);
    return s;
}

using V = std::vector<std::string>;

TEST(AlgebraScanner, EmptyTextIsStartThenEnd) {
    AlgebraTokens t{};
    ASSERT_EQ(AlgebraScan(&t, "", nullptr, nullptr, 0), 1);
    ASSERT_EQ(t.size, 2);
    EXPECT_EQ(t.data[0], 1);
    EXPECT_EQ(t.data[1], 2);
    AlgebraTokensFree(&t);
    EXPECT_EQ(Scan("  \t\r ").tokens, V{});
}

TEST(AlgebraScanner, OperatorsAndKeywords) {
    EXPECT_EQ(Scan(", { } ( ) = ! < > ; ? : [ ] ^ * / + -").tokens,
              (V{",", "{", "}", "(", ")", "=", "!", "<", ">", ";", "?", ":", "[", "]", "^", "*", "/", "+", "-"}));
    EXPECT_EQ(Scan("a==b!=c<=d>=e&&f||g").tokens,
              (V{"I:a", "E", "I:b", "N", "I:c", "L", "I:d", "G", "I:e", "&", "I:f", "|", "I:g"}));
    // Single characters glued together stay single unless they form a pair.
    EXPECT_EQ(Scan("!!x<-1").tokens, (V{"!", "!", "I:x", "<", "-", "C:1"}));
    EXPECT_EQ(Scan("a = =b").tokens, (V{"I:a", "=", "=", "I:b"}));
    EXPECT_EQ(Scan("FALSE TRUE FREQUENCY MISSING PI NOBS").tokens, (V{"F", "T", "f", "M", "P", "#"}));
    EXPECT_EQ(Scan("true Pi NOBSx _PI").tokens, (V{"I:true", "I:Pi", "I:NOBSx", "I:_PI"}));
}

TEST(AlgebraScanner, AmpersandIsAParameterMarkUnlessDoubled) {
    EXPECT_EQ(Scan("a & b").tokens, (V{"I:a", "64", "I:b"}));
    EXPECT_EQ(Scan("a && b").tokens, (V{"I:a", "&", "I:b"}));
    EXPECT_EQ(Scan("&12 = 0.5;").tokens, (V{"64", "C:12", "=", "C:0.5", ";"}));
    EXPECT_EQ(Scan("x &").tokens, (V{"I:x", "64"}));
    EXPECT_EQ(Scan("& & &").tokens, (V{"64", "64", "64"}));
}

TEST(AlgebraScanner, Numbers) {
    EXPECT_EQ(Scan("x == 1.5E-2").tokens, (V{"I:x", "E", "C:1.5E-2"}));
    EXPECT_EQ(Scan("1.5e3 1.e3 .5 12 2.5D+3 3.d7 007").tokens,
              (V{"C:1.5e3", "C:1.e3", "C:.5", "C:12", "C:2.5D+3", "C:3.d7", "C:007"}));
    EXPECT_EQ(Scan(".").tokens, (V{"C:."}));
    EXPECT_EQ(Scan("1.5.5").tokens, (V{"C:1.5", "C:.5"}));
    EXPECT_EQ(Scan(".5e-1x").tokens, (V{"C:.5e-1", "I:x"}));
    EXPECT_EQ(Scan("2020-01-15").tokens, (V{"C:2020", "-", "C:01", "-", "C:15"}));
    EXPECT_EQ(Scan("1.\n2").tokens, (V{"C:1.", "L:002", "C:2"}));
    Scanned bad = Scan("y = 1e3;");
    EXPECT_EQ(bad.ok, 0);
    EXPECT_EQ(bad.error, "Scan error: 1e3 Unrecognized on line 1");
    EXPECT_EQ(Scan("\n\n2x").error, "Scan error: 2x Unrecognized on line 3");
}

TEST(AlgebraScanner, Strings) {
    EXPECT_EQ(Scan("\"my var\" = \"a/*b*/ //c\";").tokens, (V{"S:my var", "=", "S:a/*b*/ //c", ";"}));
    EXPECT_EQ(Scan("\"\"").tokens, (V{"S:"}));
    EXPECT_EQ(Scan("\"" + std::string(255, 's') + "\"").tokens, (V{"S:" + std::string(255, 's')}));
    EXPECT_EQ(Scan("x\n\"" + std::string(256, 's') + "\"").error, "Scan error: Token too long on line 2");
    EXPECT_EQ(Scan("a;\n\"broken\nstring\"").error, "Scan error: End of string missing on line 2");
    EXPECT_EQ(Scan("\"open").error, "Scan error: Unexpected end of code on line 1");
}

TEST(AlgebraScanner, WordsAreBoundedLikeStrings) {
    EXPECT_EQ(Scan(std::string(255, 'v')).tokens, (V{"I:" + std::string(255, 'v')}));
    EXPECT_EQ(Scan(std::string(256, 'v')).error, "Scan error: Token too long on line 1");
    EXPECT_EQ(Scan(std::string(5000, 'v')).error, "Scan error: Token too long on line 1");
    EXPECT_EQ(Scan(std::string(255, '7')).tokens, (V{"C:" + std::string(255, '7')}));
    EXPECT_EQ(Scan("1." + std::string(300, '5')).error, "Scan error: Token too long on line 1");
    EXPECT_EQ(Scan("1.5e+" + std::string(300, '5')).error, "Scan error: Token too long on line 1");
}

TEST(AlgebraScanner, CommentsAndLineMarkers) {
    EXPECT_EQ(Scan("a\nb\r\n\nc").tokens, (V{"I:a", "L:002", "I:b", "L:003", "L:004", "I:c"}));
    EXPECT_EQ(Scan("a // note\nb // end").tokens, (V{"I:a", "L:002", "I:b"}));
    EXPECT_EQ(Scan("x; //").tokens, (V{"I:x", ";"}));
    // A block comment counts its newlines, so the next marker carries the right line.
    EXPECT_EQ(Scan("a /* one\ntwo\nthree */ b\nc").tokens, (V{"I:a", "I:b", "L:004", "I:c"}));
    // "**/" does not close: the second '*' is consumed by the test for '/'.
    EXPECT_EQ(Scan("/* a **/ b */ x").tokens, (V{"I:x"}));
    // A newline straight after a '*' in a comment goes uncounted.
    EXPECT_EQ(Scan("/* *\n */\ny").tokens, (V{"L:002", "I:y"}));
    EXPECT_EQ(Scan("a/b").tokens, (V{"I:a", "/", "I:b"}));
    EXPECT_EQ(Scan("a\n/* never closed\n\n").error, "Scan error: Unexpected end of code on line 2");
    EXPECT_EQ(Scan("a /* ends in star *").error, "Scan error: Unexpected end of code on line 1");
    EXPECT_EQ(Scan("a /").error, "Scan error: Unexpected end of code on line 1");
}

TEST(AlgebraScanner, ErrorsNameTheLineOfTheLastMarker) {
    EXPECT_EQ(Scan("a | b").error, "Scan error: | Missing on line 1");
    EXPECT_EQ(Scan("x;\ny;\n  a |").error, "Scan error: | Missing on line 3");
    EXPECT_EQ(Scan("x;\ny @ z;").error, "Scan error: @ Unrecognized on line 2");
    EXPECT_EQ(Scan("$").error, "Scan error: $ Unrecognized on line 1");
    EXPECT_EQ(Scan("x = y !").error, "Scan error: Unexpected end of code on line 1");
    EXPECT_EQ(Scan("x <").error, "Scan error: Unexpected end of code on line 1");
    EXPECT_EQ(Scan("x ==").tokens, (V{"I:x", "E"}));
    EXPECT_EQ(Scan("\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n"
                   "\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n"
                   "x = ~1;")
                  .error,
              "Scan error: ~ Unrecognized on line 100");
    // An operator look-ahead across a newline leaves the newline to be counted once.
    EXPECT_EQ(Scan("a <\n= b\nc").tokens, (V{"I:a", "<", "L:002", "=", "I:b", "L:003", "I:c"}));
}

TEST(AlgebraScanner, LinesAboveNineHundredNinetyNineKeepThreeDigits) {
    std::string text;
    for (int i = 1; i < 1000; ++i) text += "\n";
    text += "x\ny";
    AlgebraTokens t{};
    ASSERT_EQ(AlgebraScan(&t, text.c_str(), nullptr, nullptr, 0), 1);
    // Markers for lines 2 .. 1000 (4 bytes each), then x, the marker of line 1001 and y.
    const unsigned char *p = t.data + 1 + 997 * 4;
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(p), 4), "\x7f" "999");
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(p + 4), 4), "\x7f" "100");
    EXPECT_EQ(p[8], kTokIdent) << "the fourth digit of line 1000 is overwritten by the next token";
    EXPECT_EQ(t.size, 1 + 999 * 4 + 3 + 4 + 3 + 1);
    AlgebraTokensFree(&t);
}

TEST(AlgebraScanner, BufferGrowsForLongPrograms) {
    std::string text;
    V expected;
    for (int line = 1; line <= 900; ++line) {
        if (line > 1) {
            text += "\n";
            char marker[8];
            std::snprintf(marker, sizeof marker, "L:%03d", line);
            expected.push_back(marker);
        }
        std::string name = "series_" + std::to_string(line) + std::string(40, 'q');
        text += name + " = (" + name + "[-1] + 2.5e-3) * \"label " + std::to_string(line) + "\"; // note";
        for (auto tok : V{"I:" + name, "=", "(", "I:" + name, "[", "-", "C:1", "]", "+", "C:2.5e-3", ")", "*",
                          "S:label " + std::to_string(line), ";"})
            expected.push_back(tok);
    }
    Scanned s = Scan(text);
    ASSERT_EQ(s.ok, 1) << s.error;
    EXPECT_EQ(s.tokens, expected);
}

TEST(AlgebraScanner, ReadsFromAStream) {
    std::FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    std::fputs("y = x[-1] && 3; /* c */\n\"s\"", f);
    std::rewind(f);
    AlgebraTokens t{};
    ASSERT_EQ(AlgebraScan(&t, nullptr, f, nullptr, 0), 1);
    EXPECT_EQ(Decode(t), (V{"I:y", "=", "I:x", "[", "-", "C:1", "]", "&", "C:3", ";", "L:002", "S:s"}));
    AlgebraTokensFree(&t);
    std::fclose(f);
}

TEST(AlgebraScanner, NoInputFailsAtOnce) {
    ReportCapture capture;
    AlgebraTokens t{};
    char err[64];
    EXPECT_EQ(AlgebraScan(&t, nullptr, nullptr, err, sizeof err), 0);
    EXPECT_STREQ(err, "Scan error: Unexpected end of code on line 1");
    // A short error buffer is cut, never overrun.
    char small[12];
    EXPECT_EQ(AlgebraScan(&t, "a | b", nullptr, small, sizeof small), 0);
    EXPECT_STREQ(small, "Scan error:");
    EXPECT_EQ(AlgebraScan(nullptr, "a", nullptr, err, sizeof err), 0);
}

TEST(AlgebraScanner, ReleasesAPreviousBuffer) {
    AlgebraTokens t{};
    ASSERT_EQ(AlgebraScan(&t, "a", nullptr, nullptr, 0), 1);
    ASSERT_EQ(AlgebraScan(&t, "b c", nullptr, nullptr, 0), 1);
    EXPECT_EQ(Decode(t), (V{"I:b", "I:c"}));
    ReportCapture capture;
    EXPECT_EQ(AlgebraScan(&t, "@", nullptr, nullptr, 0), 0);
    EXPECT_EQ(t.data, nullptr);
    AlgebraTokensFree(&t);
}

TEST(AlgebraScanner, ControlBytesInTheTextKeepTheBufferWellFormed) {
    // A literal end byte ends the program; a literal marker byte still carries its digits.
    EXPECT_EQ(Scan(std::string("a\x02 b")).tokens, (V{"I:a"}));
    EXPECT_EQ(Scan(std::string("a\x7f" "b")).tokens, (V{"I:a", "L:001", "I:b"}));
}

TEST(AlgebraScanner, SharedMessageTable) {
    EXPECT_STREQ(AlgebraMessageText(0), "Unexpected end of code");
    EXPECT_STREQ(AlgebraMessageText(5), "End of string missing");
    EXPECT_STREQ(AlgebraMessageText(6), "Duplicate identifier");
    EXPECT_STREQ(AlgebraMessageText(15), "Missing");
    EXPECT_STREQ(AlgebraMessageText(20), "Argument must be variable name, found");
    EXPECT_STREQ(AlgebraMessageText(21), "");
    EXPECT_STREQ(AlgebraMessageText(-1), "");
}

TEST(AlgebraScanner, RandomTextNeverBreaksTheBuffer) {
    std::mt19937 rng(12345);
    const std::string alphabet = "ab_19.eE+-*/\"\n\r\t &|=!<>;(){}[]^?:,@#\x7f\x02";
    ReportCapture capture;
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int len = static_cast<int>(rng() % 80);
        for (int i = 0; i < len; ++i) text += alphabet[rng() % alphabet.size()];
        AlgebraTokens t{};
        char err[512];
        if (AlgebraScan(&t, text.c_str(), nullptr, err, sizeof err)) {
            Decode(t);
        } else {
            EXPECT_EQ(std::string(err).rfind("Scan error: ", 0), 0u) << err;
            EXPECT_NE(std::string(err).find(" on line "), std::string::npos);
        }
        AlgebraTokensFree(&t);
    }
}

}  // namespace
}  // namespace tessel
