#include "Companion/linux/DBusNotificationCentre.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>

namespace Companion {

namespace {

/// Let the server choose how long the notification stays.
constexpr int serverDefaultTimeout = -1;
/// A fresh notification every time, never a replacement of an earlier one.
constexpr uint replacesNone = 0;
/// The notification hint that names a sound from the freedesktop sound theme, and the theme's sound
/// for a new message: what the service plays when it has sounds at all.
constexpr const char* soundNameHint = "sound-name";
constexpr const char* newMessageSound = "message-new-instant";

} // namespace

DBusNotificationCentre::DBusNotificationCentre(QDBusConnection connection)
    : m_connection(std::move(connection)) {}

bool DBusNotificationCentre::isAvailable() {
    if (!m_connection.isConnected()) {
        return false;
    }
    auto* bus = m_connection.interface();
    if (bus == nullptr) {
        return false;
    }
    const QString name = QString::fromLatin1(service);
    if (bus->isServiceRegistered(name).value()) {
        return true;
    }
    // Most notification daemons are started by the bus on the first call.
    return bus->activatableServiceNames().value().contains(name);
}

void DBusNotificationCentre::requestPermission(std::function<void(bool granted)> done) {
    QTimer::singleShot(0, [done = std::move(done)] { done(true); });
}

void DBusNotificationCentre::post(const std::string& title, const std::string& body,
                                  std::function<void(bool delivered)> done) {
    auto message =
        QDBusMessage::createMethodCall(QString::fromLatin1(service), QString::fromLatin1(objectPath),
                                       QString::fromLatin1(interface), QStringLiteral("Notify"));
    message << QString::fromLatin1(applicationName) << replacesNone << QString()
            << QString::fromStdString(title) << QString::fromStdString(body) << QStringList()
            << QVariantMap{{QString::fromLatin1(soundNameHint), QString::fromLatin1(newMessageSound)}}
            << serverDefaultTimeout;
    auto* watcher = new QDBusPendingCallWatcher(m_connection.asyncCall(message));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                         done(!finished->isError());
                         finished->deleteLater();
                     });
}

} // namespace Companion
