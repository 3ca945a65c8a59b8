#include "cli/PairCommand.h"
#include "Companion/KeyDoctor.h"
#include "cli/CommandLine.h"

#include "server/support/CliSession.h"
#include "server/support/PhoneClient.h"
#include "support/FakeSystemActions.h"
#include "support/ForeignNames.h"
#include "support/LanguageWords.h"
#include "support/Patience.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace {

using TestSupport::CliSession;
using TestSupport::speaking;

const QString cli = NUVEXA_CLI;

std::vector<std::string> linesOf(const std::string& output) {
    std::vector<std::string> lines;
    std::stringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class PairCommandTest : public testing::Test {
protected:
    /// Options that keep a session to itself: its own port, files and no announcement.
    QStringList isolated(QStringList extra = {}) const {
        return QStringList{"pair",
                           "--no-wait",
                           "--port",
                           "0",
                           "--no-announce",
                           "--authorized-keys",
                           QString::fromStdString((m_home / "authorized_keys").string()),
                           "--log-file",
                           QString::fromStdString((m_home / "log").string())} +
               extra;
    }

    /// Ana's phone sending the code of the "waiting" JSON object `waiting`; the whole answer.
    static QByteArray pairWith(const QJsonObject& waiting) {
        return TestSupport::exchange(
            static_cast<quint16>(waiting.value("port").toInt()),
            TestSupport::pairingRequest(waiting.value("code").toString().toStdString(),
                                        TestSupport::sampleEd25519Key, "Ana's phone"));
    }

    std::string file(const std::string& name) const {
        std::ifstream in(m_home / name);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    TestSupport::TemporaryDirectory m_home;
};

TEST_F(PairCommandTest, PrintsItsVersion) {
    const auto result = TestSupport::runProgram(cli, {"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "nuvexa-companion-cli " NUVEXA_VERSION "\n");
}

TEST_F(PairCommandTest, PrintsHelpForItselfAndForPair) {
    const auto top = TestSupport::runProgram(cli, {"--help"});
    EXPECT_EQ(top.exitCode, 0);
    EXPECT_NE(top.output.find("pair"), std::string::npos);
    EXPECT_NE(top.output.find("status"), std::string::npos);
    const auto pair = TestSupport::runProgram(cli, {"pair", "--help"});
    EXPECT_EQ(pair.exitCode, 0);
    EXPECT_NE(pair.output.find("--json"), std::string::npos);
    EXPECT_NE(pair.output.find("--no-announce"), std::string::npos);
}

TEST_F(PairCommandTest, HelpNamesTheProgramNotThePathItWasStartedFrom) {
    // Started by its full path in the build tree, as a script would.
    const auto top = TestSupport::runProgram(cli, {"--help"});
    EXPECT_TRUE(top.output.starts_with("Usage: nuvexa-companion-cli [options] command\n")) << top.output;
    const auto pair = TestSupport::runProgram(cli, {"pair", "--help"});
    EXPECT_TRUE(pair.output.starts_with("Usage: nuvexa-companion-cli pair [options]\n")) << pair.output;
}

TEST_F(PairCommandTest, RefusesUnknownCommandsAndOptions) {
    EXPECT_EQ(TestSupport::runProgram(cli, {}).exitCode, Cli::Exit::usage);
    EXPECT_EQ(TestSupport::runProgram(cli, {"dance"}).exitCode, Cli::Exit::usage);
    EXPECT_EQ(TestSupport::runProgram(cli, {"pair", "--frobnicate"}).exitCode, Cli::Exit::usage);
    EXPECT_EQ(TestSupport::runProgram(cli, {"pair", "--port", "65536"}).exitCode, Cli::Exit::usage);
}

TEST_F(PairCommandTest, ShowsTheCodeAndPortThenExitsZeroWithTheKeyFingerprintOncePaired) {
    CliSession session(cli, isolated());
    const auto code =
        session.waitForLine([](const std::string& line) { return line.starts_with("Pairing code: "); });
    ASSERT_TRUE(code.has_value()) << session.errors();
    const QRegularExpressionMatch spaced =
        QRegularExpression("^Pairing code: (\\d{3}) (\\d{3})$").match(QString::fromStdString(*code));
    ASSERT_TRUE(spaced.hasMatch()) << *code;
    const auto portLine =
        session.waitForLine([](const std::string& line) { return line.starts_with("Port: "); });
    ASSERT_TRUE(portLine.has_value());
    const auto port = static_cast<quint16>(std::stoi(portLine->substr(6)));
    ASSERT_TRUE(
        session.waitForLine([](const std::string& line) { return line.starts_with("Avahi: not visible"); }));

    const std::string digits = (spaced.captured(1) + spaced.captured(2)).toStdString();
    const QByteArray response = TestSupport::exchange(
        port, TestSupport::pairingRequest(digits, TestSupport::sampleEd25519Key, "Ana's phone"));
    EXPECT_EQ(TestSupport::statusOf(response), 200);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::done);
    const auto& lines = session.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Paired with Ana's phone."), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        std::string("Key installed: 256 ") + TestSupport::sampleEd25519Fingerprint +
                            " nuvexa:Ana's phone (ED25519)"),
              lines.end());
    // The events go to the log file only, unless asked for.
    EXPECT_EQ(std::find_if(lines.begin(), lines.end(),
                           [](const std::string& line) { return line.ends_with("Z pairing requested"); }),
              lines.end());
    EXPECT_NE(file("log").find("Z pairing requested\n"), std::string::npos);
    EXPECT_NE(file("authorized_keys").find("nuvexa:Ana's phone"), std::string::npos);
    EXPECT_TRUE(file("log").ends_with("listener stopped\n"));
}

TEST_F(PairCommandTest, StandardOutputCarriesOnlyTheUsersMessagesInTheirLanguage) {
    static const std::regex logLine(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ )");
    for (const auto& [environment, otherWords, codeLine] :
         {std::tuple(speaking("es_ES.UTF-8"), TestSupport::englishWords, "Código de emparejamiento: "),
          std::tuple(speaking("en_US.UTF-8"), TestSupport::spanishWords, "Pairing code: ")}) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(cli, isolated({"--expiry", "1"}));
        ASSERT_TRUE(process.waitForFinished(TestSupport::generousMilliseconds));
        EXPECT_EQ(process.exitCode(), Cli::Exit::refused);
        const std::string output = process.readAllStandardOutput().toStdString();
        const auto lines = linesOf(output);
        const auto code = std::find_if(lines.begin(), lines.end(),
                                       [&](const std::string& line) { return line.starts_with(codeLine); });
        ASSERT_NE(code, lines.end()) << output;
        std::string digits = code->substr(std::string(codeLine).size());
        digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [&](const std::string& line) {
                                    std::string bare = line;
                                    bare.erase(std::remove(bare.begin(), bare.end(), ' '), bare.end());
                                    return bare.find(digits) != std::string::npos;
                                }),
                  1)
            << "the code is printed once\n"
            << output;
        for (const auto& line : lines) {
            EXPECT_FALSE(std::regex_search(line, logLine)) << line;
            EXPECT_LE(QString::fromStdString(line).size(), Cli::terminalColumns) << line;
        }
        for (const QString& word : TestSupport::wordsOf(output)) {
            EXPECT_FALSE(otherWords.contains(word)) << word.toStdString() << " in\n" << output;
        }
        // Where the phone can be pointed by hand: at least this computer's own name.
        EXPECT_NE(std::find_if(lines.begin(), lines.end(),
                               [](const std::string& line) {
                                   return line.starts_with("Direcciones: ") ||
                                          line.starts_with("Addresses: ");
                               }),
                  lines.end())
            << output;
        // Standard error holds warnings for people (no SSH server here, for one), never a log line.
        const std::string errors = process.readAllStandardError().toStdString();
        for (const auto& line : linesOf(errors)) {
            EXPECT_FALSE(std::regex_search(line, logLine)) << line;
            EXPECT_LE(QString::fromStdString(line).size(), Cli::terminalColumns) << line;
        }
        for (const QString& word : TestSupport::wordsOf(errors)) {
            EXPECT_FALSE(otherWords.contains(word)) << word.toStdString() << " in\n" << errors;
        }
    }
}

