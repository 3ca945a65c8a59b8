#pragma once

#include "CompanionCore/Expected.h"
#include "CompanionCore/KeyFileFailure.h"

#include <array>
#include <filesystem>
#include <functional>
#include <stop_token>
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
/// The line is appended in place, so no line another writer added is ever lost, and the file keeps
/// its owner, its hard links and its mode (less group and other write, which the SSH server refuses);
/// a missing file is created 0600 (and its folder 0700). Only a file its owner made read-only is
/// replaced whole, through a private temporary. Writers of ours exclude each other (see
/// `KeyFileSession`). Throws std::system_error, carrying the system's message, when the directory or
/// the file cannot be read or written, or is no regular file of at most `KeyFileSession::maximumSize`
/// bytes, or when the lock is not had in time or `stop` is requested while waiting for it; the file is
/// then unchanged.
bool install(std::string_view line, const std::filesystem::path& path, const std::stop_token& stop = {});

/// Replaces the file's content by `edit(content)` under the same exclusion as `install`, through a
/// private temporary renamed over it; the edit is run again on a file another writer changed
/// meanwhile. False, and nothing written, when the edit changes nothing. Throws as `install` does.
bool rewrite(const std::filesystem::path& path, const std::function<std::string(std::string_view)>& edit,
             const std::stop_token& stop = {});

/// The file's content as `install` reads it (a bounded regular file, or a link to one); empty when
/// it does not exist. Takes no lock and creates nothing. A file that cannot be read so is the
/// failure, with the system's error.
Expected<std::string, KeyFileFailure> read(const std::filesystem::path& path);

/// The part of a line that identifies a key: its first two white-space separated pieces joined by
/// a blank (or the single piece of a one-piece line).
std::string keyIdentity(std::string_view line);

} // namespace CompanionCore::AuthorizedKeys
