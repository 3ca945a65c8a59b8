#include "CompanionCore/server/PeerGroup.h"

#include <gtest/gtest.h>

using CompanionCore::peerGroup;

TEST(PeerGroupTest, AnIpv4AddressIsItsOwnGroup) {
    EXPECT_EQ(peerGroup(QHostAddress("192.168.1.20")), "192.168.1.20");
    EXPECT_NE(peerGroup(QHostAddress("192.168.1.20")), peerGroup(QHostAddress("192.168.1.21")));
}

TEST(PeerGroupTest, AnIpv4MappedAddressCountsAsTheIpv4Address) {
    EXPECT_EQ(peerGroup(QHostAddress("::ffff:192.168.1.20")), "192.168.1.20");
}

TEST(PeerGroupTest, Ipv6AddressesOfOneSlash64AreOneGroup) {
    const auto group = peerGroup(QHostAddress("2001:db8:1:2:aaaa:bbbb:cccc:dddd"));
    EXPECT_EQ(group, "2001:db8:1:2::/64");
    EXPECT_EQ(peerGroup(QHostAddress("2001:db8:1:2::1")), group);
    EXPECT_EQ(peerGroup(QHostAddress("2001:db8:1:2:ffff:ffff:ffff:ffff")), group);
    EXPECT_NE(peerGroup(QHostAddress("2001:db8:1:3::1")), group);
}

TEST(PeerGroupTest, LinkLocalAndLoopbackIpv6AreGroupedTheSameWay) {
    EXPECT_EQ(peerGroup(QHostAddress("fe80::1")), peerGroup(QHostAddress("fe80::2")));
    EXPECT_EQ(peerGroup(QHostAddress("::1")), "::/64");
}
