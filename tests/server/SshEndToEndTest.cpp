#include "CompanionCore/server/PairingServer.h"

#include "server/support/CliSession.h"
#include "server/support/EventLoop.h"
#include "server/support/PeerState.h"
#include "server/support/PhoneClient.h"
#include "support/Files.h"
#include "support/Patience.h"
#include "support/Programs.h"
#include "support/SshClient.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <ctime>

#include <fstream>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using CompanionCore::PairingHandler;
using CompanionCore::PairingServer;

const QString cli = NUVEXA_CLI;

/// A real sshd judges the keys pairing installs: the phone's key must let it in, another must not.
class SshEndToEndTest : public testing::Test {
protected:
    void SetUp() override {
        m_peer = TestSupport::peerState("NUVEXA_SSHD_PEER");
        REQUIRE_PEER(m_peer);
        m_user = m_peer.value("user");
        m_home = m_peer.value("home");
        m_port = m_peer.value("port");
    }

    /// A fresh key pair; answers the public key line.
    std::string generateKey(const std::string& name, const QString& type, const QString& bits) {
        const QString path = QString::fromStdString((m_keys / name).string());
        const auto result = TestSupport::runProgram(
            "/usr/bin/ssh-keygen", {"-q", "-t", type, "-b", bits, "-N", "", "-C", "", "-f", path});
        EXPECT_EQ(result.exitCode, 0) << result.output;
        std::ifstream file(path.toStdString() + ".pub");
        std::string line;
        std::getline(file, line);
        return line;
    }

    TestSupport::ProgramResult login(const std::string& key) const {
        const QStringList command =
            TestSupport::sshClient(QString::fromStdString((m_keys / key).string()), std::stoi(m_port),
                                   QString::fromStdString(m_user + "@127.0.0.1"), {"id", "-un"});
        return TestSupport::runProgram(command.first(), command.mid(1));
    }

    /// sshd reads the file as the user: what root wrote must become the user's.
    void handToUser() const {
        const passwd* entry = ::getpwnam(m_user.c_str());
        ASSERT_NE(entry, nullptr);
        const auto ssh = m_home / ".ssh";
        for (const auto& path : {ssh, ssh / "authorized_keys"}) {
            ASSERT_EQ(::chown(path.c_str(), entry->pw_uid, entry->pw_gid), 0) << path;
        }
    }

    /// Pairs `publicKey` through an in-process server writing the user's authorized_keys.
    void pairInProcess(const std::string& publicKey, const std::string& device) {
        PairingServer::Options options;
        options.ports = {0};
        options.announcer = nullptr;
        options.logFile = m_keys / "log";
        PairingServer server(
            [this] {
                return PairingHandler::Identity{m_user, "Test computer", 22, {"127.0.0.1"}, false, false};
            },
            m_home / ".ssh" / "authorized_keys", options);
        server.start();
        ASSERT_TRUE(TestSupport::waitUntil(&server, &PairingServer::stateChanged, [&] {
            return std::holds_alternative<CompanionCore::Pairing::Waiting>(server.state());
        }));
        const auto waiting = std::get<CompanionCore::Pairing::Waiting>(server.state());
        const QByteArray response = TestSupport::exchange(
            waiting.port, TestSupport::pairingRequest(waiting.digits, publicKey, device));
        ASSERT_EQ(TestSupport::statusOf(response), 200) << response.toStdString();
        const auto* paired = std::get_if<CompanionCore::Pairing::Paired>(&server.state());
        ASSERT_NE(paired, nullptr);
        EXPECT_EQ(paired->device, device);
        handToUser();
    }

    TestSupport::PeerState m_peer;
    std::string m_user;
    std::filesystem::path m_home;
    std::string m_port;
    TestSupport::TemporaryDirectory m_keys;
};

class SshKeyTypeTest : public SshEndToEndTest,
                       public testing::WithParamInterface<std::pair<std::string, std::string>> {};

TEST_P(SshKeyTypeTest, APairedKeyLogsInAndAnUnpairedOneDoesNot) {
    const QString type = QString::fromStdString(GetParam().first);
    const QString bits = QString::fromStdString(GetParam().second);
    const std::string phone = generateKey("phone", type, bits);
    generateKey("stranger", type, bits);
    pairInProcess(phone, "Phone " + GetParam().first);
    const auto in = login("phone");
    EXPECT_EQ(in.exitCode, 0) << in.output;
    EXPECT_EQ(in.output, m_user + "\n");
    EXPECT_NE(login("stranger").exitCode, 0);
}

INSTANTIATE_TEST_SUITE_P(KeyTypes, SshKeyTypeTest,
                         testing::Values(std::pair<std::string, std::string>{"ed25519", "256"},
                                         std::pair<std::string, std::string>{"rsa", "3072"},
                                         std::pair<std::string, std::string>{"ecdsa", "256"}),
                         [](const auto& parameter) { return parameter.param.first; });

