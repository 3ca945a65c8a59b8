#pragma once

#include "CompanionCore/WellKnown.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CompanionCore {

/// The body of the 200 answer: how the phone reaches this computer.
struct PairingResponse {
    /// Account to log in as.
    std::string user;
    /// The computer's display name.
    std::string name;
    /// TCP port of the SSH server.
    int sshPort = WellKnown::sshPort;
    /// Host names and addresses to try, in order.
    std::vector<std::string> hosts;
    /// Whether mosh-server is installed.
    bool mosh = false;
    /// Whether tmux is installed.
    bool tmux = false;

    bool operator==(const PairingResponse&) const = default;

    /// Compact JSON with the keys in field order and every "/" escaped.
    std::string encode() const;

    /// Decodes the answer as a phone would; nothing for any failure.
    static std::optional<PairingResponse> decode(std::string_view body);
};

} // namespace CompanionCore
