#pragma once

#include <filesystem>
#include <string>
#include <system_error>

namespace CompanionCore {

/// Why the authorized keys file could not be read as pairing and the list of paired phones read it,
/// with the system's own error.
struct KeyFileFailure {
    enum class Kind {
        /// The system refused to open or read it: its mode, a folder on its way, an I/O error.
        unreadable,
        /// A folder, a FIFO, a socket or a device stands where the file should be.
        notRegularFile,
        /// Larger than `KeyFileSession::maximumSize`: not an authorized keys file anybody wrote by hand.
        tooLarge,
    };

    Kind kind = Kind::unreadable;
    std::filesystem::path path;
    /// The system's error: what open or read answered for `unreadable`, EINVAL for `notRegularFile`,
    /// EFBIG for `tooLarge`.
    std::error_code error;

    /// What was attempted, with the path: "cannot read …", "… is not a regular file".
    std::string context() const;
    /// The context and the system's message for the error, as a log or a terminal shows it.
    std::string message() const;

    bool operator==(const KeyFileFailure&) const = default;
};

} // namespace CompanionCore
