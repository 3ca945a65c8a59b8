#pragma once

#include "Companion/Host.h"
#include "Companion/KeepAwake.h"
#include "Companion/SerialWorker.h"
#include "Companion/SleepInhibitor.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>

namespace Companion {

/// The "keep awake while a phone is connected" switch: while it is on, the computer is held awake
/// exactly while a paired phone has a live SSH connection, with the same kind of hold as the
/// keep-awake switch. Off at every start; while off nothing is watched, so it costs no wakeups.
class ConnectedKeepAwake : public QObject {
    Q_OBJECT

public:
    /// How often the process table is looked at while the switch is on.
    static constexpr std::chrono::milliseconds watchInterval{5000};

    /// Watches `host`'s live sessions and login records for the phones in its key file; holds
    /// `inhibitor` while one is connected.
    ConnectedKeepAwake(Host host, std::unique_ptr<SleepInhibitor> inhibitor, QObject* parent = nullptr);
    ~ConnectedKeepAwake() override;

    /// The user's switch.
    bool enabled() const { return m_enabled; }
    /// On watches at once and then every `watchInterval`; off stops watching and releases the hold.
    void setEnabled(bool enabled);

    /// The computer is held awake because a phone is connected.
    bool holding() const { return m_hold.enabled(); }

    /// Tests look more often.
    void setWatchInterval(std::chrono::milliseconds interval) { m_watch.setInterval(interval); }

signals:
    void enabledChanged(bool enabled);
    void holdingChanged(bool holding);
    /// After each look has been acted on.
    void looked();
    /// The switch cannot work here and went off; `message` says why (the hold was refused, or the
    /// SSH server's records that tell phones apart cannot be read).
    void refused(const QString& message);

private:
    void look();

    Host m_host;
    KeepAwake m_hold;
    QTimer m_watch;
    bool m_enabled = false;
    bool m_looking = false;
    /// Bumped when the switch goes off, so a look that returns afterwards is dropped.
    std::uint64_t m_generation = 0;
    SerialWorker m_worker{*this};
};

} // namespace Companion
