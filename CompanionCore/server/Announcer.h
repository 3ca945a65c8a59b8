#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace CompanionCore {

/// Publishes the pairing listener on the local network as a DNS-SD service.
///
/// Every report reaches the observer later, from the event loop of the thread that called `announce`,
/// never from inside `announce` itself, so an observer may destroy the announcer while handling one.
/// Destroying the announcer withdraws the service; no report arrives after that.
class Announcer {
public:
    struct Service {
        /// Instance name: the computer's display name.
        std::string name;
        /// Service type, for instance "_nuvexa._tcp".
        std::string type;
        std::uint16_t port = 0;
        /// TXT entries; their order carries no meaning.
        std::vector<std::pair<std::string, std::string>> txt;
    };

    struct Observer {
        /// The service is visible under its full name, for instance Studio._nuvexa._tcp.local.
        std::function<void(const std::string& fullName)> registered;
        /// A service reported as registered is no longer visible.
        std::function<void(const std::string& fullName)> removed;
        /// Something worth a log line: a refusal, a rename, why nothing is announced.
        std::function<void(const std::string& message)> note;
    };

    virtual ~Announcer() = default;

    /// Starts publishing `service`; called at most once per announcer.
    virtual void announce(Service service, Observer observer) = 0;
};

/// Makes a fresh announcer for each listener.
using AnnouncerFactory = std::function<std::unique_ptr<Announcer>()>;

} // namespace CompanionCore
