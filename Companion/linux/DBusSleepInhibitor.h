#pragma once

#include "Companion/SleepInhibitor.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QObject>

#include <functional>
#include <optional>
#include <string>

namespace Companion {

/// Holds the computer awake through the desktop portal's Inhibit on the session bus, or, where no
/// portal answers, through logind's Inhibit on the system bus, whose lock lasts while its file
/// descriptor is open. Unlike a systemd-inhibit child, both are honoured by the desktops' power
/// daemons.
class DBusSleepInhibitor final : public QObject, public SleepInhibitor {
public:
    /// Gives a bus connection; asked only when a hold needs it.
    using Bus = std::function<QDBusConnection()>;

    static constexpr const char* portalService = "org.freedesktop.portal.Desktop";
    static constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
    static constexpr const char* portalInterface = "org.freedesktop.portal.Inhibit";
    static constexpr const char* portalRequestInterface = "org.freedesktop.portal.Request";
    /// The portal's flags for suspending and for going idle.
    static constexpr uint portalSuspend = 4;
    static constexpr uint portalIdle = 8;
    static constexpr const char* logindService = "org.freedesktop.login1";
    static constexpr const char* logindPath = "/org/freedesktop/login1";
    static constexpr const char* logindInterface = "org.freedesktop.login1.Manager";
    static constexpr const char* logindWhat = "sleep:idle";
    static constexpr const char* logindMode = "block";

    /// `who` names the application and `why` is the reason the desktop may show.
    DBusSleepInhibitor(Bus sessionBus, Bus systemBus, std::string who, std::string why);
    ~DBusSleepInhibitor() override;

    /// Answers later, or at once when neither bus can be reached.
    void hold(Done done) override;
    /// Closes the portal's request or the logind descriptor.
    void release() override;

private:
    void holdWithLogind(Done done);

    Bus m_sessionBus;
    Bus m_systemBus;
    std::string m_who;
    std::string m_why;
    std::optional<QDBusConnection> m_portalConnection;
    std::optional<QDBusObjectPath> m_portalRequest;
    std::optional<QDBusUnixFileDescriptor> m_logindLock;
};

} // namespace Companion
