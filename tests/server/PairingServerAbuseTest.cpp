#include "CompanionCore/server/PairingServer.h"

#include "CompanionCore/KeyFileSession.h"

#include "server/support/EventLoop.h"
#include "server/support/PhoneClient.h"
#include "server/support/SilentHolder.h"
#include "support/CodeSequence.h"
#include "support/TemporaryDirectory.h"

#include <QTimer>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

namespace {

using CompanionCore::PairingHandler;
using CompanionCore::PairingServer;
using CompanionCore::PairingState;
using TestSupport::holdAnswered;
using TestSupport::PhoneClient;
using TestSupport::SilentHolder;
using TestSupport::spinUntil;
namespace Pairing = CompanionCore::Pairing;

/// Threads of this process: a key write waiting for its lock runs on one of its own.
std::size_t threadCount() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                                  std::filesystem::directory_iterator()));
}

/// A server holding connections from several loopback addresses; everything on the test's loop.
class PairingServerAbuseTest : public testing::Test {
protected:
    /// Small, so a test can fill the table with a few dozen connections.
    static constexpr std::size_t totalLimit = 32;
    /// Room for every answered holder the tests open.
    static constexpr std::size_t drainingLimit = 40;

    void SetUp() override {
        PairingServer::Options options;
        options.ports = {0};
        options.expiry = std::chrono::minutes(10);
        // Long enough that only the limits, never the clock, decide what happens here.
        options.requestTimeout = std::chrono::minutes(10);
        options.headTimeout = std::chrono::minutes(10);
        options.connectionLimits = {4, totalLimit};
        options.drainingLimit = drainingLimit;
        options.announcer = nullptr;
        options.logFile = m_home / "log";
        options.codeSource = m_codes.source();
        m_server = std::make_unique<PairingServer>(
            [] { return PairingHandler::Identity{"ana", "Studio", 22, {"Studio.local"}, false, false}; },
            m_home / ".ssh" / "authorized_keys", std::move(options));
        m_server->start();
        ASSERT_TRUE(TestSupport::waitUntil(m_server.get(), &PairingServer::stateChanged,
                                           [&] { return isWaiting(); }));
        m_port = std::get<Pairing::Waiting>(m_server->state()).port;
    }

    bool isWaiting() const { return std::holds_alternative<Pairing::Waiting>(m_server->state()); }

    /// The state once `device` has paired with the test's key.
    static PairingState pairedWith(const std::string& device) {
        return Pairing::Paired{device, std::string(TestSupport::sampleEd25519Key).substr(0, 80) +
                                           " nuvexa:" + device};
    }

    /// A phone from `from` pairing with the current code; its whole answer.
    QByteArray pairHonestly(const QHostAddress& from) {
        return TestSupport::exchange(
            m_port, TestSupport::pairingRequest(m_codes[0], TestSupport::sampleEd25519Key, "Honest phone"),
            from);
    }

    /// Sends the right code from `phone` and waits until its key write waits for the lock, on a thread
    /// of its own.
    bool pairWhileTheWriteWaits(PhoneClient& phone) {
        const std::size_t threads = threadCount();
        phone.send(TestSupport::pairingRequest(m_codes[0], TestSupport::sampleEd25519Key, "Phone"));
        return spinUntil([&] { return threadCount() > threads; });
    }

    /// Opens `count` idle connections from `from` and waits until each is either connected or closed.
    std::vector<std::unique_ptr<PhoneClient>> open(int count, const QHostAddress& from) {
        std::vector<std::unique_ptr<PhoneClient>> clients;
        for (int i = 0; i < count; ++i) {
            clients.push_back(std::make_unique<PhoneClient>(m_port, from));
        }
        for (auto& client : clients) {
            client->waitConnected();
        }
        return clients;
    }

    static int stillOpen(const std::vector<std::unique_ptr<PhoneClient>>& clients) {
        return static_cast<int>(std::count_if(clients.begin(), clients.end(),
                                              [](const auto& client) { return !client->isClosed(); }));
    }

