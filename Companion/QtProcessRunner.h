#pragma once

#include "Companion/ProcessRunner.h"

#include <chrono>

namespace Companion {

/// Runs programs with QProcess. A child that is asked to end gets the terminate signal and, if it is
/// still there after `terminationGrace`, the kill signal, so that no child outlives its handle.
class QtProcessRunner final : public ProcessRunner {
public:
    static constexpr std::chrono::milliseconds terminationGrace{1000};
    /// How often a blocking run looks at its stop request.
    static constexpr std::chrono::milliseconds stopCheckInterval{50};

    std::unique_ptr<RunningProcess> start(const ProcessCommand& command) override;
    bool startDetached(const ProcessCommand& command) override;

protected:
    ProcessResult execute(const ProcessCommand& command, std::stop_token stop) override;
};

} // namespace Companion
