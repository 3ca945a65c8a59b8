#pragma once

#include "CompanionCore/Timestamp.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace CompanionCore {

/// Decides, from the foreground command seen at each poll, when a long command has finished: when
/// the pane leaves it (for a shell or another command) after at least `minimumDuration` seconds.
class CommandWatch {
public:
    struct Finished {
        std::string command;
        double duration = 0;
        bool operator==(const Finished&) const = default;
    };

    explicit CommandWatch(double minimumDuration);

    double minimumDuration() const { return m_minimumDuration; }

    /// The command being timed, if any.
    std::optional<std::string> currentCommand() const;

    /// Feeds one poll. Reports the command that was timed when it left the foreground after at least
    /// the minimum duration; a switch straight to another command reports the first and times the
    /// second from `at`.
    std::optional<Finished> sample(const std::string& command, Timestamp at);

    /// Forgets the timed command without reporting it.
    void reset();

    /// Names that mean the pane is idle: shells, tmux itself and the namespace wrapper.
    static const std::set<std::string, std::less<>>& shells();

    /// Blank, a lone dash, or (after one leading "-" for login shells) a name in `shells` compared
    /// lower-cased. No path is stripped.
    static bool isShell(std::string_view name);

    /// "42 s", "5 min", "5 min 7 s", "2 h", "2 h 5 min"; rounded half away from zero, truncating
    /// division for negatives. A non-finite or out-of-range value ends the process.
    static std::string humanDuration(double seconds);

private:
    struct Running {
        std::string command;
        Timestamp since;
    };

    double m_minimumDuration;
    std::optional<Running> m_running;
};

} // namespace CompanionCore
