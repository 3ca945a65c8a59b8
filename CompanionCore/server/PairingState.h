#pragma once

#include "CompanionCore/KeyFileOwnership.h"
#include "CompanionCore/server/PairingFailure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

/// The states of a pairing session, each with only what it has to show.
namespace CompanionCore::Pairing {

/// Nothing runs.
struct Idle {
    bool operator==(const Idle&) const = default;
};

/// A session was asked for; its listener is not ready yet.
struct Starting {
    bool operator==(const Starting&) const = default;
};

/// A listener is ready and waits for the phone.
struct Waiting {
    /// The code shown to the user.
    std::string digits;
    /// The listening port.
    std::uint16_t port = 0;
    bool operator==(const Waiting&) const = default;
};

/// A phone has paired; stays until the next start.
struct Paired {
    /// The phone's name, display-safe.
    std::string device;
    /// The authorized_keys line installed (type, key and comment, without its line break).
    std::string keyLine;
    bool operator==(const Paired&) const = default;
};

/// The session ended without a phone.
struct Failed {
    PairingFailure reason = PairingFailure::listenerFailed;
    /// The system's own message where it gave one: the listener's error string, or the file system's
    /// error for `keyNotInstalled`. Empty otherwise.
    std::string detail = {};
    /// For `keyFileNotTheUsers`: what belongs to whom.
    std::optional<KeyFileOwnership::Named> ownership = std::nullopt;
    bool operator==(const Failed&) const = default;
};

/// The failure as the log words it, in English: what scripts read from the terminal's JSON, for
/// instance "no free port" or "could not write authorized_keys: Permission denied".
std::string describe(const Failed& failed);

} // namespace CompanionCore::Pairing

namespace CompanionCore {

/// Where a pairing session stands.
using PairingState =
    std::variant<Pairing::Idle, Pairing::Starting, Pairing::Waiting, Pairing::Paired, Pairing::Failed>;

} // namespace CompanionCore
