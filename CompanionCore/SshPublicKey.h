#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What the SSH server will make of a public key, decided with the same rules before the key is
/// written anywhere: a key it cannot use must never spend a pairing.
namespace CompanionCore::SshPublicKey {

/// The smallest RSA modulus the SSH server accepts.
inline constexpr int minimumRsaBits = 1024;

/// Whether `base64` is a public key of type `type` that the SSH server can use: the blob decodes,
/// names the same type inside (and, for ECDSA, the same curve), parses as a key of that type with
/// nothing left over, and an RSA modulus has at least `minimumRsaBits` bits.
bool isUsable(std::string_view type, std::string_view base64);

/// "SHA256:" and the unpadded base64 of the blob's SHA-256, as `ssh-keygen -l` prints it; nothing
/// when the key is not usable.
std::optional<std::string> fingerprint(std::string_view type, std::string_view base64);

/// A key as `ssh-keygen -l` lists it, less the comment.
struct Description {
    /// Key size in bits: the modulus for RSA, the curve for the others.
    int bits = 0;
    /// As `fingerprint` gives it.
    std::string fingerprint;
    /// ED25519, RSA, ECDSA, ED25519-SK or ECDSA-SK.
    std::string typeLabel;

    bool operator==(const Description&) const = default;
};

/// The key's size, fingerprint and type as `ssh-keygen -l` names them; nothing when the key is not
/// usable.
std::optional<Description> describe(std::string_view type, std::string_view base64);

} // namespace CompanionCore::SshPublicKey
