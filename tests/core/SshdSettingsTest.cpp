#include "CompanionCore/SshdSettings.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::Obstacle;
using CompanionCore::SshdSettings;

/// Lines as Debian's sshd -T prints them (abridged).
const std::string printed = "port 2299\n"
                            "addressfamily any\n"
                            "listenaddress 127.0.0.1:2299\n"
                            "listenaddress [::1]:2299\n"
                            "pubkeyauthentication yes\n"
                            "strictmodes yes\n"
                            "authorizedkeysfile .ssh/authorized_keys .ssh/authorized_keys2\n"
                            "allowusers a\n"
                            "allowusers b@1.2.3.4\n"
                            "allowgroups g1\n"
                            "denyusers x\n";

TEST(SshdSettingsTest, ReadsTheSettingsThatDecideAboutAKey) {
    const auto settings = SshdSettings::parse(printed);
    ASSERT_TRUE(settings.has_value());
    EXPECT_EQ(settings->ports, std::vector<int>{2299});
    EXPECT_TRUE(settings->publicKeys);
    EXPECT_TRUE(settings->strictModes);
    EXPECT_EQ(settings->authorizedKeysFiles,
              (std::vector<std::string>{".ssh/authorized_keys", ".ssh/authorized_keys2"}));
    EXPECT_EQ(settings->allowUsers, (std::vector<std::string>{"a", "b@1.2.3.4"}));
    EXPECT_EQ(settings->allowGroups, std::vector<std::string>{"g1"});
    EXPECT_EQ(settings->denyUsers, std::vector<std::string>{"x"});
    EXPECT_TRUE(settings->listensOnLoopbackOnly());
}

TEST(SshdSettingsTest, RefusesTextWithoutAPort) {
    EXPECT_FALSE(SshdSettings::parse("pubkeyauthentication yes\n").has_value());
    EXPECT_FALSE(SshdSettings::parse("").has_value());
}

TEST(SshdSettingsTest, RefusesAFlagThatIsNeitherYesNorNo) {
    EXPECT_FALSE(SshdSettings::parse("port 22\npubkeyauthentication maybe\n").has_value());
    EXPECT_FALSE(SshdSettings::parse("port twenty-two\n").has_value());
}

TEST(SshdSettingsTest, AUserNamedByAllowUsersWithAHostIsLetIn) {
    const auto settings = SshdSettings::parse(printed);
    EXPECT_TRUE(settings->obstacles("b", {"g1"}, "/home/b", "/home/b/.ssh/authorized_keys").empty());
}

TEST(SshdSettingsTest, NamesEachSettingThatKeepsTheUserOut) {
    auto settings = *SshdSettings::parse(printed);
    settings.publicKeys = false;
    EXPECT_EQ(settings.obstacles("x", {"staff"}, "/home/x", "/home/x/.ssh/authorized_keys"),
              (std::vector<Obstacle>{Obstacle::publicKeysDisabled, Obstacle::userDenied,
                                     Obstacle::userNotAllowed, Obstacle::groupNotAllowed}));
}

TEST(SshdSettingsTest, AKeyFileTheServerDoesNotReadIsNamed) {
    const auto settings = SshdSettings::parse("port 22\nauthorizedkeysfile /etc/ssh/keys/%u\n");
    EXPECT_EQ(settings->obstacles("me", {}, "/home/me", "/home/me/.ssh/authorized_keys"),
              std::vector<Obstacle>{Obstacle::keyFileElsewhere});
    EXPECT_TRUE(settings->obstacles("me", {}, "/home/me", "/etc/ssh/keys/me").empty());
}

TEST(SshdSettingsTest, ExpandsTheHomeToken) {
    const auto settings = SshdSettings::parse("port 22\nauthorizedkeysfile %h/.ssh/authorized_keys\n");
    EXPECT_TRUE(settings->obstacles("me", {}, "/home/me", "/home/me/.ssh/authorized_keys").empty());
}

