#pragma once

#include "CompanionCore/Timestamp.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace CompanionCore {

/// The six-digit one-time code and its bookkeeping: the only gate between a request and a key.
class PairingCode {
public:
    static constexpr std::size_t length = 6;
    /// Seconds after issue during which the code can be used.
    static constexpr double lifetime = 300.0;
    static constexpr int maxAttempts = 3;

    enum class Verdict { accepted, rejected, exhausted };

    /// A fresh code. `digits` must be exactly six ASCII digits: anything else is a programming
    /// error and ends the process.
    PairingCode(std::string digits, Timestamp issuedAt);

    /// Six uniformly drawn digits from the system's secure random source, issued now.
    static PairingCode random();

    const std::string& digits() const { return m_digits; }
    Timestamp issuedAt() const { return m_issuedAt; }
    int attempts() const { return m_attempts; }
    bool used() const { return m_used; }

    /// More than `lifetime` seconds have passed since issue (exactly 300 is not yet expired).
    bool isExpired(Timestamp at) const;
    /// Not used, not expired and with attempts left.
    bool isLive(Timestamp at) const;

    /// Judges one guess. Every guess that reaches the comparison costs an attempt; a stale, used or
    /// spent code answers `exhausted` without revealing whether the guess was right.
    Verdict check(std::string_view candidate, Timestamp at);

    bool operator==(const PairingCode&) const = default;

private:
    std::string m_digits;
    Timestamp m_issuedAt;
    int m_attempts = 0;
    bool m_used = false;
};

/// Compares the UTF-8 bytes of two texts touching every byte, whatever the first difference; only
/// the lengths are compared early, as they are not secret.
bool constantTimeEquals(std::string_view a, std::string_view b);

} // namespace CompanionCore
