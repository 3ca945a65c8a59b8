#include "Companion/HostIdentity.h"

namespace Companion::HostIdentity {

std::string computerName(const std::string& hostName, ProcessRunner& runner) {
    return macosComputerName(runner, hostName);
}

bool announcesFirstLabelOnly() {
    return false;
}

std::string announcedLabel(const std::string& hostName) {
    return hostName;
}

} // namespace Companion::HostIdentity
