#pragma once

#include <cstddef>
#include <string>

namespace CompanionCore {

/// A phone that can log in: a line of the authorized keys file whose comment begins with "nuvexa:".
struct PairedDevice {
    /// The rest of the comment, display-safe.
    std::string name;
    /// The key's type as the line names it, for instance "ssh-ed25519".
    std::string keyType;
    /// The key's base64 blob as the line holds it.
    std::string blob;
    /// Where the line is in the file, counting from 1.
    std::size_t lineNumber = 0;
    /// A later line holds another key under the same name: this one is most likely the phone's
    /// previous key.
    bool older = false;

    bool operator==(const PairedDevice&) const = default;
};

} // namespace CompanionCore
