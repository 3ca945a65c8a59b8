#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Companion {

/// A process of this user that belongs to an SSH login: its `SSH_CONNECTION` names the client.
struct LiveSession {
    int pid = 0;
    std::string clientAddress;
    int clientPort = 0;
    /// The process is a mosh-server, which outlives the login it was started from.
    bool moshServer = false;

    bool operator==(const LiveSession&) const = default;
};

/// The user's processes that belong to SSH logins, read from the system's process table.
class LiveSessions {
public:
    virtual ~LiveSessions() = default;

    /// Every process of the current user whose environment holds `SSH_CONNECTION`; the user cannot
    /// read other accounts' environments and does not look. The processes under a mosh-server
    /// belong to it and are left out: each mosh session is its outermost mosh-server. The processes under a
    /// mosh-server belong to it and are left out: each mosh session is its outermost mosh-server.
    virtual std::vector<LiveSession> list() = 0;
};

/// `/proc` on Linux; the process arguments and environment through `sysctl` on macOS.
std::shared_ptr<LiveSessions> systemLiveSessions();

} // namespace Companion
