#include "CompanionCore/LoginReport.h"

#include <sstream>

namespace CompanionCore {

namespace {

constexpr std::string_view marker = "nuvexa-login ";
constexpr std::string_view end = "end";

} // namespace

std::string_view LoginReport::script() {
    // The leading line feed keeps a startup file's unterminated output off the first marked line.
    return "printf '\\nnuvexa-login PATH=%s\\n' \"$PATH\"; "
           "printf 'nuvexa-login LANG=%s\\n' \"${LANG:-}\"; "
           "printf 'nuvexa-login LC_ALL=%s\\n' \"${LC_ALL:-}\"; "
           "printf 'nuvexa-login LC_CTYPE=%s\\n' \"${LC_CTYPE:-}\"; "
           "printf 'nuvexa-login mosh-server=%s\\n' \"$(command -v mosh-server)\"; "
           "printf 'nuvexa-login end\\n'";
}

std::optional<LoginReport> LoginReport::parse(std::string_view output) {
    LoginReport report;
    bool ended = false;
    const auto optional = [](const std::string& value) {
        return value.empty() ? std::nullopt : std::optional<std::string>(value);
    };
    std::istringstream stream{std::string(output)};
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!line.starts_with(marker)) {
            continue;
        }
        const std::string entry = line.substr(marker.size());
        if (entry == end) {
            ended = true;
            continue;
        }
        const auto equals = entry.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string name = entry.substr(0, equals);
        const std::string value = entry.substr(equals + 1);
        if (name == "PATH") {
            report.path = value;
        } else if (name == "LANG") {
            report.lang = optional(value);
        } else if (name == "LC_ALL") {
            report.lcAll = optional(value);
        } else if (name == "LC_CTYPE") {
            report.lcCtype = optional(value);
        } else if (name == "mosh-server") {
            report.moshServer = optional(value);
        }
    }
    if (!ended) {
        return std::nullopt;
    }
    return report;
}

} // namespace CompanionCore
