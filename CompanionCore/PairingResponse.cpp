#include "CompanionCore/PairingResponse.h"

#include "CompanionCore/JsonDecoding.h"
#include "CompanionCore/JsonText.h"

namespace CompanionCore {

std::string PairingResponse::encode() const {
    nlohmann::ordered_json json;
    json["user"] = user;
    json["name"] = name;
    json["sshPort"] = sshPort;
    json["hosts"] = nlohmann::ordered_json::array();
    for (const auto& host : hosts) {
        json["hosts"].push_back(host);
    }
    json["mosh"] = mosh;
    json["tmux"] = tmux;
    return JsonText::encode(json);
}

std::optional<PairingResponse> PairingResponse::decode(std::string_view body) {
    const auto object = JsonDecoding::object(body);
    if (!object) {
        return std::nullopt;
    }
    auto user = JsonDecoding::required<std::string>(*object, "user");
    auto name = JsonDecoding::required<std::string>(*object, "name");
    const auto sshPort = JsonDecoding::required<int>(*object, "sshPort");
    const auto mosh = JsonDecoding::required<bool>(*object, "mosh");
    const auto tmux = JsonDecoding::required<bool>(*object, "tmux");
    const auto hosts = object->find("hosts");
    if (!user || !name || !sshPort || !mosh || !tmux || hosts == object->end() || !hosts->is_array()) {
        return std::nullopt;
    }
    PairingResponse response{std::move(*user), std::move(*name), *sshPort, {}, *mosh, *tmux};
    for (const auto& host : *hosts) {
        if (!host.is_string()) {
            return std::nullopt;
        }
        response.hosts.push_back(host.get<std::string>());
    }
    return response;
}

} // namespace CompanionCore
