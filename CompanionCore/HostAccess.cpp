#include "CompanionCore/HostAccess.h"

#include "CompanionCore/WellKnown.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string>
#include <vector>

namespace CompanionCore::HostAccess {

namespace {

/// A rule letting the first pairing port in is taken to let the pairing in.
constexpr int firstPairingPort = WellKnown::pairingPorts.front();

std::vector<std::string> words(std::string_view line) {
    std::istringstream stream{std::string(line)};
    std::vector<std::string> result;
    for (std::string word; stream >> word;) {
        result.push_back(word);
    }
    return result;
}

std::optional<int> number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

/// "22", "22/tcp", "52901:52904/tcp" (ufw) or "52901-52904/tcp" (firewalld) naming `port` over TCP.
bool names(std::string_view entry, int port) {
    const auto slash = entry.find('/');
    if (slash != std::string_view::npos) {
        if (entry.substr(slash + 1) != "tcp") {
            return false;
        }
        entry = entry.substr(0, slash);
    }
    const auto dash = entry.find_first_of(":-");
    if (dash == std::string_view::npos) {
        return number(entry) == port;
    }
    const auto low = number(entry.substr(0, dash));
    const auto high = number(entry.substr(dash + 1));
    return low && high && *low <= port && port <= *high;
}

bool contains(std::string_view text, std::string_view piece) {
    return text.find(piece) != std::string_view::npos;
}

} // namespace

std::optional<Blocked> fromUfw(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::optional<bool> active;
    bool denyByDefault = false;
    std::optional<bool> sshAllowed;
    std::optional<bool> pairingAllowed;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("Status:")) {
            active = contains(line, "Status: active");
            continue;
        }
        if (line.starts_with("Default:")) {
            const auto incoming = line.find("(incoming)");
            const auto policy = std::string_view(line).substr(0, incoming);
            denyByDefault =
                incoming != std::string::npos && (policy.ends_with("deny ") || policy.ends_with("reject "));
            continue;
        }
        const auto pieces = words(line);
        if (pieces.size() < 2 ||
            (pieces[1] != "ALLOW" && pieces[1] != "DENY" && pieces[1] != "REJECT" && pieces[1] != "LIMIT")) {
            continue;
        }
        const bool allows = pieces[1] == "ALLOW" || pieces[1] == "LIMIT";
        if (!sshAllowed && (names(pieces[0], WellKnown::sshPort) || pieces[0] == "OpenSSH")) {
            sshAllowed = allows;
        }
        if (!pairingAllowed && names(pieces[0], firstPairingPort)) {
            pairingAllowed = allows;
        }
    }
    if (!active) {
        return std::nullopt;
    }
    if (!*active) {
        return Blocked{};
    }
    return Blocked{!sshAllowed.value_or(!denyByDefault), !pairingAllowed.value_or(!denyByDefault)};
}

std::optional<Blocked> fromFirewalld(std::string_view text) {
    std::istringstream stream{std::string(text)};
    bool accepting = false;
    std::optional<std::vector<std::string>> services;
    std::optional<std::vector<std::string>> ports;
    for (std::string line; std::getline(stream, line);) {
        const auto pieces = words(line);
        if (pieces.empty()) {
            continue;
        }
        const std::vector<std::string> rest(pieces.begin() + 1, pieces.end());
        if (pieces[0] == "target:") {
            accepting = !rest.empty() && rest[0] == "ACCEPT";
        } else if (pieces[0] == "services:") {
            services = rest;
        } else if (pieces[0] == "ports:") {
            ports = rest;
        }
    }
    if (!services && !ports) {
        return std::nullopt;
    }
    const auto allowed = [&](int port, std::string_view service) {
        const auto byService =
            services && std::find(services->begin(), services->end(), service) != services->end();
        const auto byPort = ports && std::any_of(ports->begin(), ports->end(), [&](const std::string& entry) {
                                return names(entry, port);
                            });
        return accepting || byService || byPort;
    };
    return Blocked{!allowed(WellKnown::sshPort, "ssh"), !allowed(firstPairingPort, "")};
}

bool blocksAllIncoming(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return contains(lower, "enabled");
}

bool accessGroupExcludes(std::string_view text) {
    return text.starts_with("no ");
}

} // namespace CompanionCore::HostAccess
