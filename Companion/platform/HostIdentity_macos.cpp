#include "Companion/HostIdentity.h"
#include "Companion/QtProcessRunner.h"

namespace Companion::HostIdentity {

std::string computerName(const std::string& hostName) {
    QtProcessRunner runner;
    return macosComputerName(runner, hostName);
}

bool announcesFirstLabelOnly() {
    return false;
}

std::string announcedLabel(const std::string& hostName) {
    return hostName;
}

} // namespace Companion::HostIdentity
