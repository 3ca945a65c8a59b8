#pragma once

#include "CompanionCore/server/Announcer.h"

namespace CompanionCore {

/// Announces nothing, and says so once: for tests and for sessions the user keeps off the network.
class NullAnnouncer final : public Announcer {
public:
    void announce(Service service, Observer observer) override;

    /// The log line that explains the silence.
    static constexpr const char* message = "not announced on Bonjour: announcing is turned off";

private:
    std::shared_ptr<Observer> m_observer;
};

/// An `AnnouncerFactory` for the null backend.
std::unique_ptr<Announcer> makeNullAnnouncer();

} // namespace CompanionCore
