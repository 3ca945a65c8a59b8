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

} // namespace CompanionCore::SshPublicKey
