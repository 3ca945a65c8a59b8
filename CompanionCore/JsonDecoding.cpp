#include "CompanionCore/JsonDecoding.h"

namespace CompanionCore::JsonDecoding {

std::optional<nlohmann::json> object(std::string_view text) {
    auto value = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
    if (value.is_discarded() || !value.is_object()) {
        return std::nullopt;
    }
    return value;
}

} // namespace CompanionCore::JsonDecoding
