#include <gmock/gmock.h>

#include "core/JSONValue.h"
#include "core/Text.h"

namespace {

TEST(Text, PrefixCountsWhatAPersonSeesAsOneCharacter) {
    const struct {
        std::string_view text;
        std::size_t count;
        std::string_view expected;
    } cases[] = {
        {"abc", 0, ""},
        {"abc", 2, "ab"},
        {"abc", 3, "abc"},
        {"", 5, ""},
        {"漢字仮名", 2, "漢字"},
        {"e\u0301e\u0301", 1, "e\u0301"},                                  // combining acute accent
        {"a\u0308\u0323b", 1, "a\u0308\u0323"},                            // two marks
        {"👨‍👩‍👧‍👦👍", 1, "👨‍👩‍👧‍👦"}, // joined family
        {"👍🏽x", 1, "👍🏽"},                                      // skin tone
        {"🇹🇼🇯🇵🇩🇪", 2, "🇹🇼🇯🇵"},                                             // flags pair up
        {"a\r\nb", 2, "a\r\n"},                                            // CR LF is one
        {"\n\rb", 1, "\n"},                                                // LF CR is two
        {"\u1112\u1161\u11ab\u1100", 1, "\u1112\u1161\u11ab"}, // Hangul from its letters
        {"नि।", 1, "नि"},                                      // spacing mark
        {"\u0301a", 1, "\u0301"},                              // a mark with nothing before it
        {"\xff\xfe"
         "a",
         1, "\xff"}, // invalid bytes are one each
        {"é\xe2\x82", 2, "é\xe2"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(text::prefix(one.text, one.count), one.expected) << one.text;
}

TEST(Text, TrimmedRemovesUnicodeWhiteSpaceAtBothEnds) {
    const struct {
        std::string_view text;
        std::string_view expected;
    } cases[] = {
        {"", ""},
        {" \t\r\n\v\f ", ""},
        {" a b\n", "a b"},
        {"\u3000漢 字\u3000\u3000", "漢 字"},
        {"\u0085\u2028\u2029\u00a0\u2003a\u0085\u2029", "a"},
        {"\u200b a \ufeff", "\u200b a \ufeff"}, // zero width, but no white space
        {"\x80 a \x80", "\x80 a \x80"},
        {" \x80\x80\x80\x80\x80 ", "\x80\x80\x80\x80\x80"},
        {"a\xe3\x80", "a\xe3\x80"}, // the beginning of U+3000
    };
    for (const auto& one : cases)
        EXPECT_EQ(text::trimmed(one.text), one.expected) << one.text;
}

// The examples of the Unicode Standard, chapter 3.9, tables 3-8 to 3-11.
TEST(Text, RepairedReplacesMaximalSubparts) {
    const struct {
        std::string_view bytes;
        std::string_view expected; // "?" stands for U+FFFD
    } cases[] = {
        {"a\xf1\x80\x80\xe1\x80\xc2"
         "b\x80"
         "c\x80\xbf"
         "d",
         "a???b?c??d"},
        {"\xc0\xaf\xe0\x80\xbf\xf0\x81\x82"
         "A",
         "????????A"},
        {"\xed\xa0\x80\xed\xbf\xbf\xed\xaf"
         "A",
         "????????A"},
        {"\xf4\x91\x92\x93\xff"
         "A\x80\xbf"
         "B",
         "?????A??B"},
        {"\xe1\x80\xe2\xf0\x91\x92\xf1\xbf"
         "A",
         "????A"},
        {"漢\xe6\xbc", "漢?"},
        {"\xf0\x9f\x98", "?"},
        {{"a\0b", 3}, {"a\0b", 3}},
        {"\xef\xbf\xbf\xf4\x8f\xbf\xbf", "\xef\xbf\xbf\xf4\x8f\xbf\xbf"}, // noncharacters are valid
    };
    for (const auto& one : cases) {
        std::string expected;
        for (const char c : one.expected)
            expected += c == '?' ? std::string("\ufffd") : std::string(1, c);
        EXPECT_EQ(text::repaired(one.bytes), expected) << one.expected;
    }
}

TEST(Text, VisibleLeavesNothingThatHidesOrForges) {
    const struct {
        std::string_view text;
        std::string_view expected;
    } cases[] = {
        {"plain 漢字 😀 é", "plain 漢字 😀 é"},
        {"a\nb\r\tc", "a\\nb\\u{000D}\\u{0009}c"},
        {{"\0\x1b[31m\x7f", 7}, "\\u{0000}\\u{001B}[31m\\u{007F}"},
        {"x\u202egnp.exe\u2066\u200f", "x\\u{202E}gnp.exe\\u{2066}\\u{200F}"},
        {"a\u200bb\ufeffc\u00ad", "a\\u{200B}b\\u{FEFF}c\\u{00AD}"},
        {"l\u2028p\u2029n\u0085", "l\\u{2028}p\\u{2029}n\\u{0085}"},
        {"tag\U000e0041", "tag\\u{E0041}"},
        {"bad\xff\xc3", "bad\\xFF\\xC3"},
        {"\u3164\u2800\u115f\u034f\U000e0101", "\\u{3164}\\u{2800}\\u{115F}\\u{034F}\\u{E0101}"},
        {"rm\u00a0-rf\u3000x\u0378", "rm\\u{00A0}-rf\\u{3000}x\\u{0378}"},
        {"⚠\ufe0f x\ufe0f", "⚠\ufe0f x\\u{FE0F}"}, // the coloured form, and a hidden mark
    };
    for (const auto& one : cases)
        EXPECT_EQ(text::visible(one.text), one.expected);
}

TEST(Text, AJSONTextWithoutInvisibleCharactersIsStillTheSame) {
    const JSONValue value(JSONArray{"a\u009b\u202e\u2028\U000e0041é漢😀", "\n"});
    const std::string text = text::asciiWhereInvisible(json::pretty(value));
    EXPECT_EQ(text, "[\n  \"a\\u009b\\u202e\\u2028\\udb40\\udc41é漢😀\",\n  \"\\n\"\n]");
    EXPECT_EQ(JSONValue::parse(text), value);
}

TEST(Text, PiecesNameEachCharacterThatHides) {
    const auto joined = [](std::string_view utf8) {
        std::string all;
        std::size_t length = 0;
        for (const text::Piece& piece : text::pieces(utf8)) {
            all += piece.mark.empty() ? std::string(piece.text) : "[" + piece.mark + "]";
            length += piece.text.size();
        }
        EXPECT_EQ(length, utf8.size()) << "nothing is lost";
        return all;
    };
    EXPECT_EQ(joined("a\tb\n\u202Ec\u202E\u200B"), "a\tb\n[U+202E]c[U+202E][U+200B]");
    EXPECT_EQ(joined("\r\x1b[0m \u00A0\xFF\xE2\x80"),
              "[U+000D][U+001B][0m [U+00A0][0xFF][0xE2][0x80]");
    EXPECT_EQ(joined("中文❤️ x\uFE0F\U000E0041"), "中文❤️ x[U+FE0F][U+E0041]");
    EXPECT_EQ(joined(""), "");
}

TEST(Text, CanonicalEquivalence) {
    const struct {
        std::string_view left;
        std::string_view right;
        bool equal;
    } cases[] = {
        {"caf\u00e9", "cafe\u0301", true},
        {"\u212b", "\u00c5", true},               // angstrom sign
        {"\u212a", "K", true},                    // kelvin sign: ASCII at the other side
        {"a\u0323\u0307", "a\u0307\u0323", true}, // marks of two classes, in either order
        {"a\u0301\u0301\u0323", "a\u0323\u0301\u0301", true},
        {"a\u0301\u0300", "a\u0300\u0301", false}, // of one class the order counts
        {"\uac01", "\u1100\u1161\u11a8", true},    // Hangul syllable
        {"\ufb01", "fi", false},                   // only compatibility equivalent
        {"\U0002f800", "\u4e3d", true},            // a compatibility ideograph
        {"e", "e\u0301", false},
        {"\xff", "\xfe", false},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(text::canonicallyEqual(one.left, one.right), one.equal) << one.left;
        EXPECT_EQ(text::canonicallyEqual(one.right, one.left), one.equal) << one.left;
    }
}

// Ordering them by insertion would take minutes, and one request could ask for it.
TEST(Text, AMillionMarksInTheWrongOrderAreOrderedQuickly) {
    std::string wrong = "a";
    std::string right = "a";
    for (int i = 0; i < 500'000; ++i)
        wrong += "\u0301";
    for (int i = 0; i < 500'000; ++i) {
        wrong += "\u0323";
        right += "\u0323";
    }
    right += wrong.substr(1, 1'000'000);
    EXPECT_TRUE(text::canonicallyEqual(wrong, right));
}

} // namespace
