#pragma once

#include "Companion/KeyDoctor.h"
#include "Companion/QtProcessRunner.h"
#include "CompanionCore/PairedDevices.h"
#include "server/support/PeerState.h"
#include "server/support/SshdInstance.h"
#include "support/Programs.h"
#include "support/SshClient.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <pwd.h>
#include <sched.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace TestSupport {

/// The test user the real servers judge; its home is changed by these tests only (RESOURCE_LOCK).
inline constexpr const char* testUser = "nuvexa-doctor";
/// Tries with a fresh port when another test took the one the kernel offered.
inline constexpr int startAttempts = 5;
/// A home-network address that exists only inside the network namespace a test creates.
inline constexpr const char* homeAddress = "192.168.213.7";

/// The test user `name`, made when missing, whom sshd lets in with a key; nothing when it cannot be made.
inline const passwd* loginUser(const char* name) {
    if (::getpwnam(name) == nullptr &&
        TestSupport::runProgram("/usr/sbin/useradd", {"-m", "-s", "/bin/sh", name}).exitCode != 0) {
        return nullptr;
    }
    // "!" locks the account, and without PAM sshd then refuses even a key; "*" only forbids passwords.
    if (TestSupport::runProgram("/usr/sbin/usermod", {"-p", "*", name}).exitCode != 0) {
        return nullptr;
    }
    return ::getpwnam(name);
}

/// Real OpenSSH servers started by the test, each with the setting under test, judging the key of
/// a phone paired for a test user of their own; a real login with the matching private key tells
/// what the server decides. Skips (fails on CI) without root.
class SshdScenarioTest : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            if (TestSupport::peersAreRequired()) {
                FAIL() << "real sshd required on CI: not running as root";
            }
            GTEST_SKIP() << "real sshd unavailable: not running as root (a test user and sshd need root)";
        }
        const passwd* entry = loginUser(testUser);
        ASSERT_NE(entry, nullptr);
        m_uid = entry->pw_uid;
        m_gid = entry->pw_gid;
        m_home = entry->pw_dir;
        std::filesystem::permissions(m_home, std::filesystem::perms(0755));
        // An earlier test may have left a plain file where the folder belongs.
        if (!std::filesystem::is_directory(m_home / ".ssh")) {
            std::filesystem::remove(m_home / ".ssh");
        }
        std::filesystem::create_directories(m_home / ".ssh");
        ASSERT_EQ(::chown((m_home / ".ssh").c_str(), m_uid, m_gid), 0);
        std::filesystem::permissions(m_home / ".ssh", std::filesystem::perms(0700));

        const auto generated = TestSupport::runProgram(
            "/usr/bin/ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-C", "", "-f", keyPath()});
        ASSERT_EQ(generated.exitCode, 0) << generated.output;
        std::ifstream publicFile(keyPath().toStdString() + ".pub");
        std::string line;
        std::getline(publicFile, line);
        // Whatever an earlier test left in the key file's place (a folder, a FIFO) goes first.
        std::filesystem::remove_all(keyFile());
        {
            std::ofstream keys(keyFile(), std::ios::trunc);
            keys << line << " nuvexa:Test phone\n";
        }
        ASSERT_EQ(::chown(keyFile().c_str(), m_uid, m_gid), 0);
        std::filesystem::permissions(keyFile(), std::filesystem::perms(0600));
        const auto listing = CompanionCore::PairedDevices::list(line + " nuvexa:Test phone\n");
        ASSERT_EQ(listing.devices.size(), 1U);
        m_device = listing.devices.front();
    }

    void TearDown() override {
        std::error_code ignored;
        std::filesystem::permissions(m_home, std::filesystem::perms(0755), ignored);
    }

    QString keyPath() const { return QString::fromStdString((m_scratch / "phone").string()); }
    std::filesystem::path keyFile() const { return m_home / ".ssh" / "authorized_keys"; }

    /// A server with `settings` on a free loopback port, listening; fails the test when it cannot be.
    std::unique_ptr<TestSupport::SshdInstance> startServer(const std::string& settings) {
        for (int attempt = 0; attempt < startAttempts; ++attempt) {
            const auto folder = m_scratch / ("sshd" + std::to_string(m_servers++));
            std::filesystem::create_directories(folder);
            auto server = std::make_unique<TestSupport::SshdInstance>(folder, TestSupport::freeLoopbackPort(),
                                                                      settings);
            // The test user may read the server's configuration, as on a real machine, but not its
            // host key, which stays root's.
            std::filesystem::permissions(m_scratch.path(), std::filesystem::perms(0755));
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
            wrapper + TestSupport::sshClient(keyPath(), port,
                                             QString::fromStdString(std::string(testUser) + "@" + host),
                                             {"true"});
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

    Companion::KeyDoctor::Report examine(int port, const std::optional<QString>& config) {
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
    std::filesystem::path m_home;
    CompanionCore::PairedDevice m_device;
    int m_servers = 0;
};

/// A network namespace of the test's own with loopback and one home address on a pair of virtual
/// links whose both ends stay inside: what runs in it is reached from no other network, and its
/// firewall rules are its own.
class NetworkNamespace {
public:
    /// Named `prefix`, this process's id and a count, so parallel tests never meet; `address` is the
    /// home address inside.
    explicit NetworkNamespace(const std::string& prefix = "nuvexa-doctor-",
                              const std::string& address = homeAddress)
        : m_name(prefix + std::to_string(::getpid()) + "-" + std::to_string(s_made++)) {
        m_ready =
            ip({"netns", "add", name()}) && ip({"-n", name(), "link", "set", "lo", "up"}) &&
            ip({"-n", name(), "link", "add", "home0", "type", "veth", "peer", "name", "home1"}) &&
            ip({"-n", name(), "addr", "add", QString::fromStdString(address) + "/24", "dev", "home0"}) &&
            ip({"-n", name(), "link", "set", "home0", "up"}) &&
            ip({"-n", name(), "link", "set", "home1", "up"});
    }
    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;
    ~NetworkNamespace() { ip({"netns", "delete", name()}); }

    bool ready() const { return m_ready; }
    QString name() const { return QString::fromStdString(m_name); }
    /// What runs a program inside: the program and its arguments follow.
    QStringList wrapper() const { return {"/usr/sbin/ip", "netns", "exec", name()}; }

    /// Runs a program inside the namespace to its end.
    TestSupport::ProgramResult run(const QStringList& command) const {
        const QStringList whole = wrapper() + command;
        return TestSupport::runProgram(whole.first(), whole.mid(1));
    }

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

    static inline int s_made = 0;
    std::string m_name;
    bool m_ready = false;
};

} // namespace TestSupport
