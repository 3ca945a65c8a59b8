#pragma once

#include <chrono>
#include <thread>

namespace TestSupport {

/// The bound on every wait for something that must happen: only a broken build or setup reaches it,
/// so it is long enough for a machine that is busy with other work, and no test relies on anything
/// happening within any shorter time.
inline constexpr std::chrono::milliseconds generousBound{60000};
inline constexpr int generousMilliseconds = static_cast<int>(generousBound.count());

/// Polls `done` until it holds, without an event loop (for files, processes and other threads).
/// False when the bound passes first.
template <typename Predicate>
bool pollUntil(Predicate done, std::chrono::milliseconds bound = generousBound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return done();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace TestSupport
