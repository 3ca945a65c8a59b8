#include "Companion/linux/ProcLiveSessions.h"

#include "Companion/SessionTree.h"
#include "CompanionCore/ProcessArguments.h"
#include "CompanionCore/SshConnection.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <charconv>
#include <optional>
#include <string>

namespace Companion {

namespace {

constexpr std::size_t commandNameBound = 64;
constexpr std::size_t statBound = 4096;
constexpr std::string_view moshServerName = "mosh-server";

/// Up to `bound` bytes of the file at `path` when it belongs to `owner`; nothing when it does not or
/// cannot be read (the process may have ended meanwhile).
std::optional<std::string> readOwned(const std::filesystem::path& path, uid_t owner, std::size_t bound) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0) {
        return std::nullopt;
    }
    struct stat status {};
    std::optional<std::string> content;
    if (::fstat(descriptor, &status) == 0 && status.st_uid == owner) {
        std::string bytes(bound, '\0');
        std::size_t got = 0;
        while (got < bound) {
            const ssize_t read = ::read(descriptor, bytes.data() + got, bound - got);
            if (read <= 0) {
                break;
            }
            got += static_cast<std::size_t>(read);
        }
        bytes.resize(got);
        content = std::move(bytes);
    }
    ::close(descriptor);
    return content;
}

std::optional<int> processId(const std::string& name) {
    int pid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (error != std::errc{} || end != name.data() + name.size() || pid <= 0) {
        return std::nullopt;
    }
    return pid;
}

/// The parent in "PID (COMMAND) STATE PPID …"; the command may hold blanks and parentheses.
std::optional<int> parentIn(const std::string& stat) {
    const auto close = stat.rfind(')');
    if (close == std::string::npos || close + 4 >= stat.size()) {
        return std::nullopt;
    }
    const auto start = stat.find(' ', close + 3);
    if (start == std::string::npos) {
        return std::nullopt;
    }
    int parent = 0;
    const auto [end, error] = std::from_chars(stat.data() + start + 1, stat.data() + stat.size(), parent);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    return parent;
}

} // namespace

ProcLiveSessions::ProcLiveSessions(uid_t owner, std::filesystem::path proc)
    : m_owner(owner)
    , m_proc(std::move(proc)) {}

std::vector<LiveSession> ProcLiveSessions::list() {
    std::vector<LiveSession> sessions;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_proc, error)) {
        const auto pid = processId(entry.path().filename().string());
        if (!pid) {
            continue;
        }
        const auto environment = readOwned(entry.path() / "environ", m_owner, environmentBound);
        if (!environment) {
            continue;
        }
        const auto connection = CompanionCore::ProcessArguments::variable(
            CompanionCore::ProcessArguments::environmentBlock(*environment), "SSH_CONNECTION");
        const auto parsed = connection ? CompanionCore::SshConnection::parse(*connection) : std::nullopt;
        if (!parsed) {
            continue;
        }
        sessions.push_back(LiveSession{*pid, parsed->clientAddress, parsed->clientPort, isMoshServer(*pid)});
    }
    return SessionTree::outermost(
        std::move(sessions), [this](int pid) { return parentOf(pid); },
        [this](int pid) { return isMoshServer(pid); });
}

std::optional<int> ProcLiveSessions::parentOf(int pid) const {
    const auto stat = readOwned(m_proc / std::to_string(pid) / "stat", m_owner, statBound);
    return stat ? parentIn(*stat) : std::nullopt;
}

bool ProcLiveSessions::isMoshServer(int pid) const {
    auto name =
        readOwned(m_proc / std::to_string(pid) / "comm", m_owner, commandNameBound).value_or(std::string{});
    while (name.ends_with('\n')) {
        name.pop_back();
    }
    return name == moshServerName;
}

} // namespace Companion
