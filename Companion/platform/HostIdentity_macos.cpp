#include "Companion/HostIdentity.h"
#include "Companion/QtProcessRunner.h"

namespace Companion::HostIdentity {

std::string computerName() {
    QtProcessRunner runner;
    return macosComputerName(runner, hostName());
}

} // namespace Companion::HostIdentity
