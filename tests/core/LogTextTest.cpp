#include "CompanionCore/LogText.h"

#include <gtest/gtest.h>

namespace {

namespace LogText = CompanionCore::LogText;

TEST(LogTextTest, QuotedWritesControlCharactersAsTwoUppercaseHexDigits) {
    EXPECT_EQ(LogText::quoted("\x01\x1F\x0B"), R"("\u{01}\u{1F}\u{0B}")");
}

TEST(LogTextTest, QuotedOfAnEmptyTextIsTwoQuotes) {
    EXPECT_EQ(LogText::quoted(""), "\"\"");
}

TEST(LogTextTest, EscapedControlsLeavesQuotesAlone) {
    EXPECT_EQ(LogText::escapedControls("Ana's \"phone\""), "Ana's \"phone\"");
}

TEST(LogTextTest, EscapedControlsEscapesC1SeparatorsAndBidirectionalControls) {
    EXPECT_EQ(LogText::escapedControls("a\xC2\x9B"
                                       "b\xE2\x80\xA8"
                                       "c\xE2\x80\xAE"
                                       "d\xE2\x81\xA6"),
              R"(a\u{9B}b\u{2028}c\u{202E}d\u{2066})");
}

TEST(LogTextTest, EscapedControlsWritesAnIllFormedByteAsTheReplacementCharacter) {
    EXPECT_EQ(LogText::escapedControls("caf\xE9"), "caf\xEF\xBF\xBD");
}

TEST(LogTextTest, EscapedControlsEscapesLineBreaksAndControls) {
    EXPECT_EQ(LogText::escapedControls("a\nb\r\x1B"), R"(a\nb\r\u{1B})");
}

TEST(LogTextTest, ListsQuoteEveryText) {
    EXPECT_EQ(LogText::quotedList({"Studio.local", "a\nb"}), R"(["Studio.local", "a\nb"])");
    EXPECT_EQ(LogText::quotedList({}), "[]");
}

TEST(LogTextTest, ListsNumbersAsTheyAre) {
    EXPECT_EQ(LogText::numberList({52901, 52902}), "[52901, 52902]");
}

TEST(LogTextTest, BoundedKeepsAShortTextWhole) {
    EXPECT_EQ(LogText::bounded("/pair", 256), "/pair");
}

TEST(LogTextTest, BoundedCutsAtACharacterBoundaryAndSaysHowLongTheTextWas) {
    // "é" is two bytes: a cut after three bytes would split the second one.
    EXPECT_EQ(LogText::bounded("\xC3\xA9\xC3\xA9", 3), "\xC3\xA9\u2026 (4 bytes)");
}

} // namespace
