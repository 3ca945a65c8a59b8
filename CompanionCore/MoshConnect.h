#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// What `mosh-server new` prints once it listens: the UDP port and the session key the client needs,
/// and the process id of the server it detached.
struct MoshConnect {
    /// The length of the key mosh prints: 128 bits in base64 without padding.
    static constexpr std::size_t keyLength = 22;

    int port = 0;
    std::string key;

    /// The "MOSH CONNECT <port> <key>" line of `output`; nothing when there is none or it is malformed.
    static std::optional<MoshConnect> parse(std::string_view output);

    /// The pid of "[mosh-server detached, pid = <pid>]" in `output`; nothing when it is absent.
    static std::optional<long long> detachedPid(std::string_view output);

    bool operator==(const MoshConnect&) const = default;
};

} // namespace CompanionCore
