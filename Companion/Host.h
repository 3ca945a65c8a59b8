#pragma once

#include "Companion/LiveSessions.h"
#include "Companion/LoginRecords.h"
#include "Companion/ProcessRunner.h"
#include "Companion/SystemActions.h"
#include "CompanionCore/LoginReport.h"
#include "CompanionCore/PairingHandler.h"
#include "CompanionCore/Timestamp.h"
#include "CompanionCore/Tools.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Companion {

/// Everything outside the program that the companion reaches: the process runner, the system actions,
/// who and where this computer is, the key file and the clock. Each program builds the real one once
/// (`system`) and hands it to the services that the panel and the terminal both call; a test builds
/// one from its own parts and lets `completed` fill the rest with the real ones.
struct Host {
    std::shared_ptr<ProcessRunner> runner;
    std::shared_ptr<SystemActions> systemActions;
    /// How a candidate path of a tool is tested.
    CompanionCore::Tools::ExecutableTest isExecutable;
    /// Where the published tools are looked up; `Tools::searchPaths()` and the other folders package
    /// managers use (`LoginShell::usualFolders`) when absent. The pairing identity always looks in
    /// `Tools::searchPaths()`, as the phone's login does.
    std::optional<std::vector<std::string>> searchPaths;
    /// The host name as the system reports it, before ".local" is ensured. The hooks may be called
    /// from worker threads.
    std::function<std::string()> hostName;
    /// The login name of the current user.
    std::function<std::string()> userName;
    /// The computer's name for people; the host name stands in when it gives an empty text.
    std::function<std::string()> computerName;
    /// Opens a web address in the default browser (the system actions' opener by default).
    std::function<bool(const std::string& url)> openUrl;
    /// The current user's ".ssh/authorized_keys" by default.
    std::filesystem::path authorizedKeys;
    /// The wall clock of the pairing codes and the log's timestamps.
    CompanionCore::Clock clock;
    /// The SSH server's records of logins (the system's by default).
    std::shared_ptr<LoginRecords> loginRecords;
    /// The user's processes that belong to SSH logins (the system's process table by default).
    std::shared_ptr<LiveSessions> liveSessions;
    /// What a non-interactive SSH login of the user reports (`LoginShell::look` with the system
    /// actions' `sshLogin` by default); nothing when it cannot be told. May be called from worker
    /// threads.
    std::function<std::optional<CompanionCore::LoginReport>()> sshLogin;

    /// This computer, with the platform's backend and one real process runner.
    static Host system();

    /// This host with every empty part replaced by the real one (the runner by the system actions').
    Host completed() &&;

    /// The full path of the tool `name` in the search paths, if it is there and executable.
    std::optional<std::string> locate(std::string_view name) const;

    /// A fresh pairing identity, read afresh from the system; the SSH port is always the standard one.
    CompanionCore::PairingHandler::Identity identity() const;

    /// The announced host name followed by `addresses`, in the order the phone should try them.
    std::vector<std::string> hosts(const std::vector<std::string>& addresses) const;
};

} // namespace Companion
