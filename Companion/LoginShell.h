#pragma once

#include "Companion/ProcessRunner.h"
#include "Companion/SshLogin.h"
#include "CompanionCore/LoginReport.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The user's login shell started as the SSH server starts a phone's command: argv[0] the shell's
/// name, "-c" and the command, in the environment sshd gives a session rather than the companion's.
namespace Companion::LoginShell {

/// How long a login may take; startup files that wait on the network can be slow.
inline constexpr std::chrono::seconds bound{15};
/// Where a shell is taken from when the password database names none, as sshd does.
inline constexpr const char* fallbackShell = "/bin/sh";

/// What the password database says of a user.
struct Account {
    std::string user;
    std::filesystem::path home;
    std::string shell;

    bool operator==(const Account&) const = default;
};

/// `user`'s entry in the password database; nothing when there is none.
std::optional<Account> account(const std::string& user);

/// The environment sshd gives a command of `account`: USER, LOGNAME, HOME, SHELL, the server's PATH
/// and SSH_CONNECTION and SSH_CLIENT (bash reads its bashrc on seeing them), then the assignments of
/// `login`'s environment files, which win, as "NAME=value" entries.
std::vector<std::string> environment(const Account& account, const SshLogin& login);

/// `script` run by `account`'s login shell in `environment`, with its output and errors merged,
/// bounded by `bound`.
ProcessCommand command(const Account& account, const SshLogin& login, const std::string& script);

/// The login's own report of its PATH, its locale and where it finds mosh-server; nothing when the
/// shell cannot run or does not run the script to its end (a shell of another syntax, a timeout).
std::optional<CompanionCore::LoginReport> look(const Account& account, const SshLogin& login,
                                               ProcessRunner& runner);

/// The folders package managers put mosh-server in, `home`'s Nix profile among them.
std::vector<std::string> usualFolders(const std::filesystem::path& home);

} // namespace Companion::LoginShell
