#include "CompanionCore/MoshPortRules.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::MoshPortRules::Block;
using CompanionCore::MoshPortRules::Ports;
namespace Rules = CompanionCore::MoshPortRules;

Ports only(int low, int high) {
    Ports ports;
    for (int port = low; port <= high; ++port) {
        ports.set(static_cast<std::size_t>(port - 60000));
    }
    return ports;
}

/// A ruleset as `nft -j list ruleset` prints it, with `rules` (JSON objects) in one input chain
/// "inet filter input" of policy `policy`, plus `more` entries.
std::string ruleset(const std::string& policy, const std::vector<std::string>& rules,
                    const std::string& more = "") {
    std::string text = R"({"nftables": [{"metainfo": {"version": "1.0.6", "json_schema_version": 1}},
        {"table": {"family": "inet", "name": "filter", "handle": 1}},
        {"chain": {"family": "inet", "table": "filter", "name": "input", "handle": 1, "type": "filter",
                   "hook": "input", "prio": 0, "policy": ")" +
                       policy + R"("}})";
    int handle = 2;
    for (const auto& expressions : rules) {
        text += R"(, {"rule": {"family": "inet", "table": "filter", "chain": "input", "handle": )" +
                std::to_string(handle++) + R"(, "expr": )" + expressions + "}}";
    }
    return text + more + "]}";
}

const std::string udpDport =
    R"({"match": {"op": "==", "left": {"payload": {"protocol": "udp", "field": "dport"}},
                                   "right": )";
const std::string remedy = "sudo nft insert rule inet filter input udp dport 60000-61000 accept";

TEST(MoshPortRulesNftTest, NamesARuleThatDropsTheFirstPortMoshTries) {
    const auto blocks =
        Rules::fromNft(ruleset("accept", {"[" + udpDport + R"(60001}}, {"counter": {"packets": 0,
        "bytes": 0}}, {"drop": null}])"}));
    ASSERT_TRUE(blocks.has_value());
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front(),
              (Block{"inet filter input", "udp dport 60001 counter drop", remedy, only(60001, 60001)}));
    EXPECT_TRUE(blocks->front().blocksFirstTriedPort());
}

TEST(MoshPortRulesNftTest, ARejectOfASetWithARangeIsNamedWithItsPorts) {
    const auto blocks =
        Rules::fromNft(ruleset("accept", {"[" + udpDport + R"({"set": [{"range": [60100, 60200]},
        60500]}}}, {"reject": {"type": "icmpx", "expr": "port-unreachable"}}])"}));
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front().rule, "udp dport { 60100-60200, 60500 } reject");
    EXPECT_EQ(blocks->front().ports, only(60100, 60200) | only(60500, 60500));
    EXPECT_FALSE(blocks->front().blocksFirstTriedPort());
}

TEST(MoshPortRulesNftTest, ADropPolicyBlocksWhatNoAcceptLetsIn) {
    const auto blocks = Rules::fromNft(ruleset(
        "drop",
        {R"([{"match": {"op": "in", "left": {"ct": {"key": "state"}}, "right": ["established", "related"]}},
                     {"accept": null}])",
         R"([{"match": {"op": "==", "left": {"meta": {"key": "iifname"}}, "right": "lo"}}, {"accept": null}])",
         "[" + udpDport + R"({"range": [60000, 60500]}}}, {"accept": null}])"}));
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front().rule, "policy drop");
    EXPECT_EQ(blocks->front().ports, only(60501, 61000));
}

TEST(MoshPortRulesNftTest, AnAcceptOfTheRangeAheadOfTheDropLetsMoshIn) {
    EXPECT_EQ(
        Rules::fromNft(ruleset("drop", {"[" + udpDport + R"({"range": [60000, 61000]}}}, {"accept": null}])",
                                        "[" + udpDport + R"(60001}}, {"drop": null}])"})),
        std::vector<Block>{});
}

TEST(MoshPortRulesNftTest, RulesForOtherProtocolsOrThatDependOnTheSourceDecideNothing) {
    const auto blocks = Rules::fromNft(ruleset(
        "accept",
        {R"([{"match": {"op": "==", "left": {"payload": {"protocol": "tcp", "field": "dport"}}, "right": 60001}},
             {"drop": null}])",
         R"([{"match": {"op": "==", "left": {"payload": {"protocol": "ip", "field": "saddr"}}, "right": "10.0.0.1"}},
             {"drop": null}])",
         R"([{"match": {"op": "==", "left": {"meta": {"key": "l4proto"}}, "right": "udp"}}, {"drop": null}])"}));
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front().rule, "meta l4proto udp drop");
    EXPECT_EQ(blocks->front().ports, Ports().set());
}

