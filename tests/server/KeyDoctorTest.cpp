#include "Companion/KeyDoctor.h"

#include "Companion/QtProcessRunner.h"
#include "CompanionCore/PairedDevices.h"
#include "server/support/PeerState.h"
#include "server/support/Programs.h"
#include "server/support/SshdInstance.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <memory>
#include <pwd.h>
#include <sched.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using Companion::KeyDoctor::Report;
using CompanionCore::Obstacle;
using CompanionCore::KeyCheck::Verdict;
namespace fs = std::filesystem;

/// The test user the real servers judge; its home is changed by these tests only (RESOURCE_LOCK).
constexpr const char* testUser = "nuvexa-doctor";
/// Tries with a fresh port when another test took the one the kernel offered.
constexpr int startAttempts = 5;
/// A home-network address that exists only inside the network namespace a test creates.
constexpr const char* homeAddress = "192.168.213.7";

/// The key check and its causes against real OpenSSH servers started here, each with the setting
/// under test; a real login with the matching private key decides what the verdict must be.
class KeyDoctorTest : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            if (TestSupport::peersAreRequired()) {
                FAIL() << "real sshd required on CI: not running as root";
            }
            GTEST_SKIP() << "real sshd unavailable: not running as root (a test user and sshd need root)";
        }
        if (::getpwnam(testUser) == nullptr) {
            ASSERT_EQ(
                TestSupport::runProgram("/usr/sbin/useradd", {"-m", "-s", "/bin/sh", testUser}).exitCode, 0);
        }
        // "!" locks the account, and without PAM sshd then refuses even a key.
        ASSERT_EQ(TestSupport::runProgram("/usr/sbin/usermod", {"-p", "*", testUser}).exitCode, 0);
        const passwd* entry = ::getpwnam(testUser);
        ASSERT_NE(entry, nullptr);
        m_uid = entry->pw_uid;
        m_gid = entry->pw_gid;
        m_home = entry->pw_dir;
        fs::permissions(m_home, fs::perms(0755));
        fs::create_directories(m_home / ".ssh");
        ASSERT_EQ(::chown((m_home / ".ssh").c_str(), m_uid, m_gid), 0);
        fs::permissions(m_home / ".ssh", fs::perms(0700));

        const auto generated = TestSupport::runProgram(
            "/usr/bin/ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-C", "", "-f", keyPath()});
        ASSERT_EQ(generated.exitCode, 0) << generated.output;
        std::ifstream publicFile(keyPath().toStdString() + ".pub");
        std::string line;
        std::getline(publicFile, line);
        {
            std::ofstream keys(keyFile(), std::ios::trunc);
            keys << line << " nuvexa:Test phone\n";
        }
        ASSERT_EQ(::chown(keyFile().c_str(), m_uid, m_gid), 0);
        fs::permissions(keyFile(), fs::perms(0600));
        const auto listing = CompanionCore::PairedDevices::list(line + " nuvexa:Test phone\n");
        ASSERT_EQ(listing.devices.size(), 1U);
        m_device = listing.devices.front();
    }

    void TearDown() override {
        std::error_code ignored;
        fs::permissions(m_home, fs::perms(0755), ignored);
    }

    QString keyPath() const { return QString::fromStdString((m_scratch / "phone").string()); }
    fs::path keyFile() const { return m_home / ".ssh" / "authorized_keys"; }

    /// A server with `settings` on a free loopback port, listening; fails the test when it cannot be.
    std::unique_ptr<TestSupport::SshdInstance> startServer(const std::string& settings) {
        for (int attempt = 0; attempt < startAttempts; ++attempt) {
            const auto folder = m_scratch / ("sshd" + std::to_string(m_servers++));
            fs::create_directories(folder);
            auto server = std::make_unique<TestSupport::SshdInstance>(folder, TestSupport::freeLoopbackPort(),
                                                                      settings);
            if (server->start()) {
                return server;
            }
            ADD_FAILURE() << "attempt " << attempt << ": " << server->log();
        }
        return nullptr;
    }

    /// Logs in for real with the phone's private key; true when the server let it in.
    bool logsIn(const std::string& host, int port, const QStringList& wrapper = {}) const {
        const QStringList command =
            wrapper + QStringList{"/usr/bin/ssh",
                                  "-F",
                                  "/dev/null",
                                  "-o",
                                  "BatchMode=yes",
                                  "-o",
                                  "StrictHostKeyChecking=no",
                                  "-o",
                                  "UserKnownHostsFile=/dev/null",
                                  "-o",
                                  "IdentitiesOnly=yes",
                                  "-o",
                                  "LogLevel=ERROR",
                                  "-i",
                                  keyPath(),
                                  "-p",
                                  QString::number(port),
                                  QString::fromStdString(std::string(testUser) + "@" + host),
                                  "true"};
        return TestSupport::runProgram(command.first(), command.mid(1)).exitCode == 0;
    }

    Companion::KeyDoctor::Options options(int port, const std::optional<QString>& config) const {
        Companion::KeyDoctor::Options options;
        options.user = testUser;
        options.home = m_home;
        options.authorizedKeys = keyFile();
        options.port = port;
        if (config) {
            options.sshdConfig = config->toStdString();
        }
        return options;
    }

    Report examine(int port, const std::optional<QString>& config) {
        return Companion::KeyDoctor::examine(options(port, config), m_device, m_runner);
    }

    std::string fingerprintOf(const QString& hostKey) const {
        const auto listed = TestSupport::runProgram("/usr/bin/ssh-keygen", {"-l", "-f", hostKey + ".pub"});
        const auto start = listed.output.find(' ') + 1;
        return listed.output.substr(start, listed.output.find(' ', start) - start);
    }

    TestSupport::TemporaryDirectory m_scratch;
    Companion::QtProcessRunner m_runner;
    uid_t m_uid = 0;
    gid_t m_gid = 0;
    fs::path m_home;
    CompanionCore::PairedDevice m_device;
    int m_servers = 0;
};

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
    EXPECT_EQ(Companion::KeyDoctor::verdict(report.result),
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
        << Companion::KeyDoctor::verdict(report.result).toStdString();
    EXPECT_TRUE(Companion::KeyDoctor::verdict(report.result).contains(QStringLiteral("AllowUsers")));
    EXPECT_EQ(report.result.hostKeyFingerprint, fingerprintOf(server->hostKeyPath()));
}

