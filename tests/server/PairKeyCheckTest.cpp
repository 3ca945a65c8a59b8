#include "server/support/CliSession.h"
#include "server/support/PhoneClient.h"
#include "server/support/SshdScenario.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

using TestSupport::testUser;

const QString cli = NUVEXA_CLI;

/// `pair` asks the SSH server about the key it has just installed and says what the server answered.
class PairKeyCheckTest : public TestSupport::SshdScenarioTest {
protected:
    /// Pairs the phone's key through the command line run as the test user; answers its key check.
    std::optional<QJsonObject> pairAndCheck(const TestSupport::SshdInstance& server) {
        std::ifstream publicFile(keyPath().toStdString() + ".pub");
        std::string publicKey;
        std::getline(publicFile, publicKey);
        // The key arrives by pairing, not from the fixture.
        std::ofstream(keyFile(), std::ios::trunc).flush();

        TestSupport::CliSession session(cli,
                                        {"pair", "--json", "--no-wait", "--port", "0", "--no-announce",
                                         "--ssh-port", QString::number(server.port()), "--sshd-config",
                                         server.configPath(), "--check-host", "127.0.0.1"},
                                        {"/usr/sbin/runuser", "-u", testUser, "--", "/usr/bin/env",
                                         QString::fromStdString("HOME=" + m_home.string())});
        const auto waiting = session.waitForJson("state", "waiting");
        if (!waiting) {
            ADD_FAILURE() << session.errors();
            return std::nullopt;
        }
        const QByteArray response =
            TestSupport::exchange(static_cast<quint16>(waiting->value("port").toInt()),
                                  TestSupport::pairingRequest(waiting->value("code").toString().toStdString(),
                                                              publicKey, "Test phone"));
        EXPECT_EQ(TestSupport::statusOf(response), 200) << response.toStdString();
        auto checked = session.waitForJson("keyCheck");
        EXPECT_EQ(session.waitForExit(), 0);
        if (!checked) {
            for (const auto& line : session.lines()) {
                ADD_FAILURE() << line;
            }
            ADD_FAILURE() << session.errors();
        }
        return checked;
    }
};

TEST_F(PairKeyCheckTest, AWorkingSetupIsReportedAsChecked) {
    const auto server = startServer("AllowUsers " + std::string(testUser) + "\n");
    ASSERT_TRUE(server);
    const auto checked = pairAndCheck(*server);
    ASSERT_TRUE(checked.has_value());
    ASSERT_TRUE(logsIn("127.0.0.1", server->port()));
    EXPECT_TRUE(checked->value("works").toBool());
    EXPECT_EQ(checked->value("verdict").toString(),
              QStringLiteral("La llave funciona: comprobado con el servidor SSH"));
    EXPECT_EQ(checked->value("hostKey").toString().toStdString(), fingerprintOf(server->hostKeyPath()));
}

TEST_F(PairKeyCheckTest, ARefusedKeyIsReportedWithItsCause) {
    const auto server = startServer("PubkeyAuthentication no\n");
    ASSERT_TRUE(server);
    const auto checked = pairAndCheck(*server);
    ASSERT_TRUE(checked.has_value());
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    EXPECT_FALSE(checked->value("works").toBool());
    EXPECT_TRUE(checked->value("verdict").toString().contains(QStringLiteral("PubkeyAuthentication")))
        << checked->value("verdict").toString().toStdString();
}

} // namespace
