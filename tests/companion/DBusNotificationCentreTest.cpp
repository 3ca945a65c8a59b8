#include "Companion/linux/DBusNotificationCentre.h"
#include "support/Patience.h"

#include "support/NotificationsService.h"
#include "support/PrivateSessionBus.h"

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using Companion::DBusNotificationCentre;
using TestSupport::NotificationsService;

namespace {

constexpr int generousWait = TestSupport::generousMilliseconds;

class DBusNotificationCentreTest : public ::testing::Test {
protected:
    DBusNotificationCentreTest()
        : m_service(QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("service")))
        , m_client(QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("client"))) {}

    ~DBusNotificationCentreTest() override {
        QDBusConnection::disconnectFromBus(QStringLiteral("service"));
        QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    }

    void ownTheService() {
        ASSERT_TRUE(m_service.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &m_daemon,
                                             QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(m_service.registerService(QStringLiteral("org.freedesktop.Notifications")));
    }

    TestSupport::PrivateSessionBus m_bus;
    QDBusConnection m_service;
    QDBusConnection m_client;
    NotificationsService m_daemon;
};

} // namespace

TEST_F(DBusNotificationCentreTest, IsUnavailableWhileNobodyOffersTheService) {
    ASSERT_TRUE(m_client.isConnected());
    DBusNotificationCentre centre(m_client);
    EXPECT_FALSE(centre.isAvailable());
}

TEST_F(DBusNotificationCentreTest, IsAvailableOnceAServiceOwnsTheName) {
    ownTheService();
    DBusNotificationCentre centre(m_client);
    EXPECT_TRUE(centre.isAvailable());
}

TEST_F(DBusNotificationCentreTest, IsUnavailableWithoutABus) {
    DBusNotificationCentre centre(QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"),
                                                                QStringLiteral("nowhere")));
    EXPECT_FALSE(centre.isAvailable());
    QDBusConnection::disconnectFromBus(QStringLiteral("nowhere"));
}

TEST_F(DBusNotificationCentreTest, PostsTheTitleAndBodyAsANewNotificationOfTheApp) {
    ownTheService();
    DBusNotificationCentre centre(m_client);
    std::optional<bool> delivered;
    centre.post("nuvexa", "«make» ha terminado tras 42 s.", [&delivered](bool ok) { delivered = ok; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return delivered.has_value(); }, generousWait));
    EXPECT_EQ(delivered, true);
    ASSERT_EQ(m_daemon.calls.size(), 1);
    const auto& call = m_daemon.calls.first();
    EXPECT_EQ(call.application, QStringLiteral("nuvexa Companion"));
    EXPECT_EQ(call.replaces, 0U);
    EXPECT_EQ(call.summary, QStringLiteral("nuvexa"));
    EXPECT_EQ(call.body, QStringLiteral("«make» ha terminado tras 42 s."));
    EXPECT_TRUE(call.actions.isEmpty());
    EXPECT_EQ(call.timeout, -1);
}

TEST_F(DBusNotificationCentreTest, AsksForTheSoundThemesNewMessageSound) {
    ownTheService();
    DBusNotificationCentre centre(m_client);
    std::optional<bool> delivered;
    centre.post("nuvexa", "x", [&delivered](bool ok) { delivered = ok; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return delivered.has_value(); }, generousWait));
    ASSERT_EQ(m_daemon.calls.size(), 1);
    const auto& hints = m_daemon.calls.first().hints;
    EXPECT_EQ(hints.value(QStringLiteral("sound-name")).toString(), QStringLiteral("message-new-instant"));
    EXPECT_FALSE(hints.contains(QStringLiteral("suppress-sound")));
}

TEST_F(DBusNotificationCentreTest, AnErrorFromTheServiceIsANotificationNotDelivered) {
    ownTheService();
    m_daemon.refuses = true;
    DBusNotificationCentre centre(m_client);
    std::optional<bool> delivered;
    centre.post("nuvexa", "x", [&delivered](bool ok) { delivered = ok; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return delivered.has_value(); }, generousWait));
    EXPECT_EQ(delivered, false);
}

TEST_F(DBusNotificationCentreTest, PermissionNeedsNoQuestionAndIsAnsweredLater) {
    DBusNotificationCentre centre(m_client);
    std::optional<bool> granted;
    centre.requestPermission([&granted](bool answer) { granted = answer; });
    EXPECT_FALSE(granted.has_value());
    EXPECT_TRUE(QTest::qWaitFor([&] { return granted.has_value(); }, generousWait));
    EXPECT_EQ(granted, true);
}
