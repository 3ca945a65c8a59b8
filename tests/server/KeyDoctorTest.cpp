#include "Companion/KeyDoctor.h"

#include "server/support/SshdScenario.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

namespace {

using Companion::KeyDoctor::Report;
using CompanionCore::Obstacle;
using CompanionCore::KeyCheck::Verdict;
using TestSupport::homeAddress;
using TestSupport::testUser;
namespace fs = std::filesystem;

/// The peer is Linux's own sshd, so its remedies are said in Linux's words.
constexpr auto linuxWords = Companion::Wording::linuxSystem;

/// The key check and its causes: the verdict must agree with the real login.
class KeyDoctorTest : public TestSupport::SshdScenarioTest {};

bool names(const Report& report, Obstacle obstacle) {
    const auto& found = report.result.obstacles;
    return std::find(found.begin(), found.end(), obstacle) != found.end();
}

TEST_F(KeyDoctorTest, AWorkingSetupIsAcceptedWithTheServersHostKey) {
    const auto server = startServer("AllowUsers " + std::string(testUser) + "\n");
    ASSERT_TRUE(server);
    ASSERT_TRUE(logsIn("127.0.0.1", server->port())) << server->log();
    const auto report = examine(server->port(), server->configPath());
    ASSERT_EQ(report.result.answers.size(), 1U);
    EXPECT_EQ(report.result.answers[0].answer.verdict, Verdict::accepted)
        << report.result.answers[0].answer.detail;
    EXPECT_TRUE(report.result.works());
    EXPECT_TRUE(report.result.obstacles.empty());
    ASSERT_TRUE(report.result.hostKeyFingerprint.has_value());
    EXPECT_EQ(*report.result.hostKeyFingerprint, fingerprintOf(server->hostKeyPath()));
    EXPECT_EQ(Companion::KeyDoctor::verdict(report.result, linuxWords),
              QStringLiteral("La llave funciona: comprobado con el servidor SSH"));
}

TEST_F(KeyDoctorTest, AllowUsersNamingSomeoneElseIsRefusedAndNamed) {
    const auto server = startServer("AllowUsers somebody-else\n");
    ASSERT_TRUE(server);
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::refused);
    EXPECT_FALSE(report.result.works());
    EXPECT_TRUE(names(report, Obstacle::userNotAllowed))
        << Companion::KeyDoctor::verdict(report.result, linuxWords).toStdString();
    EXPECT_TRUE(
        Companion::KeyDoctor::verdict(report.result, linuxWords).contains(QStringLiteral("AllowUsers")));
    EXPECT_EQ(report.result.hostKeyFingerprint, fingerprintOf(server->hostKeyPath()));
}

TEST_F(KeyDoctorTest, PublicKeysSwitchedOffAreRefusedAndNamed) {
    const auto server = startServer("PubkeyAuthentication no\n");
    ASSERT_TRUE(server);
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::refused);
    EXPECT_TRUE(names(report, Obstacle::publicKeysDisabled));
    EXPECT_TRUE(Companion::KeyDoctor::verdict(report.result, linuxWords)
                    .contains(QStringLiteral("PubkeyAuthentication")));
}

TEST_F(KeyDoctorTest, AHomeWritableByOthersIsRefusedAndNamed) {
    const auto server = startServer("StrictModes yes\n");
    ASSERT_TRUE(server);
    fs::permissions(m_home, fs::perms(0777));
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::refused);
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::homeModes});
    struct stat info {};
    ASSERT_EQ(::stat(m_home.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0777U) << "the check changes nothing";
}

TEST_F(KeyDoctorTest, AKeyFileTheServerDoesNotReadIsRefusedAndNamed) {
    const auto server = startServer("AuthorizedKeysFile .ssh/keys_elsewhere\n");
    ASSERT_TRUE(server);
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::refused);
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::keyFileElsewhere});
    EXPECT_TRUE(Companion::KeyDoctor::verdict(report.result, linuxWords)
                    .contains(QStringLiteral("AuthorizedKeysFile")));
}

TEST_F(KeyDoctorTest, AFolderInPlaceOfTheKeyFileIsTheReasonTheServerRefuses) {
    const auto server = startServer("AllowUsers " + std::string(testUser) + "\n");
    ASSERT_TRUE(server);
    fs::remove(keyFile());
    fs::create_directory(keyFile());
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::refused);
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::keyFileNotRegular});
    EXPECT_TRUE(Companion::KeyDoctor::verdict(report.result, linuxWords)
                    .startsWith(QStringLiteral("~/.ssh/authorized_keys no es un archivo normal")))
        << Companion::KeyDoctor::verdict(report.result, linuxWords).toStdString();
}

TEST_F(KeyDoctorTest, APlainFileInPlaceOfTheSshFolderIsNamedInTheSystemsWords) {
    const auto server = startServer("AllowUsers " + std::string(testUser) + "\n");
    ASSERT_TRUE(server);
    fs::remove_all(m_home / ".ssh");
    std::ofstream(m_home / ".ssh") << "not a folder\n";
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::keyFileUnreadable});
    EXPECT_EQ(Companion::KeyDoctor::verdict(report.result, linuxWords),
              QStringLiteral("No se puede leer ~/.ssh/authorized_keys (Not a directory): arregla eso en el "
                             "archivo o en la carpeta ~/.ssh"));
}

TEST_F(KeyDoctorTest, NoServerOnThePortIsToldApartFromARefusal) {
    const int port = TestSupport::freeLoopbackPort();
    ASSERT_FALSE(logsIn("127.0.0.1", port));
    const auto report = examine(port, std::nullopt);
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::noServer);
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::noSshServer});
    EXPECT_FALSE(report.result.hostKeyFingerprint.has_value());
}

TEST_F(KeyDoctorTest, AServerOnLoopbackOnlyIsNamedWhenAHomeAddressIsListed) {
    const TestSupport::NetworkNamespace network;
    ASSERT_TRUE(network.ready());
    // The namespace is the test's own: any port is free in it.
    constexpr int port = 2222;
    const auto folder = m_scratch / "sshd-namespace";
    fs::create_directories(folder);
    TestSupport::SshdInstance server(folder, port, "AllowUsers " + std::string(testUser) + "\n",
                                     network.wrapper());
    ASSERT_TRUE(server.start()) << server.log();
    ASSERT_TRUE(logsIn("127.0.0.1", port, network.wrapper()));
    ASSERT_FALSE(logsIn(homeAddress, port, network.wrapper()));

    auto settings = options(port, server.configPath());
    settings.hosts = {"computer.local", homeAddress};
    Report report;
    ASSERT_TRUE(
        network.runInside([&] { report = Companion::KeyDoctor::examine(settings, m_device, m_runner); }));
    ASSERT_EQ(report.result.answers.size(), 2U);
    EXPECT_EQ(report.result.answers[0].answer.verdict, Verdict::accepted);
    EXPECT_EQ(report.result.answers[1].address.host, homeAddress);
    EXPECT_EQ(report.result.answers[1].answer.verdict, Verdict::noServer);
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::listensOnLoopbackOnly});
    EXPECT_FALSE(report.result.works());
}

} // namespace
