#pragma once

#include "CompanionCore/PairedDevice.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The phones that pairing has let in, read from the authorized keys file itself: there is no list
/// of our own that could disagree with what the SSH server reads.
namespace CompanionCore::PairedDevices {

/// What the comment of a paired phone's line starts with.
inline constexpr std::string_view commentPrefix = "nuvexa:";

struct Listing {
    /// The phones' lines, in file order.
    std::vector<PairedDevice> devices;
    /// Lines holding some other key; counted, never shown.
    std::size_t otherKeys = 0;

    bool operator==(const Listing&) const = default;
};

/// Reads the file's text as the SSH server does: blank lines and lines starting with "#" hold no key,
/// options may come before the key, fields are separated by blanks or tabs, a carriage return before
/// the line feed is not part of the line. Any byte sequence is accepted.
Listing list(std::string_view fileText);

/// The phones `query` names: by name, exactly, or by key fingerprint as `ssh-keygen -l` prints it
/// ("SHA256:…"; the prefix may be left out).
std::vector<PairedDevice> matching(const Listing& listing, std::string_view query);

/// The key's fingerprint ("SHA256:…"), or nothing for a key the SSH server could not use.
std::optional<std::string> fingerprintOf(const PairedDevice& device);

/// `fileText` without the phone lines that hold the key `keyType` `blob`. Every other byte stays as
/// it was: other keys, options, comments, blank lines, line ends, bytes that are not UTF-8, a
/// missing final line feed.
std::string withoutDevice(std::string_view fileText, std::string_view keyType, std::string_view blob);

} // namespace CompanionCore::PairedDevices
