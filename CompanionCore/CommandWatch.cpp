#include "CompanionCore/CommandWatch.h"

#include "CompanionCore/Unicode.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace CompanionCore {

namespace {

constexpr std::int64_t secondsPerMinute = 60;
constexpr std::int64_t secondsPerHour = 3600;

} // namespace

CommandWatch::CommandWatch(double minimumDuration)
    : m_minimumDuration(minimumDuration) {}

std::optional<std::string> CommandWatch::currentCommand() const {
    if (!m_running) {
        return std::nullopt;
    }
    return m_running->command;
}

const std::set<std::string, std::less<>>& CommandWatch::shells() {
    static const std::set<std::string, std::less<>> names = {
        "sh",
        "bash",
        "zsh",
        "fish",
        "csh",
        "tcsh",
        "dash",
        "ksh",
        "login",
        "tmux",
        "reattach-to-user-namespace",
    };
    return names;
}

bool CommandWatch::isShell(std::string_view name) {
    std::string_view trimmed = Unicode::trim(name, Unicode::isWhitespaceOrNewline);
    if (trimmed.starts_with('-')) {
        trimmed.remove_prefix(1);
    }
    if (trimmed.empty()) {
        return true;
    }
    return shells().contains(Unicode::lowercased(trimmed));
}

std::optional<CommandWatch::Finished> CommandWatch::sample(const std::string& command, Timestamp at) {
    const bool shell = isShell(command);
    if (!m_running) {
        if (!shell) {
            m_running = Running{command, at};
        }
        return std::nullopt;
    }
    if (!shell && command == m_running->command) {
        return std::nullopt;
    }
    const std::string previous = std::move(m_running->command);
    const double elapsed = secondsBetween(m_running->since, at);
    if (shell) {
        m_running.reset();
    } else {
        m_running = Running{command, at};
    }
    if (m_minimumDuration <= elapsed) {
        return Finished{previous, elapsed};
    }
    return std::nullopt;
}

void CommandWatch::reset() {
    m_running.reset();
}

std::string CommandWatch::humanDuration(double seconds) {
    const double rounded = std::round(seconds); // halves away from zero
    // 2^63 is exactly representable; anything at or past it does not fit.
    if (!std::isfinite(rounded) || rounded >= 9223372036854775808.0 || rounded < -9223372036854775808.0) {
        std::fputs("humanDuration: not a representable duration\n", stderr);
        std::abort();
    }
    const auto n = static_cast<std::int64_t>(rounded);
    const std::int64_t h = n / secondsPerHour;
    const std::int64_t r = n - h * secondsPerHour;
    const std::int64_t m = r / secondsPerMinute;
    const std::int64_t s = n - (n / secondsPerMinute) * secondsPerMinute;
    if (n < secondsPerHour) {
        if (r < secondsPerMinute) {
            return std::to_string(s) + " s";
        }
        if (s < 1) {
            return std::to_string(m) + " min";
        }
        return std::to_string(m) + " min " + std::to_string(s) + " s";
    }
    if (r < secondsPerMinute) {
        return std::to_string(h) + " h";
    }
    return std::to_string(h) + " h " + std::to_string(m) + " min";
}

} // namespace CompanionCore
