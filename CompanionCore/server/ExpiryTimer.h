#pragma once

#include "CompanionCore/server/ContinuousClock.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <optional>

namespace CompanionCore {

/// A single-shot timer whose time keeps running while the machine sleeps. A plain QTimer counts only
/// the time the machine is awake; this one looks at the continuous clock at least once per check
/// interval, so a deadline slept through fires within one interval of waking.
class ExpiryTimer : public QObject {
    Q_OBJECT
public:
    /// The longest wait between two looks at the clock: how late a deadline may fire after a wake-up.
    static constexpr std::chrono::milliseconds defaultCheckInterval{1000};

    explicit ExpiryTimer(ContinuousNow now = ContinuousClock::now,
                         std::chrono::milliseconds checkInterval = defaultCheckInterval,
                         QObject* parent = nullptr);

    /// Arms the timer to fire `duration` from now, replacing any earlier deadline. Fires from the event
    /// loop, never from inside this call.
    void start(std::chrono::nanoseconds duration);
    /// Disarms the timer; nothing fires.
    void stop();

    /// How long to wait before looking at the clock again: the time left, rounded up to whole
    /// milliseconds and capped at `checkInterval`. Nothing once `deadline` has been reached.
    static std::optional<std::chrono::milliseconds> nextCheck(ContinuousClock::time_point now,
                                                              ContinuousClock::time_point deadline,
                                                              std::chrono::milliseconds checkInterval);

signals:
    /// Emitted once per `start`, at the first check on or after the deadline.
    void expired();

private:
    void check();

    ContinuousNow m_now;
    std::chrono::milliseconds m_checkInterval;
    std::optional<ContinuousClock::time_point> m_deadline;
    QTimer m_timer{this};
};

} // namespace CompanionCore
