#include "CompanionCore/EnvironmentFile.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace CompanionCore::EnvironmentFile {

namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) {
        text.remove_suffix(1);
    }
    return text;
}

bool isName(std::string_view name) {
    return !name.empty() && std::isdigit(static_cast<unsigned char>(name.front())) == 0 &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; });
}

} // namespace

std::vector<Entry> parse(std::string_view text) {
    constexpr std::string_view exportWord = "export ";
    std::vector<Entry> entries;
    std::istringstream stream{std::string(text)};
    for (std::string raw; std::getline(stream, raw);) {
        std::string_view line = trimmed(raw);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.starts_with(exportWord)) {
            line = trimmed(line.substr(exportWord.size()));
        }
        const auto equals = line.find('=');
        if (equals == std::string_view::npos || !isName(line.substr(0, equals))) {
            continue;
        }
        std::string_view value = line.substr(equals + 1);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front()) {
            value = value.substr(1, value.size() - 2);
        }
        entries.emplace_back(std::string(line.substr(0, equals)), std::string(value));
    }
    return entries;
}

} // namespace CompanionCore::EnvironmentFile
