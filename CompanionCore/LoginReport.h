#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// What a non-interactive SSH login finds, as the login shell itself reports it: where `mosh-server`
/// is on its PATH and the locale variables it runs with.
struct LoginReport {
    /// `command -v mosh-server`; nothing when the login does not find it.
    std::optional<std::string> moshServer;
    std::string path;
    std::optional<std::string> lang;
    std::optional<std::string> lcAll;
    std::optional<std::string> lcCtype;

    /// The command line the login shell runs (POSIX shell syntax). It marks each of its lines, so
    /// whatever the user's startup files print around it does not matter.
    static std::string_view script();

    /// The report in the output of `script`; nothing when the script did not run to its end.
    static std::optional<LoginReport> parse(std::string_view output);

    bool operator==(const LoginReport&) const = default;
};

} // namespace CompanionCore
