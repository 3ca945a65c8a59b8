#pragma once

#include "Companion/ProcessRunner.h"

#include <QObject>

#include <memory>
#include <optional>

namespace Companion {

/// Keeps the computer from sleeping by running a helper child (caffeinate, systemd-inhibit) for as
/// long as the switch is on. The helper ends when the switch goes off and, at the latest, when this
/// object is destroyed.
class KeepAwake : public QObject {
    Q_OBJECT

public:
    /// `helper` is the child to hold (nothing when the system has none: the switch then only moves).
    KeepAwake(std::optional<ProcessCommand> helper, std::shared_ptr<ProcessRunner> runner,
              QObject* parent = nullptr);
    ~KeepAwake() override;

    bool enabled() const { return m_enabled; }

    /// Acts on every assignment: on starts the helper unless one is held already; off terminates it
    /// without waiting. A launch failure is swallowed and the switch stays on.
    void setEnabled(bool enabled);

    /// The helper held since the switch went on (one that never ran when the launch failed).
    const RunningProcess* helper() const { return m_process.get(); }

signals:
    void enabledChanged(bool enabled);

private:
    void start();

    std::optional<ProcessCommand> m_helper;
    std::shared_ptr<ProcessRunner> m_runner;
    bool m_enabled = false;
    std::unique_ptr<RunningProcess> m_process;
};

} // namespace Companion