TEST_F(PairCommandTest, WhatKeepsThePhoneFromFindingTheSessionIsToldInDoctorsWords) {
    TestSupport::FakeSystemActions actions;
    actions.setWording(Companion::Wording::linuxSystem);
    EXPECT_TRUE(Cli::pairingHindrances(actions, "ana").isEmpty());
    actions.setAccessObstacles(
        {CompanionCore::Obstacle::firewallBlocksSsh, CompanionCore::Obstacle::noDnsSdDaemon});
    const QStringList hindrances = Cli::pairingHindrances(actions, "ana");
    ASSERT_EQ(hindrances.size(), 1) << "only what hinders finding the session";
    EXPECT_EQ(hindrances.front(), Companion::KeyDoctor::describe(CompanionCore::Obstacle::noDnsSdDaemon,
                                                                 Companion::Wording::linuxSystem));
    EXPECT_TRUE(hindrances.front().contains(QStringLiteral("instala y arranca avahi-daemon")))
        << hindrances.front().toStdString();
}

TEST_F(PairCommandTest, VerboseAlsoWritesTheLogLinesToStandardError) {
    CliSession session(cli, isolated({"--expiry", "1", "--verbose"}));
    EXPECT_EQ(session.waitForExit(), Cli::Exit::refused);
    const std::string errors = session.errors();
    EXPECT_NE(errors.find("Z listening on "), std::string::npos) << errors;
    EXPECT_NE(errors.find("Z listener stopped\n"), std::string::npos) << errors;
    for (const auto& line : session.lines()) {
        EXPECT_EQ(line.find("listening on"), std::string::npos) << line;
    }
}

