#include "Companion/NetworkInterfaces.h"

#include "CompanionCore/Addresses.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <deque>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace {

/// A hand-made interface list, linked like the one getifaddrs returns.
class InterfaceList {
public:
    void add(const char* name, const char* ipv4, unsigned flags) {
        auto& address = m_addresses.emplace_back();
        address.sin_family = AF_INET;
        ::inet_pton(AF_INET, ipv4, &address.sin_addr);
        append(name, reinterpret_cast<sockaddr*>(&address), flags);
    }
    void addIpv6(const char* name, const char* ipv6, unsigned flags) {
        auto& address = m_addresses6.emplace_back();
        address.sin6_family = AF_INET6;
        ::inet_pton(AF_INET6, ipv6, &address.sin6_addr);
        append(name, reinterpret_cast<sockaddr*>(&address), flags);
    }
    void addWithoutAddress(const char* name, unsigned flags) { append(name, nullptr, flags); }

    const ifaddrs* head() const { return m_entries.empty() ? nullptr : &m_entries.front(); }

private:
    void append(const char* name, sockaddr* address, unsigned flags) {
        ifaddrs& entry = m_entries.emplace_back();
        entry.ifa_name = const_cast<char*>(name);
        entry.ifa_addr = address;
        entry.ifa_flags = flags;
        if (m_entries.size() > 1) {
            m_entries[m_entries.size() - 2].ifa_next = &entry;
        }
    }

    // Deques keep element addresses stable as they grow.
    std::deque<ifaddrs> m_entries;
    std::deque<sockaddr_in> m_addresses;
    std::deque<sockaddr_in6> m_addresses6;
};

TEST(NetworkInterfacesTest, KeepsUpNonLoopbackIpv4AddressesInSystemOrder) {
    InterfaceList list;
    list.add("lo", "127.0.0.1", IFF_UP | IFF_LOOPBACK);
    list.add("eth0", "192.168.1.5", IFF_UP | IFF_RUNNING);
    list.addIpv6("eth0", "fe80::1", IFF_UP);
    list.add("eth1", "10.0.0.7", IFF_RUNNING); // down
    list.addWithoutAddress("tun0", IFF_UP);
    list.add("wlan0", "8.8.8.8", IFF_UP);
    list.add("wlan0", "169.254.3.4", IFF_UP);
    list.add("tailscale0", "100.70.1.2", IFF_UP);
    list.add("eth0", "192.168.1.5", IFF_UP);
    EXPECT_EQ(Companion::NetworkInterfaces::ipv4Addresses(list.head()),
              (std::vector<std::string>{"192.168.1.5", "8.8.8.8", "100.70.1.2", "192.168.1.5"}));
}

TEST(NetworkInterfacesTest, AnEmptyListGivesNoAddress) {
    EXPECT_TRUE(Companion::NetworkInterfaces::ipv4Addresses(nullptr).empty());
}

TEST(NetworkInterfacesTest, ThisComputersAddressesAreDottedQuadsWithoutLoopbackOrLinkLocal) {
    for (const auto& address : Companion::NetworkInterfaces::ipv4Addresses()) {
        in_addr parsed{};
        EXPECT_EQ(::inet_pton(AF_INET, address.c_str(), &parsed), 1) << address;
        EXPECT_FALSE(address.starts_with("127.")) << address;
        EXPECT_FALSE(CompanionCore::Addresses::isLinkLocal(address)) << address;
    }
}

} // namespace
