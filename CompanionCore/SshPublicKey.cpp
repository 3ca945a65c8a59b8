#include "CompanionCore/SshPublicKey.h"

#include "CompanionCore/LibsshKey.h"

#include <libssh/libssh.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <vector>

namespace CompanionCore::SshPublicKey {

namespace {

using LibsshKey::Key;

/// Standard base64 (the caller has checked its alphabet and padding); nothing when it is not.
std::optional<std::string> decodeBase64(std::string_view text) {
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '=') {
            if (text.size() - i > 2) {
                return std::nullopt;
            }
            break;
        }
        const auto value = alphabet.find(c);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = (bits << 6) | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>((bits >> count) & 0xFF);
        }
    }
    return bytes;
}

/// The length-prefixed strings of the SSH wire format, one after the other.
class WireReader {
public:
    explicit WireReader(std::string_view bytes)
        : m_bytes(bytes) {}

    std::optional<std::string_view> next() {
        if (m_bytes.size() < 4) {
            return std::nullopt;
        }
        std::uint32_t length = 0;
        for (int i = 0; i < 4; ++i) {
            length = (length << 8) | static_cast<unsigned char>(m_bytes[static_cast<std::size_t>(i)]);
        }
        m_bytes.remove_prefix(4);
        if (length > m_bytes.size()) {
            return std::nullopt;
        }
        const auto piece = m_bytes.substr(0, length);
        m_bytes.remove_prefix(length);
        return piece;
    }

private:
    std::string_view m_bytes;
};

/// Significant bits of a big-endian unsigned integer.
int significantBits(std::string_view number) {
    std::size_t first = 0;
    while (first < number.size() && number[first] == '\0') {
        ++first;
    }
    if (first == number.size()) {
        return 0;
    }
    int bits = static_cast<int>((number.size() - first - 1) * 8);
    for (auto top = static_cast<unsigned char>(number[first]); top != 0; top >>= 1) {
        ++bits;
    }
    return bits;
}

/// What the blob says that libssh neither checks nor tells.
struct WireFacts {
    /// The RSA modulus's significant bits; 0 for the other types.
    int rsaBits = 0;
};

/// The checks libssh does not make: the declared type against the blob's own, the curve, the size.
/// Nothing when one fails.
std::optional<WireFacts> wireFormatAgrees(std::string_view type, std::string_view blob) {
    WireReader reader(blob);
    const auto innerType = reader.next();
    if (!innerType || *innerType != type) {
        return std::nullopt;
    }
    if (type.starts_with("ecdsa-sha2-") || type.starts_with("sk-ecdsa-sha2-")) {
        const auto curve = reader.next();
        const auto named = type.substr(type.find("nistp"), 8);
        return curve && *curve == named ? std::optional(WireFacts{}) : std::nullopt;
    }
    if (type == "ssh-rsa") {
        const auto exponent = reader.next();
        const auto modulus = reader.next();
        const int bits = modulus ? significantBits(*modulus) : 0;
        if (!exponent || bits < minimumRsaBits) {
            return std::nullopt;
        }
        return WireFacts{bits};
    }
    return WireFacts{};
}

struct Parsed {
    Key key;
    WireFacts facts;
};

/// The key as libssh reads it, only when writing it out again gives back exactly the same blob (so
/// nothing was left over or read leniently).
std::optional<Parsed> parsed(std::string_view type, std::string_view base64) {
    const auto blob = decodeBase64(base64);
    const auto facts = blob ? wireFormatAgrees(type, *blob) : std::nullopt;
    if (!facts) {
        return std::nullopt;
    }
    const std::string typeText(type);
    const auto keyType = ssh_key_type_from_name(typeText.c_str());
    if (keyType == SSH_KEYTYPE_UNKNOWN) {
        return std::nullopt;
    }
    const std::string text(base64);
    ssh_key raw = nullptr;
    if (ssh_pki_import_pubkey_base64(text.c_str(), keyType, &raw) != SSH_OK) {
        return std::nullopt;
    }
    Key key(raw);
    char* exported = nullptr;
    if (ssh_pki_export_pubkey_base64(key.get(), &exported) != SSH_OK) {
        return std::nullopt;
    }
    const bool same = text == exported;
    ssh_string_free_char(exported);
    if (!same) {
        return std::nullopt;
    }
    return Parsed{std::move(key), *facts};
}

/// How `ssh-keygen -l` names each usable type, and the size it gives it (0: the RSA modulus's).
struct TypeName {
    ssh_keytypes_e type;
    std::string_view label;
    int bits;
};

constexpr TypeName typeNames[] = {
    {SSH_KEYTYPE_ED25519, "ED25519", 256},
    {SSH_KEYTYPE_SK_ED25519, "ED25519-SK", 256},
    {SSH_KEYTYPE_ECDSA_P256, "ECDSA", 256},
    {SSH_KEYTYPE_ECDSA_P384, "ECDSA", 384},
    {SSH_KEYTYPE_ECDSA_P521, "ECDSA", 521},
    {SSH_KEYTYPE_SK_ECDSA, "ECDSA-SK", 256},
    {SSH_KEYTYPE_RSA, "RSA", 0},
};

} // namespace

bool isUsable(std::string_view type, std::string_view base64) {
    return parsed(type, base64).has_value();
}

std::optional<std::string> fingerprint(std::string_view type, std::string_view base64) {
    const auto key = parsed(type, base64);
    if (!key) {
        return std::nullopt;
    }
    return LibsshKey::fingerprint(key->key.get());
}

std::optional<Description> describe(std::string_view type, std::string_view base64) {
    const auto key = parsed(type, base64);
    if (!key) {
        return std::nullopt;
    }
    const auto keyType = ssh_key_type(key->key.get());
    const auto* name = std::find_if(std::begin(typeNames), std::end(typeNames),
                                    [&](const TypeName& candidate) { return candidate.type == keyType; });
    auto sha256 = LibsshKey::fingerprint(key->key.get());
    if (name == std::end(typeNames) || !sha256) {
        return std::nullopt;
    }
    return Description{name->bits != 0 ? name->bits : key->facts.rsaBits, std::move(*sha256),
                       std::string(name->label)};
}

} // namespace CompanionCore::SshPublicKey
