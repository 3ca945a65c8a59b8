#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Cli {

/// An SSH public key as `ssh-keygen -l` describes it, so the user can compare what the phone shows.
struct KeyFingerprint {
    /// Key size in bits: the modulus for RSA, the curve for the others.
    int bits = 0;
    /// "SHA256:" and the unpadded base64 of the SHA-256 of the key blob.
    std::string sha256;
    std::string comment;
    /// ED25519, RSA, ECDSA, ED25519-SK or ECDSA-SK.
    std::string keyType;

    bool operator==(const KeyFingerprint&) const = default;

    /// For instance: 256 SHA256:AbC... nuvexa:Phone (ED25519).
    std::string text() const;

    /// Reads an authorized_keys line (type, base64 blob, optional comment); nothing when the blob does
    /// not decode or does not hold a key of the named type.
    static std::optional<KeyFingerprint> of(std::string_view line);
};

} // namespace Cli
