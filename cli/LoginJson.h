#pragma once

#include "Companion/LoginRecords.h"

#include <QJsonValue>

#include <optional>

namespace Cli {

/// A login in the commands' JSON: null, or an object with "time" (ISO 8601 in UTC) and "address".
QJsonValue loginJson(const std::optional<Companion::LoginAttempt>& login);

} // namespace Cli
