#pragma once

#include "CompanionCore/server/Announcer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace CompanionCore {

/// Announces through the DNS-SD client API of dns_sd.h: the system's own on macOS, Avahi's
/// compatibility library on Linux. The client socket is watched by the thread's event loop, so
/// replies are processed there and nothing blocks while the daemon probes the name.
///
/// Copes with what a desktop throws at it: no daemon (nothing is announced, a note says why), a name
/// already taken (retries as "Name (2)", "Name (3)", ...) and a daemon that goes away (reported as a
/// removal).
class DnsSdAnnouncer final : public Announcer {
public:
    /// Alternative names tried after a conflict before giving up.
    static constexpr int maxRenames = 9;
    /// DNS-SD instance names are one DNS label.
    static constexpr std::size_t maxInstanceNameBytes = 63;

    DnsSdAnnouncer();
    ~DnsSdAnnouncer() override;
    DnsSdAnnouncer(const DnsSdAnnouncer&) = delete;
    DnsSdAnnouncer& operator=(const DnsSdAnnouncer&) = delete;

    void announce(Service service, Observer observer) override;

    /// A DNS-SD error code with its meaning, for log lines.
    static std::string describeError(std::int32_t error);
    /// `name` cut at a character boundary so it fits one label with room for `suffix`.
    static std::string instanceName(const std::string& name, const std::string& suffix = {});
    /// Instance, type and domain as one name, each part ending in a dot: Studio._nuvexa._tcp.local.
    static std::string fullName(const std::string& name, const std::string& type, const std::string& domain);

private:
    struct Registration;

    void registerService();
    void processResult();
    void handleReply(std::int32_t error, const std::string& fullName);
    void release();
    void post(std::function<void()> work);
    void notify(std::function<void(const Observer&)> call);

    friend struct DnsSdReply;

    Service m_service;
    std::string m_name;
    int m_renames = 0;
    std::shared_ptr<Observer> m_observer;
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
    std::unique_ptr<Registration> m_registration;
    std::optional<std::string> m_registeredAs;
};

/// An `AnnouncerFactory` for the DNS-SD backend.
std::unique_ptr<Announcer> makeDnsSdAnnouncer();

} // namespace CompanionCore
