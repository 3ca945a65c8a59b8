#include "Companion/KeepAwake.h"

namespace Companion {

KeepAwake::KeepAwake(std::unique_ptr<SleepInhibitor> inhibitor, QObject* parent)
    : QObject(parent)
    , m_inhibitor(std::move(inhibitor)) {}

KeepAwake::KeepAwake(std::optional<ProcessCommand> helper, std::shared_ptr<ProcessRunner> runner,
                     QObject* parent)
    : QObject(parent) {
    auto inhibitor = std::make_unique<HelperSleepInhibitor>(std::move(helper), std::move(runner));
    m_helperInhibitor = inhibitor.get();
    m_inhibitor = std::move(inhibitor);
}

// Keep-awake never outlives the app.
KeepAwake::~KeepAwake() {
    m_inhibitor->release();
}

void KeepAwake::setEnabled(bool enabled) {
    m_wanted = enabled;
    switch (m_hold) {
    case Hold::none:
        if (enabled) {
            m_hold = Hold::asking;
            m_inhibitor->hold([this](std::optional<std::string> failure) { granted(std::move(failure)); });
        }
        break;
    case Hold::asking:
        break;
    case Hold::held:
        if (!enabled) {
            m_inhibitor->release();
            m_hold = Hold::none;
            m_enabled = false;
            emit enabledChanged(false);
        }
        break;
    }
}

void KeepAwake::granted(std::optional<std::string> failure) {
    if (failure) {
        m_hold = Hold::none;
        m_wanted = false;
        emit refused(QString::fromStdString(*failure));
        emit enabledChanged(false);
        return;
    }
    if (!m_wanted) {
        m_inhibitor->release();
        m_hold = Hold::none;
        return;
    }
    m_hold = Hold::held;
    m_enabled = true;
    emit enabledChanged(true);
}

} // namespace Companion
