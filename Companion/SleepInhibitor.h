#pragma once

#include <functional>
#include <optional>
#include <string>

namespace Companion {

/// What keeps the computer from sleeping while the keep-awake switch is on. One kind per platform:
/// a helper child (`HelperSleepInhibitor`) or the desktop's inhibitor services over D-Bus
/// (`DBusSleepInhibitor`), chosen by the platform's `SystemActions`.
class SleepInhibitor {
public:
    /// Nothing once the computer is held awake, else the text that tells the user why it is not.
    using Done = std::function<void(std::optional<std::string> failure)>;

    virtual ~SleepInhibitor() = default;

    /// Starts holding the computer awake. `done` is called exactly once, possibly before `hold`
    /// returns, and not at all when this object is destroyed first. At most one hold at a time.
    virtual void hold(Done done) = 0;

    /// Lets the computer sleep again; does nothing when nothing is held. Destroying the inhibitor
    /// releases too.
    virtual void release() = 0;
};

} // namespace Companion
