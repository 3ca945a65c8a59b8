#include "CompanionCore/KeyFileSession.h"
#include "cli/CommandLine.h"
#include "server/support/SshdScenario.h"
#include "support/Programs.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

using TestSupport::testUser;

const QString cli = NUVEXA_CLI;

/// `doctor` run as the test user against a real sshd: its exit status and report must agree with
/// what a real login gets.
class DoctorCommandTest : public TestSupport::SshdScenarioTest {
protected:
    /// `language` is the user's LANG; the C locale's (which speaks the Spanish keys) when empty.
    TestSupport::ProgramResult doctor(const TestSupport::SshdInstance& server, const QStringList& extra,
                                      const QString& language = {}) const {
        QStringList environment{QString::fromStdString("HOME=" + m_home.string())};
        if (!language.isEmpty()) {
            environment << "LC_ALL="
                        << "LANGUAGE="
                        << "LANG=" + language;
        }
        auto result = TestSupport::runProgram(
            "/usr/sbin/runuser",
            QStringList{"-u", testUser, "--", "/usr/bin/env"} + environment +
                QStringList{cli, "doctor", "--port", QString::number(server.port()), "--sshd-config",
                            server.configPath(), "--host", "127.0.0.1"} +
                extra);
        if (!extra.contains("--json")) {
            // The report fits the terminal; its sentences are then read as one paragraph, wherever
            // they were broken.
            for (const QString& line : QString::fromStdString(result.output).split(u'\n')) {
                EXPECT_LE(line.size(), Cli::terminalColumns) << line.toStdString();
            }
            result.output = QString::fromStdString(result.output).simplified().toStdString();
        }
        return result;
    }

    static QJsonObject json(const TestSupport::ProgramResult& result) {
        return QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).object();
    }

    /// A server that lets the test user in, so that only the key file can keep a phone out.
    std::unique_ptr<TestSupport::SshdInstance> welcomingServer() {
        return startServer("AllowUsers " + std::string(testUser) + "\n");
    }

    /// The text report of a key file doctor cannot read: exit 1, the phones unknown, `words` named.
    static void expectTextNames(const TestSupport::ProgramResult& result, const std::string& words) {
        EXPECT_TRUE(result.finished) << result.output;
        EXPECT_EQ(result.exitCode, 1) << result.output;
        EXPECT_EQ(result.output.find("terminate called"), std::string::npos) << result.output;
        EXPECT_NE(result.output.find("No se puede saber qué teléfonos están emparejados"), std::string::npos)
            << result.output;
        EXPECT_NE(result.output.find(words), std::string::npos) << result.output;
    }

    /// The JSON report of the same: exit 1, nothing works, and the cause named with the system's words.
    static void expectJsonNames(const TestSupport::ProgramResult& result, const QString& cause,
                                const QString& words, const QString& detail) {
        EXPECT_TRUE(result.finished) << result.output;
        EXPECT_EQ(result.exitCode, 1) << result.output;
        const auto report = json(result);
        EXPECT_FALSE(report.value("works").toBool(true)) << result.output;
        const auto key = report.value("keys").toArray().at(0).toObject();
        EXPECT_TRUE(key.value("device").isNull()) << result.output;
        QJsonObject found;
        for (const auto& entry : key.value("causes").toArray()) {
            if (entry.toObject().value("cause").toString() == cause) {
                found = entry.toObject();
            }
        }
        ASSERT_FALSE(found.isEmpty()) << result.output;
        EXPECT_TRUE(found.value("keepsPhoneOut").toBool()) << result.output;
        EXPECT_TRUE(found.value("text").toString().contains(words)) << result.output;
        EXPECT_EQ(found.value("detail").toString(), detail) << result.output;
    }
};

