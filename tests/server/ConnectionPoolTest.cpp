#include "CompanionCore/server/ConnectionPool.h"

#include "server/support/EventLoop.h"
#include "server/support/PhoneClient.h"
#include "server/support/SilentHolder.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using CompanionCore::ConnectionPool;
using CompanionCore::HttpRequest;
using TestSupport::PhoneClient;
using TestSupport::spinUntil;

const QByteArray reply = "HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno";
const QByteArray shortRequest = "GET / HTTP/1.1\r\n\r\n";

/// Deadlines far beyond any test: only what a test does decides what happens.
ConnectionPool::Options patient() {
    ConnectionPool::Options options;
    options.headTimeout = 10min;
    options.requestTimeout = 10min;
    return options;
}

/// A pool behind a listener on loopback, as the pairing server holds one. What it hands over is
/// recorded and, unless a test answers itself, answered at once with `reply`.
class ConnectionPoolTest : public testing::Test {
protected:
    struct Handed {
        QTcpSocket* connection = nullptr;
        HttpRequest request;
        std::optional<ConnectionPool::Peer> peer;
    };

    void start(const ConnectionPool::Options& options = patient()) {
        m_pool = std::make_unique<ConnectionPool>(
            options, [this](QTcpSocket* connection, const HttpRequest& request) {
                m_handed.push_back({connection, request, m_pool->peerOf(connection)});
                if (m_onHandover) {
                    m_onHandover();
                }
                if (m_answerAtOnce) {
                    m_pool->deliver(connection, reply.toStdString());
                }
            });
        ASSERT_TRUE(m_listener.listen(QHostAddress::LocalHost, 0));
        QObject::connect(&m_listener, &QTcpServer::newConnection, &m_listener,
                         [this] { m_pool->acceptFrom(m_listener); });
    }

    quint16 port() const { return m_listener.serverPort(); }

    /// A plain socket connected to the listener; the system completes the connection before the pool
    /// has accepted it.
    int connectedSocket() const {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
        return fd;
    }

    /// A plain socket that has sent `bytes` before the pool accepts it: they are with the system by
    /// the time any deadline of the connection is judged, however slowly the test runs.
    int sentBeforeAcceptance(const QByteArray& bytes) const {
        const int fd = connectedSocket();
        EXPECT_EQ(::send(fd, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL),
                  bytes.size());
        return fd;
    }

    /// What arrives on `fd` until the pool ends the connection in order; nothing when it is reset.
    static std::optional<QByteArray> readUntilClosed(int fd) {
        EXPECT_EQ(::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK), 0);
        QByteArray received;
        bool orderly = false;
        spinUntil([&] {
            char buffer[4096];
            for (;;) {
                const ssize_t count = ::recv(fd, buffer, sizeof buffer, 0);
                if (count > 0) {
                    received.append(buffer, static_cast<qsizetype>(count));
                    continue;
                }
                orderly = count == 0;
                return count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
            }
        });
        return orderly ? std::optional(received) : std::nullopt;
    }

    QTcpServer m_listener;
    std::unique_ptr<ConnectionPool> m_pool;
    std::vector<Handed> m_handed;
    bool m_answerAtOnce = true;
    std::function<void()> m_onHandover;
};

} // namespace

TEST_F(ConnectionPoolTest, HandsOverARequestSentInPartsOnceAndWhole) {
    start();
    const QByteArray request = TestSupport::pairingRequest("123456", TestSupport::sampleEd25519Key, "Phone");
    int partsSent = 0;
    int partsAtHandover = 0;
    m_onHandover = [&] { partsAtHandover = partsSent; };
    PhoneClient client(port());
    ASSERT_TRUE(client.waitConnected());
    const qsizetype third = request.size() / 3;
    for (int part = 0; part < 3; ++part) {
        client.send(part < 2 ? request.mid(part * third, third) : request.mid(2 * third));
        ++partsSent;
        TestSupport::settle(20ms);
    }
    EXPECT_EQ(client.waitClosed(), reply);
    EXPECT_EQ(partsAtHandover, 3);
    ASSERT_EQ(m_handed.size(), 1u);
    EXPECT_EQ(m_handed[0].request, HttpRequest::parse(request.toStdString()));
}

TEST_F(ConnectionPoolTest, APeerThatLeavesHalfwayThroughARequestIsForgottenUnheard) {
    start();
    const QByteArray request = TestSupport::pairingRequest("123456", TestSupport::sampleEd25519Key, "Phone");
    PhoneClient client(port());
    ASSERT_TRUE(client.waitConnected());
    client.send(request.left(request.size() / 2));
    // Half-close: the peer is done sending but could still read an answer.
    ASSERT_EQ(::shutdown(static_cast<int>(client.socket().socketDescriptor()), SHUT_WR), 0);
    EXPECT_TRUE(client.waitClosed().isEmpty());
    EXPECT_TRUE(spinUntil([&] { return m_pool->size() == 0; }));
    EXPECT_TRUE(m_handed.empty());
}

