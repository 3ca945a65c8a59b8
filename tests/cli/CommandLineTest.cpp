#include "cli/CommandLine.h"

#include "support/LanguageWords.h"
#include "support/Patience.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

// The help and the usage errors of every command, run as the program itself in Spanish and in
// English: one language a run, every line within the terminal's width.
namespace {

using TestSupport::englishWords;
using TestSupport::spanishWords;
using TestSupport::speaking;
using TestSupport::wordsOf;

const QString cli = NUVEXA_CLI;

struct Language {
    const char* name;
    QProcessEnvironment environment;
    const QSet<QString>& otherWords;
};

/// Every invocation that ends in help or in a usage error, and the exit status it must answer.
const std::vector<std::pair<QStringList, int>> invocations = {
    {{"--help"}, Cli::Exit::done},
    {{"help"}, Cli::Exit::done},
    {{"help", "pair"}, Cli::Exit::done},
    {{"help", "status"}, Cli::Exit::done},
    {{"help", "devices"}, Cli::Exit::done},
    {{"help", "revoke"}, Cli::Exit::done},
    {{"help", "doctor"}, Cli::Exit::done},
    {{}, Cli::Exit::usage},
    {{"bogus"}, Cli::Exit::usage},
    {{"help", "bogus"}, Cli::Exit::usage},
    {{"--bogus"}, Cli::Exit::usage},
    {{"pair", "--bogus"}, Cli::Exit::usage},
    {{"status", "--bogus", "-x"}, Cli::Exit::usage},
    {{"status", "--json=yes"}, Cli::Exit::usage},
    {{"devices", "--authorized-keys"}, Cli::Exit::usage},
    {{"revoke"}, Cli::Exit::usage},
    {{"doctor", "--port", "none"}, Cli::Exit::usage},
};

class CommandLineTest : public testing::Test {
protected:
    static TestSupport::ProgramResult run(const QStringList& arguments,
                                          const QProcessEnvironment& environment) {
        return TestSupport::runProgram(cli, arguments, TestSupport::generousMilliseconds, environment);
    }

    const Language m_languages[2] = {{"Spanish", speaking("es_ES.UTF-8"), englishWords},
                                     {"English", speaking("en_US.UTF-8"), spanishWords}};
};

} // namespace

TEST_F(CommandLineTest, EveryHelpAndUsageErrorSpeaksOnlyTheRunsLanguageWithinTheTerminal) {
    for (const auto& language : m_languages) {
        for (const auto& [arguments, exitStatus] : invocations) {
            const auto result = run(arguments, language.environment);
            const std::string invocation =
                language.name + std::string(": ") + arguments.join(' ').toStdString();
            EXPECT_EQ(result.exitCode, exitStatus) << invocation << "\n" << result.output;
            EXPECT_FALSE(result.output.empty()) << invocation;
            for (const QString& word : wordsOf(result.output)) {
                EXPECT_FALSE(language.otherWords.contains(word))
                    << invocation << ": \"" << word.toStdString() << "\" in\n"
                    << result.output;
            }
            for (const QString& line : QString::fromStdString(result.output).split(u'\n')) {
                EXPECT_LE(line.size(), Cli::terminalColumns) << invocation << ": " << line.toStdString();
            }
        }
    }
}

TEST_F(CommandLineTest, HelpNamesACommandAsThatCommandsOwnHelpDoes) {
    for (const auto& language : m_languages) {
        for (const char* command : {"pair", "status", "devices", "revoke", "doctor"}) {
            const auto help = run({"help", command}, language.environment);
            EXPECT_EQ(help.output, run({command, "--help"}, language.environment).output) << command;
            EXPECT_NE(help.output.find(std::string("nuvexa-companion-cli ") + command), std::string::npos)
                << help.output;
        }
    }
}

TEST_F(CommandLineTest, UnknownCommandsAndOptionsAreNamedInTheRunsLanguage) {
    const auto spanish = m_languages[0].environment;
    const auto english = m_languages[1].environment;
    EXPECT_EQ(run({"bogus"}, spanish).output, "nuvexa-companion-cli: orden desconocida bogus\n"
                                              "«nuvexa-companion-cli help» lista las órdenes.\n");
    EXPECT_EQ(run({"bogus"}, english).output, "nuvexa-companion-cli: unknown command bogus\n"
                                              "“nuvexa-companion-cli help” lists the commands.\n");
    EXPECT_EQ(run({"pair", "--bogus"}, spanish).output,
              "nuvexa-companion-cli pair: opción desconocida --bogus\n");
    EXPECT_EQ(run({"pair", "--bogus"}, english).output,
              "nuvexa-companion-cli pair: unknown option --bogus\n");
    EXPECT_EQ(run({"devices", "--authorized-keys"}, english).output,
              "nuvexa-companion-cli devices: --authorized-keys needs a value\n");
    EXPECT_EQ(run({"status", "--json=yes"}, spanish).output,
              "nuvexa-companion-cli status: --json no lleva ningún valor\n"
              "Uso: nuvexa-companion-cli status [--json]\n");
}

TEST_F(CommandLineTest, EveryHelpNamesTheExitStatuses) {
    for (const auto& language : m_languages) {
        const std::string exitStatus =
            language.otherWords.contains("the") ? "Estado de salida:" : "Exit status:";
        for (const QStringList& arguments :
             {QStringList{"--help"}, QStringList{"help", "pair"}, QStringList{"help", "status"},
              QStringList{"help", "devices"}, QStringList{"help", "revoke"}, QStringList{"help", "doctor"}}) {
            const auto help = run(arguments, language.environment);
            // Wrapped to the terminal: read as one paragraph.
            const std::string text = QString::fromStdString(help.output).simplified().toStdString();
            EXPECT_NE(text.find(exitStatus), std::string::npos) << help.output;
            EXPECT_NE(text.find(" 2 "), std::string::npos) << "the usage error's status\n" << help.output;
        }
    }
}

TEST(CommandLineWrapTest, BreaksAtBlanksWithinTheWidthAndKeepsItsOwnLineBreaks) {
    EXPECT_EQ(Cli::wrapped(QStringLiteral("uno dos tres\ncuatro"), 7),
              (QStringList{QStringLiteral("uno dos"), QStringLiteral("tres"), QStringLiteral("cuatro")}));
    // A word longer than the width stays whole rather than broken.
    EXPECT_EQ(Cli::wrapped(QStringLiteral("SHA256:abcdefgh x"), 5),
              (QStringList{QStringLiteral("SHA256:abcdefgh"), QStringLiteral("x")}));
}
