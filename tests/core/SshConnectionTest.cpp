#include "CompanionCore/SshConnection.h"

#include <gtest/gtest.h>

using CompanionCore::SshConnection;

TEST(SshConnectionTest, ReadsTheClientOfSshConnection) {
    EXPECT_EQ(SshConnection::parse("192.168.1.20 51234 192.168.1.2 22"),
              (SshConnection{"192.168.1.20", 51234}));
    EXPECT_EQ(SshConnection::parse("::1 40000 ::1 22"), (SshConnection{"::1", 40000}));
}

TEST(SshConnectionTest, RefusesOtherTexts) {
    EXPECT_FALSE(SshConnection::parse(""));
    EXPECT_FALSE(SshConnection::parse("192.168.1.20 51234 192.168.1.2"));
    EXPECT_FALSE(SshConnection::parse("192.168.1.20 x 192.168.1.2 22"));
    EXPECT_FALSE(SshConnection::parse("192.168.1.20 0 192.168.1.2 22"));
    EXPECT_FALSE(SshConnection::parse("192.168.1.20 5 192.168.1.2 22 extra"));
}

TEST(SshConnectionTest, SpellsEachAddressOneWay) {
    EXPECT_EQ(SshConnection::normalizedAddress("::ffff:192.168.1.20"), "192.168.1.20");
    EXPECT_EQ(SshConnection::normalizedAddress("2001:DB8:0:0:0:0:0:1"), "2001:db8::1");
    EXPECT_EQ(SshConnection::normalizedAddress("192.168.1.20"), "192.168.1.20");
    EXPECT_EQ(SshConnection::normalizedAddress("box.local"), "box.local");
}
