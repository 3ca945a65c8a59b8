#pragma once

#include "Companion/NotificationCentre.h"

#include <QTimer>

#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

/// A notification service that records what it is asked and answers as the test says, later, on the
/// event loop, as the real ones do.
class FakeNotificationCentre final : public Companion::NotificationCentre {
public:
    bool available = true;
    bool grantsPermission = true;
    bool deliveries = true;
    int permissionRequests = 0;
    std::vector<std::pair<std::string, std::string>> posted;

    bool isAvailable() override { return available; }

    void requestPermission(std::function<void(bool granted)> done) override {
        ++permissionRequests;
        QTimer::singleShot(0, [done = std::move(done), granted = grantsPermission] { done(granted); });
    }

    void post(const std::string& title, const std::string& body,
              std::function<void(bool delivered)> done) override {
        posted.emplace_back(title, body);
        QTimer::singleShot(0, [done = std::move(done), delivered = deliveries] { done(delivered); });
    }
};

} // namespace TestSupport
