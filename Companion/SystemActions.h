#pragma once

#include "Companion/Finding.h"
#include "Companion/ProcessRunner.h"
#include "Companion/SleepInhibitor.h"
#include "Companion/SshLogin.h"
#include "Companion/Wording.h"
#include "CompanionCore/DrozakStatus.h"
#include "CompanionCore/Obstacle.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Companion {

/// The operations by which the companion looks at or changes the computer outside its own process:
/// the SSH server, a terminal window, the package manager, keep-awake, the relay tool's status and the
/// local addresses. One backend per platform (`LinuxSystemActions`, `MacSystemActions`), chosen by
/// `makeSystemActions`; every external program runs through the injected `ProcessRunner`.
///
/// Results that the user must hear about are an optional message (absent means success); queries whose
/// failure only means that something is unavailable answer false or nothing.
class SystemActions {
public:
    /// Puts a text on the clipboard; false when it could not. The panel installs one backed by the
    /// GUI's clipboard, which must then be used from the GUI thread only.
    using CopyText = std::function<bool(const std::string& text)>;

    /// How long the relay tool may take to report its status.
    static constexpr std::chrono::milliseconds drozakStatusTimeout{2000};

    explicit SystemActions(std::shared_ptr<ProcessRunner> runner);
    virtual ~SystemActions() = default;
    SystemActions(const SystemActions&) = delete;
    SystemActions& operator=(const SystemActions&) = delete;

    /// The words of this platform for the texts that name the computer or its facilities.
    virtual Wording wording() const = 0;

    /// The name of the package manager `installCommandLine` uses ("apt", "Homebrew"), or nothing when
    /// none is found. Only looks at the file system.
    virtual std::optional<std::string> packageManagerName() const = 0;

    /// Whether an SSH server is installed, on or off. Looks at the file system only; by default the
    /// system always has one.
    virtual bool sshServerInstalled() const { return true; }

    /// The package `installCommandLine` installs an SSH server from; nothing where the system ships
    /// one or no package manager is found.
    virtual std::optional<std::string> sshServerPackage() const { return std::nullopt; }

    /// How the SSH server starts a session's command here; by default as Debian's OpenSSH with PAM.
    virtual SshLogin sshLogin() const;

    /// Whether the SSH server is on. Blocks until the system answers.
    virtual bool remoteLoginEnabled() = 0;

    /// Turns the SSH server on or off after the system's administrator dialog; blocks until the user
    /// has answered it or `stop` is requested (the dialog's helper is then ended and nothing is
    /// reported). The system's or a Spanish message on failure.
    virtual std::optional<std::string> setRemoteLogin(bool on, std::stop_token stop) = 0;

    /// Runs a shell command line in a new terminal window. When that is not possible the command is
    /// copied to the clipboard and the message tells the user to paste it.
    virtual std::optional<std::string> openTerminal(const std::string& command) = 0;

    /// The command line a user types to install `packages` with the system's package manager
    /// ("brew install mosh tmux", "sudo apt install tmux"), or nothing when no package manager is found.
    virtual std::optional<std::string> installCommandLine(const std::vector<std::string>& packages) = 0;

    /// What to tell the user when `installCommandLine` finds no package manager.
    virtual std::string packageManagerMissingMessage() const = 0;

    /// The helper child that keeps the computer awake while it runs; nothing when the system has none
    /// or keeps awake otherwise.
    virtual std::optional<ProcessCommand> keepAwakeCommand() { return std::nullopt; }

    /// What the keep-awake switch holds: by default the `keepAwakeCommand` child.
    virtual std::unique_ptr<SleepInhibitor> sleepInhibitor();

    /// Opens a web address in the default browser; false when the opener cannot be started.
    virtual bool openUrl(const std::string& url) = 0;

    /// The computer's usable IPv4 addresses, in the order the system lists its interfaces.
    virtual std::vector<std::string> ipv4Addresses();

    /// Runs `cli status --json` for at most `drozakStatusTimeout` and decodes its answer. Nothing on a
    /// launch failure, a timeout (the tool is then terminated), a non-zero exit or an undecodable answer.
    virtual std::optional<CompanionCore::DrozakStatus> drozakStatus(const std::string& cli);

    /// What on this computer, outside the SSH server, keeps a phone out or from finding it: a firewall
    /// that blocks the SSH or pairing ports, an access group without `user`, no DNS-SD daemon. Only
    /// read-only commands that need no password are run; what cannot be read is not reported.
    virtual std::vector<CompanionCore::Obstacle> accessObstacles(const std::string& user);

    /// What this computer's firewalls say of mosh's UDP range for `moshServer` (its full path): the
    /// rules that keep it out, each with the command that opens the range, and once that the rules
    /// could not be read. Only reads; nothing by default.
    virtual std::vector<Finding> moshFirewallFindings(const std::string& moshServer);

    /// Replaces how `openTerminal` copies its fallback text.
    void setCopyText(CopyText copyText) { m_copyText = std::move(copyText); }

    ProcessRunner& runner() { return *m_runner; }
    const std::shared_ptr<ProcessRunner>& sharedRunner() const { return m_runner; }

protected:
    /// The GUI's clipboard when one was installed, else nothing.
    const CopyText& copyText() const { return m_copyText; }

private:
    std::shared_ptr<ProcessRunner> m_runner;
    CopyText m_copyText;
};

/// The backend of the platform being built, running its programs through `runner`.
std::unique_ptr<SystemActions> makeSystemActions(std::shared_ptr<ProcessRunner> runner);

} // namespace Companion
