#include "cli/TerminalStyle.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace Cli {

namespace {

/// This file's texts, in the catalogue's "TerminalStyle" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(TerminalStyle)
};

const QString green = QStringLiteral("\033[32m");
const QString red = QStringLiteral("\033[31m");
const QString reset = QStringLiteral("\033[0m");

std::optional<std::string> variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

/// The words a pipe gets for the marks, as wide as each other so the details stay aligned.
QString word(bool ok) {
    //: a readiness check passed, where no ✓ is drawn
    const QString yes = Texts::tr("sí");
    //: a readiness check failed, where no ✗ is drawn
    const QString no = Texts::tr("no");
    const qsizetype width = std::max(yes.size(), no.size());
    return (ok ? yes : no).leftJustified(width);
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
    const QString drawn = symbols ? (ok ? QStringLiteral("✓") : QStringLiteral("✗")) : word(ok);
    return colour ? (ok ? green : red) + drawn + reset : drawn;
}

QString TerminalStyle::blankMark() const {
    return QString(symbols ? 1 : word(true).size(), u' ');
}

} // namespace Cli
