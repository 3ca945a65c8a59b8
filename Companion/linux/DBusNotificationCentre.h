#pragma once

#include "Companion/NotificationCentre.h"

#include <QDBusConnection>

namespace Companion {

/// Desktop notifications through the freedesktop notification service on the session bus. The
/// service has no permission step: it is usable when the bus offers it, running or activatable.
class DBusNotificationCentre final : public NotificationCentre {
public:
    static constexpr const char* service = "org.freedesktop.Notifications";
    static constexpr const char* objectPath = "/org/freedesktop/Notifications";
    static constexpr const char* interface = "org.freedesktop.Notifications";
    static constexpr const char* applicationName = "nuvexa Companion";

    explicit DBusNotificationCentre(QDBusConnection connection);

    bool isAvailable() override;
    void requestPermission(std::function<void(bool granted)> done) override;
    void post(const std::string& title, const std::string& body,
              std::function<void(bool delivered)> done) override;

private:
    QDBusConnection m_connection;
};

} // namespace Companion
