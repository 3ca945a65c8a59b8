#include "CompanionCore/SshConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <vector>

namespace CompanionCore {

namespace {

constexpr std::size_t connectionFields = 4;
constexpr int highestPort = 65535;

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> found;
    std::size_t at = 0;
    while (at < text.size()) {
        const auto start = text.find_first_not_of(' ', at);
        if (start == std::string_view::npos) {
            break;
        }
        auto end = text.find(' ', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        found.push_back(text.substr(start, end - start));
        at = end;
    }
    return found;
}

std::optional<int> port(std::string_view text) {
    if (text.empty() || text.size() > 5) {
        return std::nullopt;
    }
    int value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
    }
    if (value == 0 || value > highestPort) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<SshConnection> SshConnection::parse(std::string_view value) {
    const auto fields = words(value);
    if (fields.size() != connectionFields) {
        return std::nullopt;
    }
    const auto clientPort = port(fields[1]);
    if (!clientPort || !port(fields[3])) {
        return std::nullopt;
    }
    return SshConnection{std::string(fields[0]), *clientPort};
}

std::string SshConnection::normalizedAddress(std::string_view address) {
    const std::string text(address);
    in6_addr v6{};
    if (inet_pton(AF_INET6, text.c_str(), &v6) != 1) {
        return text;
    }
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    if (IN6_IS_ADDR_V4MAPPED(&v6)) {
        in_addr v4{};
        static_assert(sizeof v4 == 4);
        std::copy(v6.s6_addr + 12, v6.s6_addr + 16, reinterpret_cast<unsigned char*>(&v4));
        if (inet_ntop(AF_INET, &v4, buffer.data(), buffer.size()) != nullptr) {
            return buffer.data();
        }
        return text;
    }
    if (inet_ntop(AF_INET6, &v6, buffer.data(), buffer.size()) != nullptr) {
        return buffer.data();
    }
    return text;
}

} // namespace CompanionCore
