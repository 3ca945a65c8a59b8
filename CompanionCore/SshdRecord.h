#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// One public-key login attempt as sshd logged it: "Accepted publickey for USER from ADDRESS port
/// PORT ssh2: TYPE SHA256:…" or the same with "Failed". The records come from three kinds of log,
/// each with its own framing; only the framing says whether sshd itself wrote the line.
struct SshdRecord {
    std::chrono::system_clock::time_point time;
    std::string user;
    std::string address;
    int port = 0;
    /// "SHA256:…"
    std::string fingerprint;
    bool accepted = false;

    bool operator==(const SshdRecord&) const = default;

    /// A line of a syslog file after the framing was taken apart; the texts are views into the line.
    struct SyslogLine {
        std::chrono::system_clock::time_point time;
        /// The program tag without its pid ("sshd").
        std::string_view program;
        std::string_view message;
    };

    /// The attempt in sshd's message `message`, read from its end: the user name is the client's
    /// choice and may hold any of the words that follow it, the address, port and key are sshd's
    /// own. Nothing for another message, for an "invalid user" and for a key with a certificate.
    static std::optional<SshdRecord> fromMessage(std::string_view message,
                                                 std::chrono::system_clock::time_point time);

    /// A syslog line in the traditional format ("Nov 24 13:15:32 host prog[123]: …", local time, the
    /// year taken from `now` unless that puts it more than a day ahead) or in rsyslog's
    /// high-precision one ("2026-11-24T13:15:32.123456+00:00 host prog[123]: …"). Nothing for a line
    /// in neither format or whose tag carries no pid.
    static std::optional<SyslogLine> syslogLine(std::string_view line,
                                                std::chrono::system_clock::time_point now);

    /// The attempt in a syslog line that sshd (or its per-session process "sshd-session") wrote.
    static std::optional<SshdRecord> fromSyslogLine(std::string_view line,
                                                    std::chrono::system_clock::time_point now);

    /// An entry of the unified log as `log show --style ndjson` prints it, when its process image is
    /// sshd's and its message an attempt.
    static std::optional<SshdRecord> fromUnifiedLogEntry(std::string_view json);

    /// Whether a program tag, journal command name or process image names sshd.
    static bool isSshdProgram(std::string_view program);
    static bool isSshdImage(std::string_view imagePath);
};

} // namespace CompanionCore
