#pragma once

#include <QDBusContext>
#include <QDBusError>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace TestSupport {

/// Stands in for the desktop's notification daemon on a test's own bus: records every Notify call,
/// and can refuse them.
class NotificationsService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Call {
        QString application;
        uint replaces = 0;
        QString icon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int timeout = 0;
    };

    QList<Call> calls;
    /// Answer every call with an error.
    bool refuses = false;

public slots:
    uint Notify(const QString& application, uint replaces, const QString& icon, const QString& summary,
                const QString& body, const QStringList& actions, const QVariantMap& hints, int timeout) {
        calls.append(Call{application, replaces, icon, summary, body, actions, hints, timeout});
        emit notified();
        if (refuses) {
            sendErrorReply(QDBusError::AccessDenied, QStringLiteral("notifications are off"));
            return 0;
        }
        return static_cast<uint>(calls.size());
    }

signals:
    void notified();
};

} // namespace TestSupport
