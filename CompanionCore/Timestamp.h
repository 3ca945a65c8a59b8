#pragma once

#include <chrono>
#include <functional>

namespace CompanionCore {

/// A wall-clock point; differences between two are read as seconds in double precision.
using Timestamp = std::chrono::system_clock::time_point;

/// A clock that can be replaced per instance, so time-dependent decisions are testable.
using Clock = std::function<Timestamp()>;

/// The system's wall clock.
inline Timestamp systemNow() {
    return std::chrono::system_clock::now();
}

/// `later - earlier` in seconds.
inline double secondsBetween(Timestamp earlier, Timestamp later) {
    return std::chrono::duration<double>(later - earlier).count();
}

/// `base` moved by a number of seconds (fractions kept to the clock's resolution).
inline Timestamp addingSeconds(Timestamp base, double seconds) {
    return base + std::chrono::duration_cast<Timestamp::duration>(std::chrono::duration<double>(seconds));
}

} // namespace CompanionCore
