#include "CompanionCore/Unicode.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace CompanionCore;

TEST(UnicodeTest, AcceptsAsciiAndMultiByteScalars) {
    EXPECT_TRUE(Unicode::isValidUtf8(""));
    EXPECT_TRUE(Unicode::isValidUtf8("plain ascii"));
    EXPECT_TRUE(Unicode::isValidUtf8("\xC3\xA9"));         // é
    EXPECT_TRUE(Unicode::isValidUtf8("\xE2\x82\xAC"));     // €
    EXPECT_TRUE(Unicode::isValidUtf8("\xF0\x9F\x98\x80")); // 😀
}

TEST(UnicodeTest, AcceptsTheScalarsNextToTheForbiddenRanges) {
    EXPECT_TRUE(Unicode::isValidUtf8("\xED\x9F\xBF"));     // U+D7FF
    EXPECT_TRUE(Unicode::isValidUtf8("\xEE\x80\x80"));     // U+E000
    EXPECT_TRUE(Unicode::isValidUtf8("\xF4\x8F\xBF\xBF")); // U+10FFFF
}

TEST(UnicodeTest, RejectsOverlongForms) {
    EXPECT_FALSE(Unicode::isValidUtf8("\xC0\xAF"));
    EXPECT_FALSE(Unicode::isValidUtf8("\xC1\xBF"));
    EXPECT_FALSE(Unicode::isValidUtf8("\xE0\x80\xAF"));
    EXPECT_FALSE(Unicode::isValidUtf8("\xF0\x80\x80\xAF"));
}

TEST(UnicodeTest, RejectsEncodedSurrogates) {
    EXPECT_FALSE(Unicode::isValidUtf8("\xED\xA0\x80")); // U+D800
    EXPECT_FALSE(Unicode::isValidUtf8("\xED\xBF\xBF")); // U+DFFF
}

TEST(UnicodeTest, RejectsValuesPastTheLastScalar) {
    EXPECT_FALSE(Unicode::isValidUtf8("\xF4\x90\x80\x80")); // U+110000
    EXPECT_FALSE(Unicode::isValidUtf8("\xF7\xBF\xBF\xBF"));
}

TEST(UnicodeTest, RejectsTruncatedSequencesAndStrayBytes) {
    EXPECT_FALSE(Unicode::isValidUtf8("\xE2\x82"));
    EXPECT_FALSE(Unicode::isValidUtf8("a\x80"));
    EXPECT_FALSE(Unicode::isValidUtf8("\xFF"));
    EXPECT_FALSE(Unicode::isValidUtf8("\xC3("));
}

TEST(UnicodeTest, DecodeAtAdvancesPastOneScalar) {
    const std::string text = "a\xC3\xA9\xF0\x9F\x98\x80";
    std::size_t pos = 0;
    EXPECT_EQ(Unicode::decodeAt(text, pos), U'a');
    EXPECT_EQ(pos, 1u);
    EXPECT_EQ(Unicode::decodeAt(text, pos), U'\u00E9');
    EXPECT_EQ(pos, 3u);
    EXPECT_EQ(Unicode::decodeAt(text, pos), U'\U0001F600');
    EXPECT_EQ(pos, 7u);
}

TEST(UnicodeTest, DecodeAtTurnsAnIllFormedByteIntoReplacementAndStepsOne) {
    const std::string text = "\xE2\x82x";
    std::size_t pos = 0;
    EXPECT_EQ(Unicode::decodeAt(text, pos), U'\uFFFD');
    EXPECT_EQ(pos, 1u);
}

TEST(UnicodeTest, AppendUtf8WritesEveryLength) {
    std::string out;
    Unicode::appendUtf8(out, U'A');
    Unicode::appendUtf8(out, U'\u00E9');
    Unicode::appendUtf8(out, U'\u20AC');
    Unicode::appendUtf8(out, U'\U0010FFFF');
    EXPECT_EQ(out, "A\xC3\xA9\xE2\x82\xAC\xF4\x8F\xBF\xBF");
}

