#pragma once

namespace Companion {

/// Which system's words the texts use where they name the computer or its facilities: the Mac,
/// Homebrew, Remote Login and Terminal on macOS; this computer, the distribution's package manager
/// and the SSH server on Linux. Each `SystemActions` backend answers its own.
enum class Wording { macos, linuxSystem };

} // namespace Companion
