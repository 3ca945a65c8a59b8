#include "CompanionCore/PairingCode.h"

#include <gtest/gtest.h>

#include <string>

using namespace CompanionCore;
using Verdict = PairingCode::Verdict;

namespace {

const Timestamp issued{std::chrono::seconds{1'700'000'000}};

Timestamp after(double seconds) {
    return addingSeconds(issued, seconds);
}

PairingCode freshCode() {
    return PairingCode("123456", issued);
}

} // namespace

TEST(PairingCodeTest, StartsWithNoAttemptsAndUnused) {
    const PairingCode code = freshCode();
    EXPECT_EQ(code.digits(), "123456");
    EXPECT_EQ(code.issuedAt(), issued);
    EXPECT_EQ(code.attempts(), 0);
    EXPECT_FALSE(code.used());
}

TEST(PairingCodeTest, TheThirdGuessStillReachesTheComparison) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("000000", after(1)), Verdict::rejected);
    EXPECT_EQ(code.check("111111", after(2)), Verdict::rejected);
    EXPECT_EQ(code.check("123456", after(3)), Verdict::accepted);
}

TEST(PairingCodeTest, AThirdWrongGuessExhaustsTheCodeAtOnce) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("000000", after(1)), Verdict::rejected);
    EXPECT_EQ(code.check("000000", after(2)), Verdict::rejected);
    EXPECT_EQ(code.check("000000", after(3)), Verdict::exhausted);
    EXPECT_EQ(code.attempts(), 3);
}

TEST(PairingCodeTest, AGuessAfterThreeIsExhaustedWithoutCounting) {
    PairingCode code = freshCode();
    for (int i = 0; i < 3; ++i) {
        code.check("000000", after(1));
    }
    EXPECT_EQ(code.check("123456", after(2)), Verdict::exhausted);
    EXPECT_EQ(code.check("999999", after(3)), Verdict::exhausted);
    EXPECT_EQ(code.attempts(), 3);
}

TEST(PairingCodeTest, ARightFirstGuessIsAcceptedAndUsesTheCode) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("123456", after(1)), Verdict::accepted);
    EXPECT_TRUE(code.used());
    EXPECT_EQ(code.attempts(), 1);
}

TEST(PairingCodeTest, RepeatingTheRightGuessIsExhausted) {
    PairingCode code = freshCode();
    code.check("123456", after(1));
    const PairingCode usedCode = code;
    EXPECT_EQ(code.check("123456", after(2)), Verdict::exhausted);
    EXPECT_EQ(code, usedCode);
}

TEST(PairingCodeTest, ARightGuessExactlyAtTheLifetimeIsAccepted) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("123456", after(300)), Verdict::accepted);
}

TEST(PairingCodeTest, ARightGuessJustPastTheLifetimeIsExhaustedWithoutCounting) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("123456", after(300.001)), Verdict::exhausted);
    EXPECT_EQ(code.attempts(), 0);
    EXPECT_FALSE(code.used());
}

TEST(PairingCodeTest, AClockThatWentBackwardsNeverExpiresTheCode) {
    PairingCode code = freshCode();
    EXPECT_FALSE(code.isExpired(after(-10'000)));
    EXPECT_EQ(code.check("123456", after(-10'000)), Verdict::accepted);
}

TEST(PairingCodeTest, ALeadingBlankIsAMismatchThatCostsAnAttempt) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check(" 123456", after(1)), Verdict::rejected);
    EXPECT_EQ(code.attempts(), 1);
}

TEST(PairingCodeTest, ATrailingBlankIsAMismatchThatCostsAnAttempt) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("123456 ", after(1)), Verdict::rejected);
    EXPECT_EQ(code.attempts(), 1);
}

TEST(PairingCodeTest, FiveDigitsAreAMismatchThatCostsAnAttempt) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("12345", after(1)), Verdict::rejected);
    EXPECT_EQ(code.attempts(), 1);
}

TEST(PairingCodeTest, SevenDigitsAreAMismatchThatCostsAnAttempt) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("1234567", after(1)), Verdict::rejected);
    EXPECT_EQ(code.attempts(), 1);
}

TEST(PairingCodeTest, AnEmptyGuessIsAMismatchThatCostsAnAttempt) {
    PairingCode code = freshCode();
    EXPECT_EQ(code.check("", after(1)), Verdict::rejected);
    EXPECT_EQ(code.attempts(), 1);
}

