#pragma once

#include "Companion/Finding.h"
#include "Companion/ProcessRunner.h"
#include "CompanionCore/Tools.h"

#include <QDBusConnection>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

/// Whether a firewall's rules keep out mosh's UDP (ports 60000–61000), read from the firewalls
/// themselves: nftables and ufw (their rules are readable by root only), firewalld (over D-Bus, by any
/// user) and the macOS application firewall. Only reads; nothing is guessed from a rule that cannot
/// be read or judged.
namespace Companion::MoshFirewall {

inline constexpr std::string_view nftProgram = "/usr/sbin/nft";
inline constexpr std::string_view ufwProgram = "/usr/sbin/ufw";
inline constexpr std::string_view socketfilterfw = "/usr/libexec/ApplicationFirewall/socketfilterfw";
/// How long each firewall may take to answer.
inline constexpr std::chrono::milliseconds readBound{10000};

/// firewalld's D-Bus name, object and interfaces.
inline constexpr std::string_view firewalldService = "org.fedoraproject.FirewallD1";
inline constexpr std::string_view firewalldPath = "/org/fedoraproject/FirewallD1";
inline constexpr std::string_view firewalldInterface = "org.fedoraproject.FirewallD1";
inline constexpr std::string_view firewalldZoneInterface = "org.fedoraproject.FirewallD1.zone";

/// The stable causes of the findings.
inline constexpr std::string_view nftablesBlocksMosh = "nftablesBlocksMosh";
inline constexpr std::string_view ufwBlocksMosh = "ufwBlocksMosh";
inline constexpr std::string_view firewalldBlocksMosh = "firewalldBlocksMosh";
inline constexpr std::string_view firewallRulesUnreadable = "firewallRulesUnreadable";
inline constexpr std::string_view macFirewallBlocksMosh = "macFirewallBlocksMosh";
inline constexpr std::string_view macFirewallMayAskForMosh = "macFirewallMayAskForMosh";

/// `nft -j list ruleset` and `ufw status verbose`, each where it is installed: one finding per
/// firewall whose rules drop part of the range, naming the rules and the command that opens it
/// (ufw's own rules, which also show in nftables' iptables tables, are named once, as ufw's; the
/// table firewalld keeps is left to `fromFirewalld`), and
/// one that does not keep the phone out when a firewall's rules could not be read (not root).
std::vector<Finding>
fromRules(ProcessRunner& runner,
          const CompanionCore::Tools::ExecutableTest& isExecutable = CompanionCore::Tools::isExecutableFile);

/// firewalld over `bus` (the system bus in the product): one finding per active zone that does not
/// let the whole range in by its target, ports or services. Nothing when firewalld does not answer.
std::vector<Finding> fromFirewalld(const QDBusConnection& bus, std::chrono::milliseconds bound = readBound);

/// The macOS application firewall: while it is on, a `moshServer` (full path) it blocks keeps the
/// phone out; one it does not know yet is a finding that does not, since the firewall would have to
/// ask someone at the screen. Nothing while it is off or does not answer.
std::vector<Finding> fromApplicationFirewall(ProcessRunner& runner, const std::string& moshServer);

} // namespace Companion::MoshFirewall