TEST_F(SshEndToEndTest, TheCommandLineRunAsTheUserPairsAndItsKeyLogsIn) {
    const std::string phone = generateKey("phone", "ed25519", "256");
    const auto listed = TestSupport::runProgram(
        "/usr/bin/ssh-keygen", {"-l", "-f", QString::fromStdString((m_keys / "phone.pub").string())});
    ASSERT_EQ(listed.exitCode, 0);
    const std::string fingerprint = listed.output.substr(4, listed.output.find(' ', 4) - 4);
    // Where a syslog daemon would write the server's lines; the user reads it, as group adm would.
    const auto records = m_keys / "auth.log";
    TestSupport::writeFile(records, "");
    std::filesystem::permissions(m_keys.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(records, std::filesystem::perms(0644));

    TestSupport::CliSession session(cli,
                                    {"pair", "--json", "--port", "0", "--no-announce", "--ssh-port",
                                     QString::fromStdString(m_port), "--check-host", "127.0.0.1",
                                     "--login-records", QString::fromStdString(records.string())},
                                    {"/usr/sbin/runuser", "-u", QString::fromStdString(m_user), "--",
                                     "/usr/bin/env", QString::fromStdString("HOME=" + m_home.string())});
    const auto waiting = session.waitForJson("state", "waiting");
    ASSERT_TRUE(waiting.has_value()) << session.errors();
    const QByteArray response = TestSupport::exchange(
        static_cast<quint16>(waiting->value("port").toInt()),
        TestSupport::pairingRequest(waiting->value("code").toString().toStdString(), phone, "CLI phone"));
    ASSERT_EQ(TestSupport::statusOf(response), 200) << response.toStdString();
    const auto paired = session.waitForJson("state", "paired");
    ASSERT_TRUE(paired.has_value());
    EXPECT_EQ(paired->value("fingerprint").toString().toStdString(), fingerprint);
    const auto check = session.waitForJson("keyCheck");
    ASSERT_TRUE(check.has_value());
    ASSERT_TRUE(check->value("works").toBool()) << check->value("verdict").toString().toStdString();
    // The server accepts the key: the command now waits for the phone to get in.
    ASSERT_TRUE(session.waitForJson("login", "waiting").has_value()) << session.errors();

    struct stat info {};
    ASSERT_EQ(::stat((m_home / ".ssh" / "authorized_keys").c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, ::getpwnam(m_user.c_str())->pw_uid) << "written by the user, as sshd requires";
    const auto in = login("phone");
    EXPECT_EQ(in.exitCode, 0) << in.output;

    // The server's own line of that login, as a syslog daemon writes it, is the proof.
    std::string accepted;
    ASSERT_TRUE(TestSupport::pollUntil([&] {
        std::ifstream log(m_peer.value("log"));
        std::string line;
        while (std::getline(log, line)) {
            if (line.find("Accepted publickey for " + m_user) != std::string::npos &&
                line.find(fingerprint) != std::string::npos) {
                accepted = line.substr(line.find("Accepted"));
            }
        }
        return !accepted.empty();
    }));
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char date[64];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S.000000+00:00", &parts);
    TestSupport::writeFile(records, std::string(date) + " box sshd[4242]: " + accepted + "\n");
    const auto loggedIn = session.waitForJson("login", "loggedIn");
    ASSERT_TRUE(loggedIn.has_value()) << session.errors();
    EXPECT_EQ(loggedIn->value("address").toString(), QStringLiteral("127.0.0.1"));
    EXPECT_EQ(session.waitForExit(), 0);
}

TEST_F(SshEndToEndTest, ARevokedPhoneCanNoLongerLogInAndAnotherKeyStillCan) {
    const std::string phone = generateKey("phone", "ed25519", "256");
    const std::string other = generateKey("other", "ecdsa", "256");
    pairInProcess(other, "Other phone");
    pairInProcess(phone, "Lost phone");
    ASSERT_EQ(login("phone").exitCode, 0);

    const auto keys = QString::fromStdString((m_home / ".ssh" / "authorized_keys").string());
    const auto revoked =
        TestSupport::runProgram(cli, {"revoke", "Lost phone", "--yes", "--authorized-keys", keys});
    ASSERT_EQ(revoked.exitCode, 0) << revoked.output;

    EXPECT_NE(login("phone").exitCode, 0) << "the revoked key is refused by the SSH server";
    const auto in = login("other");
    EXPECT_EQ(in.exitCode, 0) << in.output;
    struct stat info {};
    ASSERT_EQ(::stat(keys.toStdString().c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, ::getpwnam(m_user.c_str())->pw_uid) << "the file stays the user's";
    const auto listed = TestSupport::runProgram(cli, {"devices", "--authorized-keys", keys});
    EXPECT_EQ(listed.output.find("Lost phone"), std::string::npos) << listed.output;
    EXPECT_NE(listed.output.find("Other phone"), std::string::npos) << listed.output;
}

} // namespace
