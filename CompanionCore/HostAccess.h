#pragma once

#include <optional>
#include <string_view>

/// Reads what firewalls and access groups print about who may come in. Pure: the programs are run
/// by the caller, and only the read-only forms that need no password.
namespace CompanionCore::HostAccess {

/// Which of the SSH port and the first pairing port the firewall keeps out.
struct Blocked {
    bool ssh = false;
    bool pairing = false;

    bool operator==(const Blocked&) const = default;
};

/// `ufw status verbose`: nothing blocked while inactive; else the first rule naming the port (by
/// number, range or the "OpenSSH" profile) decides, and the default incoming policy when none does.
/// Nothing when the text is not ufw's.
std::optional<Blocked> fromUfw(std::string_view text);

/// `firewall-cmd --list-all` of the active zone: a port passes when the zone's target is ACCEPT,
/// its services hold "ssh" (for 22) or its ports hold the port or a range with it. Nothing when the
/// text has neither a services nor a ports line.
std::optional<Blocked> fromFirewalld(std::string_view text);

/// macOS `socketfilterfw --getblockall`: whether "block all incoming connections" is on.
bool blocksAllIncoming(std::string_view text);

/// macOS `dseditgroup -o checkmember -m USER com.apple.access_ssh`: whether the answer is "no"
/// (Remote Login is limited to a group the user is not in). A missing group limits nobody.
bool accessGroupExcludes(std::string_view text);

} // namespace CompanionCore::HostAccess
