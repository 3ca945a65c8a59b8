#include "CompanionCore/Addresses.h"

#include <gtest/gtest.h>

using namespace CompanionCore;
using Kind = Addresses::Kind;

TEST(AddressesTest, ALocalNameIsBonjour) {
    EXPECT_EQ(Addresses::classify("Studio.local"), Kind::bonjour);
}

TEST(AddressesTest, TheLocalSuffixIsCaseSensitive) {
    EXPECT_EQ(Addresses::classify("studio.LOCAL"), Kind::other);
}

TEST(AddressesTest, TenSlashEightIsLan) {
    EXPECT_EQ(Addresses::classify("10.0.0.5"), Kind::lan);
}

TEST(AddressesTest, TheSharedAddressSpaceIsMesh) {
    EXPECT_EQ(Addresses::classify("100.64.0.1"), Kind::mesh);
    EXPECT_EQ(Addresses::classify("100.127.255.255"), Kind::mesh);
}

TEST(AddressesTest, JustPastTheSharedAddressSpaceIsOther) {
    EXPECT_EQ(Addresses::classify("100.128.0.1"), Kind::other);
    EXPECT_EQ(Addresses::classify("100.63.0.1"), Kind::other);
}

TEST(AddressesTest, OneSevenTwoSixteenSlashTwelveIsLan) {
    EXPECT_EQ(Addresses::classify("172.15.0.1"), Kind::other);
    EXPECT_EQ(Addresses::classify("172.16.0.1"), Kind::lan);
    EXPECT_EQ(Addresses::classify("172.31.9.9"), Kind::lan);
    EXPECT_EQ(Addresses::classify("172.32.0.1"), Kind::other);
}

TEST(AddressesTest, OneNineTwoOneSixEightIsLan) {
    EXPECT_EQ(Addresses::classify("192.168.0.1"), Kind::lan);
    EXPECT_EQ(Addresses::classify("192.169.0.1"), Kind::other);
}

TEST(AddressesTest, NumbersAreNotRangeChecked) {
    EXPECT_EQ(Addresses::classify("10.999.1.1"), Kind::lan);
}

TEST(AddressesTest, ThreeNumbersAreOther) {
    EXPECT_EQ(Addresses::classify("10.1.1"), Kind::other);
}

TEST(AddressesTest, EmptyPiecesAreDropped) {
    EXPECT_EQ(Addresses::classify("10..1.2.3"), Kind::lan);
}

TEST(AddressesTest, WordsAreDropped) {
    EXPECT_EQ(Addresses::classify("x.10.1.2.3"), Kind::lan);
}

TEST(AddressesTest, FiveNumbersAreOther) {
    EXPECT_EQ(Addresses::classify("10.1.2.3.4"), Kind::other);
}

TEST(AddressesTest, LinkLocalIsOtherAndRecognised) {
    EXPECT_EQ(Addresses::classify("169.254.3.4"), Kind::other);
    EXPECT_TRUE(Addresses::isLinkLocal("169.254.3.4"));
}

TEST(AddressesTest, APublicAddressIsOtherButNotLinkLocal) {
    EXPECT_EQ(Addresses::classify("8.8.8.8"), Kind::other);
    EXPECT_FALSE(Addresses::isLinkLocal("8.8.8.8"));
}

TEST(AddressesTest, PlainNamesAndIpv6AreOther) {
    EXPECT_EQ(Addresses::classify("studio"), Kind::other);
    EXPECT_EQ(Addresses::classify("fe80::1"), Kind::other);
    EXPECT_EQ(Addresses::classify(""), Kind::other);
}

TEST(AddressesTest, OrderedRemovesRepeatsAndSortsByKind) {
    const std::vector<std::string> hosts = {"8.8.8.8",   "100.70.1.2",  "192.168.1.5",
                                            "Mac.local", "192.168.1.5", "10.0.0.2"};
    const std::vector<std::string> expected = {"Mac.local", "192.168.1.5", "10.0.0.2", "100.70.1.2",
                                               "8.8.8.8"};
    EXPECT_EQ(Addresses::ordered(hosts), expected);
}

TEST(AddressesTest, OrderedKeepsAnEmptyListEmpty) {
    EXPECT_TRUE(Addresses::ordered({}).empty());
}

TEST(AddressesTest, OrderedComparesRepeatsCaseSensitively) {
    const std::vector<std::string> expected = {"Mac.local", "mac.local"};
    EXPECT_EQ(Addresses::ordered({"Mac.local", "mac.local", "Mac.local"}), expected);
}

TEST(AddressesTest, OrderedKeepsTheOrderOfEqualKinds) {
    const std::vector<std::string> expected = {"10.0.0.9", "192.168.1.1", "10.0.0.1", "z", "a"};
    EXPECT_EQ(Addresses::ordered({"z", "10.0.0.9", "a", "192.168.1.1", "10.0.0.1"}), expected);
}