TEST(UnicodeTest, SanitizedUtf8ReplacesEachIllFormedByte) {
    EXPECT_EQ(Unicode::sanitizedUtf8("a\xFF"
                                     "b\xC0\xAF"),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(UnicodeTest, SanitizedUtf8KeepsWellFormedText) {
    EXPECT_EQ(Unicode::sanitizedUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
}

TEST(UnicodeTest, BlanksAreSpaceSeparatorsAndTab) {
    for (const char32_t c : {U'\t', U' ', U'\u00A0', U'\u1680', U'\u2000', U'\u2003', U'\u200A', U'\u202F',
                             U'\u205F', U'\u3000'}) {
        EXPECT_TRUE(Unicode::isBlank(c)) << static_cast<unsigned>(c);
    }
}

TEST(UnicodeTest, LineBreaksAndZeroWidthSpaceAreNotBlanks) {
    for (const char32_t c : {U'\n', U'\r', U'\v', U'\f', U'\u0085', U'\u2028', U'\u2029', U'\u200B', U'a'}) {
        EXPECT_FALSE(Unicode::isBlank(c)) << static_cast<unsigned>(c);
    }
}

TEST(UnicodeTest, WhitespaceOrNewlineAddsTheLineBreaks) {
    for (const char32_t c :
         {U'\t', U' ', U'\u3000', U'\n', U'\v', U'\f', U'\r', U'\u0085', U'\u2028', U'\u2029'}) {
        EXPECT_TRUE(Unicode::isWhitespaceOrNewline(c)) << static_cast<unsigned>(c);
    }
    EXPECT_FALSE(Unicode::isWhitespaceOrNewline(U'\u200B'));
    EXPECT_FALSE(Unicode::isWhitespaceOrNewline(U'x'));
}

TEST(UnicodeTest, TrimmingBlanksKeepsLineBreaks) {
    EXPECT_EQ(Unicode::trim("\t \xE3\x80\x80"
                            "a b\r \xC2\xA0",
                            Unicode::isBlank),
              "a b\r");
    EXPECT_EQ(Unicode::trim("\nx\n", Unicode::isBlank), "\nx\n");
}

TEST(UnicodeTest, TrimmingWhitespaceOrNewlineRemovesLineBreaks) {
    EXPECT_EQ(Unicode::trim("\r\n\t a  b \xE2\x80\xA8\n", Unicode::isWhitespaceOrNewline), "a  b");
}

TEST(UnicodeTest, TrimmingOnlyWhitespaceLeavesNothing) {
    EXPECT_EQ(Unicode::trim(" \t ", Unicode::isBlank), "");
    EXPECT_EQ(Unicode::trim("", Unicode::isBlank), "");
}

TEST(UnicodeTest, TrimmingLeavesIllFormedBytesInPlace) {
    EXPECT_EQ(Unicode::trim(" \xFF ", Unicode::isBlank), "\xFF");
}

TEST(UnicodeTest, SplitOnWhitespaceDropsEmptyPieces) {
    const std::vector<std::string_view> expected = {"ssh-ed25519", "AAAA", "me@host"};
    EXPECT_EQ(Unicode::splitOnWhitespace("  ssh-ed25519\t\tAAAA \r\n me@host\n"), expected);
}

TEST(UnicodeTest, SplitOnWhitespaceBreaksAtUnicodeSpacesAndSeparators) {
    const std::vector<std::string_view> expected = {"a", "b", "c", "d"};
    EXPECT_EQ(Unicode::splitOnWhitespace("a\xE3\x80\x80"
                                         "b\xE2\x80\xA8"
                                         "c\xC2\x85"
                                         "d"),
              expected);
}

TEST(UnicodeTest, SplitOnWhitespaceOfBlankTextIsEmpty) {
    EXPECT_TRUE(Unicode::splitOnWhitespace("").empty());
    EXPECT_TRUE(Unicode::splitOnWhitespace(" \n\t ").empty());
}

TEST(UnicodeTest, LowercasesAscii) {
    EXPECT_EQ(Unicode::lowercased("Content-LENGTH 42"), "content-length 42");
}

TEST(UnicodeTest, LowercasesAccentedCapitals) {
    EXPECT_EQ(Unicode::lowercased("\xC3\x89TAT"), "\xC3\xA9tat");
}

TEST(UnicodeTest, LowercasesTheKelvinSignToLatinK) {
    EXPECT_EQ(Unicode::lowercased("\xE2\x84\xAA"), "k");
}

TEST(UnicodeTest, LowercasesCapitalIWithDotToTwoScalars) {
    EXPECT_EQ(Unicode::lowercased("\xC4\xB0"), "i\xCC\x87");
}

namespace {
const std::string replacement = "\xEF\xBF\xBD";
} // namespace

TEST(UnicodeTest, DisplaySafeKeepsOrdinaryTextByteForByte) {
    const std::string text = "iPhone de Ana \xC3\xA9 \xF0\x9F\x98\x80 \xE3\x80\x80";
    EXPECT_EQ(Unicode::displaySafe(text), text);
}

TEST(UnicodeTest, DisplaySafeTurnsALineFeedIntoABlank) {
    EXPECT_EQ(Unicode::displaySafe("Ana\nPhone"), "Ana Phone");
}

TEST(UnicodeTest, DisplaySafeReplacesEveryC0ControlButTheLineFeedAndDelete) {
    for (char32_t c = 0; c < 0x20; ++c) {
        if (c == '\n') {
            continue;
        }
        const std::string text{'a', static_cast<char>(c), 'b'};
        EXPECT_EQ(Unicode::displaySafe(text), "a" + replacement + "b") << "U+" << static_cast<int>(c);
    }
    EXPECT_EQ(Unicode::displaySafe("a\x7F"
                                   "b"),
              "a" + replacement + "b");
}

TEST(UnicodeTest, DisplaySafeReplacesC1Controls) {
    EXPECT_EQ(Unicode::displaySafe("\xC2\x80\xC2\x85\xC2\x9B\xC2\x9F"),
              replacement + replacement + replacement + replacement);
    EXPECT_EQ(Unicode::displaySafe("\xC2\xA0"), "\xC2\xA0"); // no-break space is not a control
}

TEST(UnicodeTest, DisplaySafeReplacesLineAndParagraphSeparatorsAndBidirectionalControls) {
    // U+2028, U+2029, U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069.
    for (const char* scalar : {"\xE2\x80\xA8", "\xE2\x80\xA9", "\xD8\x9C", "\xE2\x80\x8E", "\xE2\x80\x8F",
                               "\xE2\x80\xAA", "\xE2\x80\xAB", "\xE2\x80\xAC", "\xE2\x80\xAD", "\xE2\x80\xAE",
                               "\xE2\x81\xA6", "\xE2\x81\xA7", "\xE2\x81\xA8", "\xE2\x81\xA9"}) {
        EXPECT_EQ(Unicode::displaySafe(std::string("x") + scalar + "y"), "x" + replacement + "y");
    }
    // The zero-width joiner next to them is part of ordinary emoji and stays.
    EXPECT_EQ(Unicode::displaySafe("\xE2\x80\x8D"), "\xE2\x80\x8D");
}

TEST(UnicodeTest, DisplaySafeReplacesIllFormedBytes) {
    EXPECT_EQ(Unicode::displaySafe("caf\xE9!"), "caf" + replacement + "!");
}

TEST(UnicodeTest, DisplaySafeDefusesATerminalTitleAndClearSequence) {
    EXPECT_EQ(Unicode::displaySafe("\x1B]0;X\x07\x1B[2J"),
              replacement + "]0;X" + replacement + replacement + "[2J");
}
