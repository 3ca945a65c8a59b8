#include "Companion/macos/SysctlLiveSessions.h"

#include "Companion/SessionTree.h"

#include <sys/sysctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace Companion {

namespace {

/// A process of the user: its parent and its command name.
struct Process {
    pid_t parent = 0;
    std::string command;
};

/// The processes of this user.
std::map<pid_t, Process> ownProcesses() {
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_UID, static_cast<int>(::getuid())};
    std::size_t size = 0;
    if (::sysctl(name, 4, nullptr, &size, nullptr, 0) != 0) {
        return {};
    }
    // Processes may start between the two calls.
    std::vector<kinfo_proc> processes(size / sizeof(kinfo_proc) + 16);
    size = processes.size() * sizeof(kinfo_proc);
    if (::sysctl(name, 4, processes.data(), &size, nullptr, 0) != 0) {
        return {};
    }
    processes.resize(size / sizeof(kinfo_proc));
    std::map<pid_t, Process> own;
    for (const auto& process : processes) {
        own[process.kp_proc.p_pid] =
            Process{process.kp_eproc.e_ppid,
                    std::string(process.kp_proc.p_comm,
                                ::strnlen(process.kp_proc.p_comm, sizeof process.kp_proc.p_comm))};
    }
    return own;
}

} // namespace

std::vector<LiveSession> SysctlLiveSessions::list() {
    int maximumName[] = {CTL_KERN, KERN_ARGMAX};
    int argumentMaximum = 0;
    std::size_t size = sizeof argumentMaximum;
    if (::sysctl(maximumName, 2, &argumentMaximum, &size, nullptr, 0) != 0 || argumentMaximum <= 0) {
        return {};
    }
    std::vector<LiveSession> sessions;
    std::string buffer(static_cast<std::size_t>(argumentMaximum), '\0');
    const auto own = ownProcesses();
    for (const auto& entry : own) {
        const pid_t pid = entry.first;
        int name[] = {CTL_KERN, KERN_PROCARGS2, pid};
        std::size_t length = buffer.size();
        // A process that ended meanwhile, or one the kernel does not show this user, is left out.
        if (::sysctl(name, 3, buffer.data(), &length, nullptr, 0) != 0) {
            continue;
        }
        if (auto session = fromProcArgs2(pid, std::string_view(buffer.data(), length))) {
            sessions.push_back(std::move(*session));
        }
    }
    return SessionTree::outermost(
        std::move(sessions),
        [&own](int pid) -> std::optional<int> {
            const auto found = own.find(pid);
            return found == own.end() ? std::nullopt : std::optional<int>(found->second.parent);
        },
        [&own](int pid) {
            const auto found = own.find(pid);
            return found != own.end() && found->second.command == "mosh-server";
        });
}

} // namespace Companion
