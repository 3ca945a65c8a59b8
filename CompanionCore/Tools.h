#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Finds the command-line programs the companion depends on in a fixed list of directories. The
/// user's PATH is never consulted: an app started from a desktop inherits none worth trusting.
namespace CompanionCore::Tools {

/// Searched in this order: the Homebrew prefixes first, then the system's directories.
const std::vector<std::string>& searchPaths();

/// The relay tool's download page.
inline constexpr std::string_view drozakDownload = "https://drozak.net/downloads";

/// Whether a path names an existing regular file the current user may execute.
using ExecutableTest = std::function<bool(const std::string& path)>;

/// The file system's own answer for `ExecutableTest`.
bool isExecutableFile(const std::string& path);

/// The first "directory/name" that is executable, or nothing. Nothing is cached.
std::optional<std::string> locate(std::string_view name,
                                  const ExecutableTest& isExecutable = isExecutableFile,
                                  const std::vector<std::string>& paths = searchPaths());

/// How a component looks for programs, for tests to replace; each empty member means the real one.
struct Lookup {
    ExecutableTest isExecutable;
    std::optional<std::vector<std::string>> searchPaths;

    /// Whether `path` is executable by this lookup's test.
    bool executable(const std::string& path) const;
    /// `Tools::locate` with this lookup's test and directories.
    std::optional<std::string> locate(std::string_view name) const;
};

} // namespace CompanionCore::Tools
