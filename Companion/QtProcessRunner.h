#pragma once

#include "Companion/ProcessRunner.h"

#include <chrono>

namespace Companion {

/// Runs programs with QProcess. A child that is asked to end gets the terminate signal and, if it is
/// still there after the termination grace, the kill signal, so that no child outlives its handle.
/// A blocking run that times out or is stopped returns at once: the grace, the kill and the wait for
/// the child's end happen on a thread of their own, so a child that ignores the terminate signal
/// never holds its caller past the deadline.
class QtProcessRunner final : public ProcessRunner {
public:
    static constexpr std::chrono::milliseconds defaultTerminationGrace{1000};
    /// How often a blocking run looks at its stop request.
    static constexpr std::chrono::milliseconds stopCheckInterval{50};

    explicit QtProcessRunner(std::chrono::milliseconds terminationGrace = defaultTerminationGrace)
        : m_terminationGrace(terminationGrace) {}

    std::unique_ptr<RunningProcess> start(const ProcessCommand& command) override;
    bool startDetached(const ProcessCommand& command) override;

protected:
    ProcessResult execute(const ProcessCommand& command, std::stop_token stop) override;

private:
    std::chrono::milliseconds m_terminationGrace;
};

} // namespace Companion
