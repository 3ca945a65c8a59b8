#include "Companion/NotificationCentre.h"
#include "Companion/SystemActions.h"
#include "Companion/macos/MacSystemActions.h"
#include "Companion/macos/UserNotificationCentre.h"

namespace Companion {

std::unique_ptr<SystemActions> makeSystemActions(std::shared_ptr<ProcessRunner> runner) {
    return std::make_unique<MacSystemActions>(std::move(runner));
}

std::unique_ptr<NotificationCentre> makeNotificationCentre() {
    return std::make_unique<UserNotificationCentre>();
}

} // namespace Companion
