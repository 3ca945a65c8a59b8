#include "Companion/PairingSession.h"

#include "server/support/PhoneClient.h"
#include "support/CodeSequence.h"
#include "support/FakeSystemActions.h"
#include "support/Patience.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace {

using Companion::PairingSession;
namespace Pairing = CompanionCore::Pairing;

constexpr int generousWait = TestSupport::generousMilliseconds;

class PairingSessionTest : public ::testing::Test {
protected:
    PairingSessionTest() {
        m_host.systemActions = std::make_shared<TestSupport::FakeSystemActions>();
        m_host.userName = [] { return std::string("ana"); };
        m_host.hostName = [] { return std::string("estudio"); };
        m_host.computerName = [] { return std::string("Estudio de Ana"); };
        m_host.authorizedKeys = m_home / "authorized_keys";
        m_host = std::move(m_host).completed();
    }

    CompanionCore::PairingServer::Options options() const {
        CompanionCore::PairingServer::Options options;
        options.ports = {0};
        options.announcer = nullptr;
        options.listenAddress = QHostAddress::LocalHost;
        options.codeSource = m_codes.source();
        options.logFile = m_home / "companion.log";
        return options;
    }

    /// Starts a session and pairs the phone `name` with the code drawn `code`th.
    void pair(PairingSession& session, std::size_t code, const char* name = "Phone") {
        session.server().start();
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return std::holds_alternative<Pairing::Waiting>(session.server().state()); },
            generousWait));
        const auto port = std::get<Pairing::Waiting>(session.server().state()).port;
        const QByteArray response = TestSupport::exchange(
            port, TestSupport::pairingRequest(m_codes[code], TestSupport::sampleEd25519Key, name));
        ASSERT_EQ(TestSupport::statusOf(response), 200) << response.toStdString();
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return std::holds_alternative<Pairing::Paired>(session.server().state()); }, generousWait));
    }

    TestSupport::TemporaryDirectory m_home;
    TestSupport::CodeSequence m_codes;
    Companion::Host m_host;
};

Companion::KeyDoctor::Report workingReport() {
    Companion::KeyDoctor::Report report;
    report.result.hostKeyFingerprint = "SHA256:nkUMalcE/xHxKDwZtgHqWT3Ippjy/2KZxdvbQDk/H4U";
    return report;
}

} // namespace

TEST_F(PairingSessionTest, APairedPhonesKeyIsCheckedOnceAndItsVerdictKept) {
    std::atomic<int> checks = 0;
    PairingSession session(m_host, options(), [&](const CompanionCore::PairedDevice& device) {
        EXPECT_EQ(device.name, "Phone");
        ++checks;
        return workingReport();
    });
    EXPECT_FALSE(session.keyCheck().has_value());
    pair(session, 0);
    ASSERT_TRUE(session.keyCheck().has_value());
    EXPECT_EQ(session.keyCheck()->device.name, "Phone");
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return session.keyCheck() && session.keyCheck()->result; }, generousWait));
    EXPECT_TRUE(session.keyCheck()->result->works());
    EXPECT_EQ(checks, 1);
}

TEST_F(PairingSessionTest, AVerdictThatArrivesAfterANewSessionBeganIsDropped) {
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    // Whatever fails first, the held check is let go, so the session can end.
    bool releasedAlready = false;
    const auto letGo = [&] {
        if (!std::exchange(releasedAlready, true)) {
            release.set_value();
        }
    };
    std::promise<void> asked;
    PairingSession session(m_host, options(), [&](const CompanionCore::PairedDevice& device) {
        if (device.name == "Phone") {
            asked.set_value();
            released.wait();
            return workingReport();
        }
        Companion::KeyDoctor::Report refused;
        refused.result.obstacles = {CompanionCore::Obstacle::userNotAllowed};
        return refused;
    });
    // Declared after the session, so it lets the check go before the session waits for it.
    const std::unique_ptr<void, std::function<void(void*)>> guard(&releasedAlready, [&](void*) { letGo(); });
    // Every state the check went through, as (phone, verdict: 0 none, 1 works, 2 refused).
    std::vector<std::pair<std::string, int>> seen;
    QObject::connect(&session, &PairingSession::keyCheckChanged, [&] {
        if (const auto& check = session.keyCheck()) {
            seen.emplace_back(check->device.name, !check->result ? 0 : check->result->works() ? 1 : 2);
        }
    });
    pair(session, 0, "Phone");
    ASSERT_EQ(asked.get_future().wait_for(std::chrono::milliseconds(generousWait)),
              std::future_status::ready);
    // A second phone pairs while the first one's check still waits for the server.
    pair(session, 1, "Other");
    ASSERT_TRUE(session.keyCheck().has_value());
    EXPECT_EQ(session.keyCheck()->device.name, "Other");
    letGo();
    // The checks run one after the other, so once the second verdict is in, the first has arrived.
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return session.keyCheck() && session.keyCheck()->result; }, generousWait));
    EXPECT_FALSE(session.keyCheck()->result->works());
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, int>>{{"Phone", 0}, {"Other", 0}, {"Other", 2}}));
}

TEST_F(PairingSessionTest, OnTheCallingThreadTheVerdictIsInBeforeLaterObserversHearOfThePairing) {
    const auto caller = std::this_thread::get_id();
    PairingSession session(
        m_host, options(),
        [&](const CompanionCore::PairedDevice&) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            return workingReport();
        },
        PairingSession::Checking::onCallingThread);
    std::optional<bool> verdictWhenPaired;
    QObject::connect(&session.server(), &CompanionCore::PairingServer::stateChanged, [&] {
        if (std::holds_alternative<Pairing::Paired>(session.server().state())) {
            verdictWhenPaired = session.keyCheck() && session.keyCheck()->result.has_value();
        }
    });
    pair(session, 0);
    EXPECT_EQ(verdictWhenPaired, true);
}
