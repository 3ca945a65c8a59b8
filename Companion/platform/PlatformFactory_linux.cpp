#include "Companion/NotificationCentre.h"
#include "Companion/SystemActions.h"
#include "Companion/linux/DBusNotificationCentre.h"
#include "Companion/linux/LinuxSystemActions.h"

namespace Companion {

std::unique_ptr<SystemActions> makeSystemActions(std::shared_ptr<ProcessRunner> runner) {
    return std::make_unique<LinuxSystemActions>(std::move(runner));
}

std::unique_ptr<NotificationCentre> makeNotificationCentre() {
    return std::make_unique<DBusNotificationCentre>(QDBusConnection::sessionBus());
}

} // namespace Companion
