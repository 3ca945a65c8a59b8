#pragma once

#include "Companion/NotificationCentre.h"

namespace Companion {

/// The system's notification centre (UserNotifications). It only works for an app bundle, so outside
/// one (a bare executable) it reports itself unavailable and is never touched.
class UserNotificationCentre final : public NotificationCentre {
public:
    bool isAvailable() override;
    void requestPermission(std::function<void(bool granted)> done) override;
    void post(const std::string& title, const std::string& body,
              std::function<void(bool delivered)> done) override;
};

} // namespace Companion
