#include "cli/LoginJson.h"

#include "CompanionCore/Timestamp.h"

#include <QJsonObject>

namespace Cli {

QJsonValue loginJson(const std::optional<Companion::LoginAttempt>& login) {
    if (!login) {
        return QJsonValue(QJsonValue::Null);
    }
    return QJsonObject{{"time", QString::fromStdString(CompanionCore::iso8601Utc(login->time))},
                       {"address", QString::fromStdString(login->address)}};
}

} // namespace Cli