TEST_F(ConnectionPoolTest, ClosesWithoutAWordOneByteBeyondTheBoundWithoutARequest) {
    start();
    QByteArray bytes = "POST /pair HTTP/1.1\r\nX-Filler: ";
    bytes += QByteArray(static_cast<qsizetype>(ConnectionPool::maxRequestBytes) + 1 - bytes.size(), 'a');
    ASSERT_EQ(bytes.size(), 65537);
    EXPECT_TRUE(TestSupport::exchange(port(), bytes).isEmpty());
    EXPECT_TRUE(m_handed.empty());
}

TEST_F(ConnectionPoolTest, HandsOverACompleteRequestOfExactlyTheBound) {
    start();
    const QByteArray head = "POST /elsewhere HTTP/1.1\r\nContent-Length: 00000\r\n\r\n";
    const QByteArray body(static_cast<qsizetype>(ConnectionPool::maxRequestBytes) - head.size(), 'b');
    QByteArray request = head;
    request.replace("00000", QByteArray::number(body.size()).rightJustified(5, '0'));
    request += body;
    ASSERT_EQ(request.size(), 65536);
    EXPECT_EQ(TestSupport::exchange(port(), request), reply);
    ASSERT_EQ(m_handed.size(), 1u);
    EXPECT_EQ(m_handed[0].request.body, body.toStdString());
}

TEST_F(ConnectionPoolTest, ADribblerOfOneByteAtATimeIsCutOffAtTheBound) {
    start();
    PhoneClient dribbler(port());
    ASSERT_TRUE(dribbler.waitConnected());
    dribbler.send("GET / HTTP/1.1\r\nX-Filler: ");
    int sent = static_cast<int>(std::strlen("GET / HTTP/1.1\r\nX-Filler: "));
    while (sent <= static_cast<int>(ConnectionPool::maxRequestBytes) && !dribbler.isClosed()) {
        dribbler.send("a");
        ++sent;
        if (sent % 4096 == 0) {
            QCoreApplication::processEvents();
        }
    }
    EXPECT_TRUE(dribbler.waitClosed().isEmpty());
    EXPECT_TRUE(m_handed.empty());
}

TEST_F(ConnectionPoolTest, APeerThatHalfClosesAfterACompleteRequestStillGetsTheReply) {
    start();
    PhoneClient client(port());
    ASSERT_TRUE(client.waitConnected());
    client.send(shortRequest);
    ASSERT_EQ(::shutdown(static_cast<int>(client.socket().socketDescriptor()), SHUT_WR), 0);
    EXPECT_EQ(client.waitClosed(), reply);
}

TEST_F(ConnectionPoolTest, DeliversTheWholeReplyAndClosesInOrderWhileThePeerKeepsSending) {
    start();
    // Should the pool reset the connection, writing to it must fail rather than end the test.
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    const int fd = connectedSocket();
    ASSERT_EQ(::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK), 0);

    // Far more than the pool reads before answering, so bytes of the peer are still unread in its
    // socket when the reply has gone out.
    std::string pending = shortRequest.toStdString() + std::string(std::size_t{1} << 20, 'x');
    std::string received;
    bool orderly = false;
    int failure = 0;
    const bool ended = spinUntil([&] {
        if (orderly || failure != 0) {
            return true;
        }
        if (!pending.empty()) {
            const ssize_t sent = ::send(fd, pending.data(), pending.size(), 0);
            if (sent > 0) {
                pending.erase(0, static_cast<std::size_t>(sent));
            } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                failure = errno;
                return true;
            }
        }
        char buffer[4096];
        for (;;) {
            const ssize_t count = ::recv(fd, buffer, sizeof buffer, 0);
            if (count > 0) {
                received.append(buffer, static_cast<std::size_t>(count));
                continue;
            }
            if (count == 0) {
                orderly = true;
                return true;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                failure = errno;
                return true;
            }
            return false;
        }
    });
    ::close(fd);
    std::signal(SIGPIPE, previous);

    ASSERT_TRUE(ended);
    EXPECT_TRUE(orderly) << "the connection ended with: " << std::strerror(failure);
    EXPECT_EQ(QByteArray::fromStdString(received), reply);
    EXPECT_TRUE(spinUntil([&] { return m_pool->size() == 0; }));
}

