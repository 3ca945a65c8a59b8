#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QList>
#include <QObject>
#include <QString>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace TestSupport {

/// Stands in for logind's inhibitor on a test's own bus (logind cannot run here): each Inhibit hands
/// out the write end of a fresh pipe and keeps the read end, on which the test sees the caller close
/// its lock.
class LogindService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    struct Call {
        QString what;
        QString who;
        QString why;
        QString mode;
        /// This side of the pipe handed out.
        int readEnd = -1;
    };

    ~LogindService() override {
        for (const auto& call : calls) {
            ::close(call.readEnd);
        }
    }

    bool serveOn(QDBusConnection connection) {
        return connection.registerObject(QStringLiteral("/org/freedesktop/login1"), this,
                                         QDBusConnection::ExportAllSlots) &&
               connection.registerService(QStringLiteral("org.freedesktop.login1"));
    }

    /// Whether every copy of the lock handed out by `call` is closed.
    static bool released(const Call& call) {
        pollfd watched{call.readEnd, POLLIN, 0};
        return ::poll(&watched, 1, 0) == 1 && (watched.revents & POLLHUP) != 0;
    }

    QList<Call> calls;

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why,
                                    const QString& mode) {
        int ends[2] = {-1, -1};
        // pipe2 is Linux's; a test's own bus hands these out one call at a time.
        if (::pipe(ends) != 0) {
            return {};
        }
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
        calls.append(Call{what, who, why, mode, ends[0]});
        // The descriptor object holds its own copy; the message sends another.
        QDBusUnixFileDescriptor lock(ends[1]);
        ::close(ends[1]);
        return lock;
    }
};

} // namespace TestSupport
