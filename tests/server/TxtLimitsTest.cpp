#include "CompanionCore/server/TxtLimits.h"

#include "CompanionCore/PairingTxt.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::TxtLimits::fit;
using CompanionCore::TxtLimits::maxEntryBytes;

std::map<std::string, std::string> asMap(const CompanionCore::TxtLimits::Fitted& fitted) {
    return {fitted.entries.begin(), fitted.entries.end()};
}

TEST(TxtLimitsTest, LeavesARecordThatFitsAsItIs) {
    const auto record = CompanionCore::PairingTxt::record("Studio", "ana", 52901,
                                                          {"Studio.local", "192.168.1.20"}, true, false);
    const auto fitted = fit(record);
    EXPECT_EQ(asMap(fitted), record);
    EXPECT_EQ(fitted.entries.size(), 7u);
    EXPECT_TRUE(fitted.notes.empty());
}

TEST(TxtLimitsTest, AnEntryOfExactly255BytesFits) {
    const std::map<std::string, std::string> record{{"name", std::string(250, 'n')}};
    const auto fitted = fit(record);
    EXPECT_EQ(asMap(fitted), record);
    EXPECT_TRUE(fitted.notes.empty());
}

TEST(TxtLimitsTest, DropsWholeHostsFromTheEndUntilTheHostsEntryFits) {
    std::vector<std::string> hosts{"Studio.local"};
    for (int i = 0; i < 30; ++i) {
        hosts.push_back("192.168.100." + std::to_string(100 + i));
    }
    const auto fitted = fit(CompanionCore::PairingTxt::record("Studio", "ana", 52901, hosts, false, false));
    const std::string value = asMap(fitted).at("hosts");
    EXPECT_LE(6 + value.size(), maxEntryBytes);
    // The kept value is a prefix of whole hosts: the next host would not have fitted.
    std::string expected;
    std::size_t kept = 0;
    for (const auto& host : hosts) {
        const std::string longer = expected.empty() ? host : expected + "," + host;
        if (6 + longer.size() > maxEntryBytes) {
            break;
        }
        expected = longer;
        ++kept;
    }
    EXPECT_EQ(value, expected);
    ASSERT_EQ(fitted.notes.size(), 1u);
    const std::size_t entryBytes = 6 + 12 + 30 * 16; // hosts= Studio.local ,192.168.100.1xx
    EXPECT_EQ(
        fitted.notes.front().rfind("TXT entry hosts is " + std::to_string(entryBytes) +
                                       " bytes, more than the 255 DNS-SD allows; announcing it without its "
                                       "last " +
                                       std::to_string(hosts.size() - kept) + " hosts: 192.168.100.",
                                   0),
        0u)
        << fitted.notes.front();
    EXPECT_TRUE(fitted.notes.front().ends_with(", 192.168.100.129"));
}

TEST(TxtLimitsTest, AHostTooLongOnItsOwnLeavesTheEntryEmpty) {
    const auto fitted = fit({{"hosts", std::string(300, 'h')}});
    EXPECT_EQ(asMap(fitted).at("hosts"), "");
    ASSERT_EQ(fitted.notes.size(), 1u);
    EXPECT_TRUE(fitted.notes.front().ends_with("without its last 1 host: " + std::string(300, 'h')));
}

TEST(TxtLimitsTest, ShortensAnotherEntryAtACharacterBoundary) {
    // "name=" plus 125 two-byte characters is 255 bytes; one more character does not fit.
    std::string name;
    for (int i = 0; i < 126; ++i) {
        name += "\xC3\xA9";
    }
    const auto fitted = fit({{"name", name}});
    const std::string value = asMap(fitted).at("name");
    EXPECT_EQ(value, name.substr(0, 250));
    ASSERT_EQ(fitted.notes.size(), 1u);
    EXPECT_EQ(fitted.notes.front(),
              "TXT entry name is 257 bytes, more than the 255 DNS-SD allows; announcing its first 250 bytes");

    const auto odd = fit({{"name", "x" + name}});
    EXPECT_EQ(asMap(odd).at("name"), "x" + name.substr(0, 248));
}

} // namespace
