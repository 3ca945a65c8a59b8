#pragma once

#include <QString>

#include <string>

namespace Companion {

/// One thing on the way in that a phone would meet, with its stable cause key for machine-readable
/// output and what to do about it, both translated.
struct Finding {
    /// Stable key, such as "moshServerNotInLoginPath".
    std::string cause;
    /// It keeps the phone out (rather than only making something worse).
    bool keepsPhoneOut = true;
    QString text;
    QString remedy;

    bool operator==(const Finding&) const = default;
};

} // namespace Companion
