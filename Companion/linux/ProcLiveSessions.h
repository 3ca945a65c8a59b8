#pragma once

#include "Companion/LiveSessions.h"

#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <optional>

namespace Companion {

/// The SSH sessions among one user's processes, read from Linux's /proc: each process's owner, its
/// environment (`SSH_CONNECTION`) and its command name.
class ProcLiveSessions final : public LiveSessions {
public:
    /// A process environment larger than this is read only this far.
    static constexpr std::size_t environmentBound = std::size_t{256} << 10;

    /// The processes of `owner` (the effective user by default) in `proc`.
    explicit ProcLiveSessions(uid_t owner = ::geteuid(), std::filesystem::path proc = "/proc");

    /// The processes with `SSH_CONNECTION`; those under a mosh-server are left to the server.
    std::vector<LiveSession> list() override;

private:
    std::optional<int> parentOf(int pid) const;
    bool isMoshServer(int pid) const;

    uid_t m_owner;
    std::filesystem::path m_proc;
};

} // namespace Companion
