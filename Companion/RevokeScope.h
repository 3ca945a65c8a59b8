#pragma once

namespace Companion {

/// How much of the authorized keys file revoking a phone removes.
enum class RevokeScope {
    /// The phone's own lines; other lines that hold its key stay, and keep letting it in.
    phoneLines,
    /// Every line that holds the phone's key, whatever its options or comment.
    everyLine,
};

} // namespace Companion
