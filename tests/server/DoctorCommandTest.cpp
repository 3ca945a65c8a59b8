#include "server/support/SshdScenario.h"
#include "support/Programs.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

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
        return TestSupport::runProgram("/usr/sbin/runuser",
                                       QStringList{"-u", testUser, "--", "/usr/bin/env"} + environment +
                                           QStringList{cli, "doctor", "--port",
                                                       QString::number(server.port()), "--sshd-config",
                                                       server.configPath(), "--host", "127.0.0.1"} +
                                           extra);
    }

    static QJsonObject json(const TestSupport::ProgramResult& result) {
        return QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).object();
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

TEST(DoctorCommandUsageTest, AnUnknownArgumentIsAUsageError) {
    EXPECT_EQ(TestSupport::runProgram(cli, {"doctor", "now"}).exitCode, 2);
    EXPECT_EQ(TestSupport::runProgram(cli, {"doctor", "--port", "seventy"}).exitCode, 2);
}

} // namespace
