#pragma once

// A phone as the benchmarks play it: blocking sockets over loopback, one request per connection.

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

/// Connects from 127.0.0.`from`: each simulated phone has an address of its own, as real ones do, so
/// the per-address connection limit does not throttle the measurement. -1 when refused.
inline int connectTo(std::uint16_t port, int from = 1) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in source{};
    source.sin_family = AF_INET;
    source.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + static_cast<std::uint32_t>(from));
    ::bind(fd, reinterpret_cast<sockaddr*>(&source), sizeof source);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

inline bool sendAll(int fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

/// Connect, send, read to the server's close; the status code, or nothing when refused or cut off.
inline std::optional<int> roundTrip(std::uint16_t port, const std::string& request, int from = 1) {
    const int fd = connectTo(port, from);
    if (fd < 0 || !sendAll(fd, request)) {
        if (fd >= 0) {
            ::close(fd);
        }
        return std::nullopt;
    }
    std::string response;
    char chunk[4096];
    for (;;) {
        const ssize_t count = ::recv(fd, chunk, sizeof chunk, 0);
        if (count <= 0) {
            break;
        }
        response.append(chunk, static_cast<std::size_t>(count));
    }
    ::close(fd);
    if (response.size() < 12 || response.compare(0, 9, "HTTP/1.1 ") != 0) {
        return std::nullopt;
    }
    return std::stoi(response.substr(9, 3));
}

inline std::string post(const std::string& path, const std::string& body) {
    return "POST " + path +
           " HTTP/1.1\r\nHost: companion\r\nContent-Type: application/json\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

inline std::string pairingBody(const std::string& code, const std::string& key, const std::string& device) {
    return R"({"code":")" + code + R"(","publicKey":")" + key + R"(","device":")" + device + R"("})";
}

} // namespace Bench
