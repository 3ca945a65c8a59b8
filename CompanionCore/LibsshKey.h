#pragma once

// libssh's key handle as the core uses it. Only the core's own sources include this: libssh is a
// private dependency, and no public header names its types.

#include <libssh/libssh.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace CompanionCore::LibsshKey {

struct Deleter {
    void operator()(ssh_key key) const { ssh_key_free(key); }
};
using Key = std::unique_ptr<std::remove_pointer_t<ssh_key>, Deleter>;

/// "SHA256:" and the unpadded base64 of the key blob's SHA-256, as `ssh-keygen -l` prints it.
inline std::optional<std::string> fingerprint(const ssh_key key) {
    unsigned char* hash = nullptr;
    std::size_t length = 0;
    if (ssh_get_publickey_hash(key, SSH_PUBLICKEY_HASH_SHA256, &hash, &length) != SSH_OK) {
        return std::nullopt;
    }
    char* text = ssh_get_fingerprint_hash(SSH_PUBLICKEY_HASH_SHA256, hash, length);
    ssh_clean_pubkey_hash(&hash);
    if (text == nullptr) {
        return std::nullopt;
    }
    std::string result(text);
    ssh_string_free_char(text);
    return result;
}

} // namespace CompanionCore::LibsshKey
