#pragma once

#include "Companion/SystemActions.h"
#include "Companion/linux/DBusSleepInhibitor.h"
#include "CompanionCore/Tools.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Companion {

/// The Linux backend: the SSH server is on when something listens on TCP port 22 (socket activation
/// included); polkit's pkexec enables the distribution's SSH unit; commands go into the desktop's
/// terminal; the distribution's package manager installs tools; the desktop portal's or logind's
/// inhibitor keeps the computer awake.
class LinuxSystemActions : public SystemActions {
public:
    /// Reads an environment variable; nothing when it is unset.
    using Environment = std::function<std::optional<std::string>(const std::string& name)>;

    /// Everything the backend reads from the system; each empty member means the real one.
    struct Options : CompanionCore::Tools::Lookup {
        Environment environment;
        /// The kernel's tables of TCP sockets ("/proc/net/tcp", "/proc/net/tcp6").
        std::optional<std::vector<std::filesystem::path>> socketTables;
        /// Where systemd unit files live, searched for the SSH unit.
        std::optional<std::vector<std::filesystem::path>> unitDirectories;
        /// The buses the keep-awake inhibitors are asked on.
        DBusSleepInhibitor::Bus sessionBus;
        DBusSleepInhibitor::Bus systemBus;
    };

    /// How a terminal is told to run a program with its arguments in a new window.
    struct Terminal {
        std::string_view name;
        /// What comes between the terminal and the program.
        std::vector<std::string_view> prefix;
    };

    /// Debian and Ubuntu call it ssh, Fedora, Arch and openSUSE sshd.
    static constexpr std::string_view sshUnits[] = {"ssh.service", "sshd.service"};
    /// Keeps the terminal usable once the command is done: shows the command, runs it in sh, then
    /// hands the window to the user's shell. The command arrives as "$1", so it needs no quoting.
    static constexpr std::string_view terminalScript =
        R"(printf '$ %s\n' "$1"; eval "$1"; exec "${SHELL:-/bin/sh}")";
    /// The read-only questions asked of the firewalls and the DNS-SD daemon.
    static constexpr std::string_view ufw = "/usr/sbin/ufw";
    static constexpr std::string_view firewallCmd = "/usr/bin/firewall-cmd";
    static constexpr std::string_view avahiDaemon = "/usr/sbin/avahi-daemon";
    /// How long each of them may take.
    static constexpr std::chrono::milliseconds accessCheckTimeout{10000};
    /// pkexec's option that refuses its own password prompt on the terminal.
    static constexpr std::string_view pkexecWithoutTextAgent = "--disable-internal-agent";
    /// What pkexec says when no polkit agent runs in the session.
    static constexpr std::string_view noAgentMessage = "No authentication agent found";
    /// pkexec's exit codes: the user dismissed the dialog or was not authorised; no one could be
    /// asked (no agent, or polkit itself unreachable).
    static constexpr int pkexecNotAuthorized = 126;
    static constexpr int pkexecCannotAuthenticate = 127;
    /// How long a clipboard helper may take to take over the text.
    static constexpr std::chrono::milliseconds clipboardTimeout{5000};

    explicit LinuxSystemActions(std::shared_ptr<ProcessRunner> runner);
    LinuxSystemActions(std::shared_ptr<ProcessRunner> runner, Options options);

    Wording wording() const override { return Wording::linuxSystem; }
    std::optional<std::string> packageManagerName() const override;
    bool sshServerInstalled() const override;
    std::optional<std::string> sshServerPackage() const override;
    bool remoteLoginEnabled() override;
    std::optional<std::string> setRemoteLogin(bool on, std::stop_token stop) override;
    std::optional<std::string> openTerminal(const std::string& command) override;
    std::optional<std::string> installCommandLine(const std::vector<std::string>& packages) override;
    std::string packageManagerMissingMessage() const override;
    std::unique_ptr<SleepInhibitor> sleepInhibitor() override;
    bool openUrl(const std::string& url) override;
    std::vector<CompanionCore::Obstacle> accessObstacles(const std::string& user) override;
    std::vector<Finding> moshFirewallFindings(const std::string& moshServer) override;

    /// The SSH unit whose unit file exists, Debian's name first (Debian also installs the other as
    /// an alias once enabled).
    std::optional<std::string> sshUnit() const;

    /// The new terminal window that runs `command`, chosen as a user expects: $TERMINAL, the system's
    /// x-terminal-emulator, the running desktop's own terminal, then the common ones.
    std::optional<ProcessCommand> terminalCommand(const std::string& command) const;

    /// A helper that puts `text` on the clipboard: wl-copy under Wayland, else xclip or xsel under X.
    std::optional<ProcessCommand> clipboardCommand(const std::string& text) const;

    /// The terminals known by name, in the order they are tried after the desktop's own.
    static const std::vector<Terminal>& terminals();

    /// Whether one of the kernel's TCP tables ("/proc/net/tcp" format) has a listening socket on
    /// `port`.
    static bool hasListeningSocket(std::string_view table, int port);

private:
    std::optional<std::string> locate(std::string_view name) const;
    std::optional<std::string> environment(const std::string& name) const;
    /// A terminal found by name, with its argument form.
    ProcessCommand terminalNamed(const std::string& path, std::string_view name,
                                 const std::string& command) const;

    Options m_options;
};

} // namespace Companion