TEST_F(PairCommandTest, TheJsonWaitingStateAlsoNamesTheAddresses) {
    CliSession session(cli, isolated({"--json"}));
    const auto waiting = session.waitForJson("state", "waiting");
    ASSERT_TRUE(waiting.has_value()) << session.errors();
    EXPECT_TRUE(waiting->value("hosts").isArray());
    EXPECT_FALSE(waiting->value("hosts").toArray().isEmpty());
    EXPECT_TRUE(waiting->contains("code"));
    ::kill(static_cast<pid_t>(session.processId()), SIGINT);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::interrupted);
}

TEST_F(PairCommandTest, WritesOneJsonObjectPerLineWithJson) {
    CliSession session(cli, isolated({"--json"}));
    const auto waiting = session.waitForJson("state", "waiting");
    ASSERT_TRUE(waiting.has_value()) << session.errors();
    const std::string digits = waiting->value("code").toString().toStdString();
    const auto port = static_cast<quint16>(waiting->value("port").toInt());
    EXPECT_EQ(digits.size(), 6u);
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(
                  port, TestSupport::pairingRequest(digits, TestSupport::sampleEd25519Key, "Phone"))),
              200);
    const auto paired = session.waitForJson("state", "paired");
    ASSERT_TRUE(paired.has_value());
    EXPECT_EQ(paired->value("device").toString(), "Phone");
    EXPECT_EQ(paired->value("fingerprint").toString(), TestSupport::sampleEd25519Fingerprint);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::done);

    std::vector<QString> types;
    for (const auto& line : session.lines()) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(line), &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << line;
        ASSERT_TRUE(document.isObject()) << line;
        types.push_back(document.object().value("type").toString());
    }
    EXPECT_NE(std::find(types.begin(), types.end(), "event"), types.end());
    EXPECT_EQ(std::count(types.begin(), types.end(), "state"), 3) << "starting, waiting, paired";
}

TEST_F(PairCommandTest, ReportsTheAnnouncementAsNotVisibleWhenNoDaemonAnswers) {
    // The test environment points the system bus nowhere, so the real announcer finds no daemon.
    QStringList arguments = isolated({"--json"});
    arguments.removeAll("--no-announce");
    CliSession session(cli, arguments);
    ASSERT_TRUE(session.waitForJson("state", "waiting"));
    const auto why = session.waitForLine([](const std::string& line) {
        return line.find("not announced on Bonjour: DNS-SD error") != std::string::npos;
    });
    EXPECT_TRUE(why.has_value());
    ::kill(static_cast<pid_t>(session.processId()), SIGINT);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::interrupted);
    for (const auto& line : session.lines()) {
        EXPECT_EQ(line.find("\"announced\":true"), std::string::npos) << line;
    }
}

