#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Companion {

/// How this system's SSH server starts a command for a login, before the login shell's own files
/// run: what a session of the phone begins with.
struct SshLogin {
    /// The PATH sshd gives a session.
    std::string defaultPath;
    /// Files of "NAME=value" lines the session's setup adds to its environment, in order (pam_env's
    /// /etc/environment and, on Debian, /etc/default/locale).
    std::vector<std::filesystem::path> environmentFiles;
    /// Files that name the system's default locale.
    std::vector<std::filesystem::path> localeFiles;

    bool operator==(const SshLogin&) const = default;
};

} // namespace Companion
