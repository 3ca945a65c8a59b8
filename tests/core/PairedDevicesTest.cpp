#include "CompanionCore/PairedDevices.h"

#include <gtest/gtest.h>

#include <string>

using CompanionCore::PairedDevice;
using namespace CompanionCore::PairedDevices;

namespace {

const std::string ed = "AAAAC3NzaC1lZDI1NTE5AAAAIOMqqnkVzrm0SdG6UOoqKLsabgH5C9okWi0dh2l9GKJl";
const std::string rsa = "AAAAB3NzaC1yc2EAAAADAQABAAABAQC7";
const std::string other = "AAAAC3NzaC1lZDI1NTE5AAAAIBs2";

PairedDevice device(std::string name, std::string type, std::string blob, std::size_t line,
                    bool older = false) {
    return PairedDevice{std::move(name), std::move(type), std::move(blob), line, older};
}

} // namespace

TEST(PairedDevicesTest, AnEmptyFileHasNoPhonesAndNoOtherKeys) {
    EXPECT_EQ(list(""), Listing{});
}

TEST(PairedDevicesTest, ListsEveryPhoneLineWithItsNameTypeKeyAndLineNumber) {
    const std::string text =
        "ssh-ed25519 " + ed + " nuvexa:iPhone de Ana\n" + "ssh-rsa " + rsa + " nuvexa:iPad\n";
    EXPECT_EQ(list(text).devices, (std::vector{device("iPhone de Ana", "ssh-ed25519", ed, 1),
                                               device("iPad", "ssh-rsa", rsa, 2)}));
}

TEST(PairedDevicesTest, CountsOtherKeysWithoutListingThem) {
    const std::string text = "ssh-ed25519 " + other + " ana@laptop\n" + "ssh-rsa " + rsa + "\n" +
                             "ssh-ed25519 " + ed + " nuvexa:iPhone\n";
    const auto listing = list(text);
    EXPECT_EQ(listing.otherKeys, 2u);
    EXPECT_EQ(listing.devices, (std::vector{device("iPhone", "ssh-ed25519", ed, 3)}));
}

TEST(PairedDevicesTest, SkipsCommentsAndBlankLinesButCountsThemAsLines) {
    const std::string text = "# my keys\n\n   \n\tssh-ed25519 " + ed + " nuvexa:iPhone\n";
    EXPECT_EQ(list(text), (Listing{{device("iPhone", "ssh-ed25519", ed, 4)}, 0}));
}

TEST(PairedDevicesTest, ReadsAPhoneLineThatGainedOptionsWithQuotedBlanks) {
    const std::string text =
        "from=\"10.0.0.1, 10.0.0.2\",no-port-forwarding ssh-ed25519 " + ed + " nuvexa:iPhone\n";
    EXPECT_EQ(list(text).devices, (std::vector{device("iPhone", "ssh-ed25519", ed, 1)}));
}

TEST(PairedDevicesTest, ReadsCarriageReturnLineEndsAndAMissingFinalLineFeed) {
    const std::string text = "ssh-ed25519 " + other + " x\r\nssh-ed25519 " + ed +
                             " nuvexa:iPhone\r\nssh-rsa " + rsa + " nuvexa:iPad";
    EXPECT_EQ(list(text),
              (Listing{{device("iPhone", "ssh-ed25519", ed, 2), device("iPad", "ssh-rsa", rsa, 3)}, 1}));
}

TEST(PairedDevicesTest, MarksEarlierKeysOfTheSameNameAsOlder) {
    const std::string text = "ssh-rsa " + rsa + " nuvexa:iPhone\nssh-ed25519 " + other +
                             " nuvexa:iPad\nssh-ed25519 " + ed + " nuvexa:iPhone\n";
    EXPECT_EQ(list(text).devices,
              (std::vector{device("iPhone", "ssh-rsa", rsa, 1, true), device("iPad", "ssh-ed25519", other, 2),
                           device("iPhone", "ssh-ed25519", ed, 3)}));
}

