#include "CompanionCore/JsonText.h"

namespace CompanionCore::JsonText {

std::string encode(const nlohmann::ordered_json& value) {
    const std::string compact = value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    // A "/" can only stand inside a string in JSON text, so escaping it here is always safe.
    std::string out;
    out.reserve(compact.size() + 8);
    for (const char c : compact) {
        if (c == '/') {
            out += '\\';
        }
        out += c;
    }
    return out;
}

} // namespace CompanionCore::JsonText
