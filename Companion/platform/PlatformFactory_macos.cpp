#include "Companion/NotificationCentre.h"
#include "Companion/QtProcessRunner.h"
#include "Companion/SystemActions.h"
#include "Companion/macos/MacSystemActions.h"
#include "Companion/macos/UserNotificationCentre.h"

namespace Companion {

std::unique_ptr<SystemActions> makeSystemActions() {
    return std::make_unique<MacSystemActions>(std::make_shared<QtProcessRunner>());
}

std::unique_ptr<NotificationCentre> makeNotificationCentre() {
    return std::make_unique<UserNotificationCentre>();
}

} // namespace Companion
