#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// One HTTP/1.1 request as the phone sends it. Bytes are held in std::string.
struct HttpRequest {
    /// First token of the request line, as received.
    std::string method;
    /// Second token of the request line, as received (no decoding, query kept).
    std::string path;
    /// Names trimmed and lower-cased, values trimmed; a repeated name keeps the last value.
    std::map<std::string, std::string> headers;
    /// Exactly Content-Length bytes after the blank line.
    std::string body;

    bool operator==(const HttpRequest&) const = default;

    /// The request once `data` holds a complete one; nothing while it is incomplete or malformed.
    static std::optional<HttpRequest> parse(std::string_view data);

    /// Parses a head (everything before CR LF CR LF) into method, path and headers, leaving the body
    /// empty; nothing when the head is malformed.
    static std::optional<HttpRequest> parseHead(std::string_view head);

    /// The body length a parsed head declares: 0 when Content-Length is absent or does not convert,
    /// nothing when it converts to a negative number (such a request is refused outright).
    static std::optional<long long> declaredBodyLength(const HttpRequest& head);
};

/// The blank line that ends a head.
inline constexpr std::string_view headTerminator = "\r\n\r\n";

} // namespace CompanionCore
