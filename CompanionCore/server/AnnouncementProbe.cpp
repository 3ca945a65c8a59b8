#include "CompanionCore/server/AnnouncementProbe.h"

#include "CompanionCore/WellKnown.h"
#include "CompanionCore/server/DnsSdAnnouncer.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <dns_sd.h>
#include <memory>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace CompanionCore {

namespace {

/// Any port does for a service nobody connects to; the pairing port at least names the program.
constexpr std::uint16_t probePort = WellKnown::pairingPorts.front();

struct ReferenceRelease {
    void operator()(DNSServiceRef ref) const { DNSServiceRefDeallocate(ref); }
};
using Reference = std::unique_ptr<std::remove_pointer_t<DNSServiceRef>, ReferenceRelease>;

/// What the callbacks found; they run inside DNSServiceProcessResult on this thread.
struct Progress {
    std::string name;
    bool refused = false;
    bool seen = false;
};

void DNSSD_API registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char*, const char*,
                          const char*, void* context) {
    if (error != kDNSServiceErr_NoError) {
        static_cast<Progress*>(context)->refused = true;
    }
}

void DNSSD_API browsed(DNSServiceRef, DNSServiceFlags flags, std::uint32_t, DNSServiceErrorType error,
                       const char* name, const char*, const char*, void* context) {
    auto* progress = static_cast<Progress*>(context);
    if (error == kDNSServiceErr_NoError && (flags & kDNSServiceFlagsAdd) != 0 && name != nullptr &&
        progress->name == name) {
        progress->seen = true;
    }
}

std::string probeName() {
    // Unique on this computer, so another probe running at the same time is never taken for ours.
    static std::atomic<int> count{0};
    return "nuvexa-probe-" + std::to_string(::getpid()) + "-" + std::to_string(++count);
}

} // namespace

AnnouncementProbe::Result AnnouncementProbe::run(std::chrono::milliseconds bound) {
    DnsSdAnnouncer::prepareLibrary();
    Progress progress{probeName()};
    const std::string type(serviceType);

    DNSServiceRef browseRef = nullptr;
    if (DNSServiceBrowse(&browseRef, 0, 0, type.c_str(), nullptr, browsed, &progress) !=
        kDNSServiceErr_NoError) {
        return Result::noDaemon;
    }
    const Reference browse(browseRef);
    DNSServiceRef registerRef = nullptr;
    if (DNSServiceRegister(&registerRef, 0, 0, progress.name.c_str(), type.c_str(), nullptr, nullptr,
                           htons(probePort), 0, nullptr, registered, &progress) != kDNSServiceErr_NoError) {
        return Result::notSeen;
    }
    const Reference registration(registerRef);

    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!progress.seen && !progress.refused) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            break;
        }
        pollfd sockets[] = {{DNSServiceRefSockFD(browse.get()), POLLIN, 0},
                            {DNSServiceRefSockFD(registration.get()), POLLIN, 0}};
        const int ready = ::poll(sockets, 2, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if ((sockets[0].revents & POLLIN) != 0 &&
            DNSServiceProcessResult(browse.get()) != kDNSServiceErr_NoError) {
            break;
        }
        if ((sockets[1].revents & POLLIN) != 0 &&
            DNSServiceProcessResult(registration.get()) != kDNSServiceErr_NoError) {
            break;
        }
    }
    return progress.seen ? Result::seen : Result::notSeen;
}

} // namespace CompanionCore
