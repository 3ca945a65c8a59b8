#include "CompanionCore/server/ContinuousClock.h"

#include <ctime>

namespace CompanionCore {

ContinuousClock::time_point ContinuousClock::now() noexcept {
    // On macOS CLOCK_MONOTONIC keeps counting while the machine sleeps (CLOCK_UPTIME_RAW is the one
    // that stops).
    timespec reading{};
    ::clock_gettime(CLOCK_MONOTONIC, &reading);
    return time_point(std::chrono::seconds(reading.tv_sec) + std::chrono::nanoseconds(reading.tv_nsec));
}

} // namespace CompanionCore
