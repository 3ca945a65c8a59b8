#include "CompanionCore/DrozakStatus.h"

#include "CompanionCore/JsonDecoding.h"

namespace CompanionCore {

std::optional<DrozakStatus> DrozakStatus::parse(std::string_view data) {
    const auto object = JsonDecoding::object(data);
    if (!object) {
        return std::nullopt;
    }
    const auto connected = JsonDecoding::required<bool>(*object, "connected");
    const auto state = JsonDecoding::optional<std::string>(*object, "state");
    const auto stateDetail = JsonDecoding::optional<std::string>(*object, "state_detail");
    const auto ip = JsonDecoding::optional<std::string>(*object, "ip");
    const auto relayConnected = JsonDecoding::optional<bool>(*object, "relay_connected");
    const auto updateAvailable = JsonDecoding::optional<bool>(*object, "update_available");
    if (!connected || state.wrongType || stateDetail.wrongType || ip.wrongType || relayConnected.wrongType ||
        updateAvailable.wrongType) {
        return std::nullopt;
    }
    return DrozakStatus{*connected, state.value,          stateDetail.value,
                        ip.value,   relayConnected.value, updateAvailable.value};
}

} // namespace CompanionCore
