#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// The body of every answer but 200.
struct PairingError {
    /// A short lower-case English message.
    std::string error;

    bool operator==(const PairingError&) const = default;

    /// Compact JSON with every "/" escaped.
    std::string encode() const;

    /// Decodes an error body as a phone would; nothing for any failure.
    static std::optional<PairingError> decode(std::string_view body);
};

} // namespace CompanionCore
