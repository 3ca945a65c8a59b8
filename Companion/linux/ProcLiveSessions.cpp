#include "Companion/linux/ProcLiveSessions.h"

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
        auto name = readOwned(entry.path() / "comm", m_owner, commandNameBound).value_or(std::string{});
        while (name.ends_with('\n')) {
            name.pop_back();
        }
        sessions.push_back(
            LiveSession{*pid, parsed->clientAddress, parsed->clientPort, name == moshServerName});
    }
    return sessions;
}

} // namespace Companion
