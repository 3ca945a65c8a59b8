#include "CompanionCore/server/LogLocation.h"

namespace CompanionCore::LogLocation {

std::filesystem::path platformDefault() {
    return forMacos(homeDirectory());
}

} // namespace CompanionCore::LogLocation
