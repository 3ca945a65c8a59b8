#include "CompanionCore/server/ExpiryTimer.h"

#include <algorithm>

namespace CompanionCore {

ExpiryTimer::ExpiryTimer(ContinuousNow now, std::chrono::milliseconds checkInterval, QObject* parent)
    : QObject(parent)
    , m_now(std::move(now))
    , m_checkInterval(std::max(checkInterval, std::chrono::milliseconds(1))) {
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &ExpiryTimer::check);
}

void ExpiryTimer::start(std::chrono::nanoseconds duration) {
    const ContinuousClock::time_point now = m_now();
    m_deadline = now + duration;
    // Even a deadline already reached fires from the event loop, never from inside `start`.
    m_timer.start(nextCheck(now, *m_deadline, m_checkInterval).value_or(std::chrono::milliseconds(0)));
}

void ExpiryTimer::stop() {
    m_deadline.reset();
    m_timer.stop();
}

std::optional<std::chrono::milliseconds> ExpiryTimer::nextCheck(ContinuousClock::time_point now,
                                                                ContinuousClock::time_point deadline,
                                                                std::chrono::milliseconds checkInterval) {
    if (now >= deadline) {
        return std::nullopt;
    }
    return std::min(std::chrono::ceil<std::chrono::milliseconds>(deadline - now), checkInterval);
}

void ExpiryTimer::check() {
    if (!m_deadline) {
        return;
    }
    if (const auto wait = nextCheck(m_now(), *m_deadline, m_checkInterval)) {
        m_timer.start(*wait);
        return;
    }
    // Disarmed before the signal, so a receiver may start the timer again.
    stop();
    emit expired();
}

} // namespace CompanionCore