TEST_F(DoctorCommandTest, AWorkingSetupExitsZeroWithTheHostKey) {
    const auto server = startServer("AllowUsers " + std::string(testUser) + "\n");
    ASSERT_TRUE(server);
    ASSERT_TRUE(logsIn("127.0.0.1", server->port()));
    const auto result = doctor(*server, {"--json"});
    EXPECT_EQ(result.exitCode, 0) << result.output;
    const auto report = json(result);
    EXPECT_TRUE(report.value("works").toBool());
    const auto key = report.value("keys").toArray().at(0).toObject();
    EXPECT_EQ(key.value("device").toString(), QStringLiteral("Test phone"));
    EXPECT_EQ(key.value("hostKey").toString().toStdString(), fingerprintOf(server->hostKeyPath()));
    EXPECT_EQ(key.value("verdict").toString(),
              QStringLiteral("La llave funciona: comprobado con el servidor SSH"));
    EXPECT_EQ(key.value("addresses").toArray().at(0).toObject().value("verdict").toString(),
              QStringLiteral("accepted"));
}

TEST_F(DoctorCommandTest, TheJsonCarriesWhatTheUsersOwnLoginMeetsOnMoshsWayUnderWayIn) {
    const auto server = welcomingServer();
    ASSERT_TRUE(server);
    const auto result = doctor(*server, {"--json"});
    EXPECT_EQ(result.exitCode, 0) << result.output;
    const auto wayIn = json(result).value("wayIn");
    ASSERT_TRUE(wayIn.isArray()) << result.output;
    // What is found depends on this machine's locale and mosh; each finding has the same form.
    for (const auto& finding : wayIn.toArray()) {
        EXPECT_EQ(finding.toObject().keys(), (QStringList{"cause", "keepsPhoneOut", "remedy", "text"}))
            << result.output;
    }
}