TEST_F(KeyDoctorTest, PublicKeysSwitchedOffAreRefusedAndNamed) {
    const auto server = startServer("PubkeyAuthentication no\n");
    ASSERT_TRUE(server);
    ASSERT_FALSE(logsIn("127.0.0.1", server->port()));
    const auto report = examine(server->port(), server->configPath());
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::refused);
    EXPECT_TRUE(names(report, Obstacle::publicKeysDisabled));
    EXPECT_TRUE(
        Companion::KeyDoctor::verdict(report.result).contains(QStringLiteral("PubkeyAuthentication")));
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
    EXPECT_TRUE(Companion::KeyDoctor::verdict(report.result).contains(QStringLiteral("AuthorizedKeysFile")));
}

TEST_F(KeyDoctorTest, NoServerOnThePortIsToldApartFromARefusal) {
    const int port = TestSupport::freeLoopbackPort();
    ASSERT_FALSE(logsIn("127.0.0.1", port));
    const auto report = examine(port, std::nullopt);
    EXPECT_EQ(report.result.answers.at(0).answer.verdict, Verdict::noServer);
    EXPECT_EQ(report.result.obstacles, std::vector<Obstacle>{Obstacle::noSshServer});
    EXPECT_FALSE(report.result.hostKeyFingerprint.has_value());
}

/// A network namespace of the test's own with loopback and one home address on a pair of virtual
/// links whose both ends stay inside: the server in it is reached from no other network.
class NetworkNamespace {
public:
    NetworkNamespace()
        : m_name("nuvexa-doctor-" + std::to_string(::getpid())) {
        m_ready = ip({"netns", "add", name()}) && ip({"-n", name(), "link", "set", "lo", "up"}) &&
                  ip({"-n", name(), "link", "add", "home0", "type", "veth", "peer", "name", "home1"}) &&
                  ip({"-n", name(), "addr", "add", QString(homeAddress) + "/24", "dev", "home0"}) &&
                  ip({"-n", name(), "link", "set", "home0", "up"}) &&
                  ip({"-n", name(), "link", "set", "home1", "up"});
    }
    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;
    ~NetworkNamespace() { ip({"netns", "delete", name()}); }

    bool ready() const { return m_ready; }
    QString name() const { return QString::fromStdString(m_name); }
    QStringList wrapper() const { return {"/usr/sbin/ip", "netns", "exec", name()}; }

    /// Runs `work` on a thread that has entered the namespace, so its sockets are the namespace's.
    template <typename Work>
    bool runInside(Work work) const {
        bool entered = false;
        std::thread thread([&] {
            const int descriptor = ::open(("/run/netns/" + m_name).c_str(), O_RDONLY | O_CLOEXEC);
            entered = descriptor >= 0 && ::setns(descriptor, CLONE_NEWNET) == 0;
            if (descriptor >= 0) {
                ::close(descriptor);
            }
            if (entered) {
                work();
            }
        });
        thread.join();
        return entered;
    }

private:
    static bool ip(const QStringList& arguments) {
        return TestSupport::runProgram("/usr/sbin/ip", arguments).exitCode == 0;
    }

    std::string m_name;
    bool m_ready = false;
};

TEST_F(KeyDoctorTest, AServerOnLoopbackOnlyIsNamedWhenAHomeAddressIsListed) {
    const NetworkNamespace network;
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
