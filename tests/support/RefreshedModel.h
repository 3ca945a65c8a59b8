#pragma once

#include "Companion/CompanionModel.h"

#include "support/FakeNotificationCentre.h"
#include "support/FakeProcessRunner.h"
#include "support/FakeSystemActions.h"
#include "support/ModelParts.h"
#include "support/Patience.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

namespace TestSupport {

/// A model on fake system actions whose tools are looked up in `tools` only (which also holds its
/// key and log files), once its first refresh has published every field.
inline std::unique_ptr<Companion::CompanionModel>
refreshedModel(std::shared_ptr<Companion::SystemActions> actions, const std::filesystem::path& tools) {
    TestSupport::ModelParts environment;
    environment.host.systemActions = std::move(actions);
    environment.host.searchPaths = std::vector<std::string>{tools.string()};
    environment.host.hostName = [] { return std::string("studio"); };
    // This machine's own login would decide whether the tools in `tools` are found.
    environment.host.sshLogin = []() -> std::optional<CompanionCore::LoginReport> { return std::nullopt; };
    environment.host.authorizedKeys = tools / "authorized_keys";
    environment.settings.server.logFile = tools / "companion.log";
    environment.settings.notifier.runner = std::make_shared<FakeProcessRunner>();
    environment.settings.notifier.notifications = std::make_shared<FakeNotificationCentre>();
    auto model = TestSupport::makeModel(std::move(environment));
    QSignalSpy refreshed(model.get(), &Companion::CompanionModel::refreshed);
    EXPECT_TRUE(refreshed.wait(generousMilliseconds));
    return model;
}

} // namespace TestSupport
