#include "Companion/NotificationCentre.h"
#include "Companion/QtProcessRunner.h"
#include "Companion/SystemActions.h"
#include "Companion/linux/DBusNotificationCentre.h"
#include "Companion/linux/LinuxSystemActions.h"

namespace Companion {

std::unique_ptr<SystemActions> makeSystemActions() {
    return std::make_unique<LinuxSystemActions>(std::make_shared<QtProcessRunner>());
}

std::unique_ptr<NotificationCentre> makeNotificationCentre() {
    return std::make_unique<DBusNotificationCentre>(QDBusConnection::sessionBus());
}

} // namespace Companion
