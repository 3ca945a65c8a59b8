#include "CompanionCore/HttpRequest.h"

#include "CompanionCore/Unicode.h"

#include <charconv>
#include <limits>
#include <vector>

namespace CompanionCore {

namespace {

std::vector<std::string_view> splitLines(std::string_view head) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = head.find("\r\n", start);
        if (end == std::string_view::npos) {
            lines.push_back(head.substr(start));
            return lines;
        }
        lines.push_back(head.substr(start, end - start));
        start = end + 2;
    }
}

std::vector<std::string_view> splitOnSpaces(std::string_view line) {
    std::vector<std::string_view> pieces;
    std::size_t pos = 0;
    while (pos < line.size()) {
        const std::size_t begin = line.find_first_not_of(' ', pos);
        if (begin == std::string_view::npos) {
            break;
        }
        const std::size_t end = line.find(' ', begin);
        pieces.push_back(
            line.substr(begin, end == std::string_view::npos ? std::string_view::npos : end - begin));
        pos = end == std::string_view::npos ? line.size() : end;
    }
    return pieces;
}

/// A signed decimal: optional sign, then ASCII digits only, within 64 bits.
std::optional<long long> toInteger(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty() || text.front() == '-' || text.front() == '+') {
        return std::nullopt;
    }
    unsigned long long magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    constexpr auto maximum = static_cast<unsigned long long>(std::numeric_limits<long long>::max());
    if (negative) {
        if (magnitude > maximum + 1) {
            return std::nullopt;
        }
        return magnitude == maximum + 1 ? std::numeric_limits<long long>::min()
                                        : -static_cast<long long>(magnitude);
    }
    if (magnitude > maximum) {
        return std::nullopt;
    }
    return static_cast<long long>(magnitude);
}

} // namespace

std::optional<HttpRequest> HttpRequest::parseHead(std::string_view head) {
    if (!Unicode::isValidUtf8(head)) {
        return std::nullopt;
    }
    const auto lines = splitLines(head);
    const auto requestLine = splitOnSpaces(lines.front());
    if (requestLine.size() < 2) {
        return std::nullopt;
    }
    HttpRequest request;
    request.method = requestLine[0];
    request.path = requestLine[1];
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::string_view line = lines[i];
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) {
            continue;
        }
        const auto name = Unicode::trim(line.substr(0, colon), Unicode::isBlank);
        const auto value = Unicode::trim(line.substr(colon + 1), Unicode::isBlank);
        request.headers[Unicode::lowercased(name)] = std::string(value);
    }
    return request;
}

std::optional<long long> HttpRequest::declaredBodyLength(const HttpRequest& head) {
    const auto found = head.headers.find("content-length");
    if (found == head.headers.end()) {
        return 0;
    }
    const auto length = toInteger(found->second);
    if (!length) {
        return 0;
    }
    if (*length < 0) {
        return std::nullopt;
    }
    return length;
}

std::optional<HttpRequest> HttpRequest::parse(std::string_view data) {
    const std::size_t headEnd = data.find(headTerminator);
    if (headEnd == std::string_view::npos) {
        return std::nullopt;
    }
    auto request = parseHead(data.substr(0, headEnd));
    if (!request) {
        return std::nullopt;
    }
    const auto length = declaredBodyLength(*request);
    const std::size_t bodyStart = headEnd + headTerminator.size();
    const auto available = static_cast<unsigned long long>(data.size() - bodyStart);
    if (!length || static_cast<unsigned long long>(*length) > available) {
        return std::nullopt;
    }
    request->body = std::string(data.substr(bodyStart, static_cast<std::size_t>(*length)));
    return request;
}

} // namespace CompanionCore
