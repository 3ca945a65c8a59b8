#include "Companion/ListenAddressCheck.h"

#include <gtest/gtest.h>

namespace {

namespace Check = Companion::ListenAddressCheck;

CompanionCore::SshdSettings listening(const std::string& lines) {
    return CompanionCore::SshdSettings::parse("port 22\n" + lines).value();
}

TEST(ListenAddressCheckTest, ARestrictionThatLeavesTheMeshAddressOutIsNamedWithTheFix) {
    const auto found = Check::findings(
        listening("listenaddress 192.168.1.5:22\nlistenaddress 127.0.0.1:22\n"), "100.64.0.7");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "sshdNotListeningOnMeshAddress");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("ListenAddress 192.168.1.5:22, ListenAddress 127.0.0.1:22"))
        << found[0].text.toStdString();
    EXPECT_TRUE(found[0].text.contains("100.64.0.7"));
    EXPECT_TRUE(found[0].remedy.contains("«ListenAddress 100.64.0.7»"));
}

TEST(ListenAddressCheckTest, TheWildcardOrTheMeshAddressItselfIsNoFinding) {
    EXPECT_TRUE(Check::findings(listening("listenaddress 0.0.0.0:22\n"), "100.64.0.7").empty());
    EXPECT_TRUE(Check::findings(listening("listenaddress 100.64.0.7:22\n"), "100.64.0.7").empty());
}

TEST(ListenAddressCheckTest, WithoutSettingsOrAMeshAddressNothingIsSaid) {
    EXPECT_TRUE(Check::findings(std::nullopt, "100.64.0.7").empty());
    EXPECT_TRUE(Check::findings(listening("listenaddress 192.168.1.5:22\n"), std::nullopt).empty());
}

} // namespace
