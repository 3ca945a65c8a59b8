#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <string>

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

/// `time` in ISO 8601 in UTC, to the second: "2026-11-24T13:15:32Z".
inline std::string iso8601Utc(Timestamp time) {
    const std::time_t seconds =
        std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

} // namespace CompanionCore
