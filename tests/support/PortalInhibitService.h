#pragma once

#include "PortalRequest.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

namespace TestSupport {

/// Stands in for the desktop portal's inhibitor on a test's own bus: records every Inhibit call and
/// answers with the one request object it exports, which records the Close.
class PortalInhibitService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Inhibit")

public:
    struct Call {
        QString window;
        uint flags = 0;
        QVariantMap options;
    };

    static constexpr const char* requestPath = "/org/freedesktop/portal/desktop/request/1_1/nuvexa";

    /// Exports the portal and its request object on `connection` and owns the portal's name.
    bool serveOn(QDBusConnection connection) {
        return connection.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), this,
                                         QDBusConnection::ExportAllSlots) &&
               connection.registerObject(QString::fromLatin1(requestPath), &request,
                                         QDBusConnection::ExportAllSlots) &&
               connection.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }

    QList<Call> calls;
    PortalRequest request;

public slots:
    QDBusObjectPath Inhibit(const QString& window, uint flags, const QVariantMap& options) {
        calls.append(Call{window, flags, options});
        return QDBusObjectPath(QString::fromLatin1(requestPath));
    }
};

} // namespace TestSupport
