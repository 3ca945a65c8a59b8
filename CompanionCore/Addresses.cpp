#include "CompanionCore/Addresses.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <unordered_set>

namespace CompanionCore::Addresses {

namespace {

constexpr std::string_view bonjourSuffix = ".local";
constexpr std::string_view linkLocalPrefix = "169.254.";

std::optional<long long> toInteger(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
            return std::nullopt;
        }
    }
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

int rank(Kind kind) {
    switch (kind) {
    case Kind::bonjour:
        return 0;
    case Kind::lan:
        return 1;
    case Kind::mesh:
        return 2;
    case Kind::other:
        return 3;
    }
    return 3;
}

} // namespace

Kind classify(std::string_view host) {
    if (host.ends_with(bonjourSuffix)) {
        return Kind::bonjour;
    }
    std::vector<long long> numbers;
    std::size_t start = 0;
    while (start <= host.size()) {
        std::size_t end = host.find('.', start);
        if (end == std::string_view::npos) {
            end = host.size();
        }
        if (const auto number = toInteger(host.substr(start, end - start))) {
            numbers.push_back(*number);
        }
        start = end + 1;
    }
    if (numbers.size() != 4) {
        return Kind::other;
    }
    const long long first = numbers[0];
    const long long second = numbers[1];
    if (first == 10) {
        return Kind::lan;
    }
    if (first == 100 && second >= 64 && second <= 127) {
        return Kind::mesh;
    }
    if (first == 172 && second >= 16 && second <= 31) {
        return Kind::lan;
    }
    if (first == 192 && second == 168) {
        return Kind::lan;
    }
    return Kind::other;
}

std::vector<std::string> ordered(const std::vector<std::string>& hosts) {
    std::vector<std::string> unique;
    std::unordered_set<std::string> seen;
    for (const auto& host : hosts) {
        if (seen.insert(host).second) {
            unique.push_back(host);
        }
    }
    std::stable_sort(unique.begin(), unique.end(), [](const std::string& a, const std::string& b) {
        return rank(classify(a)) < rank(classify(b));
    });
    return unique;
}

bool isLinkLocal(std::string_view address) {
    return classify(address) == Kind::other && address.starts_with(linkLocalPrefix);
}

} // namespace CompanionCore::Addresses