TEST(PairedDevicesTest, ShowsANameThatWouldSteerATerminalInItsSafeForm) {
    const std::string text = "ssh-ed25519 " + ed + " nuvexa:\x1B]0;X\x07 \xFF\n";
    EXPECT_EQ(list(text).devices.at(0).name, "\xEF\xBF\xBD]0;X\xEF\xBF\xBD \xEF\xBF\xBD");
}

TEST(PairedDevicesTest, AKeyWhoseCommentOnlyMentionsThePrefixLaterIsNotAPhone) {
    const std::string text = "ssh-ed25519 " + ed + " ana nuvexa:iPhone\n";
    EXPECT_EQ(list(text), (Listing{{}, 1}));
}

TEST(PairedDevicesTest, WithoutDeviceRemovesExactlyThatPhonesLine) {
    const std::string text = "ssh-ed25519 " + other + " ana@laptop\nssh-ed25519 " + ed +
                             " nuvexa:iPhone\nssh-rsa " + rsa + " nuvexa:iPad\n";
    EXPECT_EQ(withoutDevice(text, "ssh-ed25519", ed),
              "ssh-ed25519 " + other + " ana@laptop\nssh-rsa " + rsa + " nuvexa:iPad\n");
}

TEST(PairedDevicesTest, WithoutDeviceKeepsEveryOtherByteAsItWas) {
    const std::string kept = std::string("# comment\r\n\n  \t\n") + "restrict ssh-ed25519 " + other +
                             " caf\xE9\xFF\r\n" + "not a key at all\n";
    const std::string tail = "ssh-rsa " + rsa + " nuvexa:iPad";
    const std::string text = kept + "ssh-ed25519 " + ed + " nuvexa:iPhone\r\n" + tail;
    EXPECT_EQ(withoutDevice(text, "ssh-ed25519", ed), kept + tail);
}

TEST(PairedDevicesTest, WithoutDeviceRemovesALastLineWithoutLineFeed) {
    const std::string first = "ssh-rsa " + rsa + " nuvexa:iPad\n";
    EXPECT_EQ(withoutDevice(first + "ssh-ed25519 " + ed + " nuvexa:iPhone", "ssh-ed25519", ed), first);
}

TEST(PairedDevicesTest, WithoutDeviceLeavesTheSameKeyAloneWhenItIsNotAPhoneLine) {
    const std::string text = "ssh-ed25519 " + ed + " ana@laptop\n";
    EXPECT_EQ(withoutDevice(text, "ssh-ed25519", ed), text);
}

TEST(PairedDevicesTest, WithoutDeviceOfAnAbsentKeyChangesNothing) {
    const std::string text = "ssh-ed25519 " + ed + " nuvexa:iPhone\n";
    EXPECT_EQ(withoutDevice(text, "ssh-rsa", rsa), text);
}

TEST(PairedDevicesTest, MatchesByExactNameOrByFingerprintWithOrWithoutItsPrefix) {
    const std::string text = "ssh-ed25519 " + ed + " nuvexa:iPhone\nssh-rsa " + rsa + " nuvexa:iPad\n";
    const auto listing = list(text);
    const auto fingerprint = fingerprintOf(listing.devices.at(0));
    ASSERT_TRUE(fingerprint.has_value());
    EXPECT_EQ(matching(listing, "iPhone"), (std::vector{device("iPhone", "ssh-ed25519", ed, 1)}));
    EXPECT_EQ(matching(listing, *fingerprint), (std::vector{device("iPhone", "ssh-ed25519", ed, 1)}));
    EXPECT_EQ(matching(listing, fingerprint->substr(7)),
              (std::vector{device("iPhone", "ssh-ed25519", ed, 1)}));
    EXPECT_TRUE(matching(listing, "iphone").empty());
    EXPECT_TRUE(matching(listing, "").empty());
}

TEST(PairedDevicesTest, ANameHeldByTwoKeysMatchesBoth) {
    const std::string text = "ssh-rsa " + rsa + " nuvexa:iPhone\nssh-ed25519 " + ed + " nuvexa:iPhone\n";
    EXPECT_EQ(matching(list(text), "iPhone").size(), 2u);
}
