#include "CompanionCore/MoshConnect.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::MoshConnect;

/// What mosh 1.4.0's `mosh-server new` prints on its merged output.
const std::string started = "\r\nMOSH CONNECT 60001 TEHAZJhPgKhIWdVkzUyANQ\r\n\n"
                            "mosh-server (mosh 1.4.0) [build mosh 1.4.0]\n"
                            "Copyright 2012 Keith Winstein <mosh-devel@mit.edu>\n\n"
                            "[mosh-server detached, pid = 25028]\n";

TEST(MoshConnectTest, ReadsThePortAndTheKey) {
    EXPECT_EQ(MoshConnect::parse(started), (MoshConnect{60001, "TEHAZJhPgKhIWdVkzUyANQ"}));
}

TEST(MoshConnectTest, ReadsThePidOfTheDetachedServer) {
    EXPECT_EQ(MoshConnect::detachedPid(started), 25028);
}

TEST(MoshConnectTest, AnErrorHasNeitherLine) {
    const std::string failed = "mosh-server needs a UTF-8 native locale to run.\n\n"
                               "Unfortunately, the local environment (LANG=C) specifies\n";
    EXPECT_EQ(MoshConnect::parse(failed), std::nullopt);
    EXPECT_EQ(MoshConnect::detachedPid(failed), std::nullopt);
}

TEST(MoshConnectTest, RefusesAPortOutOfRange) {
    EXPECT_EQ(MoshConnect::parse("MOSH CONNECT 0 TEHAZJhPgKhIWdVkzUyANQ\n"), std::nullopt);
    EXPECT_EQ(MoshConnect::parse("MOSH CONNECT 65536 TEHAZJhPgKhIWdVkzUyANQ\n"), std::nullopt);
    EXPECT_EQ(MoshConnect::parse("MOSH CONNECT port TEHAZJhPgKhIWdVkzUyANQ\n"), std::nullopt);
}

TEST(MoshConnectTest, RefusesAKeyOfAnotherLengthOrAlphabet) {
    EXPECT_EQ(MoshConnect::parse("MOSH CONNECT 60001 short\n"), std::nullopt);
    EXPECT_EQ(MoshConnect::parse("MOSH CONNECT 60001 TEHAZJhPgKhIWdVkzUyA-Q\n"), std::nullopt);
    EXPECT_EQ(MoshConnect::parse("MOSH CONNECT 60001\n"), std::nullopt);
}

TEST(MoshConnectTest, APidLineMustBeWhole) {
    EXPECT_EQ(MoshConnect::detachedPid("[mosh-server detached, pid = 12x]\n"), std::nullopt);
    EXPECT_EQ(MoshConnect::detachedPid("[mosh-server detached, pid = 1]\n"), std::nullopt);
}

} // namespace
