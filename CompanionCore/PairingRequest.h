#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// The phone's pairing POST body.
struct PairingRequest {
    /// The six digits the user typed.
    std::string code;
    /// One SSH public key line (type, base64 blob, optional comment).
    std::string publicKey;
    /// The phone's display name; becomes part of the key's comment.
    std::string device;

    bool operator==(const PairingRequest&) const = default;

    /// Decodes a JSON object holding all three keys as strings; other keys are ignored. Nothing for
    /// any failure (not JSON, a key missing, null or of another type).
    static std::optional<PairingRequest> decode(std::string_view body);

    /// Compact JSON in key order.
    std::string encode() const;
};

} // namespace CompanionCore
