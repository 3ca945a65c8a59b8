#include "Companion/HostIdentity.h"

#include "CompanionCore/Addresses.h"
#include "CompanionCore/WellKnown.h"
#include "CompanionCore/server/LogLocation.h"

#include <climits>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace Companion::HostIdentity {

namespace {

constexpr std::string_view localSuffix = ".local";

} // namespace

std::string userName() {
    if (const passwd* entry = ::getpwuid(::geteuid()); entry != nullptr && entry->pw_name != nullptr) {
        return entry->pw_name;
    }
    const char* name = std::getenv("USER");
    return name != nullptr ? name : "";
}

std::filesystem::path authorizedKeysFile() {
    return CompanionCore::LogLocation::homeDirectory() / ".ssh" / "authorized_keys";
}

std::string hostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (::gethostname(name, sizeof name - 1) != 0) {
        return {};
    }
    return name;
}

std::string firstLabel(const std::string& name) {
    return name.substr(0, name.find('.'));
}

std::string announcedHostName(const std::string& name) {
    return localHostName(announcedLabel(name));
}

std::string localHostName(const std::string& name) {
    return name.ends_with(localSuffix) ? name : name + std::string(localSuffix);
}

std::vector<std::string> hosts(const std::string& name, const std::vector<std::string>& addresses) {
    std::vector<std::string> all{announcedHostName(name)};
    all.insert(all.end(), addresses.begin(), addresses.end());
    return CompanionCore::Addresses::ordered(all);
}

CompanionCore::PairingHandler::Identity identity(const std::string& user, const std::string& computer,
                                                 const std::string& host,
                                                 const std::vector<std::string>& addresses,
                                                 const CompanionCore::Tools::ExecutableTest& isExecutable) {
    CompanionCore::PairingHandler::Identity identity;
    identity.user = user;
    identity.name = computer.empty() ? announcedLabel(host) : computer;
    identity.sshPort = CompanionCore::WellKnown::sshPort;
    identity.hosts = hosts(host, addresses);
    identity.mosh = CompanionCore::Tools::locate("mosh-server", isExecutable).has_value();
    identity.tmux = CompanionCore::Tools::locate("tmux", isExecutable).has_value();
    return identity;
}

} // namespace Companion::HostIdentity
