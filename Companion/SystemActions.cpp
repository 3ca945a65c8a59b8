#include "Companion/SystemActions.h"

#include "Companion/HelperSleepInhibitor.h"
#include "Companion/NetworkInterfaces.h"

namespace Companion {

SystemActions::SystemActions(std::shared_ptr<ProcessRunner> runner)
    : m_runner(std::move(runner)) {}

std::unique_ptr<SleepInhibitor> SystemActions::sleepInhibitor() {
    return std::make_unique<HelperSleepInhibitor>(keepAwakeCommand(), m_runner);
}

SshLogin SystemActions::sshLogin() const {
    // Debian's sshd_config.5 PATH and the files pam_env reads for sshd (/etc/pam.d/sshd).
    return {"/usr/local/bin:/usr/bin:/bin:/usr/games",
            {"/etc/environment", "/etc/default/locale"},
            {"/etc/default/locale", "/etc/locale.conf"}};
}

std::vector<std::string> SystemActions::ipv4Addresses() {
    return NetworkInterfaces::ipv4Addresses();
}

std::optional<CompanionCore::DrozakStatus> SystemActions::drozakStatus(const std::string& cli) {
    ProcessCommand command{cli, {"status", "--json"}, ProcessCommand::Output::capture};
    command.timeout = drozakStatusTimeout;
    const auto result = m_runner->run(command);
    if (!result.succeeded()) {
        return std::nullopt;
    }
    return CompanionCore::DrozakStatus::parse(result.output);
}

std::vector<Finding> SystemActions::moshFirewallFindings(const std::string&) {
    return {};
}

std::vector<CompanionCore::Obstacle> SystemActions::accessObstacles(const std::string&) {
    return {};
}

} // namespace Companion
