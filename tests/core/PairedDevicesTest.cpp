#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/SshPublicKey.h"

#include <gtest/gtest.h>

#include <string>

using CompanionCore::KeyLine;
using CompanionCore::PairedDevice;
using namespace CompanionCore::PairedDevices;
namespace SshPublicKey = CompanionCore::SshPublicKey;

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
    const auto fingerprint = SshPublicKey::fingerprint("ssh-ed25519", ed);
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

TEST(PairedDevicesTest, FindsTheOtherLinesThatHoldThePhonesKeyWhateverTheirOptionsOrComment) {
    const std::string text = "ssh-ed25519 " + ed + " nuvexa:Ana\n" + "restrict ssh-ed25519 " + ed +
                             " backup\n" + "ssh-ed25519 " + other + " ana@laptop\n" +
                             "command=\"echo hi\",no-pty ssh-ed25519 " + ed + "\n";
    EXPECT_EQ(otherLinesHolding(text, "ssh-ed25519", ed),
              (std::vector<KeyLine>{{2, "restrict ssh-ed25519 … backup"},
                                    {4, "command=\"echo hi\",no-pty ssh-ed25519 …"}}));
    EXPECT_EQ(linesHolding(text, "ssh-ed25519", ed),
              (std::vector<KeyLine>{{1, "ssh-ed25519 … nuvexa:Ana"},
                                    {2, "restrict ssh-ed25519 … backup"},
                                    {4, "command=\"echo hi\",no-pty ssh-ed25519 …"}}));
}

TEST(PairedDevicesTest, APhoneLineAloneHasNoOtherLines) {
    const std::string text = "ssh-ed25519 " + ed + " nuvexa:Ana\nssh-ed25519 " + other + " ana@laptop\n";
    EXPECT_TRUE(otherLinesHolding(text, "ssh-ed25519", ed).empty());
}

TEST(PairedDevicesTest, TheRsaSignatureNamesHoldTheRsaKeyButAnotherTypeNameDoesNot) {
    // The SSH server reads "rsa-sha2-512 <blob>" as the RSA key; it refuses a blob under a type
    // that is not its own.
    const std::string text =
        "ssh-rsa " + rsa + " nuvexa:iPad\nrsa-sha2-512 " + rsa + " backup\nssh-ed25519 " + rsa + " odd\n";
    EXPECT_EQ(otherLinesHolding(text, "ssh-rsa", rsa), (std::vector<KeyLine>{{2, "rsa-sha2-512 … backup"}}));
}

TEST(PairedDevicesTest, AKeyThatIsOnlyMentionedOrCommentedOutHoldsNoLine) {
    const std::string text = "command=\"ssh-ed25519 " + ed + "\" ssh-ed25519 " + other + " x\n" +
                             "ssh-ed25519 " + other + " " + ed + "\n" + "# ssh-ed25519 " + ed + " old\n";
    EXPECT_TRUE(linesHolding(text, "ssh-ed25519", ed).empty());
}

TEST(PairedDevicesTest, TheExcerptOfALineIsSafeToShowAndShort) {
    const std::string longOptions = "command=\"" + std::string(60, 'x') + "\"";
    const std::string text =
        longOptions + " ssh-ed25519 " + ed + " \x1B]0;X\x07" + std::string(50, 'c') + "\n";
    const auto lines = linesHolding(text, "ssh-ed25519", ed);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].excerpt, longOptions.substr(0, maximumExcerptPart) + "… ssh-ed25519 … " +
                                    "\xEF\xBF\xBD]0;X\xEF\xBF\xBD" +
                                    std::string(maximumExcerptPart - 6, 'c') + "…");
}

TEST(PairedDevicesTest, WithoutDeviceKeepsTheOtherLinesThatHoldTheKey) {
    const std::string backup = "restrict ssh-ed25519 " + ed + " backup\n";
    const std::string text = "ssh-ed25519 " + ed + " nuvexa:Ana\n" + backup;
    EXPECT_EQ(withoutDevice(text, "ssh-ed25519", ed), backup);
    EXPECT_EQ(otherLinesHolding(withoutDevice(text, "ssh-ed25519", ed), "ssh-ed25519", ed),
              (std::vector<KeyLine>{{1, "restrict ssh-ed25519 … backup"}}));
}

TEST(PairedDevicesTest, WithoutKeyRemovesEveryLineThatHoldsItAndKeepsEveryOtherByte) {
    const std::string kept1 = std::string("# comment\r\n\n  \t\n") + "restrict ssh-ed25519 " + other +
                              " caf\xE9\xFF\r\n" + "not a key at all\n";
    const std::string kept2 = "ssh-rsa " + rsa + " nuvexa:iPad\n";
    const std::string tail = "ssh-ed25519 " + other + " ana@laptop";
    const std::string text = kept1 + "ssh-ed25519 " + ed + " nuvexa:Ana\r\n" + kept2 +
                             "from=\"10.0.0.1\" ssh-ed25519 " + ed + " backup\n" + tail;
    const std::string without = withoutKey(text, "ssh-ed25519", ed);
    EXPECT_EQ(without, kept1 + kept2 + tail);
    EXPECT_TRUE(linesHolding(without, "ssh-ed25519", ed).empty());
}

TEST(PairedDevicesTest, WithoutKeyRemovesALastLineWithoutLineFeed) {
    const std::string first = "ssh-ed25519 " + ed + " nuvexa:Ana\n";
    EXPECT_EQ(withoutKey(first + "restrict ssh-ed25519 " + ed + " backup", "ssh-ed25519", ed), "");
}
