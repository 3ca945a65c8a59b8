#include "Companion/macos/SysctlLiveSessions.h"

#include <sys/sysctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace Companion {

namespace {

/// The processes whose real user is this one.
std::vector<pid_t> ownProcesses() {
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
    std::vector<pid_t> ids;
    for (const auto& process : processes) {
        ids.push_back(process.kp_proc.p_pid);
    }
    return ids;
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
    for (const pid_t pid : ownProcesses()) {
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
    return sessions;
}

} // namespace Companion
