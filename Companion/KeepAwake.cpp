#include "Companion/KeepAwake.h"

namespace Companion {

KeepAwake::KeepAwake(std::optional<ProcessCommand> helper, std::shared_ptr<ProcessRunner> runner,
                     QObject* parent)
    : QObject(parent)
    , m_helper(std::move(helper))
    , m_runner(std::move(runner)) {}

// The helper's handle terminates it: keep-awake never outlives the app.
KeepAwake::~KeepAwake() = default;

void KeepAwake::setEnabled(bool enabled) {
    const bool changed = enabled != m_enabled;
    m_enabled = enabled;
    if (enabled) {
        start();
    } else if (m_process) {
        m_process->terminate();
        m_process.reset();
    }
    if (changed) {
        emit enabledChanged(enabled);
    }
}

void KeepAwake::start() {
    if (m_process || !m_helper) {
        return;
    }
    // Kept even when the launch failed, so that only switching off starts over.
    m_process = m_runner->start(*m_helper);
}

} // namespace Companion
