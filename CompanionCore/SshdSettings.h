#pragma once

#include "CompanionCore/Obstacle.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CompanionCore {

/// The SSH server's settings that decide whether a key gets in, as `sshd -T` prints them for one
/// connection (lower-case keywords, one value or one list entry per line).
struct SshdSettings {
    bool publicKeys = true;
    bool strictModes = true;
    std::vector<std::string> authorizedKeysFiles;
    std::vector<std::string> allowUsers;
    std::vector<std::string> allowGroups;
    std::vector<std::string> denyUsers;
    std::vector<std::string> denyGroups;
    /// "address:port" as printed ("192.168.1.5:22", "[::]:22"), without a trailing "rdomain" part.
    std::vector<std::string> listenAddresses;
    std::vector<int> ports;
    /// The names of the client's environment variables the server passes to the login (AcceptEnv).
    std::vector<std::string> acceptEnv;

    /// Nothing when `text` is not `sshd -T` output (no "port" line, or a value it cannot read).
    static std::optional<SshdSettings> parse(std::string_view text);

    /// What in these settings keeps `user` (member of `groups`, home `home`) out with a key in
    /// `keyFile`, in the order sshd decides.
    std::vector<Obstacle> obstacles(const std::string& user, const std::vector<std::string>& groups,
                                    const std::filesystem::path& home,
                                    const std::filesystem::path& keyFile) const;

    /// Whether the server passes the client's variable `name` to the login.
    bool acceptsEnvironment(std::string_view name) const;

    /// Whether every listening address is a loopback one.
    bool listensOnLoopbackOnly() const;

    /// Whether the server listens on the IP literal `address`: a listening address names it or is the
    /// wildcard of its family ("0.0.0.0" for IPv4, "::" for IPv6: sshd binds its IPv6 sockets
    /// IPv6-only). With no listening address at all it listens everywhere.
    bool listensOn(std::string_view address) const;
};

/// sshd's patterns: '*' any run of characters, '?' any one; a leading '!' is not handled here.
bool matchesPattern(std::string_view pattern, std::string_view text);

} // namespace CompanionCore
