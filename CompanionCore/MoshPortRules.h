#pragma once

#include "CompanionCore/WellKnown.h"

#include <bitset>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reads which firewall rules drop or reject UDP to mosh's port range. Pure: the programs are run by
/// the caller. Only rules whose every condition is understood count; a rule that depends on
/// something else (a source address, an interface, a rate) is neither taken to block nor to let in.
namespace CompanionCore::MoshPortRules {

/// The ports of mosh's range, the first one at index 0.
using Ports = std::bitset<WellKnown::moshLastPort - WellKnown::moshFirstPort + 1>;

/// One rule, or one default policy, that keeps part of mosh's range out.
struct Block {
    /// Where it sits: "inet filter input" for nftables (family, table, chain); empty for ufw.
    std::string chain;
    /// The rule as text ("udp dport 60001 counter drop", "policy drop"), or ufw's line as printed.
    std::string rule;
    /// The command that lets the whole range in ahead of it.
    std::string remedy;
    /// The ports of the range it keeps out.
    Ports ports;

    /// Whether it keeps out the port mosh-server tries first.
    bool blocksFirstTriedPort() const;

    bool operator==(const Block&) const = default;
};

/// `nft -j list ruleset`: every base chain on the input hook is followed through its jumps and gotos,
/// and each port of the range that a drop or reject rule, or a drop policy, reaches is charged to it.
/// Nothing when the text is not nft's JSON.
std::optional<std::vector<Block>> fromNft(std::string_view json);

/// `ufw status verbose`: nothing blocked while inactive; else the first rule for each port decides
/// (the IPv4 rules, from anywhere), and the default incoming policy where none does. Nothing when
/// the text is not ufw's.
std::optional<std::vector<Block>> fromUfw(std::string_view text);

/// Whether `text` is `ufw status verbose` of an active firewall.
bool ufwActive(std::string_view text);

/// One port entry of firewalld, as its D-Bus interface lists them: "60001" or "60000-61000", and
/// "udp", "tcp", "sctp" or "dccp".
struct PortEntry {
    std::string port;
    std::string protocol;

    bool operator==(const PortEntry&) const = default;
};

/// The ports of the range a firewalld zone lets in: all with the target "ACCEPT", else those its
/// entries (its own and its services') name over UDP.
Ports allowedByZone(std::string_view target, const std::vector<PortEntry>& entries);

} // namespace CompanionCore::MoshPortRules