TEST(SshdSettingsTest, AnyListenerOffLoopbackIsNotLoopbackOnly) {
    EXPECT_FALSE(SshdSettings::parse("port 22\nlistenaddress 0.0.0.0:22\nlistenaddress 127.0.0.1:22\n")
                     ->listensOnLoopbackOnly());
    EXPECT_FALSE(SshdSettings::parse("port 22\n")->listensOnLoopbackOnly());
}

TEST(SshdSettingsTest, PatternsMatchLikeTheServers) {
    EXPECT_TRUE(CompanionCore::matchesPattern("nuv*", "nuvexa"));
    EXPECT_TRUE(CompanionCore::matchesPattern("a?c", "abc"));
    EXPECT_FALSE(CompanionCore::matchesPattern("a?c", "ac"));
    EXPECT_FALSE(CompanionCore::matchesPattern("root", "rooted"));
}

} // namespace

namespace {

SshdSettings listening(const std::string& lines) {
    return SshdSettings::parse("port 22\n" + lines).value();
}

} // namespace

TEST(SshdSettingsListenTest, AnAddressOfItsOwnIsListenedOn) {
    EXPECT_TRUE(listening("listenaddress 100.64.0.7:22\n").listensOn("100.64.0.7"));
    EXPECT_TRUE(listening("listenaddress [fd7a::7]:22\n").listensOn("fd7a::7"));
}

TEST(SshdSettingsListenTest, OtherAddressesLeaveTheMeshAddressOut) {
    EXPECT_FALSE(
        listening("listenaddress 192.168.1.5:22\nlistenaddress 127.0.0.1:22\n").listensOn("100.64.0.7"));
    // A longer address that starts the same is another one.
    EXPECT_FALSE(listening("listenaddress 100.64.0.70:22\n").listensOn("100.64.0.7"));
}

TEST(SshdSettingsListenTest, TheWildcardOfTheAddressFamilyCoversIt) {
    EXPECT_TRUE(listening("listenaddress 0.0.0.0:22\n").listensOn("100.64.0.7"));
    EXPECT_TRUE(listening("listenaddress [::]:22\n").listensOn("fd7a::7"));
    // sshd binds its IPv6 sockets IPv6-only, so "::" alone takes no IPv4 connection.
    EXPECT_FALSE(listening("listenaddress [::]:22\n").listensOn("100.64.0.7"));
    EXPECT_FALSE(listening("listenaddress 0.0.0.0:22\n").listensOn("fd7a::7"));
}

TEST(SshdSettingsListenTest, NoListeningAddressMeansEverywhere) {
    EXPECT_TRUE(listening("").listensOn("100.64.0.7"));
}

TEST(SshdSettingsListenTest, ARoutingDomainAfterTheAddressIsLeftOut) {
    const auto settings = listening("listenaddress 192.168.1.5:22 rdomain home\n");
    EXPECT_EQ(settings.listenAddresses, std::vector<std::string>{"192.168.1.5:22"});
    EXPECT_TRUE(settings.listensOn("192.168.1.5"));
}

TEST(SshdSettingsTest, ReadsWhichOfTheClientsVariablesReachTheLogin) {
    const auto settings = SshdSettings::parse("port 22\nacceptenv LANG\nacceptenv LC_* COLORTERM\n");
    ASSERT_TRUE(settings.has_value());
    EXPECT_EQ(settings->acceptEnv, (std::vector<std::string>{"LANG", "LC_*", "COLORTERM"}));
    EXPECT_TRUE(settings->acceptsEnvironment("LANG"));
    EXPECT_TRUE(settings->acceptsEnvironment("LC_CTYPE"));
    EXPECT_FALSE(settings->acceptsEnvironment("LANGUAGE"));
}

TEST(SshdSettingsTest, WithoutAcceptEnvNoVariableOfTheClientReachesTheLogin) {
    const auto settings = SshdSettings::parse("port 22\n");
    ASSERT_TRUE(settings.has_value());
    EXPECT_FALSE(settings->acceptsEnvironment("LANG"));
}