TEST_F(DoctorCommandTest, ARefusedKeyExitsOneAndNamesTheSetting) {
    const auto server = startServer("AllowUsers somebody-else\n");
    ASSERT_TRUE(server);
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto result = doctor(*server, {});
    EXPECT_EQ(result.exitCode, 1) << result.output;
    EXPECT_NE(result.output.find("AllowUsers"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("127.0.0.1: rechazada"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("Huella del servidor SSH: " + fingerprintOf(server->hostKeyPath())),
              std::string::npos)
        << result.output;

    // One run speaks one language: in English, every line is English.
    const auto english = doctor(*server, {}, QStringLiteral("en_US.UTF-8"));
    EXPECT_EQ(english.exitCode, 1) << english.output;
    EXPECT_NE(english.output.find("Your user is not in AllowUsers"), std::string::npos) << english.output;
    EXPECT_NE(english.output.find("127.0.0.1: refused"), std::string::npos) << english.output;
    EXPECT_NE(english.output.find("SSH server fingerprint: " + fingerprintOf(server->hostKeyPath())),
              std::string::npos)
        << english.output;
}

TEST_F(DoctorCommandTest, AHomeWritableByOthersIsNamedInJson) {
    const auto server = startServer("StrictModes yes\n");
    ASSERT_TRUE(server);
    std::filesystem::permissions(m_home, std::filesystem::perms(0777));
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto result = doctor(*server, {"--json"});
    EXPECT_EQ(result.exitCode, 1) << result.output;
    const auto key = json(result).value("keys").toArray().at(0).toObject();
    EXPECT_FALSE(key.value("works").toBool());
    EXPECT_EQ(key.value("causes").toArray().at(0).toObject().value("cause").toString(),
              QStringLiteral("homeModes"));
}

TEST_F(DoctorCommandTest, NoServerExitsOne) {
    const int port = TestSupport::freeLoopbackPort();
    const auto result =
        TestSupport::runProgram(cli, {"doctor", "--port", QString::number(port), "--host", "127.0.0.1",
                                      "--authorized-keys", QString::fromStdString(keyFile().string())});
    EXPECT_EQ(result.exitCode, 1) << result.output;
    EXPECT_NE(result.output.find("127.0.0.1: ningún servidor SSH"), std::string::npos) << result.output;
}

// The fixture runs doctor as the test user, not root, so the file's mode bits count.
TEST_F(DoctorCommandTest, AKeyFileTheUserMayNotReadExitsOneAndSaysHowToMakeItReadable) {
    const auto server = welcomingServer();
    ASSERT_TRUE(server);
    std::filesystem::permissions(keyFile(), std::filesystem::perms::none);
    expectTextNames(doctor(*server, {}), "No puedes leer ~/.ssh/authorized_keys: hazlo legible para ti con "
                                         "chmod 600 ~/.ssh/authorized_keys");
    expectJsonNames(doctor(*server, {"--json"}), "keyFileUnreadable", "chmod 600 ~/.ssh/authorized_keys",
                    "Permission denied");

    const auto english = doctor(*server, {}, QStringLiteral("en_US.UTF-8"));
    EXPECT_EQ(english.exitCode, 1) << english.output;
    EXPECT_NE(english.output.find("The paired phones cannot be known: checked what needs no key."),
              std::string::npos)
        << english.output;
    EXPECT_NE(
        english.output.find("You cannot read ~/.ssh/authorized_keys: make it readable by you with chmod "
                            "600 ~/.ssh/authorized_keys"),
        std::string::npos)
        << english.output;
    EXPECT_EQ(english.output.find("No puedes"), std::string::npos) << english.output;
    EXPECT_EQ(english.output.find("No se puede"), std::string::npos) << english.output;
}

TEST_F(DoctorCommandTest, AFolderInPlaceOfTheKeyFileExitsOneAndSaysToMoveItAside) {
    const auto server = welcomingServer();
    ASSERT_TRUE(server);
    std::filesystem::remove(keyFile());
    std::filesystem::create_directory(keyFile());
    expectTextNames(doctor(*server, {}),
                    "~/.ssh/authorized_keys no es un archivo normal: debe serlo; apártalo");
    expectJsonNames(doctor(*server, {"--json"}), "keyFileNotRegular", "authorized_keys.aparte",
                    "Invalid argument");

    const auto english = doctor(*server, {}, QStringLiteral("en_US.UTF-8"));
    EXPECT_NE(
        english.output.find("~/.ssh/authorized_keys is not a regular file: it must be one; move it aside"),
        std::string::npos)
        << english.output;
}

TEST_F(DoctorCommandTest, AFifoInPlaceOfTheKeyFileExitsOneWithoutWaitingForAWriter) {
    const auto server = welcomingServer();
    ASSERT_TRUE(server);
    std::filesystem::remove(keyFile());
    ASSERT_EQ(::mkfifo(keyFile().c_str(), 0644), 0);
    expectTextNames(doctor(*server, {}), "~/.ssh/authorized_keys no es un archivo normal");
    expectJsonNames(doctor(*server, {"--json"}), "keyFileNotRegular", "no es un archivo normal",
                    "Invalid argument");
}

TEST_F(DoctorCommandTest, AKeyFileLargerThanTheBoundExitsOneAndSaysNobodyWroteItByHand) {
    const auto server = welcomingServer();
    ASSERT_TRUE(server);
    {
        std::ofstream keys(keyFile(), std::ios::binary | std::ios::trunc);
        keys.seekp(static_cast<std::streamoff>(CompanionCore::KeyFileSession::maximumSize));
        keys.put('\n');
    }
    ASSERT_EQ(std::filesystem::file_size(keyFile()), CompanionCore::KeyFileSession::maximumSize + 1);
    expectTextNames(doctor(*server, {}),
                    "~/.ssh/authorized_keys ocupa más de 16 MiB: ningún archivo de llaves "
                    "escrito a mano es tan grande");
    expectJsonNames(doctor(*server, {"--json"}), "keyFileTooLarge", "ocupa más de 16 MiB", "File too large");

    const auto english = doctor(*server, {}, QStringLiteral("en_US.UTF-8"));
    EXPECT_NE(
        english.output.find("~/.ssh/authorized_keys is larger than 16 MiB: no keys file written by hand "
                            "is that large"),
        std::string::npos)
        << english.output;
}

TEST(DoctorCommandUsageTest, AnUnknownArgumentIsAUsageError) {
    EXPECT_EQ(TestSupport::runProgram(cli, {"doctor", "now"}).exitCode, 2);
    EXPECT_EQ(TestSupport::runProgram(cli, {"doctor", "--port", "seventy"}).exitCode, 2);
}

} // namespace
