#pragma once

#include "Companion/LiveSessions.h"

#include <optional>
#include <string_view>

namespace Companion {

/// The SSH sessions among the user's processes on macOS, read with sysctl: the process list
/// (KERN_PROC_UID) and each process's arguments and environment (KERN_PROCARGS2).
class SysctlLiveSessions final : public LiveSessions {
public:
    std::vector<LiveSession> list() override;

    /// The session a KERN_PROCARGS2 buffer of process `pid` belongs to, if it does.
    static std::optional<LiveSession> fromProcArgs2(int pid, std::string_view buffer);
};

} // namespace Companion
