#include "CompanionCore/Timestamp.h"

#include <gtest/gtest.h>

using namespace CompanionCore;

namespace {

const Timestamp base{std::chrono::seconds{1'700'000'000}};

} // namespace

TEST(TimestampTest, SecondsBetweenIsLaterMinusEarlier) {
    EXPECT_DOUBLE_EQ(secondsBetween(base, base + std::chrono::milliseconds(1500)), 1.5);
    EXPECT_DOUBLE_EQ(secondsBetween(base + std::chrono::seconds(2), base), -2.0);
}

TEST(TimestampTest, AddingSecondsKeepsFractions) {
    EXPECT_GT(secondsBetween(base, addingSeconds(base, 300.001)), 300.0);
    EXPECT_NEAR(secondsBetween(base, addingSeconds(base, 300.001)), 300.001, 1e-6);
}

TEST(TimestampTest, AddingNegativeSecondsGoesBack) {
    EXPECT_LT(addingSeconds(base, -1), base);
}

TEST(TimestampTest, Iso8601IsInUtcToTheSecondWithAZ) {
    // 2026-11-24 13:15:32.750 UTC.
    const CompanionCore::Timestamp time{std::chrono::milliseconds(1795526132750)};
    EXPECT_EQ(CompanionCore::iso8601Utc(time), "2026-11-24T13:15:32Z");
    EXPECT_EQ(CompanionCore::iso8601Utc(CompanionCore::Timestamp{}), "1970-01-01T00:00:00Z");
}
