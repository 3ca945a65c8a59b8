#include "CompanionCore/CommandWatch.h"

#include <gtest/gtest.h>

#include <limits>

using namespace CompanionCore;
using Finished = CommandWatch::Finished;

namespace {

const Timestamp start{std::chrono::seconds{1'700'000'000}};

Timestamp at(double seconds) {
    return addingSeconds(start, seconds);
}

} // namespace

TEST(CommandWatchTest, AnEmptyNameIsAShell) {
    EXPECT_TRUE(CommandWatch::isShell(""));
}

TEST(CommandWatchTest, BlanksAndLineBreaksAreAShell) {
    EXPECT_TRUE(CommandWatch::isShell(" \n\t\r\n "));
}

TEST(CommandWatchTest, ALoneDashIsAShell) {
    EXPECT_TRUE(CommandWatch::isShell("-"));
}

TEST(CommandWatchTest, ALoginShellInCapitalsWithATrailingBlankIsAShell) {
    EXPECT_TRUE(CommandWatch::isShell("-ZSH "));
}

TEST(CommandWatchTest, CapitalisedLoginIsAShell) {
    EXPECT_TRUE(CommandWatch::isShell("Login"));
}

TEST(CommandWatchTest, ShellNamesAreLowercasedFully) {
    EXPECT_TRUE(CommandWatch::isShell("\xE2\x84\xAASH")); // Kelvin sign, lower-cased to k
}

TEST(CommandWatchTest, APathToAShellIsNotAShell) {
    EXPECT_FALSE(CommandWatch::isShell("/bin/zsh"));
}

TEST(CommandWatchTest, AShellWithArgumentsIsNotAShell) {
    EXPECT_FALSE(CommandWatch::isShell("zsh -l"));
}

TEST(CommandWatchTest, AnEditorIsNotAShell) {
    EXPECT_FALSE(CommandWatch::isShell("vim"));
}

TEST(CommandWatchTest, OnlyOneDashIsRemoved) {
    EXPECT_FALSE(CommandWatch::isShell("--bash"));
}

TEST(CommandWatchTest, TmuxAndTheNamespaceWrapperCountAsIdle) {
    EXPECT_TRUE(CommandWatch::isShell("tmux"));
    EXPECT_TRUE(CommandWatch::isShell("reattach-to-user-namespace"));
}

TEST(CommandWatchTest, KnowsElevenShellsFromTheOldestToTheNewest) {
    // A few representatives rather than the list again: the oldest shell, the login wrapper, the
    // most common two, and one outside the sh family.
    for (const char* shell : {"sh", "login", "bash", "zsh", "fish"}) {
        EXPECT_TRUE(CommandWatch::isShell(shell)) << shell;
    }
    EXPECT_EQ(CommandWatch::shells().size(), 11U);
}

TEST(CommandWatchTest, KeepsItsMinimumDuration) {
    EXPECT_EQ(CommandWatch(30).minimumDuration(), 30);
}

TEST(CommandWatchTest, ReportsACommandThatRanExactlyTheMinimum) {
    CommandWatch watch(30);
    EXPECT_FALSE(watch.sample("make", at(0)));
    EXPECT_FALSE(watch.sample("make", at(10)));
    EXPECT_EQ(watch.sample("zsh", at(30)), (Finished{"make", 30}));
    EXPECT_FALSE(watch.currentCommand());
}

TEST(CommandWatchTest, AShortCommandIsForgottenWithoutReport) {
    CommandWatch watch(30);
    watch.sample("make", at(0));
    watch.sample("make", at(10));
    EXPECT_FALSE(watch.sample("zsh", at(29.9)));
    EXPECT_FALSE(watch.currentCommand());
}

TEST(CommandWatchTest, ASwitchToAnotherCommandReportsTheFirstAndTimesTheSecond) {
    CommandWatch watch(30);
    watch.sample("make", at(0));
    EXPECT_EQ(watch.sample("vim", at(40)), (Finished{"make", 40}));
    EXPECT_EQ(watch.currentCommand(), "vim");
    EXPECT_EQ(watch.sample("zsh", at(70)), (Finished{"vim", 30}));
}

TEST(CommandWatchTest, AFirstShellSampleTimesNothing) {
    CommandWatch watch(30);
    EXPECT_FALSE(watch.sample("zsh", at(0)));
    EXPECT_FALSE(watch.currentCommand());
}

TEST(CommandWatchTest, AFirstCommandSampleStartsTimingWithoutReport) {
    CommandWatch watch(30);
    EXPECT_FALSE(watch.sample("make", at(0)));
    EXPECT_EQ(watch.currentCommand(), "make");
}

TEST(CommandWatchTest, ACommandThatStaysIsNeverReported) {
    CommandWatch watch(30);
    for (int poll = 0; poll < 100; ++poll) {
        EXPECT_FALSE(watch.sample("top", at(poll * 3.0)));
    }
    EXPECT_EQ(watch.currentCommand(), "top");
}

TEST(CommandWatchTest, ResetRestartsTimingAtTheNextSample) {
    CommandWatch watch(30);
    watch.sample("make", at(0));
    watch.reset();
    EXPECT_FALSE(watch.currentCommand());
    EXPECT_FALSE(watch.sample("make", at(100)));
    EXPECT_FALSE(watch.sample("zsh", at(110)));
}

TEST(CommandWatchTest, SampleDoesNotTrimTheCommand) {
    CommandWatch watch(0);
    watch.sample("make", at(0));
    EXPECT_EQ(watch.sample("make ", at(5)), (Finished{"make", 5}));
    EXPECT_EQ(watch.currentCommand(), "make ");
}

TEST(CommandWatchTest, DescribesSecondsBelowAMinute) {
    EXPECT_EQ(CommandWatch::humanDuration(0), "0 s");
    EXPECT_EQ(CommandWatch::humanDuration(59.4), "59 s");
}

TEST(CommandWatchTest, RoundsHalfASecondUp) {
    EXPECT_EQ(CommandWatch::humanDuration(59.5), "1 min");
}

TEST(CommandWatchTest, DescribesMinutesAndSeconds) {
    EXPECT_EQ(CommandWatch::humanDuration(61), "1 min 1 s");
    EXPECT_EQ(CommandWatch::humanDuration(3599), "59 min 59 s");
}

TEST(CommandWatchTest, DropsSecondsAtAWholeHour) {
    EXPECT_EQ(CommandWatch::humanDuration(3600), "1 h");
    EXPECT_EQ(CommandWatch::humanDuration(3659), "1 h");
}

TEST(CommandWatchTest, DescribesHoursAndMinutes) {
    EXPECT_EQ(CommandWatch::humanDuration(3660), "1 h 1 min");
    EXPECT_EQ(CommandWatch::humanDuration(90061), "25 h 1 min");
}

TEST(CommandWatchTest, DividesNegativeDurationsTowardZero) {
    EXPECT_EQ(CommandWatch::humanDuration(-5), "-5 s");
    EXPECT_EQ(CommandWatch::humanDuration(-100), "-40 s");
}

TEST(CommandWatchDeathTest, ANonFiniteDurationEndsTheProcess) {
    EXPECT_DEATH(CommandWatch::humanDuration(std::numeric_limits<double>::infinity()), "");
}

TEST(CommandWatchDeathTest, ADurationPastSixtyFourBitsEndsTheProcess) {
    EXPECT_DEATH(CommandWatch::humanDuration(1e19), "");
}
