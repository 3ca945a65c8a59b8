#include "Companion/linux/DBusSleepInhibitor.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QString>
#include <QVariantMap>

namespace Companion {

namespace {

/// This file's texts, in the catalogue's "KeepAwake" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(KeepAwake)
};

/// The portal asks which window the request is for; the companion's panel is none it knows.
const QString noParentWindow;

QString nobodyHolds() {
    return Texts::tr(
        "No puedo mantener el ordenador despierto: ni el portal del escritorio ni logind responden.");
}

} // namespace

DBusSleepInhibitor::DBusSleepInhibitor(Bus sessionBus, Bus systemBus, std::string who, std::string why)
    : m_sessionBus(std::move(sessionBus))
    , m_systemBus(std::move(systemBus))
    , m_who(std::move(who))
    , m_why(std::move(why)) {}

DBusSleepInhibitor::~DBusSleepInhibitor() {
    release();
}

void DBusSleepInhibitor::hold(Done done) {
    auto bus = m_sessionBus();
    if (!bus.isConnected()) {
        holdWithLogind(std::move(done));
        return;
    }
    auto message =
        QDBusMessage::createMethodCall(QString::fromLatin1(portalService), QString::fromLatin1(portalPath),
                                       QString::fromLatin1(portalInterface), QStringLiteral("Inhibit"));
    message << noParentWindow << (portalSuspend | portalIdle)
            << QVariantMap{{QStringLiteral("reason"), QString::fromStdString(m_why)}};
    // Parented to this object, so a reply that comes after it is gone is never handled.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, bus, done = std::move(done)](QDBusPendingCallWatcher* finished) mutable {
                finished->deleteLater();
                const QDBusPendingReply<QDBusObjectPath> reply = *finished;
                if (reply.isError()) {
                    // No portal runs, or it has no inhibitor backend.
                    holdWithLogind(std::move(done));
                    return;
                }
                m_portalConnection = bus;
                m_portalRequest = reply.value();
                done(std::nullopt);
            });
}

void DBusSleepInhibitor::holdWithLogind(Done done) {
    auto bus = m_systemBus();
    if (!bus.isConnected()) {
        done(nobodyHolds().toStdString());
        return;
    }
    auto message =
        QDBusMessage::createMethodCall(QString::fromLatin1(logindService), QString::fromLatin1(logindPath),
                                       QString::fromLatin1(logindInterface), QStringLiteral("Inhibit"));
    message << QString::fromLatin1(logindWhat) << QString::fromStdString(m_who)
            << QString::fromStdString(m_why) << QString::fromLatin1(logindMode);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, done = std::move(done)](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *finished;
                if (reply.isError() || !reply.value().isValid()) {
                    done(nobodyHolds().toStdString());
                    return;
                }
                m_logindLock = reply.value();
                done(std::nullopt);
            });
}

void DBusSleepInhibitor::release() {
    if (m_portalRequest && m_portalConnection) {
        m_portalConnection->send(QDBusMessage::createMethodCall(
            QString::fromLatin1(portalService), m_portalRequest->path(),
            QString::fromLatin1(portalRequestInterface), QStringLiteral("Close")));
    }
    m_portalRequest.reset();
    m_portalConnection.reset();
    // The lock lasts as long as any copy of the descriptor is open; this is the only one kept.
    m_logindLock.reset();
}

} // namespace Companion
