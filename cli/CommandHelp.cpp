#include "cli/CommandHelp.h"

#include <cstdio>

namespace Cli {

void printCommandHelp(const QCommandLineParser& parser, const QString& command) {
    const QString program = QStringLiteral("Usage: nuvexa-companion-cli ");
    std::fputs(qPrintable(parser.helpText().replace(program, program + command + QStringLiteral(" "))),
               stdout);
}

} // namespace Cli
