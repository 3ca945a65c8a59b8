#include "CompanionCore/server/LogLocation.h"

#include <cstdlib>

namespace CompanionCore::LogLocation {

std::filesystem::path platformDefault() {
    return forLinux(homeDirectory(), std::getenv("XDG_STATE_HOME"));
}

} // namespace CompanionCore::LogLocation