    TestSupport::TemporaryDirectory m_home;
    TestSupport::CodeSequence m_codes;
    std::unique_ptr<PairingServer> m_server;
    quint16 m_port = 0;
};

TEST_F(PairingServerAbuseTest, AFifthConnectionFromOneAddressTakesThePlaceOfItsIdlestOne) {
    const QHostAddress attacker("127.0.0.2");
    auto held = open(4, attacker);
    ASSERT_TRUE(spinUntil([&] { return m_server->openConnections() == 4; }));
    // All but the second have started a request: the second has delivered least.
    for (std::size_t i : {0u, 2u, 3u}) {
        held[i]->send("POST /pair HTTP/1.1\r\n");
    }
    ASSERT_TRUE(spinUntil([&] { return m_server->openConnections() == 4; }));
    PhoneClient fifth(m_port, attacker);
    ASSERT_TRUE(fifth.waitConnected());
    EXPECT_TRUE(held[1]->waitClosed().isEmpty());
    EXPECT_TRUE(spinUntil([&] { return m_server->openConnections() == 4; }));
    EXPECT_EQ(stillOpen(held), 3);
    EXPECT_FALSE(fifth.isClosed());

    // Another address has its own share.
    PhoneClient other(m_port, QHostAddress("127.0.0.3"));
    ASSERT_TRUE(other.waitConnected());
    EXPECT_TRUE(spinUntil([&] { return m_server->openConnections() == 5; }));
}

TEST_F(PairingServerAbuseTest, AFullTableDropsTheConnectionThatDeliveredLeastForANewcomer) {
    std::vector<std::unique_ptr<PhoneClient>> held;
    for (int host = 2; host < 10; ++host) {
        auto four = open(4, QHostAddress(QString("127.0.0.%1").arg(host)));
        std::move(four.begin(), four.end(), std::back_inserter(held));
    }
    ASSERT_TRUE(spinUntil([&] { return m_server->openConnections() == totalLimit; }));
    // Every connection but one has sent part of a head.
    for (std::size_t i = 0; i < held.size(); ++i) {
        if (i != 17) {
            held[i]->send("GET / HTTP/1.1\r\n");
        }
    }
    ASSERT_TRUE(spinUntil([&] { return m_server->openConnections() == totalLimit; }));
    PhoneClient newcomer(m_port, QHostAddress("127.0.0.10"));
    ASSERT_TRUE(newcomer.waitConnected());
    EXPECT_TRUE(held[17]->waitClosed().isEmpty());
    EXPECT_EQ(stillOpen(held), static_cast<int>(totalLimit) - 1);
    EXPECT_TRUE(spinUntil([&] { return m_server->openConnections() == totalLimit; }));
    EXPECT_FALSE(newcomer.isClosed());
}

TEST_F(PairingServerAbuseTest, AnHonestPhonePairsWhileEightAddressesHoldFourSlowConnectionsEach) {
    // A full table of dribblers: the phone's connection takes the place of one of them and its whole
    // request arrives at once.
    std::vector<std::unique_ptr<PhoneClient>> dribblers;
    for (int host = 2; host < 10; ++host) {
        auto four = open(4, QHostAddress(QString("127.0.0.%1").arg(host)));
        std::move(four.begin(), four.end(), std::back_inserter(dribblers));
    }
    ASSERT_TRUE(spinUntil([&] { return m_server->openConnections() == totalLimit; }));
    for (auto& dribbler : dribblers) {
        dribbler->send("POST /pair HTTP/1.1\r\nX-");
    }
    EXPECT_EQ(TestSupport::statusOf(pairHonestly(QHostAddress("127.0.0.1"))), 200);
    EXPECT_EQ(m_server->state(), pairedWith("Honest phone"));
}

