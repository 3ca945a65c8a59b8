#include "CompanionCore/SshdSettings.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace CompanionCore {

namespace {

std::optional<bool> yesNo(std::string_view value) {
    if (value == "yes") {
        return true;
    }
    if (value == "no") {
        return false;
    }
    return std::nullopt;
}

std::vector<std::string> words(std::string_view value) {
    std::istringstream stream{std::string(value)};
    std::vector<std::string> result;
    for (std::string word; stream >> word;) {
        result.push_back(word);
    }
    return result;
}

/// The user part of an `AllowUsers` entry; the host part cannot be judged before the phone connects.
std::string_view userPart(std::string_view entry) {
    return entry.substr(0, entry.find('@'));
}

bool anyMatches(const std::vector<std::string>& patterns, std::string_view name) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string& pattern) { return matchesPattern(userPart(pattern), name); });
}

bool anyGroupMatches(const std::vector<std::string>& patterns, const std::vector<std::string>& groups) {
    return std::any_of(groups.begin(), groups.end(),
                       [&](const std::string& group) { return anyMatches(patterns, group); });
}

/// `%h`, `%u` and `%%` expanded; a relative path is taken from the home directory, as sshd does.
std::filesystem::path expanded(std::string_view entry, const std::string& user,
                               const std::filesystem::path& home) {
    std::string path;
    for (std::size_t i = 0; i < entry.size(); ++i) {
        if (entry[i] == '%' && i + 1 < entry.size()) {
            const char token = entry[++i];
            if (token == 'h') {
                path += home.string();
            } else if (token == 'u') {
                path += user;
            } else if (token == '%') {
                path += '%';
            } else {
                path += '%';
                path += token;
            }
        } else {
            path += entry[i];
        }
    }
    const std::filesystem::path result(path);
    return (result.is_absolute() ? result : home / result).lexically_normal();
}

bool isLoopback(std::string_view address) {
    return address.starts_with("127.") || address.starts_with("[::1]") || address.starts_with("::1") ||
           address.starts_with("localhost");
}

/// The address part of "address:port", "[address]:port" or a bare address.
std::string_view hostPart(std::string_view entry) {
    if (entry.starts_with('[')) {
        return entry.substr(1, entry.find(']') - 1);
    }
    const auto colon = entry.find(':');
    if (colon != std::string_view::npos && entry.find(':', colon + 1) == std::string_view::npos) {
        return entry.substr(0, colon);
    }
    return entry;
}

} // namespace

bool matchesPattern(std::string_view pattern, std::string_view text) {
    if (pattern.empty()) {
        return text.empty();
    }
    if (pattern.front() == '*') {
        for (std::size_t skip = 0; skip <= text.size(); ++skip) {
            if (matchesPattern(pattern.substr(1), text.substr(skip))) {
                return true;
            }
        }
        return false;
    }
    if (text.empty() || (pattern.front() != '?' && pattern.front() != text.front())) {
        return false;
    }
    return matchesPattern(pattern.substr(1), text.substr(1));
}

std::optional<SshdSettings> SshdSettings::parse(std::string_view text) {
    SshdSettings settings;
    bool sawPort = false;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        const auto blank = line.find(' ');
        if (blank == std::string::npos) {
            continue;
        }
        const std::string_view keyword = std::string_view(line).substr(0, blank);
        const std::string_view value = std::string_view(line).substr(blank + 1);
        if (keyword == "port") {
            int port = 0;
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), port);
            if (error != std::errc() || end != value.data() + value.size()) {
                return std::nullopt;
            }
            settings.ports.push_back(port);
            sawPort = true;
        } else if (keyword == "pubkeyauthentication" || keyword == "strictmodes") {
            const auto flag = yesNo(value);
            if (!flag) {
                return std::nullopt;
            }
            (keyword == "strictmodes" ? settings.strictModes : settings.publicKeys) = *flag;
        } else if (keyword == "authorizedkeysfile") {
            settings.authorizedKeysFiles = words(value);
        } else if (keyword == "allowusers") {
            settings.allowUsers.emplace_back(value);
        } else if (keyword == "allowgroups") {
            settings.allowGroups.emplace_back(value);
        } else if (keyword == "denyusers") {
            settings.denyUsers.emplace_back(value);
        } else if (keyword == "denygroups") {
            settings.denyGroups.emplace_back(value);
        } else if (keyword == "acceptenv") {
            const auto names = words(value);
            settings.acceptEnv.insert(settings.acceptEnv.end(), names.begin(), names.end());
        } else if (keyword == "listenaddress") {
            // A routing domain may follow the address.
            settings.listenAddresses.emplace_back(value.substr(0, value.find(' ')));
        }
    }
    if (!sawPort) {
        return std::nullopt;
    }
    return settings;
}

std::vector<Obstacle> SshdSettings::obstacles(const std::string& user, const std::vector<std::string>& groups,
                                              const std::filesystem::path& home,
                                              const std::filesystem::path& keyFile) const {
    std::vector<Obstacle> found;
    if (!publicKeys) {
        found.push_back(Obstacle::publicKeysDisabled);
    }
    if (anyMatches(denyUsers, user)) {
        found.push_back(Obstacle::userDenied);
    }
    if (!allowUsers.empty() && !anyMatches(allowUsers, user)) {
        found.push_back(Obstacle::userNotAllowed);
    }
    if (anyGroupMatches(denyGroups, groups)) {
        found.push_back(Obstacle::groupDenied);
    }
    if (!allowGroups.empty() && !anyGroupMatches(allowGroups, groups)) {
        found.push_back(Obstacle::groupNotAllowed);
    }
    const auto wanted = keyFile.lexically_normal();
    const bool named =
        std::any_of(authorizedKeysFiles.begin(), authorizedKeysFiles.end(), [&](const std::string& entry) {
            return entry != "none" && expanded(entry, user, home) == wanted;
        });
    if (!named) {
        found.push_back(Obstacle::keyFileElsewhere);
    }
    return found;
}

bool SshdSettings::acceptsEnvironment(std::string_view name) const {
    return std::any_of(acceptEnv.begin(), acceptEnv.end(),
                       [&](const std::string& pattern) { return matchesPattern(pattern, name); });
}

bool SshdSettings::listensOnLoopbackOnly() const {
    return !listenAddresses.empty() &&
           std::all_of(listenAddresses.begin(), listenAddresses.end(),
                       [](const std::string& address) { return isLoopback(address); });
}

bool SshdSettings::listensOn(std::string_view address) const {
    const bool ipv6 = address.find(':') != std::string_view::npos;
    return listenAddresses.empty() ||
           std::any_of(listenAddresses.begin(), listenAddresses.end(), [&](const std::string& entry) {
               const auto host = hostPart(entry);
               return host == address || host == (ipv6 ? "::" : "0.0.0.0");
           });
}

} // namespace CompanionCore
