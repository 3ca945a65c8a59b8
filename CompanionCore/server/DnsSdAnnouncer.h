#pragma once

#include "CompanionCore/server/Announcer.h"

#include <chrono>
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
/// removal). Whenever nothing is announced for a reason other than the names running out, the
/// registration is tried again every `retryInterval`, so a daemon that starts or comes back later gets
/// the service without anyone asking; the failed tries are not reported again.
class DnsSdAnnouncer final : public Announcer {
public:
    /// Alternative names tried after a conflict before giving up.
    static constexpr int maxRenames = 9;
    /// DNS-SD instance names are one DNS label.
    static constexpr std::size_t maxInstanceNameBytes = 63;

    /// How long a failed registration waits before trying again, unless told otherwise.
    static constexpr std::chrono::milliseconds defaultRetryInterval{2000};

    explicit DnsSdAnnouncer(std::chrono::milliseconds retryInterval = defaultRetryInterval);
    ~DnsSdAnnouncer() override;
    DnsSdAnnouncer(const DnsSdAnnouncer&) = delete;
    DnsSdAnnouncer& operator=(const DnsSdAnnouncer&) = delete;

    void announce(Service service, Observer observer) override;

    /// Readies the dns_sd library for its first use in this process; every user calls it first.
    static void prepareLibrary();
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
    /// Registers again after `m_retryInterval`, unless this announcer is gone by then.
    void retryLater();
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
    std::chrono::milliseconds m_retryInterval;
    /// The error last reported, so a retry that fails the same way stays silent.
    std::optional<std::int32_t> m_reportedError;
};

/// An `AnnouncerFactory` for the DNS-SD backend.
std::unique_ptr<Announcer> makeDnsSdAnnouncer();

} // namespace CompanionCore
