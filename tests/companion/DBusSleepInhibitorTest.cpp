#include "Companion/linux/DBusSleepInhibitor.h"
#include "Companion/KeepAwake.h"
#include "support/Patience.h"

#include "support/LogindService.h"
#include "support/PortalInhibitService.h"
#include "support/PrivateSessionBus.h"

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using Companion::DBusSleepInhibitor;
using Companion::KeepAwake;
using TestSupport::LogindService;
using TestSupport::PortalInhibitService;

namespace {

constexpr int generousWait = TestSupport::generousMilliseconds;
const QString why = QStringLiteral("Mantener el ordenador despierto para usarlo desde el iPhone");
const QString refusal = QStringLiteral(
    "No puedo mantener el ordenador despierto: ni el portal del escritorio ni logind responden.");

/// Two private buses: one as the session bus where a portal may run, one given as the system bus
/// where logind may run. Each test says which of the two services it plays.
class DBusSleepInhibitorTest : public ::testing::Test {
protected:
    DBusSleepInhibitorTest()
        : m_sessionService(connect(m_sessionBus, "session-service"))
        , m_sessionClient(connect(m_sessionBus, "session-client"))
        , m_systemService(connect(m_systemBus, "system-service"))
        , m_systemClient(connect(m_systemBus, "system-client")) {}

    ~DBusSleepInhibitorTest() override {
        for (const char* name : {"session-service", "session-client", "system-service", "system-client"}) {
            QDBusConnection::disconnectFromBus(QString::fromLatin1(name));
        }
    }

    static QDBusConnection connect(const TestSupport::PrivateSessionBus& bus, const char* name) {
        return QDBusConnection::connectToBus(bus.address(), QString::fromLatin1(name));
    }

    std::unique_ptr<KeepAwake> keepAwake() {
        return std::make_unique<KeepAwake>(std::make_unique<DBusSleepInhibitor>(
            [this] { return m_sessionClient; }, [this] { return m_systemClient; }, "nuvexa Companion",
            why.toStdString()));
    }

    static bool switchedOn(KeepAwake& keepAwake) {
        return QTest::qWaitFor([&] { return keepAwake.enabled(); }, generousWait);
    }

    TestSupport::PrivateSessionBus m_sessionBus;
    TestSupport::PrivateSessionBus m_systemBus;
    QDBusConnection m_sessionService;
    QDBusConnection m_sessionClient;
    QDBusConnection m_systemService;
    QDBusConnection m_systemClient;
    PortalInhibitService m_portal;
    LogindService m_logind;
};

} // namespace

TEST_F(DBusSleepInhibitorTest, ThePortalIsAskedToInhibitSuspendAndIdleAndTheSwitchTurnsOnOnceItHolds) {
    ASSERT_TRUE(m_portal.serveOn(m_sessionService));
    ASSERT_TRUE(m_logind.serveOn(m_systemService));
    auto awake = keepAwake();
    QSignalSpy changes(awake.get(), &KeepAwake::enabledChanged);
    awake->setEnabled(true);
    ASSERT_TRUE(switchedOn(*awake));
    ASSERT_EQ(m_portal.calls.size(), 1);
    EXPECT_EQ(m_portal.calls.first().flags, 4U | 8U);
    EXPECT_EQ(m_portal.calls.first().window, QString());
    EXPECT_EQ(m_portal.calls.first().options.value(QStringLiteral("reason")).toString(), why);
    // The portal holds: logind is not asked as well.
    EXPECT_TRUE(m_logind.calls.isEmpty());
    ASSERT_EQ(changes.count(), 1);
    EXPECT_TRUE(changes.first().first().toBool());
}

TEST_F(DBusSleepInhibitorTest, SwitchingOffClosesThePortalRequest) {
    ASSERT_TRUE(m_portal.serveOn(m_sessionService));
    auto awake = keepAwake();
    awake->setEnabled(true);
    ASSERT_TRUE(switchedOn(*awake));
    EXPECT_EQ(m_portal.request.closes, 0);
    awake->setEnabled(false);
    EXPECT_FALSE(awake->enabled());
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_portal.request.closes == 1; }, generousWait));
}

