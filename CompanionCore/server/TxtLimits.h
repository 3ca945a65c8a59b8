#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// DNS-SD carries each TXT entry as one length-prefixed string of at most 255 bytes. The pairing
/// record is built without limits; this makes it fit before it is announced, and says what it did.
namespace CompanionCore::TxtLimits {

/// Bytes of one "key=value" entry.
inline constexpr std::size_t maxEntryBytes = 255;

struct Fitted {
    /// Every entry of the record, each within `maxEntryBytes`.
    std::vector<std::pair<std::string, std::string>> entries;
    /// One log message per entry that had to change.
    std::vector<std::string> notes;
};

/// The "hosts" entry loses whole hosts from its end until it fits, so no address is ever cut in half
/// (the phone still learns every host from the pairing answer). Any other entry that is too long is
/// shortened at a character boundary.
Fitted fit(const std::map<std::string, std::string>& record);

} // namespace CompanionCore::TxtLimits
