#pragma once

#include "CompanionCore/Expected.h"

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

namespace CompanionCore::AuthorizedKeys {

enum class Failure { notAPublicKey };

/// The key types accepted, in the order they are listed to people.
inline constexpr std::array<std::string_view, 7> keyTypes = {
    "ssh-ed25519",
    "ssh-rsa",
    "ecdsa-sha2-nistp256",
    "ecdsa-sha2-nistp384",
    "ecdsa-sha2-nistp521",
    "sk-ssh-ed25519@openssh.com",
    "sk-ecdsa-sha2-nistp256@openssh.com",
};

/// The key as one authorized_keys line (no line break): type, blank, base64 blob and, when the
/// cleaned comment is not empty, blank and comment. The comment is cleaned by turning line feeds into
/// blanks, trimming blanks and making it display-safe (`Unicode::displaySafe`). The key's own comment
/// is dropped.
Expected<std::string, Failure> normalize(std::string_view key, std::string_view comment);

/// Adds `line` to the file at `path` unless a line with the same type and blob is there. Answers
/// true when added, false when already present (the file is then not touched).
///
/// Only a file that does not exist counts as empty; the existing bytes are kept as they are and no
/// existing line is ever altered. The file is replaced atomically by a 0600 temporary written in its
/// own directory (a symbolic link stays and its target is replaced), synced before the rename, with
/// the directory synced after it. Throws std::system_error, carrying the system's message, when the
/// directory, the file or its permissions cannot be read or written; the file is then unchanged.
bool install(std::string_view line, const std::filesystem::path& path);

/// The part of a line that identifies a key: its first two white-space separated pieces joined by
/// a blank (or the single piece of a one-piece line).
std::string keyIdentity(std::string_view line);

} // namespace CompanionCore::AuthorizedKeys
