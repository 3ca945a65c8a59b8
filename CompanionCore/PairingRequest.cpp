#include "CompanionCore/PairingRequest.h"

#include "CompanionCore/JsonDecoding.h"
#include "CompanionCore/JsonText.h"

namespace CompanionCore {

std::optional<PairingRequest> PairingRequest::decode(std::string_view body) {
    const auto object = JsonDecoding::object(body);
    if (!object) {
        return std::nullopt;
    }
    auto code = JsonDecoding::required<std::string>(*object, "code");
    auto publicKey = JsonDecoding::required<std::string>(*object, "publicKey");
    auto device = JsonDecoding::required<std::string>(*object, "device");
    if (!code || !publicKey || !device) {
        return std::nullopt;
    }
    return PairingRequest{std::move(*code), std::move(*publicKey), std::move(*device)};
}

std::string PairingRequest::encode() const {
    nlohmann::ordered_json json;
    json["code"] = code;
    json["publicKey"] = publicKey;
    json["device"] = device;
    return JsonText::encode(json);
}

} // namespace CompanionCore
