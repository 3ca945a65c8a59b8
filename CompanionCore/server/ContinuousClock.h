#pragma once

#include <chrono>
#include <functional>

namespace CompanionCore {

/// A steady clock that keeps counting while the machine sleeps. `std::chrono::steady_clock` and Qt's
/// timers stop during a suspend on Linux, so a deadline on them arrives late by the time slept.
/// The build links the one `now` of the platform being built.
struct ContinuousClock {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<ContinuousClock>;
    static constexpr bool is_steady = true;

    static time_point now() noexcept;
};

/// A reading of the continuous clock that a test can replace, to let a long sleep pass at once.
using ContinuousNow = std::function<ContinuousClock::time_point()>;

} // namespace CompanionCore
