#include "Companion/HostIdentity.h"

namespace Companion::HostIdentity {

std::string computerName() {
    return linuxComputerName("/etc/machine-info", hostName());
}

} // namespace Companion::HostIdentity
