#pragma once

#include "CompanionCore/Timestamp.h"

#include <chrono>

namespace TestSupport {

/// A wall clock that moves only when the test says so. Read it on the thread that advances it.
class FakeClock {
public:
    FakeClock()
        : m_now(std::chrono::system_clock::from_time_t(1'700'000'000)) {}

    CompanionCore::Clock function() {
        return [this] { return m_now; };
    }
    CompanionCore::Timestamp now() const { return m_now; }
    void advance(double seconds) { m_now = CompanionCore::addingSeconds(m_now, seconds); }

private:
    CompanionCore::Timestamp m_now;
};

} // namespace TestSupport
