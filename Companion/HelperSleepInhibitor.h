#pragma once

#include "Companion/ProcessRunner.h"
#include "Companion/SleepInhibitor.h"

#include <memory>
#include <optional>

namespace Companion {

/// Holds the computer awake by running a helper child (caffeinate) until released. A launch failure
/// still counts as held, so only releasing starts over; without a helper nothing is run at all.
class HelperSleepInhibitor final : public SleepInhibitor {
public:
    HelperSleepInhibitor(std::optional<ProcessCommand> helper, std::shared_ptr<ProcessRunner> runner);

    /// Starts the helper unless one is held already, and answers at once.
    void hold(Done done) override;
    /// Terminates the helper without waiting.
    void release() override;

    /// The helper held since `hold` (one that never ran when the launch failed).
    const RunningProcess* helper() const { return m_process.get(); }

private:
    std::optional<ProcessCommand> m_helper;
    std::shared_ptr<ProcessRunner> m_runner;
    std::unique_ptr<RunningProcess> m_process;
};

} // namespace Companion
