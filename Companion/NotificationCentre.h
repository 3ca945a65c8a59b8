#pragma once

#include <functional>
#include <memory>
#include <string>

namespace Companion {

/// The desktop's notification service. One backend per platform: the freedesktop service on the
/// session bus (`DBusNotificationCentre`) and the system's notification centre on macOS.
///
/// Completions are called later on the thread that made the request, never from inside the call.
class NotificationCentre {
public:
    virtual ~NotificationCentre() = default;

    /// Whether notifications can be posted here at all. When false nothing else is tried.
    virtual bool isAvailable() = 0;

    /// Asks the user to allow alerts with sound; `done` receives whether they are allowed.
    virtual void requestPermission(std::function<void(bool granted)> done) = 0;

    /// Shows one notification with the default sound that replaces no earlier one; `done` receives
    /// whether the service accepted it.
    virtual void post(const std::string& title, const std::string& body,
                      std::function<void(bool delivered)> done) = 0;
};

/// The backend of the platform being built.
std::unique_ptr<NotificationCentre> makeNotificationCentre();

} // namespace Companion
