#include "cli/TerminalStyle.h"

#include <cstdlib>
#include <unistd.h>

namespace Cli {

namespace {

const QString green = QStringLiteral("\033[32m");
const QString red = QStringLiteral("\033[31m");
const QString reset = QStringLiteral("\033[0m");

std::optional<std::string> variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace

TerminalStyle TerminalStyle::ofStandardOutput() {
    return decide(::isatty(STDOUT_FILENO) != 0, variable("NO_COLOR"), variable("TERM"));
}

TerminalStyle TerminalStyle::decide(bool terminal, const std::optional<std::string>& noColor,
                                    const std::optional<std::string>& term) {
    TerminalStyle style;
    style.symbols = terminal;
    style.colour = terminal && (!noColor || noColor->empty()) && term.value_or("") != "dumb";
    return style;
}

QString TerminalStyle::mark(bool ok) const {
    // A pipe or a file gets ASCII, which reads the same in any encoding and any language.
    const QString drawn = symbols ? (ok ? QStringLiteral("✓") : QStringLiteral("✗"))
                                  : (ok ? QStringLiteral("+") : QStringLiteral("-"));
    return colour ? (ok ? green : red) + drawn + reset : drawn;
}

QString TerminalStyle::blankMark() const {
    return QStringLiteral(" ");
}

} // namespace Cli
