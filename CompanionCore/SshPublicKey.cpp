#include "CompanionCore/SshPublicKey.h"

#include "CompanionCore/LibsshKey.h"

#include <libssh/libssh.h>

#include <array>
#include <cstdint>
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

/// The checks libssh does not make: the declared type against the blob's own, the curve, the size.
bool wireFormatAgrees(std::string_view type, std::string_view blob) {
    WireReader reader(blob);
    const auto innerType = reader.next();
    if (!innerType || *innerType != type) {
        return false;
    }
    if (type.starts_with("ecdsa-sha2-") || type.starts_with("sk-ecdsa-sha2-")) {
        const auto curve = reader.next();
        const auto named = type.substr(type.find("nistp"), 8);
        return curve && *curve == named;
    }
    if (type == "ssh-rsa") {
        const auto exponent = reader.next();
        const auto modulus = reader.next();
        return exponent && modulus && significantBits(*modulus) >= minimumRsaBits;
    }
    return true;
}

/// The key as libssh reads it, only when writing it out again gives back exactly the same blob (so
/// nothing was left over or read leniently).
Key parsed(std::string_view type, std::string_view base64) {
    const auto blob = decodeBase64(base64);
    if (!blob || !wireFormatAgrees(type, *blob)) {
        return nullptr;
    }
    const std::string typeText(type);
    const auto keyType = ssh_key_type_from_name(typeText.c_str());
    if (keyType == SSH_KEYTYPE_UNKNOWN) {
        return nullptr;
    }
    const std::string text(base64);
    ssh_key raw = nullptr;
    if (ssh_pki_import_pubkey_base64(text.c_str(), keyType, &raw) != SSH_OK) {
        return nullptr;
    }
    Key key(raw);
    char* exported = nullptr;
    if (ssh_pki_export_pubkey_base64(key.get(), &exported) != SSH_OK) {
        return nullptr;
    }
    const bool same = text == exported;
    ssh_string_free_char(exported);
    return same ? std::move(key) : nullptr;
}

} // namespace

bool isUsable(std::string_view type, std::string_view base64) {
    return parsed(type, base64) != nullptr;
}

std::optional<std::string> fingerprint(std::string_view type, std::string_view base64) {
    const Key key = parsed(type, base64);
    if (!key) {
        return std::nullopt;
    }
    return LibsshKey::fingerprint(key.get());
}

} // namespace CompanionCore::SshPublicKey
