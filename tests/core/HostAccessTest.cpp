#include "CompanionCore/HostAccess.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::HostAccess::Blocked;
namespace HostAccess = CompanionCore::HostAccess;

const std::string ufwHeader = "Status: active\n"
                              "Logging: on (low)\n"
                              "Default: deny (incoming), allow (outgoing), disabled (routed)\n"
                              "New profiles: skip\n"
                              "\n"
                              "To                         Action      From\n"
                              "--                         ------      ----\n";

TEST(HostAccessTest, AnInactiveUfwBlocksNothing) {
    EXPECT_EQ(HostAccess::fromUfw("Status: inactive\n"), Blocked{});
}

TEST(HostAccessTest, UfwDenyingByDefaultBlocksWhatNoRuleAllows) {
    EXPECT_EQ(HostAccess::fromUfw(ufwHeader), (Blocked{true, true}));
}

TEST(HostAccessTest, UfwRulesByPortRangeAndProfileLetIn) {
    EXPECT_EQ(HostAccess::fromUfw(ufwHeader + "OpenSSH                    ALLOW IN    Anywhere\n"
                                              "52901:52904/tcp            ALLOW IN    Anywhere\n"),
              Blocked{});
    EXPECT_EQ(HostAccess::fromUfw(ufwHeader + "22/tcp                     ALLOW IN    Anywhere\n"),
              (Blocked{false, true}));
}

TEST(HostAccessTest, TheFirstUfwRuleNamingThePortDecides) {
    EXPECT_EQ(HostAccess::fromUfw(ufwHeader + "22                         DENY IN     Anywhere\n"
                                              "22/tcp                     ALLOW IN    Anywhere\n"),
              (Blocked{true, true}));
}

TEST(HostAccessTest, UfwAllowingByDefaultBlocksOnlyWhatARuleDenies) {
    EXPECT_EQ(HostAccess::fromUfw("Status: active\nDefault: allow (incoming), allow (outgoing)\n"),
              Blocked{});
}

TEST(HostAccessTest, TextThatIsNotUfwsIsNotRead) {
    EXPECT_FALSE(HostAccess::fromUfw("ERROR: You need to be root to run this script\n").has_value());
}

TEST(HostAccessTest, FirewalldLetsInByServiceOrPort) {
    EXPECT_EQ(HostAccess::fromFirewalld("public (active)\n  target: default\n  services: dhcpv6-client ssh\n"
                                        "  ports: 52901-52904/tcp\n"),
              Blocked{});
    EXPECT_EQ(HostAccess::fromFirewalld("public (active)\n  target: default\n  services: dhcpv6-client\n"
                                        "  ports: \n"),
              (Blocked{true, true}));
    EXPECT_EQ(HostAccess::fromFirewalld("trusted (active)\n  target: ACCEPT\n  services: \n  ports: \n"),
              Blocked{});
    EXPECT_FALSE(HostAccess::fromFirewalld("FirewallD is not running\n").has_value());
}

TEST(HostAccessTest, MacFirewallBlockingEverythingIsSeen) {
    EXPECT_TRUE(HostAccess::blocksAllIncoming("Firewall has block all state set to enabled.\n"));
    EXPECT_TRUE(HostAccess::blocksAllIncoming("Block all INCOMING connections: ENABLED\n"));
    EXPECT_FALSE(HostAccess::blocksAllIncoming("Firewall has block all state set to disabled.\n"));
}

TEST(HostAccessTest, AnAccessGroupWithoutTheUserExcludesIt) {
    EXPECT_TRUE(HostAccess::accessGroupExcludes("no ana is NOT a member of com.apple.access_ssh\n"));
    EXPECT_FALSE(HostAccess::accessGroupExcludes("yes ana is a member of com.apple.access_ssh\n"));
    EXPECT_FALSE(HostAccess::accessGroupExcludes("Group not found.\n"));
}

} // namespace
