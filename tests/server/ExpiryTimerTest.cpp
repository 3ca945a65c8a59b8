#include "CompanionCore/server/ExpiryTimer.h"

#include "server/support/EventLoop.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using CompanionCore::ContinuousClock;
using CompanionCore::ExpiryTimer;

/// A continuous clock that moves only when the test says so, and counts how often it was read.
class FakeContinuousClock {
public:
    CompanionCore::ContinuousNow function() {
        return [this] {
            ++m_reads;
            return m_now;
        };
    }
    void advance(ContinuousClock::duration span) { m_now += span; }
    int reads() const { return m_reads; }

private:
    ContinuousClock::time_point m_now{std::chrono::hours(1000)};
    int m_reads = 0;
};

constexpr auto interval = 1000ms;
const ContinuousClock::time_point deadline{std::chrono::hours(1)};

TEST(ExpiryTimerTest, WaitsAtMostOneCheckIntervalBeforeLookingAgain) {
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline - 300s, deadline, interval), interval);
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline - 1001ms, deadline, interval), interval);
}

TEST(ExpiryTimerTest, WaitsForTheRestWhenLessThanAnIntervalIsLeft) {
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline - 400ms, deadline, interval), 400ms);
    // Rounded up, so the next look is never early.
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline - 1ns, deadline, interval), 1ms);
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline - 2500us, deadline, interval), 3ms);
}

TEST(ExpiryTimerTest, IsDueOnAndAfterTheDeadline) {
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline, deadline, interval), std::nullopt);
    EXPECT_EQ(ExpiryTimer::nextCheck(deadline + 5h, deadline, interval), std::nullopt);
}

class ExpiryTimerRunTest : public testing::Test {
protected:
    /// Lets the timer look at the clock `count` more times.
    bool checks(int count) {
        const int until = m_clock.reads() + count;
        return TestSupport::spinUntil([&] { return m_clock.reads() >= until; });
    }

    FakeContinuousClock m_clock;
    // Short checks keep the test quick; only the fake clock decides when the deadline has passed.
    ExpiryTimer m_timer{m_clock.function(), 2ms};
    int m_fired = 0;
    QMetaObject::Connection m_counter =
        QObject::connect(&m_timer, &ExpiryTimer::expired, [this] { ++m_fired; });
};

TEST_F(ExpiryTimerRunTest, FiresWhenASleepCarriesTheClockPastTheDeadline) {
    m_timer.start(300s);
    ASSERT_TRUE(checks(3));
    EXPECT_EQ(m_fired, 0);
    // Five minutes asleep pass in an instant of the test's own time.
    m_clock.advance(300s);
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 0; }));
    EXPECT_EQ(m_fired, 1);
}

TEST_F(ExpiryTimerRunTest, DoesNotFireBeforeTheDeadline) {
    m_timer.start(300s);
    m_clock.advance(300s - 1ns);
    ASSERT_TRUE(checks(5));
    EXPECT_EQ(m_fired, 0);
    m_clock.advance(1ns);
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 0; }));
    EXPECT_EQ(m_fired, 1);
}

TEST_F(ExpiryTimerRunTest, FiresOnlyOncePerStart) {
    m_timer.start(1s);
    m_clock.advance(2s);
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 0; }));
    m_clock.advance(1h);
    TestSupport::settle(20ms);
    EXPECT_EQ(m_fired, 1);
}

TEST_F(ExpiryTimerRunTest, StartingAgainReplacesTheDeadline) {
    m_timer.start(10s);
    m_clock.advance(9s);
    m_timer.start(10s);
    m_clock.advance(9s);
    ASSERT_TRUE(checks(3));
    EXPECT_EQ(m_fired, 0);
    m_clock.advance(1s);
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 0; }));
}

TEST_F(ExpiryTimerRunTest, StopDisarms) {
    m_timer.start(1s);
    m_timer.stop();
    m_clock.advance(1h);
    TestSupport::settle(20ms);
    EXPECT_EQ(m_fired, 0);
}

TEST_F(ExpiryTimerRunTest, ADeadlineAlreadyReachedFiresFromTheEventLoop) {
    m_timer.start(0s);
    EXPECT_EQ(m_fired, 0) << "never from inside start";
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 0; }));
}

TEST_F(ExpiryTimerRunTest, AReceiverMayStartItAgain) {
    QObject::connect(&m_timer, &ExpiryTimer::expired, [this] {
        if (m_fired == 1) {
            m_timer.start(1s);
        }
    });
    m_timer.start(1s);
    m_clock.advance(1s);
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 0; }));
    m_clock.advance(1s);
    ASSERT_TRUE(TestSupport::waitUntil(&m_timer, &ExpiryTimer::expired, [&] { return m_fired > 1; }));
}

} // namespace
