#include "Companion/HostIdentity.h"

namespace Companion::HostIdentity {

std::string computerName(const std::string& hostName, ProcessRunner& /*runner*/) {
    return linuxComputerName("/etc/machine-info", announcedLabel(hostName));
}

// Avahi cuts the host name at its first dot and announces that label in ".local".
bool announcesFirstLabelOnly() {
    return true;
}

std::string announcedLabel(const std::string& hostName) {
    return firstLabel(hostName);
}

} // namespace Companion::HostIdentity
