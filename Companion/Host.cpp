#include "Companion/Host.h"

#include "Companion/HostIdentity.h"
#include "Companion/QtProcessRunner.h"

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
    if (!searchPaths) {
        searchPaths = CompanionCore::Tools::searchPaths();
    }
    if (!hostName) {
        hostName = [] { return HostIdentity::hostName(); };
    }
    if (!userName) {
        userName = [] { return HostIdentity::userName(); };
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
