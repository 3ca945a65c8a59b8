#include "CompanionCore/server/ContinuousClock.h"

#include <ctime>

namespace CompanionCore {

ContinuousClock::time_point ContinuousClock::now() noexcept {
    // CLOCK_MONOTONIC stands still while the system is suspended; CLOCK_BOOTTIME counts that time too.
    timespec reading{};
    ::clock_gettime(CLOCK_BOOTTIME, &reading);
    return time_point(std::chrono::seconds(reading.tv_sec) + std::chrono::nanoseconds(reading.tv_nsec));
}

} // namespace CompanionCore