class PairCommandSignalTest : public PairCommandTest, public testing::WithParamInterface<int> {};

TEST_P(PairCommandSignalTest, StopsTheSessionCleanlyAndExits130) {
    CliSession session(cli, isolated({"--json"}));
    const auto waiting = session.waitForJson("state", "waiting");
    ASSERT_TRUE(waiting.has_value()) << session.errors();
    ::kill(static_cast<pid_t>(session.processId()), GetParam());
    EXPECT_EQ(session.waitForExit(), Cli::Exit::interrupted);
    EXPECT_TRUE(file("log").ends_with("listener stopped\n"));
    QTcpSocket late;
    late.connectToHost(QHostAddress(QHostAddress::LocalHost),
                       static_cast<quint16>(waiting->value("port").toInt()));
    EXPECT_FALSE(late.waitForConnected(5000));
}

INSTANTIATE_TEST_SUITE_P(Signals, PairCommandSignalTest, testing::Values(SIGINT, SIGTERM),
                         [](const auto& parameter) {
                             return parameter.param == SIGINT ? "SIGINT" : "SIGTERM";
                         });

TEST_F(PairCommandTest, ExitsOneWhenTheSessionExpires) {
    CliSession session(cli, isolated({"--expiry", "0.2"}));
    EXPECT_EQ(session.waitForExit(), Cli::Exit::refused);
    EXPECT_TRUE(file("log").ends_with("listener stopped\n"));
}

TEST_F(PairCommandTest, ExitsOneWhenNoPortCanBeOpened) {
    QTcpServer busy;
    ASSERT_TRUE(busy.listen(QHostAddress::Any, 0));
    QStringList arguments = isolated();
    arguments.replace(arguments.indexOf("0"), QString::number(busy.serverPort()));
    CliSession session(cli, arguments);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::refused);
    const auto& lines = session.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Pairing failed: no free port"), lines.end());
}

TEST_F(PairCommandTest, AMissingSshServerIsAWarningNotARefusal) {
    QTcpSocket probe;
    probe.connectToHost(QHostAddress(QHostAddress::LocalHost), 22);
    if (probe.waitForConnected(5000)) {
        GTEST_SKIP() << "an SSH server answers on this machine's port 22";
    }
    CliSession session(cli, isolated({"--json"}));
    const auto warning = session.waitForJson("warning");
    ASSERT_TRUE(warning.has_value());
    EXPECT_TRUE(warning->value("message").toString().startsWith("nothing answers on port 22"));
    EXPECT_TRUE(session.waitForJson("state", "waiting").has_value());
    ::kill(static_cast<pid_t>(session.processId()), SIGINT);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::interrupted);
}

} // namespace

TEST_F(PairCommandTest, AKeyThatCannotBeWrittenEndsTheSessionWithWhatToDo) {
    // A folder where the key file should be: the right code is spent and the install fails.
    std::filesystem::create_directories(m_home / "authorized_keys");
    CliSession session(cli, isolated({"--json"}));
    const auto waiting = session.waitForJson("state", "waiting");
    ASSERT_TRUE(waiting.has_value()) << session.errors();
    const QByteArray response = pairWith(*waiting);
    EXPECT_EQ(TestSupport::statusOf(response), 500);
    const auto failed = session.waitForJson("state", "failed");
    ASSERT_TRUE(failed.has_value());
    EXPECT_TRUE(failed->value("message").toString().startsWith("could not write authorized_keys: "));
    EXPECT_EQ(failed->value("reason").toString(), "install");
    EXPECT_EQ(session.waitForExit(), Cli::Exit::refused);
}

