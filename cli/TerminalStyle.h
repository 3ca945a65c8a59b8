#pragma once

#include <QString>

#include <cstdio>
#include <optional>
#include <string>

namespace Cli {

/// How the human output is drawn: symbols and colour only for a person at a terminal, so that what a
/// pipe or a file receives is plain text. Machine-readable output never asks.
struct TerminalStyle {
    /// ✓ and ✗ rather than + and -.
    bool symbols = false;
    /// ANSI colours on the marks.
    bool colour = false;

    /// The style for standard output as this process finds it.
    static TerminalStyle ofStandardOutput();

    /// The style for an output that is a terminal or not: symbols on a terminal, and colour too unless
    /// NO_COLOR is set to anything but nothing (as no-color.org asks) or the terminal is "dumb".
    static TerminalStyle decide(bool terminal, const std::optional<std::string>& noColor,
                                const std::optional<std::string>& term);

    /// The mark of a check that passed or failed, in this style.
    QString mark(bool ok) const;
    /// Blanks as wide as a mark, for rows that are not checks.
    QString blankMark() const;
};

} // namespace Cli
