#pragma once

#include "Companion/LoginShell.h"
#include "support/Programs.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace TestSupport {

/// The test user whose bash login resets PATH to a folder without mosh-server, as a user's own
/// ~/.bashrc can.
inline constexpr const char* pathlessLoginUser = "nmb-mosh-path";
/// The test user whose bash login keeps the SSH server's PATH.
inline constexpr const char* plainLoginUser = "nmb-mosh-login";
/// useradd's answer when another test made the user first.
inline constexpr int userExists = 9;

/// A real user of this machine with bash as its login shell, made with useradd like the SSH tests'
/// user; `bashrc` becomes its ~/.bashrc (none when empty). Nothing without root.
inline std::optional<Companion::LoginShell::Account> loginUser(const std::string& name,
                                                               const std::string& bashrc) {
    if (::geteuid() != 0) {
        return std::nullopt;
    }
    if (::getpwnam(name.c_str()) == nullptr) {
        const auto made =
            runProgram("/usr/sbin/useradd", {"-m", "-s", "/bin/bash", QString::fromStdString(name)});
        if (made.exitCode != 0 && made.exitCode != userExists) {
            return std::nullopt;
        }
    }
    const auto account = Companion::LoginShell::account(name);
    if (!account) {
        return std::nullopt;
    }
    const auto rc = account->home / ".bashrc";
    if (bashrc.empty()) {
        std::error_code ignored;
        std::filesystem::remove(rc, ignored);
    } else {
        // Written aside and renamed, so a test reading it meanwhile sees the whole file.
        const auto aside = account->home / (".bashrc." + std::to_string(::getpid()));
        std::ofstream(aside) << bashrc;
        std::filesystem::rename(aside, rc);
    }
    return account;
}

/// The user whose login does not find mosh-server: its ~/.bashrc sets PATH to an empty folder.
inline std::optional<Companion::LoginShell::Account> pathlessUser() {
    return loginUser(pathlessLoginUser, "PATH=\"$HOME/nothing-here\"\nexport PATH\n");
}

} // namespace TestSupport
