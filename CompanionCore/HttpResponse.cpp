#include "CompanionCore/HttpResponse.h"

#include "CompanionCore/PairingError.h"

namespace CompanionCore::HttpResponse {

std::string json(int status, std::string_view reason, std::string_view body) {
    std::string out;
    out.reserve(128 + body.size());
    out += "HTTP/1.1 ";
    out += std::to_string(status);
    out += ' ';
    out += reason;
    out += "\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: ";
    out += std::to_string(body.size());
    out += "\r\nConnection: close\r\n\r\n";
    out += body;
    return out;
}

std::string error(int status, std::string_view reason, std::string_view message) {
    return json(status, reason, PairingError{std::string(message)}.encode());
}

} // namespace CompanionCore::HttpResponse
