#include "Companion/ActivityText.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

namespace Companion::ActivityText {

namespace {

/// This file's texts, in the catalogue's "ActivityText" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(ActivityText)
};

using std::chrono::system_clock;

/// Beyond this a count of days says less than the date.
constexpr std::chrono::days daysCounted{60};

QDateTime local(system_clock::time_point time) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    return QDateTime::fromMSecsSinceEpoch(milliseconds.count()).toLocalTime();
}

QString count(const QString& format, long long number) {
    return LocalizedFormat::fill(format, {QString::number(number)});
}

QString address(const LoginAttempt& attempt) {
    return QString::fromStdString(attempt.address);
}

} // namespace

QString ago(system_clock::time_point time, system_clock::time_point now) {
    const auto elapsed = now - time;
    if (elapsed < std::chrono::minutes(1)) {
        return Texts::tr("hace un momento");
    }
    if (elapsed < std::chrono::hours(1)) {
        //: minutes ago, short
        return count(Texts::tr("hace %d min"),
                     std::chrono::duration_cast<std::chrono::minutes>(elapsed).count());
    }
    if (elapsed < std::chrono::days(1)) {
        //: hours ago, short
        return count(Texts::tr("hace %d h"), std::chrono::duration_cast<std::chrono::hours>(elapsed).count());
    }
    const auto days = std::chrono::duration_cast<std::chrono::days>(elapsed).count();
    if (days == 1) {
        return Texts::tr("hace 1 día");
    }
    if (elapsed < daysCounted) {
        return count(Texts::tr("hace %d días"), days);
    }
    //: an older login: "on" and the date
    return LocalizedFormat::fill(Texts::tr("el %@"),
                                 {QLocale().toString(local(time).date(), QLocale::ShortFormat)});
}

QString exactTime(system_clock::time_point time) {
    return QLocale().toString(local(time), QLocale::LongFormat);
}

QString lastLogin(const LoginAttempt& login, system_clock::time_point now) {
    //: the first %@ is how long ago ("hace 2 h"), the second the address the phone came from
    return LocalizedFormat::fill(Texts::tr("último acceso %@ desde %@"),
                                 {ago(login.time, now), address(login)});
}

QString refused(const LoginAttempt& attempt, system_clock::time_point now) {
    return LocalizedFormat::fill(Texts::tr("rechazado en su último intento, %@ desde %@"),
                                 {ago(attempt.time, now), address(attempt)});
}

QString neverLoggedIn() {
    return Texts::tr("no ha iniciado sesión desde que se emparejó");
}

QString connectedNow() {
    return Texts::tr("conectado ahora (SSH)");
}

QString moshSessions(int sessions) {
    return sessions == 1 ? Texts::tr("sesión mosh abierta")
                         : count(Texts::tr("%d sesiones mosh abiertas"), sessions);
}

QStringList pieces(const PhoneActivity& activity, bool recordsReadable, system_clock::time_point now) {
    QStringList said;
    if (activity.connectedNow) {
        said << connectedNow();
    }
    if (activity.moshSessions > 0) {
        said << moshSessions(activity.moshSessions);
    }
    if (!recordsReadable) {
        return said;
    }
    if (activity.lastLogin) {
        said << lastLogin(*activity.lastLogin, now);
    } else {
        said << neverLoggedIn();
    }
    if (activity.refusedLast) {
        said << refused(*activity.refusedLast, now);
    }
    return said;
}

QString waitingForLogin() {
    return Texts::tr("Esperando a que el teléfono inicie sesión…");
}

QString loggedInFrom(const LoginAttempt& login) {
    return LocalizedFormat::fill(Texts::tr("Ha iniciado sesión desde %@"), {address(login)});
}

} // namespace Companion::ActivityText
