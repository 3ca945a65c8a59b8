#include "cli/CommandLine.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <algorithm>
#include <cstdio>

namespace Cli {

namespace {

/// This file's texts, in the catalogue's "CommandLine" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(CommandLine)
};

/// The widest name column of a help section; a longer name has its text on the next line.
constexpr qsizetype widestNameColumn = 26;
/// Blanks before a name and between a name and its text.
constexpr qsizetype helpIndent = 2;

/// "-h, --help" or "--authorized-keys <archivo>".
QString optionNames(const QCommandLineOption& option) {
    QStringList names;
    for (const QString& name : option.names()) {
        names.append((name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name);
    }
    QString text = names.join(QStringLiteral(", "));
    if (!option.valueName().isEmpty()) {
        text += QStringLiteral(" <") + option.valueName() + QStringLiteral(">");
    }
    return text;
}

/// An option named on the command line, as it was typed.
QString typedOption(const QString& name) {
    return (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
}

QString sectionText(const HelpSection& section) {
    qsizetype nameWidth = 0;
    for (const auto& row : section.rows) {
        if (row.first.size() <= widestNameColumn) {
            nameWidth = std::max(nameWidth, row.first.size());
        }
    }
    const qsizetype column = helpIndent + nameWidth + helpIndent;
    const QString indent(column, u' ');
    QString text = section.title + QStringLiteral("\n");
    for (const auto& [name, description] : section.rows) {
        QString line = QString(helpIndent, u' ') + name;
        if (line.size() + helpIndent > column) {
            text += line + QStringLiteral("\n");
            line = indent;
        } else {
            line = line.leftJustified(column);
        }
        const QStringList lines = wrapped(description, terminalColumns - 1 - column);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            text += (i == 0 ? line : indent) + lines.at(i) + QStringLiteral("\n");
        }
    }
    return text;
}

} // namespace

QString programName() {
    return QStringLiteral("nuvexa-companion-cli");
}

QStringList wrapped(const QString& text, qsizetype width) {
    QStringList lines;
    for (const QString& paragraph : text.split(u'\n')) {
        QString line;
        for (const QString& word : paragraph.split(u' ', Qt::SkipEmptyParts)) {
            if (!line.isEmpty() && line.size() + 1 + word.size() > width) {
                lines.append(line);
                line.clear();
            }
            line += (line.isEmpty() ? QString() : QStringLiteral(" ")) + word;
        }
        lines.append(line);
    }
    return lines;
}

QString fitted(const QString& text) {
    QStringList lines;
    for (const QString& line : text.split(u'\n')) {
        qsizetype indent = 0;
        while (indent < line.size() && line.at(indent) == u' ') {
            ++indent;
        }
        const QString margin(indent, u' ');
        for (const QString& part : wrapped(line.mid(indent), terminalColumns - 1 - indent)) {
            lines.append(margin + part);
        }
    }
    return lines.join(u'\n');
}

QString helpPage(const QString& usage, const QString& description, const QList<HelpSection>& sections,
                 const QString& epilogue) {
    const qsizetype width = terminalColumns - 1;
    QString page = wrapped(usage, width).join(u'\n') + QStringLiteral("\n");
    page += wrapped(description, width).join(u'\n') + QStringLiteral("\n");
    for (const auto& section : sections) {
        if (!section.rows.isEmpty()) {
            page += QStringLiteral("\n") + sectionText(section);
        }
    }
    if (!epilogue.isEmpty()) {
        page += QStringLiteral("\n") + wrapped(epilogue.trimmed(), width).join(u'\n') + QStringLiteral("\n");
    }
    return page;
}

CommandLine::CommandLine(QString command, const QString& description)
    : m_command(std::move(command))
    , m_description(description)
    , m_help(QStringList{QStringLiteral("h"), QStringLiteral("help")}, Texts::tr("Muestra esta ayuda.")) {
    m_parser.addOption(m_help);
    m_options.append(m_help);
}

void CommandLine::addOptions(const QList<QCommandLineOption>& options) {
    m_parser.addOptions(options);
    m_options.append(options);
}

void CommandLine::addPositionalArgument(const QString& name, const QString& description) {
    m_parser.addPositionalArgument(name, description);
    m_positionals.append({name, description});
}

QString CommandLine::helpText() const {
    QString usage = Companion::LocalizedFormat::fill(Texts::tr("Uso: %@ [opciones]"),
                                                     {programName() + QStringLiteral(" ") + m_command});
    HelpSection options{Texts::tr("Opciones:"), {}};
    for (const auto& option : m_options) {
        if (!(option.flags() & QCommandLineOption::HiddenFromHelp)) {
            options.rows.append({optionNames(option), option.description()});
        }
    }
    HelpSection arguments{Texts::tr("Argumentos:"), m_positionals};
    for (const auto& positional : m_positionals) {
        usage += QStringLiteral(" ") + positional.first;
    }
    return helpPage(usage, m_description, {options, arguments}, m_helpEpilogue);
}

QString CommandLine::parseError() const {
    if (const QStringList unknown = m_parser.unknownOptionNames(); !unknown.isEmpty()) {
        QStringList typed;
        for (const QString& name : unknown) {
            typed.append(typedOption(name));
        }
        return Companion::LocalizedFormat::fill(unknown.size() == 1 ? Texts::tr("opción desconocida %@")
                                                                    : Texts::tr("opciones desconocidas %@"),
                                                {typed.join(QStringLiteral(", "))});
    }
    // The parser's other complaints name one option between quotes: a value missing after an option
    // that takes one, or given to one that takes none.
    static const QRegularExpression quoted(QStringLiteral("'-*([^']*)'"));
    const QString name = quoted.match(m_parser.errorText()).captured(1);
    const auto option =
        std::find_if(m_options.begin(), m_options.end(),
                     [&](const QCommandLineOption& known) { return known.names().contains(name); });
    if (option == m_options.end()) {
        return Texts::tr("la línea de órdenes no se entiende");
    }
    return Companion::LocalizedFormat::fill(option->valueName().isEmpty()
                                                ? Texts::tr("%@ no lleva ningún valor")
                                                : Texts::tr("%@ necesita un valor"),
                                            {typedOption(name)});
}

std::optional<int> CommandLine::parse(const QStringList& arguments, qsizetype positionals) {
    if (!m_parser.parse(QStringList{programName() + QStringLiteral(" ") + m_command} + arguments)) {
        return usageError(parseError());
    }
    if (m_parser.isSet(m_help)) {
        std::fputs(helpText().toUtf8().constData(), stdout);
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
    std::fprintf(stderr, "%s %s: %s\n", programName().toUtf8().constData(), m_command.toUtf8().constData(),
                 message.toUtf8().constData());
    std::fflush(stderr);
    return status;
}

} // namespace Cli
