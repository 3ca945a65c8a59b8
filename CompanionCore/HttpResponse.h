#pragma once

#include <string>
#include <string_view>

namespace CompanionCore::HttpResponse {

/// The complete response: status line, Content-Type, Content-Length, Connection: close, blank line,
/// then the body unchanged. No other header is ever written.
std::string json(int status, std::string_view reason, std::string_view body);

/// 200 "OK" with any record that encodes itself as JSON.
template <typename Record>
std::string ok(const Record& record) {
    return json(200, "OK", record.encode());
}

/// A `PairingError` carrying `message`, with the given status and reason.
std::string error(int status, std::string_view reason, std::string_view message);

} // namespace CompanionCore::HttpResponse
