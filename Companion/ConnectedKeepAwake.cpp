#include "Companion/ConnectedKeepAwake.h"

#include "Companion/PairedPhones.h"
#include "Companion/PhoneActivity.h"

#include <algorithm>
#include <optional>

namespace Companion {

ConnectedKeepAwake::ConnectedKeepAwake(Host host, std::unique_ptr<SleepInhibitor> inhibitor, QObject* parent)
    : QObject(parent)
    , m_host(std::move(host))
    , m_hold(std::move(inhibitor)) {
    m_watch.setInterval(watchInterval);
    connect(&m_watch, &QTimer::timeout, this, &ConnectedKeepAwake::look);
    connect(&m_hold, &KeepAwake::enabledChanged, this, &ConnectedKeepAwake::holdingChanged);
    connect(&m_hold, &KeepAwake::refused, this, [this](const QString& message) {
        setEnabled(false);
        emit refused(message);
    });
}

ConnectedKeepAwake::~ConnectedKeepAwake() {
    m_worker.shutDown();
}

void ConnectedKeepAwake::setEnabled(bool enabled) {
    if (enabled == m_enabled) {
        return;
    }
    m_enabled = enabled;
    if (enabled) {
        m_watch.start();
        look();
    } else {
        m_watch.stop();
        ++m_generation;
        m_hold.setEnabled(false);
    }
    emit enabledChanged(enabled);
}

void ConnectedKeepAwake::look() {
    if (m_looking || !m_host.liveSessions || !m_host.loginRecords) {
        return;
    }
    m_looking = true;
    m_worker.enqueue([this, generation = m_generation](std::stop_token) {
        bool connected = false;
        std::optional<QString> unreadable;
        // The process table is cheap; the records are read only when some login is live.
        if (!m_host.liveSessions->list().empty()) {
            const auto listing = PairedPhones(m_host.authorizedKeys).list();
            if (listing && !listing->devices.empty()) {
                const auto reading = PhoneActivities::read(m_host, listing->devices);
                unreadable = reading.unreadable;
                connected = std::any_of(reading.phones.begin(), reading.phones.end(),
                                        [](const PhoneActivity& phone) { return phone.connectedNow; });
            }
        }
        m_worker.publish([this, generation, connected, unreadable = std::move(unreadable)] {
            m_looking = false;
            if (generation != m_generation || !m_enabled) {
                return;
            }
            if (unreadable) {
                setEnabled(false);
                emit refused(*unreadable);
                return;
            }
            m_hold.setEnabled(connected);
            emit looked();
        });
    });
}

} // namespace Companion
