#include "CompanionCore/PairingCode.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace CompanionCore {

namespace {

std::uint64_t secureRandomWord() {
    std::uint64_t word = 0;
    if (getentropy(&word, sizeof word) != 0) {
        // Without a secure source no code may be issued at all.
        std::fputs("no secure random source\n", stderr);
        std::abort();
    }
    return word;
}

/// Multiply-and-reject: exactly uniform over 0..9, with no modulo bias.
unsigned uniformDigit() {
    constexpr std::uint64_t rejectBelow = 6; // 2^64 mod 10
    for (;;) {
        const unsigned __int128 product = static_cast<unsigned __int128>(secureRandomWord()) * 10u;
        if (static_cast<std::uint64_t>(product) >= rejectBelow) {
            return static_cast<unsigned>(product >> 64);
        }
    }
}

bool isValidDigits(std::string_view digits) {
    if (digits.size() != PairingCode::length) {
        return false;
    }
    for (const char c : digits) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    return true;
}

} // namespace

PairingCode::PairingCode(std::string digits, Timestamp issuedAt)
    : m_digits(std::move(digits))
    , m_issuedAt(issuedAt) {
    if (!isValidDigits(m_digits)) {
        std::fputs("a pairing code must be six digits\n", stderr);
        std::abort();
    }
}

PairingCode PairingCode::random() {
    std::string digits;
    for (std::size_t i = 0; i < length; ++i) {
        digits += static_cast<char>('0' + uniformDigit());
    }
    return PairingCode(std::move(digits), systemNow());
}

bool PairingCode::isExpired(Timestamp at) const {
    return secondsBetween(m_issuedAt, at) > lifetime;
}

bool PairingCode::isLive(Timestamp at) const {
    return !m_used && !isExpired(at) && m_attempts < maxAttempts;
}

PairingCode::Verdict PairingCode::check(std::string_view candidate, Timestamp at) {
    if (m_used || isExpired(at) || m_attempts >= maxAttempts) {
        return Verdict::exhausted;
    }
    ++m_attempts;
    if (!constantTimeEquals(candidate, m_digits)) {
        return m_attempts == maxAttempts ? Verdict::exhausted : Verdict::rejected;
    }
    m_used = true;
    return Verdict::accepted;
}

bool constantTimeEquals(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    const auto* left = reinterpret_cast<const unsigned char*>(a.data());
    const auto* right = reinterpret_cast<const unsigned char*>(b.data());
    const std::size_t size = a.size();
    std::size_t i = 0;
    std::uint64_t wide = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t x = 0;
        std::uint64_t y = 0;
        std::memcpy(&x, left + i, 8);
        std::memcpy(&y, right + i, 8);
        wide |= x ^ y;
    }
    unsigned narrow = 0;
    for (; i < size; ++i) {
        narrow |= static_cast<unsigned>(left[i] ^ right[i]);
    }
    // Read the accumulators through a volatile so the fold cannot be turned into an early exit.
    volatile std::uint64_t accumulator = wide | narrow;
    return accumulator == 0;
}

} // namespace CompanionCore