TEST_F(PairingServerAbuseTest, AnHonestPhonePairsDespiteTwoHundredIdlersAndADribbler) {
    const QHostAddress attacker("127.0.0.2");
    std::size_t mostHeld = 0;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout,
                     [&] { mostHeld = std::max(mostHeld, m_server->openConnections()); });
    watch.start(std::chrono::milliseconds(1));

    // The dribbler has started its request before the idlers come, so it is one of the four the
    // server keeps: the idlers have delivered nothing and take each other's places.
    PhoneClient dribbler(m_port, attacker);
    ASSERT_TRUE(dribbler.waitConnected());
    ASSERT_TRUE(spinUntil([&] { return m_server->openConnections() == 1; }));
    dribbler.send("POST /pair HTTP/1.1\r\nX");
    QTimer drip;
    int dripped = 1;
    QObject::connect(&drip, &QTimer::timeout, [&] {
        dribbler.send("x");
        ++dripped;
    });
    drip.start(std::chrono::milliseconds(2));

    // In waves smaller than the listen backlog: beyond it the kernel, not the server, makes clients
    // wait, and a client cannot tell a connection the server closed from one it has not yet accepted.
    std::vector<std::unique_ptr<PhoneClient>> idlers;
    for (int wave = 0; wave < 8; ++wave) {
        auto more = open(25, attacker);
        std::move(more.begin(), more.end(), std::back_inserter(idlers));
        ASSERT_TRUE(spinUntil([&] { return stillOpen(idlers) == 3; }))
            << stillOpen(idlers) << " idlers open, the server holds " << m_server->openConnections();
    }
    ASSERT_EQ(idlers.size(), 200u);
    EXPECT_EQ(m_server->openConnections(), 4u);

    EXPECT_EQ(TestSupport::statusOf(pairHonestly(QHostAddress("127.0.0.1"))), 200);
    EXPECT_EQ(m_server->state(), pairedWith("Honest phone"));
    EXPECT_GT(dripped, 0);
    EXPECT_LE(mostHeld, 5u) << "four from the attacker and the honest phone";
    EXPECT_TRUE(dribbler.received().isEmpty());
}

TEST_F(PairingServerAbuseTest, AnsweredConnectionsThatNeitherReadNorCloseLeaveTheirIpv6NeighbourRoom) {
    // Every host of a home network shares one /64: four answered connections of one must not keep
    // another, the phone, out.
    const auto holders = holdAnswered(m_port, "::1", 4);
    EXPECT_EQ(TestSupport::statusOf(pairHonestly(QHostAddress("::1"))), 200);
    EXPECT_EQ(m_server->state(), pairedWith("Honest phone"));
}

TEST_F(PairingServerAbuseTest, ATableFullOfAnsweredConnectionsStillTakesAnHonestPhone) {
    std::vector<std::unique_ptr<SilentHolder>> holders;
    for (int host = 2; host < 10; ++host) {
        auto four = holdAnswered(m_port, "127.0.0." + std::to_string(host), 4);
        std::move(four.begin(), four.end(), std::back_inserter(holders));
    }
    ASSERT_EQ(holders.size(), totalLimit);
    EXPECT_EQ(TestSupport::statusOf(pairHonestly(QHostAddress("127.0.0.1"))), 200);
    // None of them was cut off for the phone: they drain beside it.
    EXPECT_GE(m_server->openConnections(), totalLimit);
}

TEST_F(PairingServerAbuseTest, ABrowsersRequestWithTheRightCodeIsRefusedAndSpendsNoGuess) {
    const PairingState waiting = m_server->state();
    const QByteArray request =
        TestSupport::pairingRequest(m_codes[0], TestSupport::sampleEd25519Key, "Web page");
    const QByteArray fromPage = QByteArray(request).replace(
        "Host: companion\r\n", "Host: companion\r\nOrigin: http://attacker.example\r\n");
    const QByteArray response = TestSupport::exchange(m_port, fromPage);
    EXPECT_EQ(TestSupport::statusOf(response), 403);
    EXPECT_EQ(TestSupport::bodyOf(response),
              QByteArray(R"({"error":"requests from a browser are refused"})"));
    EXPECT_FALSE(std::filesystem::exists(m_home / ".ssh" / "authorized_keys"));
    EXPECT_EQ(m_server->state(), waiting);
}

