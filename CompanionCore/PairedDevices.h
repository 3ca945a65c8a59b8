#pragma once

#include "CompanionCore/KeyLine.h"
#include "CompanionCore/PairedDevice.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The phones that pairing has let in, read from the authorized keys file itself: there is no list
/// of our own that could disagree with what the SSH server reads.
namespace CompanionCore::PairedDevices {

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

/// The most characters of a line's options, and of its comment, that a `KeyLine` excerpt shows.
inline constexpr std::size_t maximumExcerptPart = 40;

/// Every line that holds the key `keyType` `blob`, in file order: every line from which the SSH
/// server would read that key, whatever its options or comment, that is the same blob under the same
/// type name or one the server takes for it ("rsa-sha2-256" and "rsa-sha2-512" for "ssh-rsa").
/// Empty exactly when the key opens no line of the file.
std::vector<KeyLine> linesHolding(std::string_view fileText, std::string_view keyType, std::string_view blob);

/// The lines that hold the key but are no phone line, in file order: what still lets the key in
/// after `withoutDevice`.
std::vector<KeyLine> otherLinesHolding(std::string_view fileText, std::string_view keyType,
                                       std::string_view blob);

/// `fileText` without the phone lines that hold the key `keyType` `blob`. Every other byte stays as
/// it was: other keys, options, comments, blank lines, line ends, bytes that are not UTF-8, a
/// missing final line feed.
std::string withoutDevice(std::string_view fileText, std::string_view keyType, std::string_view blob);

/// `fileText` without any line that holds the key, phone line or not; every other byte stays as
/// `withoutDevice` keeps it.
std::string withoutKey(std::string_view fileText, std::string_view keyType, std::string_view blob);

} // namespace CompanionCore::PairedDevices