TEST(PairingCodeTest, IsNotExpiredAtExactlyTheLifetime) {
    EXPECT_FALSE(freshCode().isExpired(after(300)));
}

TEST(PairingCodeTest, IsExpiredJustPastTheLifetime) {
    EXPECT_TRUE(freshCode().isExpired(after(300.001)));
}

TEST(PairingCodeTest, IsLiveWhenFreshAndInTime) {
    EXPECT_TRUE(freshCode().isLive(after(10)));
}

TEST(PairingCodeTest, IsNotLiveOnceUsed) {
    PairingCode code = freshCode();
    code.check("123456", after(1));
    EXPECT_FALSE(code.isLive(after(2)));
}

TEST(PairingCodeTest, IsNotLiveOnceExpired) {
    EXPECT_FALSE(freshCode().isLive(after(301)));
}

TEST(PairingCodeTest, IsNotLiveOnceTheAttemptsAreSpent) {
    PairingCode code = freshCode();
    for (int i = 0; i < 3; ++i) {
        code.check("000000", after(1));
    }
    EXPECT_FALSE(code.isLive(after(2)));
}

TEST(PairingCodeTest, RandomCodesAreSixAsciiDigits) {
    for (int i = 0; i < 200; ++i) {
        const PairingCode code = PairingCode::random();
        ASSERT_EQ(code.digits().size(), PairingCode::length);
        for (const char c : code.digits()) {
            ASSERT_TRUE(c >= '0' && c <= '9') << code.digits();
        }
    }
}

TEST(PairingCodeTest, RandomCodesStartingWithZeroOccur) {
    // With 2000 draws the chance of never seeing a leading zero is 0.9^2000, about 1e-92.
    bool sawLeadingZero = false;
    for (int i = 0; i < 2000 && !sawLeadingZero; ++i) {
        sawLeadingZero = PairingCode::random().digits().front() == '0';
    }
    EXPECT_TRUE(sawLeadingZero);
}

TEST(PairingCodeTest, RandomCodesAreFreshAndIssuedNow) {
    const Timestamp before = systemNow();
    const PairingCode code = PairingCode::random();
    const Timestamp afterwards = systemNow();
    EXPECT_EQ(code.attempts(), 0);
    EXPECT_FALSE(code.used());
    EXPECT_LE(before, code.issuedAt());
    EXPECT_LE(code.issuedAt(), afterwards);
}

TEST(PairingCodeTest, ConstantTimeEqualsHoldsForEqualTextsOfEveryFoldWidth) {
    for (const std::size_t size : {1u, 7u, 8u, 63u, 64u, 65u}) {
        const std::string text(size, 'q');
        EXPECT_TRUE(constantTimeEquals(text, std::string(text))) << size;
    }
}

TEST(PairingCodeTest, ConstantTimeEqualsSeesADifferenceInTheLastByteOnly) {
    for (const std::size_t size : {1u, 7u, 8u, 63u, 64u, 65u}) {
        const std::string left(size, 'q');
        std::string right = left;
        right.back() = 'r';
        EXPECT_FALSE(constantTimeEquals(left, right)) << size;
    }
}

TEST(PairingCodeTest, ConstantTimeEqualsSeesADifferenceInTheFirstByteOnly) {
    const std::string left(65, 'q');
    std::string right = left;
    right.front() = 'r';
    EXPECT_FALSE(constantTimeEquals(left, right));
}

TEST(PairingCodeTest, ConstantTimeEqualsHoldsForTwoEmptyTexts) {
    EXPECT_TRUE(constantTimeEquals("", ""));
}

TEST(PairingCodeTest, ConstantTimeEqualsRefusesDifferentLengths) {
    EXPECT_FALSE(constantTimeEquals("123456", "1234567"));
    EXPECT_FALSE(constantTimeEquals("", "0"));
}

TEST(PairingCodeTest, ConstantTimeEqualsComparesBytesNotCharacters) {
    EXPECT_TRUE(constantTimeEquals("\xC3\xA9", "\xC3\xA9"));
    EXPECT_FALSE(constantTimeEquals("\xC3\xA9", "e\xCC\x81"));
}

TEST(PairingCodeDeathTest, DigitsOfTheWrongLengthEndTheProcess) {
    EXPECT_DEATH(PairingCode("12345", issued), "six digits");
}

TEST(PairingCodeDeathTest, DigitsThatAreNotNumericEndTheProcess) {
    EXPECT_DEATH(PairingCode("12345a", issued), "six digits");
}
