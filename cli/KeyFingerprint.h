#pragma once

#include "CompanionCore/SshPublicKey.h"

#include <optional>
#include <string>
#include <string_view>

namespace Cli {

/// An SSH public key as `ssh-keygen -l` describes it, so the user can compare what the phone shows.
struct KeyFingerprint {
    CompanionCore::SshPublicKey::Description key;
    std::string comment;

    bool operator==(const KeyFingerprint&) const = default;

    /// For instance: 256 SHA256:AbC... nuvexa:Phone (ED25519).
    std::string text() const;

    /// Reads an authorized_keys line (type, base64 blob, optional comment); nothing when the key is not
    /// one the SSH server can use (`SshPublicKey::isUsable`).
    static std::optional<KeyFingerprint> of(std::string_view line);
};

} // namespace Cli