TEST_F(PairCommandTest, AKeyThatCannotBeWrittenTellsAPersonToFixItAndStartAgain) {
    std::filesystem::create_directories(m_home / "authorized_keys");
    CliSession session(cli, isolated());
    const auto code =
        session.waitForLine([](const std::string& line) { return line.starts_with("Pairing code: "); });
    ASSERT_TRUE(code.has_value()) << session.errors();
    const auto portLine =
        session.waitForLine([](const std::string& line) { return line.starts_with("Port: "); });
    ASSERT_TRUE(portLine.has_value());
    std::string digits = code->substr(std::string("Pairing code: ").size());
    digits.erase(3, 1);
    TestSupport::exchange(static_cast<quint16>(std::stoi(portLine->substr(6))),
                          TestSupport::pairingRequest(digits, TestSupport::sampleEd25519Key, "Ana's phone"));
    EXPECT_EQ(session.waitForExit(), Cli::Exit::refused);
    const auto& lines = session.lines();
    // The failure is wrapped to the terminal: read the lines as one paragraph.
    std::string paragraph;
    for (const auto& line : lines) {
        paragraph += line + " ";
        EXPECT_LE(QString::fromStdString(line).size(), Cli::terminalColumns) << line;
    }
    EXPECT_NE(paragraph.find("Pairing failed: could not write authorized_keys: "), std::string::npos)
        << paragraph;
    EXPECT_NE(std::find_if(lines.begin(), lines.end(),
                           [](const std::string& line) { return line.starts_with("The code is used up."); }),
              lines.end());
}

namespace {

TEST_F(PairCommandTest, ASpanishUserGetsSpanishEvenWhenTheirLanguagesFallBackToEnglish) {
    for (const auto& environment : {speaking("es_ES.UTF-8"), speaking("es_AR.UTF-8", "es_AR:en")}) {
        const auto pair = TestSupport::runProgram(cli, {"pair", "--port", "abc"}, 60000, environment);
        EXPECT_EQ(pair.exitCode, Cli::Exit::usage);
        EXPECT_EQ(pair.output, "nuvexa-companion-cli pair: --port necesita un número de 0 a 65535\n");
        const auto status = TestSupport::runProgram(cli, {"status", "extra"}, 60000, environment);
        EXPECT_EQ(status.output, "nuvexa-companion-cli status: argumento inesperado extra\n"
                                 "Uso: nuvexa-companion-cli status [--json]\n");
    }
    const auto english =
        TestSupport::runProgram(cli, {"pair", "--port", "abc"}, 60000, speaking("en_GB.UTF-8", "en_GB:es"));
    EXPECT_EQ(english.output, "nuvexa-companion-cli pair: --port needs a number from 0 to 65535\n");
}

TEST_F(PairCommandTest, OnLinuxNeitherLanguageNamesAnotherSystem) {
    struct Case {
        QProcessEnvironment environment;
        std::string codeLine;
        std::string ended;
        std::string sshRow;
    };
    const Case cases[] = {
        {speaking("es_ES.UTF-8"), "Código de emparejamiento: ",
         "La sesión de emparejamiento ha terminado sin ningún teléfono.", "Servidor SSH"},
        {speaking("en_US.UTF-8"), "Pairing code: ", "The pairing session ended without a phone.",
         "SSH server"},
    };
    for (const auto& language : cases) {
        const auto session =
            TestSupport::runProgram(cli, isolated({"--expiry", "1"}), 60000, language.environment);
        EXPECT_EQ(session.exitCode, Cli::Exit::refused) << session.output;
        const auto status = TestSupport::runProgram(cli, {"status"}, 60000, language.environment);
        std::vector<std::string> lines = linesOf(session.output);
        const auto statusLines = linesOf(status.output);
        lines.insert(lines.end(), statusLines.begin(), statusLines.end());
        // The event log's lines, which start with their time, are the log's own words on every system.
        static const std::regex logLine(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ )");
        for (const auto& line : lines) {
            if (!std::regex_search(line, logLine)) {
                EXPECT_TRUE(TestSupport::foreignNames(line).empty()) << line;
            }
        }
        EXPECT_NE(std::find_if(lines.begin(), lines.end(),
                               [&](const std::string& line) { return line.starts_with(language.codeLine); }),
                  lines.end())
            << session.output;
        EXPECT_NE(std::find(lines.begin(), lines.end(), language.ended), lines.end()) << session.output;
        EXPECT_TRUE(status.output.starts_with(language.sshRow)) << status.output;
    }
}

} // namespace

