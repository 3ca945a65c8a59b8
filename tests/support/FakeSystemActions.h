#pragma once

#include "Companion/QtProcessRunner.h"
#include "Companion/SystemActions.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace TestSupport {

/// System actions that answer as the test says and record what they are asked. The relay status
/// query is the real one, so fake relay tools (small scripts) answer it. Safe to use from the model's
/// worker thread.
class FakeSystemActions final : public Companion::SystemActions {
public:
    explicit FakeSystemActions(
        std::shared_ptr<Companion::ProcessRunner> runner = std::make_shared<Companion::QtProcessRunner>())
        : SystemActions(std::move(runner)) {}

    /// The platform whose words the texts use; macOS unless set.
    void setWording(Companion::Wording wording) {
        std::lock_guard lock(m_mutex);
        m_wording = wording;
    }
    void setSshServerInstalled(bool installed) {
        std::lock_guard lock(m_mutex);
        m_sshServerInstalled = installed;
    }
    void setRemoteLoginOn(bool on) {
        std::lock_guard lock(m_mutex);
        m_remoteLogin = on;
    }
    void setAddresses(std::vector<std::string> addresses) {
        std::lock_guard lock(m_mutex);
        m_addresses = std::move(addresses);
    }
    /// What turning the SSH server on answers; a success also turns it on.
    void setRemoteLoginAnswer(std::optional<std::string> answer) {
        std::lock_guard lock(m_mutex);
        m_remoteLoginAnswer = std::move(answer);
    }
    void setInstallCommand(std::optional<std::string> prefix) {
        std::lock_guard lock(m_mutex);
        m_installPrefix = std::move(prefix);
    }
    void setTerminalAnswer(std::optional<std::string> answer) {
        std::lock_guard lock(m_mutex);
        m_terminalAnswer = std::move(answer);
    }

    /// Replaces the keep-awake inhibitor (by default the base's, which runs no helper here).
    void setSleepInhibitor(std::function<std::unique_ptr<Companion::SleepInhibitor>()> make) {
        std::lock_guard lock(m_mutex);
        m_makeSleepInhibitor = std::move(make);
    }

    std::vector<std::string> terminalCommands() const {
        std::lock_guard lock(m_mutex);
        return m_terminalCommands;
    }
    std::vector<std::string> openedUrls() const {
        std::lock_guard lock(m_mutex);
        return m_openedUrls;
    }
    std::vector<bool> remoteLoginRequests() const {
        std::lock_guard lock(m_mutex);
        return m_remoteLoginRequests;
    }

    Companion::Wording wording() const override {
        std::lock_guard lock(m_mutex);
        return m_wording;
    }
    std::optional<std::string> packageManagerName() const override {
        std::lock_guard lock(m_mutex);
        if (!m_installPrefix) {
            return std::nullopt;
        }
        // The package manager's own word: "brew install", "sudo apt install".
        auto manager = m_installPrefix->starts_with("sudo ") ? m_installPrefix->substr(5) : *m_installPrefix;
        return manager.substr(0, manager.find(' '));
    }
    bool sshServerInstalled() const override {
        std::lock_guard lock(m_mutex);
        return m_sshServerInstalled;
    }
    std::optional<std::string> sshServerPackage() const override { return "openssh-server"; }
    bool remoteLoginEnabled() override {
        std::lock_guard lock(m_mutex);
        return m_remoteLogin;
    }
    std::optional<std::string> setRemoteLogin(bool on, std::stop_token) override {
        std::lock_guard lock(m_mutex);
        m_remoteLoginRequests.push_back(on);
        if (!m_remoteLoginAnswer) {
            m_remoteLogin = on;
        }
        return m_remoteLoginAnswer;
    }
    std::optional<std::string> openTerminal(const std::string& command) override {
        std::lock_guard lock(m_mutex);
        m_terminalCommands.push_back(command);
        return m_terminalAnswer;
    }
    std::optional<std::string> installCommandLine(const std::vector<std::string>& packages) override {
        std::lock_guard lock(m_mutex);
        if (!m_installPrefix) {
            return std::nullopt;
        }
        auto line = *m_installPrefix;
        for (const auto& package : packages) {
            line += " " + package;
        }
        return line;
    }
    std::string packageManagerMissingMessage() const override { return "no package manager"; }
    std::optional<Companion::ProcessCommand> keepAwakeCommand() override { return std::nullopt; }
    std::unique_ptr<Companion::SleepInhibitor> sleepInhibitor() override {
        std::lock_guard lock(m_mutex);
        return m_makeSleepInhibitor ? m_makeSleepInhibitor() : SystemActions::sleepInhibitor();
    }
    bool openUrl(const std::string& url) override {
        std::lock_guard lock(m_mutex);
        m_openedUrls.push_back(url);
        return true;
    }
    std::vector<std::string> ipv4Addresses() override {
        std::lock_guard lock(m_mutex);
        return m_addresses;
    }
    void setAccessObstacles(std::vector<CompanionCore::Obstacle> obstacles) {
        std::lock_guard lock(m_mutex);
        m_obstacles = std::move(obstacles);
    }
    std::vector<CompanionCore::Obstacle> accessObstacles(const std::string&) override {
        std::lock_guard lock(m_mutex);
        return m_obstacles;
    }

private:
    mutable std::mutex m_mutex;
    Companion::Wording m_wording = Companion::Wording::macos;
    bool m_remoteLogin = false;
    bool m_sshServerInstalled = true;
    std::vector<std::string> m_addresses;
    std::vector<CompanionCore::Obstacle> m_obstacles;
    std::optional<std::string> m_remoteLoginAnswer;
    std::optional<std::string> m_installPrefix = std::string("brew install");
    std::optional<std::string> m_terminalAnswer;
    std::vector<std::string> m_terminalCommands;
    std::vector<std::string> m_openedUrls;
    std::vector<bool> m_remoteLoginRequests;
    std::function<std::unique_ptr<Companion::SleepInhibitor>()> m_makeSleepInhibitor;
};

} // namespace TestSupport
