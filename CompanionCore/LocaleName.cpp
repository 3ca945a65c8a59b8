#include "CompanionCore/LocaleName.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace CompanionCore::LocaleName {

namespace {

/// Locales the C library knows without any locale data.
bool isBuiltIn(std::string_view name) {
    return name == "C" || name == "POSIX";
}

} // namespace

std::string normalized(std::string_view name) {
    const auto dot = name.find('.');
    if (dot == std::string_view::npos) {
        return std::string(name);
    }
    const auto at = name.find('@', dot);
    const std::string_view codeset = name.substr(dot + 1, at == std::string_view::npos ? at : at - dot - 1);
    std::string result(name.substr(0, dot + 1));
    for (const char c : codeset) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    if (at != std::string_view::npos) {
        result += name.substr(at);
    }
    return result;
}

bool isUtf8(std::string_view name) {
    const std::string normal = normalized(name);
    const auto dot = normal.find('.');
    if (dot == std::string::npos) {
        // macOS names the bare character-set locale "UTF-8".
        return normalized("." + std::string(name)) == ".utf8";
    }
    const auto at = normal.find('@', dot);
    return normal.substr(dot + 1, at == std::string::npos ? at : at - dot - 1) == "utf8";
}

bool isAvailable(std::string_view name, const std::vector<std::string>& available) {
    if (isBuiltIn(name)) {
        return true;
    }
    const std::string wanted = normalized(name);
    return std::any_of(available.begin(), available.end(),
                       [&](const std::string& listed) { return normalized(listed) == wanted; });
}

std::vector<std::string> parseList(std::string_view output) {
    std::vector<std::string> names;
    std::istringstream stream{std::string(output)};
    for (std::string line; std::getline(stream, line);) {
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())) != 0) {
            line.pop_back();
        }
        if (!line.empty()) {
            names.push_back(line);
        }
    }
    return names;
}

std::optional<std::string> effective(const std::optional<std::string>& lcAll,
                                     const std::optional<std::string>& lcCtype,
                                     const std::optional<std::string>& lang) {
    for (const auto* value : {&lcAll, &lcCtype, &lang}) {
        if (*value && !(*value)->empty()) {
            return *value;
        }
    }
    return std::nullopt;
}

} // namespace CompanionCore::LocaleName
