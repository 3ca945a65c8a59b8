#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// The client end of an SSH login, as sshd puts it in the session's `SSH_CONNECTION`.
struct SshConnection {
    std::string clientAddress;
    int clientPort = 0;

    bool operator==(const SshConnection&) const = default;

    /// "CLIENT CLIENTPORT SERVER SERVERPORT"; nothing for any other text.
    static std::optional<SshConnection> parse(std::string_view value);

    /// One spelling per address, so sshd's log and a session's environment can be compared: an
    /// IPv4-mapped IPv6 address as the IPv4 address, other IPv6 addresses in their shortest form;
    /// a text that is no address stays as it is.
    static std::string normalizedAddress(std::string_view address);
};

} // namespace CompanionCore