TEST_F(ConnectionPoolTest, AConnectionThatHasNotFinishedItsHeadIsDroppedAtTheHeadDeadline) {
    auto options = patient();
    // Short, but no outcome depends on it: the head deadline fires in the order the connections
    // came, so when the second one is cut off, the first one's deadline has passed as well.
    options.headTimeout = 200ms;
    start(options);
    const int slowBody = sentBeforeAcceptance("POST /pair HTTP/1.1\r\nContent-Length: 100\r\n\r\n{");
    ASSERT_TRUE(spinUntil([&] { return m_pool->size() == 1; }));
    PhoneClient slowHead(port());
    ASSERT_TRUE(slowHead.waitConnected());
    slowHead.send("POST /pair HTTP/1.1\r\nX-Slow: ");
    EXPECT_TRUE(slowHead.waitClosed().isEmpty());
    EXPECT_EQ(m_pool->size(), 1u) << "a complete head has the whole request deadline";
    EXPECT_TRUE(m_handed.empty());
    ::close(slowBody);
}

TEST_F(ConnectionPoolTest, AConnectionWhoseAnswerIsBeingPreparedIsHeldPastEveryDeadline) {
    auto options = patient();
    options.headTimeout = 50ms;
    options.requestTimeout = 50ms;
    m_answerAtOnce = false;
    start(options);
    const int answered = sentBeforeAcceptance(shortRequest);
    ASSERT_TRUE(spinUntil([&] { return m_handed.size() == 1; }));
    // Accepted later, so its deadlines come later: once it is cut off, the first one's have passed.
    PhoneClient silent(port());
    EXPECT_TRUE(silent.waitClosed().isEmpty());
    EXPECT_TRUE(m_pool->peerOf(m_handed[0].connection).has_value());
    m_pool->deliver(m_handed[0].connection, reply.toStdString());
    EXPECT_EQ(readUntilClosed(answered), reply);
    ::close(answered);
}

TEST_F(ConnectionPoolTest, DroppingTheUnansweredEndsOnlyTheConnectionsStillReading) {
    m_answerAtOnce = false;
    start();
    PhoneClient answered(port());
    answered.send(shortRequest);
    ASSERT_TRUE(spinUntil([&] { return m_handed.size() == 1; }));
    PhoneClient reading(port());
    reading.send("GET / HTTP/1.1\r\n");
    ASSERT_TRUE(spinUntil([&] { return m_pool->size() == 2; }));
    m_pool->dropUnanswered();
    EXPECT_EQ(m_pool->size(), 1u);
    EXPECT_TRUE(reading.waitClosed().isEmpty());
    m_pool->deliver(m_handed[0].connection, reply.toStdString());
    EXPECT_EQ(answered.waitClosed(), reply);
    EXPECT_TRUE(spinUntil([&] { return m_pool->size() == 0; }));
}

TEST_F(ConnectionPoolTest, NamesThePeerOfAHeldConnectionAndForgetsADroppedOne) {
    m_answerAtOnce = false;
    start();
    PhoneClient client(port());
    ASSERT_TRUE(client.waitConnected());
    client.send(shortRequest);
    ASSERT_TRUE(spinUntil([&] { return m_handed.size() == 1; }));
    ASSERT_TRUE(m_handed[0].peer.has_value());
    EXPECT_EQ(m_handed[0].peer->address, QHostAddress(QHostAddress::LocalHost));
    EXPECT_EQ(m_handed[0].peer->port, client.socket().localPort());

    m_pool->drop(m_handed[0].connection);
    EXPECT_FALSE(m_pool->peerOf(m_handed[0].connection).has_value());
    // A reply for a connection the pool no longer holds goes nowhere.
    m_pool->deliver(m_handed[0].connection, reply.toStdString());
    EXPECT_TRUE(client.waitClosed().isEmpty());
    EXPECT_EQ(m_pool->size(), 0u);
}

TEST_F(ConnectionPoolTest, PastTheDrainingBoundTheOldestAnsweredConnectionIsClosedInOrder) {
    auto options = patient();
    options.drainingLimit = 2;
    start(options);
    // Each sends its request and then neither reads its reply nor closes.
    auto holders = TestSupport::holdAnswered(port(), "127.0.0.1", 4, shortRequest.toStdString());
    // The two oldest were closed to keep the bound (every connection held is answered, so all it holds
    // are draining); their reply was already theirs and stays whole.
    EXPECT_EQ(m_pool->size(), 2u);
    for (std::size_t i = 0; i < holders.size(); ++i) {
        const auto [bytes, ended] = holders[i]->readAvailable();
        EXPECT_EQ(QByteArray::fromStdString(bytes), reply) << i;
        EXPECT_TRUE(ended) << i;
    }
}

TEST_F(ConnectionPoolTest, AReplyGivenJustBeforeThePoolGoesStillArrivesWhole) {
    start();
    PhoneClient client(port());
    client.send(shortRequest);
    ASSERT_TRUE(spinUntil([&] { return !m_handed.empty(); }));
    m_pool.reset();
    EXPECT_EQ(client.waitClosed(), reply);
}
