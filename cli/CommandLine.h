#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

namespace Cli {

/// The exit statuses every command answers with.
namespace Exit {
/// Done: paired, ready, revoked, nothing found that keeps a phone out.
inline constexpr int done = 0;
/// The command ran and the answer is no: not paired, not ready, nothing matched, refused, a problem
/// found or a file that could not be read or written.
inline constexpr int refused = 1;
/// The command line was wrong.
inline constexpr int usage = 2;
/// 128 + SIGINT, as shells report a program ended by Ctrl-C.
inline constexpr int interrupted = 130;
} // namespace Exit

/// The columns of the terminal the human output is written for; a line fills one less, so that a
/// terminal that wraps at the last column shows no empty line after it.
inline constexpr qsizetype terminalColumns = 80;

/// The program as people type it.
QString programName();

/// One titled part of a help page: rows of a name and its text, the texts aligned in one column.
struct HelpSection {
    QString title;
    QList<std::pair<QString, QString>> rows;
};

/// A help page in the terminal's width: the usage line, the description, the sections, then
/// `epilogue`, every paragraph wrapped to fit.
QString helpPage(const QString& usage, const QString& description, const QList<HelpSection>& sections,
                 const QString& epilogue);

/// `text` broken at blanks into lines of at most `width` columns; its own line breaks are kept.
QStringList wrapped(const QString& text, qsizetype width);

/// `text` with each line too long for the terminal broken at blanks, the continuation lines indented
/// as the line they continue.
QString fitted(const QString& text);

/// One command's command line, handled alike for every command: "--help" prints the command's help
/// and ends it, and every complaint is one line on standard error that names the program and the
/// command ("nuvexa-companion-cli revoke: …"). Every text is the catalogue's, in the run's language.
class CommandLine {
public:
    CommandLine(QString command, const QString& description);

    /// The options beyond "--help".
    void addOptions(const QList<QCommandLineOption>& options);
    void addPositionalArgument(const QString& name, const QString& description);
    /// The line repeated after a usage error ("Uso: …"); none by default.
    void setUsageLine(QString line) { m_usageLine = std::move(line); }
    /// What the help adds after the options: the exit statuses.
    void setHelpEpilogue(QString text) { m_helpEpilogue = std::move(text); }

    /// Parses the arguments after the command, allowing at most `positionals` of them. Answers the exit
    /// status when the command ends here: `Exit::done` after the help, `Exit::usage` after a usage error
    /// (reported). Nothing when the command goes on.
    std::optional<int> parse(const QStringList& arguments, qsizetype positionals = 0);

    bool isSet(const QCommandLineOption& option) const { return m_parser.isSet(option); }
    QString value(const QCommandLineOption& option) const { return m_parser.value(option); }
    QStringList values(const QCommandLineOption& option) const { return m_parser.values(option); }
    QStringList positionalArguments() const { return m_parser.positionalArguments(); }

    /// The command's help page.
    QString helpText() const;

    /// Reports a usage error and answers `Exit::usage`.
    int usageError(const QString& problem) const;
    /// Reports `message` on standard error and answers `status`.
    int fail(const QString& message, int status) const;

private:
    /// The parser's complaint in the run's language.
    QString parseError() const;

    QString m_command;
    QString m_description;
    QCommandLineParser m_parser;
    QCommandLineOption m_help;
    QList<QCommandLineOption> m_options;
    QList<std::pair<QString, QString>> m_positionals;
    QString m_usageLine;
    QString m_helpEpilogue;
};

} // namespace Cli
