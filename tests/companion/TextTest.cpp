#include "Companion/Text.h"

#include <gtest/gtest.h>

using namespace Companion;

TEST(TextTest, TrimmedDropsWhiteSpaceAtBothEndsOnly) {
    EXPECT_EQ(Text::trimmed("  \tNeeds login\n \n"), "Needs login");
    EXPECT_EQ(Text::trimmed("a  b"), "a  b");
    EXPECT_EQ(Text::trimmed(" \n "), "");
}

TEST(TextTest, JoinedPutsTheSeparatorBetweenPiecesOnly) {
    EXPECT_EQ(Text::joined({}, ", "), "");
    EXPECT_EQ(Text::joined({"mosh"}, " "), "mosh");
    EXPECT_EQ(Text::joined({"sudo apt install", "mosh", "tmux"}, " "), "sudo apt install mosh tmux");
}
