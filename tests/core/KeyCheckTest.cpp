#include "CompanionCore/KeyCheck.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <stop_token>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using CompanionCore::KeyCheck::Verdict;
namespace KeyCheck = CompanionCore::KeyCheck;

constexpr std::chrono::milliseconds testBound = 5s;

/// A TCP socket of the test's own on 127.0.0.1, bound to a port the system picks; listening only
/// when asked, so that without it the port refuses every connection.
class LoopbackPort {
public:
    explicit LoopbackPort(bool listening) {
        m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), length), 0)
            << std::strerror(errno);
        EXPECT_EQ(::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
        m_port = ntohs(address.sin_port);
        if (listening) {
            EXPECT_EQ(::listen(m_fd, 4), 0) << std::strerror(errno);
        }
    }
    LoopbackPort(const LoopbackPort&) = delete;
    LoopbackPort& operator=(const LoopbackPort&) = delete;
    ~LoopbackPort() { ::close(m_fd); }

    int port() const { return m_port; }

    /// Sends every connection `greeting` and closes it, until `stop` is requested.
    void greetUntilStopped(std::string_view greeting, const std::stop_token& stop) const {
        while (!stop.stop_requested()) {
            pollfd waiting{m_fd, POLLIN, 0};
            if (::poll(&waiting, 1, 20) != 1) {
                continue;
            }
            const int connection = ::accept(m_fd, nullptr, nullptr);
            if (connection >= 0) {
                [[maybe_unused]] const auto sent =
                    ::send(connection, greeting.data(), greeting.size(), MSG_NOSIGNAL);
                ::close(connection);
            }
        }
    }

private:
    int m_fd = -1;
    int m_port = 0;
};

KeyCheck::Query queryFor(int port) {
    KeyCheck::Query query;
    query.host = "127.0.0.1";
    query.port = port;
    query.user = "ana";
    query.keyType = "ssh-ed25519";
    query.keyBase64 = "AAAAC3NzaC1lZDI1NTE5AAAAIAR1UTTRYI+sWCvRZPt8cTd9Nyntus30fuAWR/HlM5WG";
    query.bound = testBound;
    return query;
}

} // namespace

TEST(KeyCheckTest, AsksTheSshPortWithinTheAnswerBoundUnlessToldOtherwise) {
    EXPECT_EQ(KeyCheck::Query{}.port, 22);
    EXPECT_EQ(KeyCheck::Query{}.bound, std::chrono::seconds(10));
}

TEST(KeyCheckTest, AProbeOfAListeningPortIsAccepted) {
    const LoopbackPort server(true);
    std::string detail = "untouched";
    EXPECT_EQ(KeyCheck::probe("127.0.0.1", server.port(), testBound, &detail), Verdict::accepted);
    EXPECT_EQ(detail, "untouched");
}

TEST(KeyCheckTest, AProbeOfAPortNothingListensOnFindsNoServerAndSaysWhy) {
    const LoopbackPort closed(false);
    std::string detail;
    EXPECT_EQ(KeyCheck::probe("127.0.0.1", closed.port(), testBound, &detail), Verdict::noServer);
    EXPECT_EQ(detail, std::strerror(ECONNREFUSED));
}

TEST(KeyCheckTest, AskingWhereNothingListensAnswersNoServerWithoutAHostKey) {
    const LoopbackPort closed(false);
    const auto answer = KeyCheck::ask(queryFor(closed.port()));
    EXPECT_EQ(answer.verdict, Verdict::noServer);
    EXPECT_EQ(answer.hostKeyFingerprint, std::nullopt);
    EXPECT_EQ(answer.detail, std::strerror(ECONNREFUSED));
}

TEST(KeyCheckTest, APeerThatSpeaksNoSshFailsTheHandshakeAndCountsAsUnreachable) {
    const LoopbackPort web(true);
    // Every connection is greeted: the probe that comes first as well as the library's.
    std::jthread peer(
        [&web](std::stop_token stop) { web.greetUntilStopped("HTTP/1.1 400 Bad Request\r\n\r\n", stop); });
    const auto answer = KeyCheck::ask(queryFor(web.port()));
    peer.request_stop();
    EXPECT_EQ(answer.verdict, Verdict::unreachable);
    EXPECT_EQ(answer.hostKeyFingerprint, std::nullopt);
    EXPECT_FALSE(answer.detail.empty()) << "the library's own words are kept for the log";
}
