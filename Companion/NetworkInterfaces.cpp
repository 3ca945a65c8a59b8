#include "Companion/NetworkInterfaces.h"

#include "CompanionCore/Addresses.h"
#include "CompanionCore/Unicode.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace Companion::NetworkInterfaces {

namespace {

/// The conventional host name maximum (NI_MAXHOST).
constexpr std::size_t hostTextBytes = 1025;

} // namespace

std::vector<std::string> ipv4Addresses() {
    ifaddrs* interfaces = nullptr;
    if (::getifaddrs(&interfaces) != 0) {
        return {};
    }
    std::vector<std::string> addresses = ipv4Addresses(interfaces);
    ::freeifaddrs(interfaces);
    return addresses;
}

std::vector<std::string> ipv4Addresses(const ifaddrs* interfaces) {
    std::vector<std::string> addresses;
    for (const ifaddrs* entry = interfaces; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        if ((entry->ifa_flags & (IFF_UP | IFF_LOOPBACK)) != IFF_UP) {
            continue;
        }
        char text[hostTextBytes] = {};
        if (::getnameinfo(entry->ifa_addr, sizeof(sockaddr_in), text, sizeof text, nullptr, 0,
                          NI_NUMERICHOST) != 0) {
            continue;
        }
        std::string address = CompanionCore::Unicode::sanitizedUtf8(text);
        if (!CompanionCore::Addresses::isLinkLocal(address)) {
            addresses.push_back(std::move(address));
        }
    }
    return addresses;
}

} // namespace Companion::NetworkInterfaces
