#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// The relay tool's own report of its state, from "drozak status --json".
struct DrozakStatus {
    bool connected = false;
    std::optional<std::string> state;
    std::optional<std::string> stateDetail;
    /// This computer's address on the mesh.
    std::optional<std::string> ip;
    std::optional<bool> relayConnected;
    std::optional<bool> updateAvailable;

    bool operator==(const DrozakStatus&) const = default;

    /// Decodes one JSON object; "connected" must be a boolean, the other keys ("state",
    /// "state_detail", "ip", "relay_connected", "update_available") may be missing or null. Nothing
    /// for any failure.
    static std::optional<DrozakStatus> parse(std::string_view data);
};

} // namespace CompanionCore
