#include "CompanionCore/server/PairingServer.h"

#include "server/support/EventLoop.h"
#include "server/support/PhoneClient.h"
#include "support/TemporaryDirectory.h"

#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

using CompanionCore::PairingHandler;
using CompanionCore::PairingServer;
using TestSupport::PhoneClient;
using TestSupport::spinUntil;
using Kind = PairingServer::State::Kind;

/// A server holding connections from several loopback addresses; everything on the test's loop.
class PairingServerAbuseTest : public testing::Test {
protected:
    /// Small, so a test can fill the table with a few dozen connections.
    static constexpr std::size_t totalLimit = 32;

    void SetUp() override {
        PairingServer::Options options;
        options.ports = {0};
        options.expiry = std::chrono::minutes(10);
        // Long enough that only the limits, never the clock, decide what happens here.
        options.requestTimeout = std::chrono::minutes(10);
        options.headTimeout = std::chrono::minutes(10);
        options.connectionLimits = {4, totalLimit};
        options.announcer = nullptr;
        options.logFile = m_home / "log";
        m_server = std::make_unique<PairingServer>(
            [] { return PairingHandler::Identity{"ana", "Studio", 22, {"Studio.local"}, false, false}; },
            m_home / ".ssh" / "authorized_keys", std::move(options));
        m_server->start();
        ASSERT_TRUE(TestSupport::waitUntil(m_server.get(), &PairingServer::stateChanged,
                                           [&] { return m_server->isWaiting(); }));
        m_port = m_server->state().port;
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
    const auto waiting = m_server->state();
    const QByteArray response = TestSupport::exchange(
        waiting.port,
        TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, "Honest phone"),
        QHostAddress("127.0.0.1"));
    EXPECT_EQ(TestSupport::statusOf(response), 200);
    EXPECT_EQ(m_server->state(), PairingServer::State::paired("Honest phone"));
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

    const auto waiting = m_server->state();
    const QByteArray response = TestSupport::exchange(
        waiting.port,
        TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, "Honest phone"),
        QHostAddress("127.0.0.1"));
    EXPECT_EQ(TestSupport::statusOf(response), 200);
    EXPECT_EQ(m_server->state(), PairingServer::State::paired("Honest phone"));
    EXPECT_GT(dripped, 0);
    EXPECT_LE(mostHeld, 5u) << "four from the attacker and the honest phone";
    EXPECT_TRUE(dribbler.received().isEmpty());
}

TEST_F(PairingServerAbuseTest, ADribblerOfOneByteAtATimeIsCutOffAtTheLimit) {
    PhoneClient dribbler(m_port);
    ASSERT_TRUE(dribbler.waitConnected());
    dribbler.send("GET / HTTP/1.1\r\nX-Filler: ");
    int sent = static_cast<int>(std::strlen("GET / HTTP/1.1\r\nX-Filler: "));
    while (sent <= static_cast<int>(PairingServer::maxRequestBytes) && !dribbler.isClosed()) {
        dribbler.send("a");
        ++sent;
        if (sent % 4096 == 0) {
            QCoreApplication::processEvents();
        }
    }
    EXPECT_TRUE(dribbler.waitClosed().isEmpty());
    EXPECT_TRUE(m_server->isWaiting());
}

} // namespace
