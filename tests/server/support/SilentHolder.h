#pragma once

#include "server/support/EventLoop.h"

#include <QtGlobal>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace TestSupport {

/// A peer that sends a whole request and then neither reads its answer nor closes: a raw socket, so
/// nothing of the test's loop reads for it.
class SilentHolder {
public:
    SilentHolder(quint16 port, const std::string& from, const std::string& request) {
        // Bound to `from`, sent to the loopback address of the same family.
        const bool ipv6 = from.find(':') != std::string::npos;
        sockaddr_storage source{};
        sockaddr_storage target{};
        socklen_t length = 0;
        if (ipv6) {
            auto* in6 = reinterpret_cast<sockaddr_in6*>(&source);
            in6->sin6_family = AF_INET6;
            ::inet_pton(AF_INET6, from.c_str(), &in6->sin6_addr);
            length = sizeof(sockaddr_in6);
            target = source;
            reinterpret_cast<sockaddr_in6*>(&target)->sin6_port = htons(port);
        } else {
            auto* in4 = reinterpret_cast<sockaddr_in*>(&source);
            in4->sin_family = AF_INET;
            ::inet_pton(AF_INET, from.c_str(), &in4->sin_addr);
            length = sizeof(sockaddr_in);
            target = source;
            reinterpret_cast<sockaddr_in*>(&target)->sin_port = htons(port);
            ::inet_pton(AF_INET, "127.0.0.1", &reinterpret_cast<sockaddr_in*>(&target)->sin_addr);
        }
        m_fd = ::socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        // The handshake is the kernel's: connect returns before the server has accepted.
        m_connected = ::bind(m_fd, reinterpret_cast<const sockaddr*>(&source), length) == 0 &&
                      ::connect(m_fd, reinterpret_cast<const sockaddr*>(&target), length) == 0 &&
                      ::send(m_fd, request.data(), request.size(), MSG_NOSIGNAL) ==
                          static_cast<ssize_t>(request.size());
    }
    SilentHolder(const SilentHolder&) = delete;
    SilentHolder& operator=(const SilentHolder&) = delete;
    ~SilentHolder() { ::close(m_fd); }

    bool connected() const { return m_connected; }
    /// Whether the answer has arrived, looked at without reading it.
    bool answered() const {
        pollfd watched{m_fd, POLLIN, 0};
        return ::poll(&watched, 1, 0) == 1;
    }
    /// Reads what has arrived: the bytes, and whether the server has ended the connection in order
    /// (as opposed to still holding it, or resetting it).
    std::pair<std::string, bool> readAvailable() const {
        std::string bytes;
        char chunk[4096];
        for (;;) {
            const ssize_t count = ::recv(m_fd, chunk, sizeof chunk, MSG_DONTWAIT);
            if (count > 0) {
                bytes.append(chunk, static_cast<std::size_t>(count));
                continue;
            }
            return {bytes, count == 0};
        }
    }

private:
    int m_fd = -1;
    bool m_connected = false;
};

/// Holders from `from`, each answered before the next is opened, so their order is the server's.
inline std::vector<std::unique_ptr<SilentHolder>>
holdAnswered(quint16 port, const std::string& from, int count,
             const std::string& request = "GET / HTTP/1.1\r\n\r\n") {
    std::vector<std::unique_ptr<SilentHolder>> holders;
    for (int i = 0; i < count; ++i) {
        holders.push_back(std::make_unique<SilentHolder>(port, from, request));
        EXPECT_TRUE(holders.back()->connected());
        EXPECT_TRUE(spinUntil([&] { return holders.back()->answered(); }));
    }
    return holders;
}

} // namespace TestSupport
