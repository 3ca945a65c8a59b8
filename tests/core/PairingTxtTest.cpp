#include "CompanionCore/PairingTxt.h"

#include <gtest/gtest.h>

using namespace CompanionCore;

TEST(PairingTxtTest, TheServiceTypeIsTheNuvexaTcpService) {
    EXPECT_EQ(PairingTxt::serviceType, "_nuvexa._tcp");
    EXPECT_EQ(PairingTxt::serviceType.size(), 12u);
}

TEST(PairingTxtTest, HoldsExactlyTheSevenEntriesOfAStudio) {
    const std::map<std::string, std::string> expected = {
        {"v", "1"},
        {"name", "Studio"},
        {"user", "ana"},
        {"port", "52901"},
        {"hosts", "Studio.local,192.168.1.20"},
        {"mosh", "1"},
        {"tmux", "0"},
    };
    EXPECT_EQ(PairingTxt::record("Studio", "ana", 52901, {"Studio.local", "192.168.1.20"}, true, false),
              expected);
}

TEST(PairingTxtTest, AnEmptyHostListGivesAnEmptyHostsValue) {
    const auto record = PairingTxt::record("Studio", "ana", 52901, {}, false, false);
    ASSERT_EQ(record.count("hosts"), 1u);
    EXPECT_EQ(record.at("hosts"), "");
    EXPECT_EQ(record.size(), 7u);
}

TEST(PairingTxtTest, WritesBooleansAsOneAndZero) {
    const auto record = PairingTxt::record("Studio", "ana", 52904, {}, false, true);
    EXPECT_EQ(record.at("mosh"), "0");
    EXPECT_EQ(record.at("tmux"), "1");
}

TEST(PairingTxtTest, CopiesValuesWithoutEscaping) {
    const auto record = PairingTxt::record("Estudio, de Ana", "a=b", 52902, {"x,y", " z "}, true, true);
    EXPECT_EQ(record.at("name"), "Estudio, de Ana");
    EXPECT_EQ(record.at("user"), "a=b");
    EXPECT_EQ(record.at("hosts"), "x,y, z ");
    EXPECT_EQ(record.at("port"), "52902");
}
