#include "cli/CommandLine.h"

#include "Companion/LocalizedFormat.h"

#include <cstdio>

namespace Cli {

namespace {

/// This file's texts, in the catalogue's "CommandLine" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(CommandLine)
};

const QString program = QStringLiteral("nuvexa-companion-cli");

} // namespace

CommandLine::CommandLine(QString command, const QString& description)
    : m_command(std::move(command))
    , m_help(QStringList{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")) {
    m_parser.setApplicationDescription(description);
    m_parser.addOption(m_help);
}

void CommandLine::addOptions(const QList<QCommandLineOption>& options) {
    m_parser.addOptions(options);
}

void CommandLine::addPositionalArgument(const QString& name, const QString& description) {
    m_parser.addPositionalArgument(name, description);
}

std::optional<int> CommandLine::parse(const QStringList& arguments, qsizetype positionals) {
    if (!m_parser.parse(QStringList{program + QStringLiteral(" ") + m_command} + arguments)) {
        return usageError(m_parser.errorText());
    }
    if (m_parser.isSet(m_help)) {
        // The parser knows the program, not the command: the usage line gains the command's name.
        const QString usage = QStringLiteral("Usage: ") + program + QStringLiteral(" ");
        QString help = m_parser.helpText().replace(usage, usage + m_command + QStringLiteral(" "));
        if (!m_helpEpilogue.isEmpty()) {
            help += QStringLiteral("\n") + m_helpEpilogue;
        }
        std::fputs(help.toUtf8().constData(), stdout);
        std::fflush(stdout);
        return Exit::done;
    }
    if (m_parser.positionalArguments().size() > positionals) {
        return usageError(Companion::LocalizedFormat::fill(Texts::tr("argumento inesperado %@"),
                                                           {m_parser.positionalArguments().at(positionals)}));
    }
    return std::nullopt;
}

int CommandLine::usageError(const QString& problem) const {
    fail(problem, Exit::usage);
    if (!m_usageLine.isEmpty()) {
        std::fprintf(stderr, "%s\n", m_usageLine.toUtf8().constData());
    }
    return Exit::usage;
}

int CommandLine::fail(const QString& message, int status) const {
    std::fprintf(stderr, "%s %s: %s\n", program.toUtf8().constData(), m_command.toUtf8().constData(),
                 message.toUtf8().constData());
    std::fflush(stderr);
    return status;
}

} // namespace Cli
