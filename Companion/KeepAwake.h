#pragma once

#include "Companion/HelperSleepInhibitor.h"
#include "Companion/ProcessRunner.h"
#include "Companion/SleepInhibitor.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace Companion {

/// The keep-awake switch: on only while its inhibitor holds the computer awake. What is held is
/// released when the switch goes off and, at the latest, when this object is destroyed.
class KeepAwake : public QObject {
    Q_OBJECT

public:
    explicit KeepAwake(std::unique_ptr<SleepInhibitor> inhibitor, QObject* parent = nullptr);
    /// Holds a helper child (nothing when the system has none: the switch then only moves).
    KeepAwake(std::optional<ProcessCommand> helper, std::shared_ptr<ProcessRunner> runner,
              QObject* parent = nullptr);
    ~KeepAwake() override;

    /// Whether the computer is held awake.
    bool enabled() const { return m_enabled; }

    /// On asks the inhibitor unless it holds or is being asked already; the switch turns on once it
    /// holds, and stays off with `refused` when it cannot. Off releases at once (or as soon as a
    /// pending hold is granted).
    void setEnabled(bool enabled);

    /// The helper child when this switch holds one (see `HelperSleepInhibitor::helper`).
    const RunningProcess* helper() const { return m_helperInhibitor ? m_helperInhibitor->helper() : nullptr; }

signals:
    /// Also emitted with false when switching on was refused, so a view that moved follows back.
    void enabledChanged(bool enabled);
    /// Switching on failed; `message` tells the user why.
    void refused(const QString& message);

private:
    enum class Hold { none, asking, held };

    void granted(std::optional<std::string> failure);

    std::unique_ptr<SleepInhibitor> m_inhibitor;
    HelperSleepInhibitor* m_helperInhibitor = nullptr;
    Hold m_hold = Hold::none;
    /// What the user last asked for, which a pending hold must still honour.
    bool m_wanted = false;
    bool m_enabled = false;
};

} // namespace Companion
