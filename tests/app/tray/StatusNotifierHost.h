#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QObject>
#include <QString>
#include <QStringList>

#include <mutex>

namespace TrayTestSupport {

/// Plays a desktop's StatusNotifierItem tray host (Plasma's panel, GNOME's AppIndicator extension) on
/// the test's own session bus: owns the watcher, records each item that registers, and activates an
/// item as the host does on a click. Run it on a thread and a connection of its own, as a host in
/// another process would be: Qt asks the watcher with calls that block the asking thread.
class StatusNotifierHost : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isStatusNotifierHostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ registeredStatusNotifierItems)

public:
    static constexpr const char* watcherService = "org.kde.StatusNotifierWatcher";
    static constexpr const char* watcherPath = "/StatusNotifierWatcher";
    static constexpr const char* itemPath = "/StatusNotifierItem";
    static constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

    /// Owns the watcher's name on the session bus at `address`; false when that fails. Called on the
    /// thread the host lives on.
    bool start(const QString& address) {
        m_bus = QDBusConnection::connectToBus(address, QStringLiteral("nuvexa-test-tray-host"));
        return m_bus.isConnected() &&
               m_bus.registerObject(QString::fromLatin1(watcherPath), this,
                                    QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                        QDBusConnection::ExportAllProperties) &&
               m_bus.registerService(QString::fromLatin1(watcherService));
    }

    /// Gives the name up and leaves the bus. Called on the thread the host lives on.
    void stop() {
        m_bus.unregisterService(QString::fromLatin1(watcherService));
        m_bus.unregisterObject(QString::fromLatin1(watcherPath));
        QDBusConnection::disconnectFromBus(m_bus.name());
    }

    bool isStatusNotifierHostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList registeredStatusNotifierItems() const {
        std::lock_guard lock(m_mutex);
        return m_items;
    }

    /// Calls `Activate(x, y)` on the item that registered as `item` (a bus name, or a bus name
    /// followed by the object's path), without waiting for its answer.
    void activate(const QString& item, int x, int y) {
        const int slash = item.indexOf(u'/');
        const QString service = slash < 0 ? item : item.left(slash);
        const QString path = slash < 0 ? QString::fromLatin1(itemPath) : item.mid(slash);
        auto call = QDBusMessage::createMethodCall(service, path, QString::fromLatin1(itemInterface),
                                                   QStringLiteral("Activate"));
        call << x << y;
        m_bus.asyncCall(call);
    }

public slots:
    void RegisterStatusNotifierItem(const QString& item) {
        // An item may give only its object path, in which case its bus name is the caller's.
        const QString name = item.startsWith(u'/') ? message().service() + item : item;
        {
            std::lock_guard lock(m_mutex);
            m_items.append(name);
        }
        emit StatusNotifierItemRegistered(name);
    }
    void RegisterStatusNotifierHost(const QString&) {}

signals:
    void StatusNotifierItemRegistered(const QString& item);
    void StatusNotifierHostRegistered();

private:
    QDBusConnection m_bus{QString()};
    mutable std::mutex m_mutex;
    QStringList m_items;
};

} // namespace TrayTestSupport
