#include "CompanionCore/server/ContinuousClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <type_traits>

namespace {

using CompanionCore::ContinuousClock;

ContinuousClock::duration systemReading(clockid_t id) {
    timespec reading{};
    ::clock_gettime(id, &reading);
    return std::chrono::seconds(reading.tv_sec) + std::chrono::nanoseconds(reading.tv_nsec);
}

// The system clock that keeps counting through a suspend: CLOCK_BOOTTIME on Linux; on macOS, where
// that name does not exist, CLOCK_MONOTONIC does so itself.
#ifdef CLOCK_BOOTTIME
constexpr clockid_t countsThroughSleep = CLOCK_BOOTTIME;
#else
constexpr clockid_t countsThroughSleep = CLOCK_MONOTONIC;
#endif

TEST(ContinuousClockTest, ReadsTheClockThatCountsThroughSleep) {
    const auto before = systemReading(countsThroughSleep);
    const auto reading = ContinuousClock::now().time_since_epoch();
    const auto after = systemReading(countsThroughSleep);
    EXPECT_LE(before, reading);
    EXPECT_LE(reading, after);
}

// What the deadlines built on it rely on, checked at compile time: a steady clock that std::chrono
// accepts as one, counting nanoseconds.
static_assert(std::chrono::is_clock_v<ContinuousClock>);
static_assert(ContinuousClock::is_steady);
static_assert(std::is_same_v<ContinuousClock::duration, std::chrono::nanoseconds>);

} // namespace
