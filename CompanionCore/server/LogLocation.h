#pragma once

#include <filesystem>
#include <string_view>

/// Where the pairing log lives on each platform. Both rules compile everywhere so both are tested;
/// the build links the one `platformDefault` of the platform being built.
namespace CompanionCore::LogLocation {

inline constexpr std::string_view fileName = "nuvexa-companion.log";

/// $HOME when it is an absolute path, otherwise the password database's home of the effective user.
std::filesystem::path homeDirectory();

/// macOS: Library/Logs/nuvexa-companion.log under the home folder, where Console finds it.
std::filesystem::path forMacos(const std::filesystem::path& home);

/// Linux: nuvexa-companion.log in $XDG_STATE_HOME, or in .local/state under the home folder when the
/// variable is unset, empty or not absolute (the XDG base directory rules).
std::filesystem::path forLinux(const std::filesystem::path& home, const char* xdgStateHome);

/// This platform's location for the current user.
std::filesystem::path platformDefault();

} // namespace CompanionCore::LogLocation
