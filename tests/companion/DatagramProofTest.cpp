#include "Companion/DatagramProof.h"

#include <gtest/gtest.h>

namespace {

namespace Proof = Companion::DatagramProof;
using Fate = Proof::Delivery::Fate;

TEST(DatagramProofTest, ADatagramOverLoopbackArrivesOnAPortOfMoshsRange) {
    // Waits for the arrival, never for the bound: the bound only ends a wait for a datagram that is lost.
    const auto result = Proof::run({}, std::chrono::minutes(1));
    ASSERT_TRUE(result.port.has_value());
    EXPECT_GE(*result.port, 60000);
    EXPECT_LE(*result.port, 61000);
    ASSERT_EQ(result.deliveries.size(), 1U);
    EXPECT_EQ(result.deliveries[0], (Proof::Delivery{"127.0.0.1", Fate::arrived, {}}));
    EXPECT_TRUE(Proof::findings(result).empty());
}

TEST(DatagramProofTest, HostNamesAndRepeatsAreLeftOut) {
    const auto result = Proof::run({"computer.local", "127.0.0.1"}, std::chrono::minutes(1));
    EXPECT_EQ(result.deliveries.size(), 1U);
}

TEST(DatagramProofTest, ALostDatagramNamesItsAddressAndPort) {
    const Proof::Result result{60001,
                               {{"127.0.0.1", Fate::arrived, {}},
                                {"192.168.1.5", Fate::lost, {}},
                                {"10.0.0.9", Fate::notSent, "Network is unreachable"}}};
    const auto found = Proof::findings(result, std::chrono::milliseconds(1500));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "firewallDropsMoshDatagrams");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("60001"));
    EXPECT_TRUE(found[0].text.contains("(192.168.1.5)")) << found[0].text.toStdString();
    EXPECT_TRUE(found[0].text.contains("1500"));
}

TEST(DatagramProofTest, NoFreePortInTheRangeIsSaid) {
    const auto found = Proof::findings(Proof::Result{});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "noFreeMoshPort");
}

} // namespace