TEST(MoshPortRulesNftTest, FollowsAJumpAndChargesTheRuleInTheChainItReaches) {
    const auto more = R"(, {"chain": {"family": "inet", "table": "filter", "name": "mine", "handle": 9}},
        {"rule": {"family": "inet", "table": "filter", "chain": "mine", "handle": 10, "expr": [)" +
                      udpDport + R"(60001}}, {"drop": null}]}})";
    const auto blocks = Rules::fromNft(ruleset("accept", {R"([{"jump": {"target": "mine"}}])"}, more));
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front().chain, "inet filter mine");
    // The accept goes where the packet starts, ahead of the jump.
    EXPECT_EQ(blocks->front().remedy, remedy);
}

TEST(MoshPortRulesNftTest, OutputChainsAndAnEmptyRulesetBlockNothing) {
    EXPECT_EQ(Rules::fromNft(R"({"nftables": [{"metainfo": {"version": "1.0.6"}}]})"), std::vector<Block>{});
    EXPECT_EQ(Rules::fromNft(R"({"nftables": [{"chain": {"family": "inet", "table": "t", "name": "out",
        "hook": "output", "policy": "drop"}}]})"),
              std::vector<Block>{});
}

TEST(MoshPortRulesNftTest, TextThatIsNotNftsJsonIsRefused) {
    EXPECT_FALSE(Rules::fromNft("").has_value());
    EXPECT_FALSE(Rules::fromNft("Error: Operation not permitted").has_value());
    EXPECT_FALSE(Rules::fromNft(R"({"other": []})").has_value());
}

const std::string ufwHead = "Status: active\n"
                            "Logging: on (low)\n"
                            "Default: deny (incoming), allow (outgoing), disabled (routed)\n"
                            "New profiles: skip\n\n"
                            "To                         Action      From\n"
                            "--                         ------      ----\n";

TEST(MoshPortRulesUfwTest, NamesADenyLineAndInsertsTheAllowAheadOfIt) {
    const auto blocks = Rules::fromUfw(ufwHead + "22/tcp                     ALLOW IN    Anywhere\n"
                                                 "60001/udp                  DENY IN     Anywhere\n"
                                                 "60000:61000/udp            ALLOW IN    Anywhere\n"
                                                 "60001/udp (v6)             DENY IN     Anywhere (v6)\n");
    ASSERT_TRUE(blocks.has_value());
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front(), (Block{"", "60001/udp                  DENY IN     Anywhere",
                                      "sudo ufw insert 1 allow 60000:61000/udp", only(60001, 60001)}));
}

TEST(MoshPortRulesUfwTest, TheDenyingDefaultBlocksWhatNoRuleAllows) {
    const auto blocks = Rules::fromUfw(ufwHead + "22/tcp                     ALLOW IN    Anywhere\n"
                                                 "60001:60010/udp            ALLOW IN    Anywhere\n");
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_EQ(blocks->front().rule, "Default: deny (incoming), allow (outgoing), disabled (routed)");
    EXPECT_EQ(blocks->front().remedy, "sudo ufw allow 60000:61000/udp");
    EXPECT_EQ(blocks->front().ports, only(60000, 60000) | only(60011, 61000));
    EXPECT_FALSE(blocks->front().blocksFirstTriedPort());
}

TEST(MoshPortRulesUfwTest, MoshsProfileAndAllowedPortsLetItIn) {
    EXPECT_EQ(Rules::fromUfw(ufwHead + "mosh                       ALLOW IN    Anywhere\n"),
              std::vector<Block>{});
    EXPECT_EQ(Rules::fromUfw(ufwHead + "60000:61000                ALLOW IN    Anywhere   # mosh\n"),
              std::vector<Block>{});
}

TEST(MoshPortRulesUfwTest, RulesLimitedToASourceOrAnInterfaceDecideNothing) {
    const auto blocks = Rules::fromUfw(ufwHead + "60000:61000/udp            ALLOW IN    192.168.1.0/24\n"
                                                 "60000:61000/udp on eth0    ALLOW IN    Anywhere\n");
    ASSERT_EQ(blocks->size(), 1U);
    EXPECT_TRUE(blocks->front().rule.starts_with("Default: deny"));
}

TEST(MoshPortRulesUfwTest, AnInactiveFirewallBlocksNothingAndOtherTextIsRefused) {
    EXPECT_EQ(Rules::fromUfw("Status: inactive\n"), std::vector<Block>{});
    EXPECT_FALSE(Rules::ufwActive("Status: inactive\n"));
    EXPECT_TRUE(Rules::ufwActive(ufwHead));
    EXPECT_FALSE(Rules::fromUfw("ERROR: You need to be root to run this script\n").has_value());
}

TEST(MoshPortRulesFirewalldTest, AZoneLetsInWhatItsUdpEntriesOrItsTargetAllow) {
    EXPECT_TRUE(Rules::allowedByZone("ACCEPT", {}).all());
    EXPECT_TRUE(Rules::allowedByZone("default", {{"60000-61000", "udp"}}).all());
    EXPECT_EQ(Rules::allowedByZone("default", {{"60001", "udp"}, {"60000-61000", "tcp"}}),
              only(60001, 60001));
    EXPECT_TRUE(Rules::allowedByZone("%%REJECT%%", {{"22", "tcp"}}).none());
}

} // namespace