TEST_F(PairCommandTest, AnotherAccountLockingTheKeyFolderDoesNotKeepThePhoneOut) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "acting as another account needs root";
    }
    // What `mkdir ~/.ssh` gives under umask 022, and the SSH server accepts: every account may open it.
    const std::filesystem::path folder = m_home / ".ssh";
    std::filesystem::permissions(m_home.path(), std::filesystem::perms(0755));
    std::filesystem::create_directory(folder);
    std::filesystem::permissions(folder, std::filesystem::perms(0755));
    CliSession stranger("/usr/bin/flock",
                        {"-x", QString::fromStdString(folder.string()), "-c", "echo held; exec sleep 600"},
                        {"/usr/sbin/runuser", "-u", "nobody", "--"});
    ASSERT_TRUE(stranger.waitForLine([](const std::string& line) { return line == "held"; }))
        << stranger.errors();

    QStringList arguments = isolated({"--json"});
    arguments[arguments.indexOf("--authorized-keys") + 1] =
        QString::fromStdString((folder / "authorized_keys").string());
    CliSession session(cli, arguments);
    const auto waiting = session.waitForJson("state", "waiting");
    ASSERT_TRUE(waiting.has_value()) << session.errors();
    const QByteArray response = pairWith(*waiting);
    EXPECT_EQ(TestSupport::statusOf(response), 200);
    EXPECT_EQ(session.waitForExit(), Cli::Exit::done);
    std::ifstream keys(folder / "authorized_keys");
    const std::string written((std::istreambuf_iterator<char>(keys)), std::istreambuf_iterator<char>());
    EXPECT_NE(written.find("nuvexa:Ana's phone"), std::string::npos);
}

namespace {

TEST_F(PairCommandTest, ALogFileOfAnotherAccountGetsNoCodeAndTheUserIsWarnedInTheirLanguage) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "acting as another account needs root";
    }
    // A shared folder such as /tmp, where another account has put the file the log is pointed at.
    std::filesystem::permissions(m_home.path(), static_cast<std::filesystem::perms>(0711));
    const auto shared = m_home / "shared";
    std::filesystem::create_directory(shared);
    std::filesystem::permissions(shared, static_cast<std::filesystem::perms>(01777));
    const auto log = shared / "pair.log";
    const QString logPath = QString::fromStdString(log.string());
    for (const QString& step : {QStringLiteral("/usr/bin/touch"), QStringLiteral("/usr/bin/chmod")}) {
        QStringList arguments{"-u", "nobody", "--", step};
        if (step.endsWith("chmod")) {
            arguments << "0666";
        }
        const auto made = TestSupport::runProgram("/usr/sbin/runuser", arguments << logPath);
        ASSERT_EQ(made.exitCode, 0) << made.output;
    }
    struct stat before {};
    ASSERT_EQ(::stat(log.c_str(), &before), 0);
    ASSERT_EQ(before.st_uid, 65534u);

    struct Case {
        QProcessEnvironment environment;
        std::string warning;
    };
    const Case cases[] = {
        {speaking("es_ES.UTF-8"),
         "aviso: no se escribe ningún registro: " + log.string() + " es de otra cuenta; elige otro archivo"},
        {speaking("en_US.UTF-8"),
         "warning: no log is written: " + log.string() + " belongs to another account; choose another file"},
    };
    for (const auto& language : cases) {
        QStringList arguments = isolated({"--expiry", "1"});
        arguments[arguments.indexOf("--log-file") + 1] = logPath;
        const auto session = TestSupport::runProgram(cli, arguments, 60000, language.environment);
        EXPECT_EQ(session.exitCode, Cli::Exit::refused) << session.output;
        // The warning is wrapped to the terminal: read the output as one paragraph.
        EXPECT_EQ(QString::fromStdString(session.output)
                      .simplified()
                      .count(QString::fromStdString(language.warning)),
                  1)
            << session.output;
        const QRegularExpressionMatch code =
            QRegularExpression(": (\\d{3}) (\\d{3})$", QRegularExpression::MultilineOption)
                .match(QString::fromStdString(session.output));
        ASSERT_TRUE(code.hasMatch()) << session.output;
        EXPECT_EQ(file("shared/pair.log"), "")
            << "not even the code " << code.captured(1).toStdString() << code.captured(2).toStdString();
    }
    struct stat after {};
    ASSERT_EQ(::stat(log.c_str(), &after), 0);
    EXPECT_EQ(after.st_uid, 65534u);
    EXPECT_EQ(after.st_mode & 07777, 0666u);
}

} // namespace
