#pragma once

#include <QCommandLineParser>
#include <QString>

namespace Cli {

/// Prints a command's help on standard output. The parser knows the program, not the command, so
/// the usage line gains the command's name ("Usage: nuvexa-companion-cli pair [options]").
void printCommandHelp(const QCommandLineParser& parser, const QString& command);

} // namespace Cli
