#pragma once

#include "Companion/SystemActions.h"
#include "CompanionCore/Tools.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Companion {

/// The macOS backend: launchctl tells whether Remote Login is loaded, systemsetup turns it on
/// through an administrator AppleScript, Terminal runs commands through scripting (with the
/// pasteboard as fallback), Homebrew installs tools and caffeinate keeps the Mac awake. Scripts run
/// through osascript, so the runner sees their exact text.
class MacSystemActions : public SystemActions {
public:
    using Options = CompanionCore::Tools::Lookup;

    static constexpr std::string_view osascript = "/usr/bin/osascript";
    /// The read-only questions about who may log in and what the application firewall blocks.
    static constexpr std::string_view dseditgroup = "/usr/sbin/dseditgroup";
    static constexpr std::string_view socketfilterfw = "/usr/libexec/ApplicationFirewall/socketfilterfw";
    /// How long each of them may take.
    static constexpr std::chrono::milliseconds accessCheckTimeout{10000};
    static constexpr std::string_view terminalApplication = "/System/Applications/Utilities/Terminal.app";

    explicit MacSystemActions(std::shared_ptr<ProcessRunner> runner);
    MacSystemActions(std::shared_ptr<ProcessRunner> runner, Options options);

    Wording wording() const override { return Wording::macos; }
    /// macOS's sshd starts a command with its compiled-in PATH and no locale.
    SshLogin sshLogin() const override;
    std::optional<std::string> packageManagerName() const override;
    bool remoteLoginEnabled() override;
    std::optional<std::string> setRemoteLogin(bool on, std::stop_token stop) override;
    std::optional<std::string> openTerminal(const std::string& command) override;
    std::optional<std::string> installCommandLine(const std::vector<std::string>& packages) override;
    std::string packageManagerMissingMessage() const override;
    std::optional<ProcessCommand> keepAwakeCommand() override;
    bool openUrl(const std::string& url) override;
    std::vector<CompanionCore::Obstacle> accessObstacles(const std::string& user) override;
    std::vector<Finding> moshFirewallFindings(const std::string& moshServer) override;

    /// One line: systemsetup run with administrator privileges.
    static std::string remoteLoginScript(bool on);
    /// Four lines addressed to Terminal; only double quotes in `command` are escaped.
    static std::string terminalScript(const std::string& command);
    /// osascript running one script.
    static ProcessCommand scriptCommand(const std::string& script);
    /// The message of an osascript failure ("0:75: execution error: User canceled. (-128)" gives
    /// "User canceled."); the whole trimmed text when it has another form.
    static std::string scriptErrorMessage(const std::string& output);

private:
    Options m_options;
};

} // namespace Companion
