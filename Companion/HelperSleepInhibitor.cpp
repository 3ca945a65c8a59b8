#include "Companion/HelperSleepInhibitor.h"

namespace Companion {

HelperSleepInhibitor::HelperSleepInhibitor(std::optional<ProcessCommand> helper,
                                           std::shared_ptr<ProcessRunner> runner)
    : m_helper(std::move(helper))
    , m_runner(std::move(runner)) {}

void HelperSleepInhibitor::hold(Done done) {
    if (!m_process && m_helper) {
        m_process = m_runner->start(*m_helper);
    }
    done(std::nullopt);
}

void HelperSleepInhibitor::release() {
    if (m_process) {
        m_process->terminate();
        m_process.reset();
    }
}

} // namespace Companion