TEST_F(DBusSleepInhibitorTest, QuittingWhileOnClosesThePortalRequest) {
    ASSERT_TRUE(m_portal.serveOn(m_sessionService));
    auto awake = keepAwake();
    awake->setEnabled(true);
    ASSERT_TRUE(switchedOn(*awake));
    awake.reset();
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_portal.request.closes == 1; }, generousWait));
}

TEST_F(DBusSleepInhibitorTest, SwitchingOffBeforeThePortalAnswersReleasesWhatItGrants) {
    ASSERT_TRUE(m_portal.serveOn(m_sessionService));
    auto awake = keepAwake();
    awake->setEnabled(true);
    awake->setEnabled(false);
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_portal.request.closes == 1; }, generousWait));
    EXPECT_EQ(m_portal.calls.size(), 1);
    EXPECT_FALSE(awake->enabled());
}

TEST_F(DBusSleepInhibitorTest, WithoutAPortalLogindOnTheSystemBusIsAskedToBlockSleepAndIdle) {
    ASSERT_TRUE(m_logind.serveOn(m_systemService));
    auto awake = keepAwake();
    awake->setEnabled(true);
    ASSERT_TRUE(switchedOn(*awake));
    ASSERT_EQ(m_logind.calls.size(), 1);
    const auto& call = m_logind.calls.first();
    EXPECT_EQ(call.what, QStringLiteral("sleep:idle"));
    EXPECT_EQ(call.who, QStringLiteral("nuvexa Companion"));
    EXPECT_EQ(call.why, why);
    EXPECT_EQ(call.mode, QStringLiteral("block"));
    // The lock is the descriptor: it stays open while the switch is on.
    EXPECT_FALSE(LogindService::released(call));
}

TEST_F(DBusSleepInhibitorTest, SwitchingOffClosesTheLogindLock) {
    ASSERT_TRUE(m_logind.serveOn(m_systemService));
    auto awake = keepAwake();
    awake->setEnabled(true);
    ASSERT_TRUE(switchedOn(*awake));
    ASSERT_EQ(m_logind.calls.size(), 1);
    EXPECT_FALSE(LogindService::released(m_logind.calls.first()));
    awake->setEnabled(false);
    EXPECT_FALSE(awake->enabled());
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return LogindService::released(m_logind.calls.first()); }, generousWait));
}

TEST_F(DBusSleepInhibitorTest, QuittingWhileOnClosesTheLogindLock) {
    ASSERT_TRUE(m_logind.serveOn(m_systemService));
    auto awake = keepAwake();
    awake->setEnabled(true);
    ASSERT_TRUE(switchedOn(*awake));
    ASSERT_EQ(m_logind.calls.size(), 1);
    awake.reset();
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return LogindService::released(m_logind.calls.first()); }, generousWait));
}

TEST_F(DBusSleepInhibitorTest, WithNeitherServiceTheSwitchStaysOffAndSaysWhy) {
    auto awake = keepAwake();
    QSignalSpy refused(awake.get(), &KeepAwake::refused);
    QSignalSpy changes(awake.get(), &KeepAwake::enabledChanged);
    awake->setEnabled(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return refused.count() == 1; }, generousWait));
    EXPECT_EQ(refused.first().first().toString(), refusal);
    EXPECT_FALSE(awake->enabled());
    // A view that moved its switch is told to move it back.
    ASSERT_EQ(changes.count(), 1);
    EXPECT_FALSE(changes.first().first().toBool());
}

TEST_F(DBusSleepInhibitorTest, WithoutAnyBusTheSwitchStaysOffAndSaysWhy) {
    const auto nowhere = QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"),
                                                       QStringLiteral("nowhere"));
    KeepAwake awake(std::make_unique<DBusSleepInhibitor>(
        [nowhere] { return nowhere; }, [nowhere] { return nowhere; }, "nuvexa Companion", why.toStdString()));
    QSignalSpy refused(&awake, &KeepAwake::refused);
    awake.setEnabled(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return refused.count() == 1; }, generousWait));
    EXPECT_EQ(refused.first().first().toString(), refusal);
    EXPECT_FALSE(awake.enabled());
    QDBusConnection::disconnectFromBus(QStringLiteral("nowhere"));
}
