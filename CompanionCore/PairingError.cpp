#include "CompanionCore/PairingError.h"

#include "CompanionCore/JsonDecoding.h"
#include "CompanionCore/JsonText.h"

namespace CompanionCore {

std::string PairingError::encode() const {
    nlohmann::ordered_json json;
    json["error"] = error;
    return JsonText::encode(json);
}

std::optional<PairingError> PairingError::decode(std::string_view body) {
    const auto object = JsonDecoding::object(body);
    if (!object) {
        return std::nullopt;
    }
    auto error = JsonDecoding::required<std::string>(*object, "error");
    if (!error) {
        return std::nullopt;
    }
    return PairingError{std::move(*error)};
}

} // namespace CompanionCore
