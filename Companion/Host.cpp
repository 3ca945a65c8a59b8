#include "Companion/Host.h"

#include "Companion/HostIdentity.h"
#include "Companion/LoginShell.h"
#include "Companion/QtProcessRunner.h"

#include <algorithm>

namespace Companion {

Host Host::system() {
    return Host{}.completed();
}

Host Host::completed() && {
    if (!systemActions) {
        if (!runner) {
            runner = std::make_shared<QtProcessRunner>();
        }
        systemActions = makeSystemActions(runner);
    }
    if (!runner) {
        runner = systemActions->sharedRunner();
    }
    if (!isExecutable) {
        isExecutable = CompanionCore::Tools::isExecutableFile;
    }
    if (!hostName) {
        hostName = [] { return HostIdentity::hostName(); };
    }
    if (!userName) {
        userName = [] { return HostIdentity::userName(); };
    }
    if (!searchPaths) {
        searchPaths = CompanionCore::Tools::searchPaths();
        const auto account = LoginShell::account(userName());
        for (auto& folder : LoginShell::usualFolders(account ? account->home : std::filesystem::path())) {
            if (std::find(searchPaths->begin(), searchPaths->end(), folder) == searchPaths->end()) {
                searchPaths->push_back(std::move(folder));
            }
        }
    }
    if (!sshLogin) {
        sshLogin = [actions = systemActions, runner = runner, userName = userName] {
            const auto account = LoginShell::account(userName());
            return account ? LoginShell::look(*account, actions->sshLogin(), *runner) : std::nullopt;
        };
    }
    if (!computerName) {
        computerName = [runner = runner, hostName = hostName] {
            return HostIdentity::computerName(hostName(), *runner);
        };
    }
    if (!openUrl) {
        openUrl = [actions = systemActions](const std::string& url) { return actions->openUrl(url); };
    }
    if (authorizedKeys.empty()) {
        authorizedKeys = HostIdentity::authorizedKeysFile();
    }
    if (!clock) {
        clock = CompanionCore::systemNow;
    }
    if (!loginRecords) {
        loginRecords = systemLoginRecords(runner);
    }
    if (!liveSessions) {
        liveSessions = systemLiveSessions();
    }
    return std::move(*this);
}

std::optional<std::string> Host::locate(std::string_view name) const {
    return CompanionCore::Tools::locate(name, isExecutable, *searchPaths);
}

CompanionCore::PairingHandler::Identity Host::identity() const {
    return HostIdentity::identity(userName(), computerName(), hostName(), systemActions->ipv4Addresses(),
                                  isExecutable);
}

std::vector<std::string> Host::hosts(const std::vector<std::string>& addresses) const {
    return HostIdentity::hosts(hostName(), addresses);
}

} // namespace Companion
