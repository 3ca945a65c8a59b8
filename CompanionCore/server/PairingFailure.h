#pragma once

namespace CompanionCore {

/// Why a pairing session ended without a phone. The front ends word each reason in the user's
/// language; the log keeps its own English lines.
enum class PairingFailure {
    /// The key file, its folder or the home above it belongs to another account than the one the phone
    /// would log in to: checked before any code is drawn.
    keyFileNotTheUsers,
    /// Every port of the list is taken.
    noFreePort,
    /// The listener could not be opened for another reason than a taken port, or stopped accepting.
    listenerFailed,
    /// The last code a start allows was guessed at too often.
    tooManyWrongCodes,
    /// The right code came but the key could not be written: the code is spent.
    keyNotInstalled,
};

} // namespace CompanionCore
