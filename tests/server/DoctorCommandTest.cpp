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
    TestSupport::ProgramResult doctor(const TestSupport::SshdInstance& server,
                                      const QStringList& extra) const {
        return TestSupport::runProgram(
            "/usr/sbin/runuser", QStringList{"-u", testUser, "--", "/usr/bin/env",
                                             QString::fromStdString("HOME=" + m_home.string()), cli, "doctor",
                                             "--port", QString::number(server.port()), "--sshd-config",
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
    EXPECT_NE(result.output.find("127.0.0.1: refused"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(fingerprintOf(server->hostKeyPath())), std::string::npos) << result.output;
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
    EXPECT_NE(result.output.find("127.0.0.1: noServer"), std::string::npos) << result.output;
}

TEST(DoctorCommandUsageTest, AnUnknownArgumentIsAUsageError) {
    EXPECT_EQ(TestSupport::runProgram(cli, {"doctor", "now"}).exitCode, 2);
    EXPECT_EQ(TestSupport::runProgram(cli, {"doctor", "--port", "seventy"}).exitCode, 2);
}

} // namespace
