#include "CompanionCore/server/LogLocation.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace CompanionCore::LogLocation {

std::filesystem::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
        return home;
    }
    if (const passwd* entry = ::getpwuid(::geteuid()); entry != nullptr && entry->pw_dir != nullptr) {
        return entry->pw_dir;
    }
    return "/";
}

std::filesystem::path forMacos(const std::filesystem::path& home) {
    return home / "Library" / "Logs" / fileName;
}

std::filesystem::path forLinux(const std::filesystem::path& home, const char* xdgStateHome) {
    if (xdgStateHome != nullptr && xdgStateHome[0] == '/') {
        return std::filesystem::path(xdgStateHome) / fileName;
    }
    return home / ".local" / "state" / fileName;
}

} // namespace CompanionCore::LogLocation