TEST_F(PairingServerAbuseTest, APageGuessingWithFetchMetadataNeverEndsTheSession) {
    const PairingState waiting = m_server->state();
    for (int guess = 0; guess < 12; ++guess) {
        const QByteArray request =
            TestSupport::pairingRequest(TestSupport::wrongCode, TestSupport::sampleEd25519Key, "Web page")
                .replace("Host: companion\r\n", "Host: companion\r\nSec-Fetch-Site: cross-site\r\n"
                                                "Sec-Fetch-Mode: no-cors\r\n");
        EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(m_port, request)), 403);
    }
    EXPECT_EQ(m_server->state(), waiting);
    const QByteArray response = TestSupport::exchange(
        m_port, TestSupport::pairingRequest(m_codes[0], TestSupport::sampleEd25519Key, "Phone"));
    EXPECT_EQ(TestSupport::statusOf(response), 200);
    std::ifstream log(m_home / "log");
    const std::string logged((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    EXPECT_NE(logged.find(R"(rejected(status: 403, message: "requests from a browser are refused"))"),
              std::string::npos);
}

} // namespace

namespace {

/// The key folder's lock, held as another writer of ours would hold it.
class HeldKeyLock {
public:
    explicit HeldKeyLock(const std::filesystem::path& keys) {
        std::filesystem::create_directories(keys.parent_path());
        const auto path = keys.parent_path() / CompanionCore::KeyFileSession::lockFileName(keys.filename());
        m_fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        m_held = m_fd >= 0 && ::flock(m_fd, LOCK_EX) == 0;
    }
    HeldKeyLock(const HeldKeyLock&) = delete;
    HeldKeyLock& operator=(const HeldKeyLock&) = delete;
    ~HeldKeyLock() { release(); }
    bool held() const { return m_held; }
    void release() {
        if (m_fd >= 0) {
            ::close(m_fd);
            m_fd = -1;
        }
    }

private:
    int m_fd = -1;
    bool m_held = false;
};

} // namespace

TEST_F(PairingServerAbuseTest, AKeyWriteWaitingForTheLockLeavesTheServerAnsweringOthers) {
    const std::filesystem::path keys = m_home / ".ssh" / "authorized_keys";
    HeldKeyLock lock(keys);
    ASSERT_TRUE(lock.held());
    PhoneClient phone(m_port);
    ASSERT_TRUE(pairWhileTheWriteWaits(phone));

    // The loop is free: another connection is answered while the write waits.
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(m_port, "GET / HTTP/1.1\r\n\r\n")), 404);
    EXPECT_TRUE(phone.received().isEmpty());

    lock.release();
    EXPECT_EQ(TestSupport::statusOf(phone.waitClosed()), 200);
    EXPECT_EQ(m_server->state(), pairedWith("Phone"));
}

TEST_F(PairingServerAbuseTest, AServerThatGoesWhileAKeyWriteWaitsForTheLockEndsTheWaitAndWritesNothing) {
    const std::filesystem::path keys = m_home / ".ssh" / "authorized_keys";
    HeldKeyLock lock(keys);
    ASSERT_TRUE(lock.held());
    const std::size_t threads = threadCount();
    PhoneClient phone(m_port);
    ASSERT_TRUE(pairWhileTheWriteWaits(phone));

    // Quitting the panel or Ctrl-C in the terminal: the server goes while the lock is still held.
    m_server.reset();
    EXPECT_EQ(threadCount(), threads);
    EXPECT_FALSE(std::filesystem::exists(keys));
}

TEST_F(PairingServerAbuseTest, StoppingTheSessionGivesUpAKeyWriteStillWaitingForTheLock) {
    const std::filesystem::path keys = m_home / ".ssh" / "authorized_keys";
    HeldKeyLock lock(keys);
    ASSERT_TRUE(lock.held());
    PhoneClient phone(m_port);
    ASSERT_TRUE(pairWhileTheWriteWaits(phone));

    m_server->stop();
    // The phone hears that its key was not written, and nothing was.
    EXPECT_EQ(TestSupport::statusOf(phone.waitClosed()), 500);
    EXPECT_FALSE(std::filesystem::exists(keys));
    EXPECT_EQ(m_server->state(), PairingState(Pairing::Idle{}));
}
