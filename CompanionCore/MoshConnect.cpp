#include "CompanionCore/MoshConnect.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

namespace CompanionCore {

namespace {

constexpr std::string_view connectPrefix = "MOSH CONNECT ";
constexpr std::string_view detachedPrefix = "[mosh-server detached, pid = ";
constexpr int highestPort = 65535;

bool isKeyCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/';
}

template <typename Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::string_view withoutCarriageReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

} // namespace

std::optional<MoshConnect> MoshConnect::parse(std::string_view output) {
    std::istringstream stream{std::string(output)};
    for (std::string text; std::getline(stream, text);) {
        const std::string_view line = withoutCarriageReturn(text);
        if (!line.starts_with(connectPrefix)) {
            continue;
        }
        const std::string_view rest = line.substr(connectPrefix.size());
        const auto blank = rest.find(' ');
        if (blank == std::string_view::npos) {
            return std::nullopt;
        }
        const auto port = number<int>(rest.substr(0, blank));
        const std::string_view key = rest.substr(blank + 1);
        if (!port || *port <= 0 || *port > highestPort || key.size() != keyLength ||
            !std::all_of(key.begin(), key.end(), isKeyCharacter)) {
            return std::nullopt;
        }
        return MoshConnect{*port, std::string(key)};
    }
    return std::nullopt;
}

std::optional<long long> MoshConnect::detachedPid(std::string_view output) {
    std::istringstream stream{std::string(output)};
    for (std::string text; std::getline(stream, text);) {
        const std::string_view line = withoutCarriageReturn(text);
        if (!line.starts_with(detachedPrefix) || !line.ends_with(']')) {
            continue;
        }
        const auto pid =
            number<long long>(line.substr(detachedPrefix.size(), line.size() - detachedPrefix.size() - 1));
        if (pid && *pid > 1) {
            return pid;
        }
    }
    return std::nullopt;
}

} // namespace CompanionCore
