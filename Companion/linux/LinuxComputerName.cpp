#include "Companion/HostIdentity.h"

#include <fstream>
#include <optional>

namespace Companion::HostIdentity {

namespace {

constexpr std::string_view prettyKey = "PRETTY_HOSTNAME=";

/// The value of an environment-style assignment, unquoted as a shell would for the forms that
/// machine-info uses: "double quoted" with backslash escapes, 'single quoted', or bare.
std::string unquoted(std::string_view value) {
    if (value.empty()) {
        return {};
    }
    std::string text;
    if (value.front() == '"') {
        for (std::size_t i = 1; i < value.size() && value[i] != '"'; ++i) {
            if (value[i] == '\\' && i + 1 < value.size()) {
                ++i;
            }
            text += value[i];
        }
        return text;
    }
    if (value.front() == '\'') {
        const std::size_t end = value.find('\'', 1);
        return std::string(value.substr(1, end == std::string_view::npos ? std::string_view::npos : end - 1));
    }
    const std::size_t end = value.find_last_not_of(" \t\r");
    return std::string(value.substr(0, end == std::string_view::npos ? 0 : end + 1));
}

std::optional<std::string> prettyHostName(const std::filesystem::path& machineInfo) {
    std::ifstream file(machineInfo);
    std::optional<std::string> found;
    for (std::string line; std::getline(file, line);) {
        const std::size_t start = line.find_first_not_of(" \t");
        if (start != std::string::npos && std::string_view(line).substr(start).starts_with(prettyKey)) {
            // The last assignment wins, as when the file is sourced.
            found = unquoted(std::string_view(line).substr(start + prettyKey.size()));
        }
    }
    return found;
}

} // namespace

std::string linuxComputerName(const std::filesystem::path& machineInfo, const std::string& fallback) {
    const std::optional<std::string> pretty = prettyHostName(machineInfo);
    return pretty && !pretty->empty() ? *pretty : fallback;
}

} // namespace Companion::HostIdentity
