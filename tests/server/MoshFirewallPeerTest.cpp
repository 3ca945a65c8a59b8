#include "Companion/DatagramProof.h"
#include "Companion/KeyDoctor.h"
#include "Companion/ListenAddressCheck.h"
#include "Companion/MoshFirewall.h"
#include "Companion/QtProcessRunner.h"
#include "Companion/ReadinessFacts.h"
#include "server/support/PeerState.h"
#include "server/support/SshdScenario.h"
#include "support/Patience.h"
#include "support/PrivateSessionBus.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <QDBusConnection>
#include <QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

namespace Proof = Companion::DatagramProof;
using Fate = Proof::Delivery::Fate;

constexpr const char* probeProgram = NUVEXA_MOSH_FIREWALL_PROBE;
/// The computer's home address, which exists only inside the test's namespace.
constexpr const char* homeAddress = "192.168.213.9";
/// The unprivileged user the reader runs as when it must not read the rules.
constexpr const char* nobody = "65534";

/// A network namespace of the test's own with the home address up, whose nftables rules a test sets.
class Namespace : public TestSupport::NetworkNamespace {
public:
    Namespace()
        : NetworkNamespace("nfc-mosh-", homeAddress) {}

    /// Loads nftables rules into the namespace; the output of nft when it refuses them.
    std::optional<std::string> load(const std::filesystem::path& folder, const std::string& rules) const {
        const auto file = folder / (name().toStdString() + ".nft");
        std::ofstream(file) << rules;
        const auto loaded = run({"/usr/sbin/nft", "-f", file.c_str()});
        if (loaded.exitCode == 0) {
            return std::nullopt;
        }
        return loaded.output;
    }
};

/// Drops UDP to `ports` on the way in, as a user's own nftables rules would.
std::string dropping(const std::string& ports) {
    return "table inet nfctest {\n"
           "    chain input {\n"
           "        type filter hook input priority 0; policy accept;\n"
           "        udp dport " +
           ports +
           " drop\n"
           "    }\n"
           "}\n";
}

/// Real nftables, ufw, mosh and sshd in network namespaces the test makes. Skips (fails on CI)
/// without root.
class MoshFirewallPeerTest : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            if (TestSupport::peersAreRequired()) {
                FAIL() << "network namespaces required on CI: not running as root";
            }
            GTEST_SKIP() << "network namespaces unavailable: not running as root";
        }
        ASSERT_TRUE(m_namespace.ready());
    }

    /// What the probe prints inside the namespace, after `prefix` (a wrapper of its own).
    std::string probe(const QStringList& prefix = {}) const {
        const auto printed = m_namespace.run(prefix + QStringList{probeProgram});
        EXPECT_EQ(printed.exitCode, 0) << printed.output;
        return printed.output;
    }

    Proof::Result proveInside(std::chrono::milliseconds bound) const {
        Proof::Result result;
        EXPECT_TRUE(m_namespace.runInside([&] { result = Proof::run({homeAddress}, bound); }));
        return result;
    }

    TestSupport::TemporaryDirectory m_scratch;
    Namespace m_namespace;
};

TEST_F(MoshFirewallPeerTest, TheRuleReaderNamesAnNftRuleThatDropsMoshAndTheCommandThatOpensTheRange) {
    ASSERT_EQ(m_namespace.load(m_scratch.path(), dropping("60001")), std::nullopt);
    const auto printed = probe();
    EXPECT_NE(printed.find("nftablesBlocksMosh\tkeepsPhoneOut\t"), std::string::npos) << printed;
    EXPECT_NE(printed.find("inet nfctest input: udp dport 60001 drop"), std::string::npos) << printed;
    EXPECT_NE(printed.find("sudo nft insert rule inet nfctest input udp dport 60000-61000 accept"),
              std::string::npos)
        << printed;
}

TEST_F(MoshFirewallPeerTest, WithoutADropRuleTheReaderFindsNothingInNftables) {
    const auto printed = probe();
    EXPECT_EQ(printed.find("nftablesBlocksMosh"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("firewallRulesUnreadable"), std::string::npos) << printed;
}

TEST_F(MoshFirewallPeerTest, TheDatagramProofReportsTheDropOverLoopbackAndTheHomeAddress) {
    ASSERT_EQ(m_namespace.load(m_scratch.path(), dropping("60000-61000")), std::nullopt);
    // The one wait that ends on the bound: the product's own, for datagrams that never arrive.
    const auto result = proveInside(Proof::defaultBound);
    ASSERT_TRUE(result.port.has_value());
    EXPECT_EQ(result.deliveries,
              (std::vector<Proof::Delivery>{{"127.0.0.1", Fate::lost, {}}, {homeAddress, Fate::lost, {}}}));
    const auto found = Proof::findings(result);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "firewallDropsMoshDatagrams");
    EXPECT_TRUE(found[0].text.contains(homeAddress));
}

TEST_F(MoshFirewallPeerTest, WithoutTheRuleTheDatagramsArrive) {
    const auto result = proveInside(TestSupport::generousBound);
    EXPECT_EQ(result.deliveries, (std::vector<Proof::Delivery>{{"127.0.0.1", Fate::arrived, {}},
                                                               {homeAddress, Fate::arrived, {}}}));
    EXPECT_TRUE(Proof::findings(result).empty());
}

TEST_F(MoshFirewallPeerTest, AReaderWithoutPrivilegeSaysOnceThatTheRulesCouldNotBeRead) {
    ASSERT_EQ(m_namespace.load(m_scratch.path(), dropping("60001")), std::nullopt);
    const auto printed = probe(
        {"/usr/bin/setpriv", QString("--reuid=") + nobody, QString("--regid=") + nobody, "--clear-groups"});
    std::istringstream lines(printed);
    std::vector<std::string> findings;
    for (std::string line; std::getline(lines, line);) {
        findings.push_back(line);
    }
    ASSERT_EQ(findings.size(), 1U) << printed;
    EXPECT_TRUE(findings[0].starts_with("firewallRulesUnreadable\tnote\t")) << printed;
    EXPECT_NE(findings[0].find("nftables"), std::string::npos) << printed;
}

TEST_F(MoshFirewallPeerTest, AnIsolatedUfwShowsItsDenyRuleAndTheReaderNamesIt) {
    // ufw keeps its rules under /etc/ufw and reads /lib/ufw and /etc/default/ufw: copies of them are
    // mounted over the originals, and its lock goes to a /run of its own, in a mount namespace of the
    // test's own inside the network namespace, so the machine's own ufw and firewall are never touched.
    const auto copies = m_scratch.path();
    for (const auto& [from, to] : {std::pair{"/etc/ufw", "etc-ufw"}, std::pair{"/lib/ufw", "lib-ufw"},
                                   std::pair{"/etc/default/ufw", "default-ufw"}}) {
        ASSERT_EQ(TestSupport::runProgram("/bin/cp", {"-a", from, (copies / to).c_str()}).exitCode, 0)
            << from;
    }
    const std::string script = "set -e\n"
                               "mount --bind \"$1/etc-ufw\" /etc/ufw\n"
                               "mount --bind \"$1/lib-ufw\" /lib/ufw\n"
                               "mount --bind \"$1/default-ufw\" /etc/default/ufw\n"
                               "mount -t tmpfs tmpfs /run\n"
                               "ufw --force enable >/dev/null\n"
                               "ufw deny 60001/udp >/dev/null\n"
                               "ufw status verbose\n"
                               "echo '--- reader'\n"
                               "\"$2\"\n";
    const auto printed =
        m_namespace.run({"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh", "-c",
                         QString::fromStdString(script), "sh", copies.c_str(), probeProgram});
    ASSERT_EQ(printed.exitCode, 0) << printed.output;
    const auto split = printed.output.find("--- reader");
    ASSERT_NE(split, std::string::npos) << printed.output;
    const auto status = printed.output.substr(0, split);
    const auto reader = printed.output.substr(split);
    EXPECT_NE(status.find("60001/udp                  DENY IN     Anywhere"), std::string::npos) << status;
    EXPECT_NE(reader.find("ufwBlocksMosh\tkeepsPhoneOut\t"), std::string::npos) << reader;
    EXPECT_NE(reader.find("60001/udp                  DENY IN     Anywhere"), std::string::npos) << reader;
    EXPECT_NE(reader.find("sudo ufw insert 1 allow 60000:61000/udp"), std::string::npos) << reader;
    // ufw's iptables tables are named by ufw's finding only.
    EXPECT_EQ(reader.find("ip filter"), std::string::npos) << reader;
}

/// A mosh-server started in the namespace for one round trip, ended at the end of the scope.
class MoshServer {
public:
    MoshServer(const Namespace& space, int port) {
        const auto started = space.run({"/usr/bin/env", "LANG=C.UTF-8", "/usr/bin/mosh-server", "new", "-i",
                                        homeAddress, "-p", QString::number(port), "-l", "LANG=C.UTF-8", "--",
                                        "/bin/sh", "-c", "echo ROUND-TRIP; sleep 30"});
        m_output = started.output;
        std::istringstream lines(started.output);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string mosh;
            std::string connect;
            int printedPort = 0;
            if (words >> mosh >> connect >> printedPort >> m_key && mosh == "MOSH" && connect == "CONNECT") {
                break;
            }
            m_key.clear();
        }
        const auto pid = started.output.find("pid = ");
        if (pid != std::string::npos) {
            m_pid = std::stoi(started.output.substr(pid + 6));
        }
    }
    MoshServer(const MoshServer&) = delete;
    MoshServer& operator=(const MoshServer&) = delete;
    ~MoshServer() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
        }
    }

    const std::string& key() const { return m_key; }
    const std::string& output() const { return m_output; }
    bool started() const { return !m_key.empty() && m_pid > 0; }

private:
    std::string m_output;
    std::string m_key;
    pid_t m_pid = 0;
};

/// The direct children of `pid`, as the kernel lists them.
std::vector<pid_t> childrenOf(qint64 pid) {
    std::ifstream list("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; list >> child;) {
        children.push_back(child);
    }
    return children;
}

/// What a real mosh-client meets on `port` of the home address: its screen until `awaited` shows
/// on it or the client ends. Every process it started is ended.
std::string clientMeets(const Namespace& space, const MoshServer& server, int port,
                        const std::string& awaited) {
    QProcess client;
    client.setProcessChannelMode(QProcess::MergedChannels);
    const auto line =
        QString("stty rows 24 cols 80; exec /usr/bin/mosh-client %1 %2").arg(homeAddress).arg(port);
    const QStringList inside = space.wrapper();
    client.start(inside.first(),
                 inside.mid(1) + QStringList{"/usr/bin/env",
                                             "MOSH_KEY=" + QString::fromStdString(server.key()), "TERM=xterm",
                                             "LANG=C.UTF-8", "/usr/bin/script", "-qfc", line, "/dev/null"});
    if (!client.waitForStarted(TestSupport::generousMilliseconds)) {
        return "client not started: " + client.errorString().toStdString();
    }
    std::string screen;
    TestSupport::pollUntil([&] {
        client.waitForReadyRead(100);
        screen += client.readAll().toStdString();
        return screen.find(awaited) != std::string::npos || client.state() == QProcess::NotRunning;
    });
    for (const auto child : childrenOf(client.processId())) {
        ::kill(child, SIGKILL);
    }
    client.kill();
    client.waitForFinished(TestSupport::generousMilliseconds);
    return screen;
}

/// Whether what the proof found for the home address matches a real mosh session to it: the
/// server's output reaches the client where the proof's datagram arrived, and the client complains
/// that nothing arrives (with no output) where it was lost.
void expectProofMatchesMosh(const Namespace& space, const Proof::Result& proof) {
    ASSERT_TRUE(proof.port.has_value());
    ASSERT_EQ(proof.deliveries.size(), 2U);
    const MoshServer server(space, *proof.port);
    ASSERT_TRUE(server.started()) << server.output();
    const std::string output = "ROUND-TRIP";
    const auto nothingReceived = "Nothing received from server on UDP port " + std::to_string(*proof.port);
    if (proof.deliveries[1].fate == Fate::arrived) {
        const auto screen = clientMeets(space, server, *proof.port, output);
        EXPECT_NE(screen.find(output), std::string::npos) << screen;
    } else {
        const auto screen = clientMeets(space, server, *proof.port, nothingReceived);
        EXPECT_NE(screen.find(nothingReceived), std::string::npos) << screen;
        EXPECT_EQ(screen.find(output), std::string::npos) << screen;
    }
}

TEST_F(MoshFirewallPeerTest, AMoshSessionGetsThroughWhereTheProofPasses) {
    const auto proof = proveInside(TestSupport::generousBound);
    EXPECT_TRUE(Proof::findings(proof).empty());
    expectProofMatchesMosh(m_namespace, proof);
}

TEST_F(MoshFirewallPeerTest, AMoshSessionMeetsTheDropWhereTheProofReportsIt) {
    ASSERT_EQ(m_namespace.load(m_scratch.path(), dropping("60000-61000")), std::nullopt);
    const auto proof = proveInside(Proof::defaultBound);
    EXPECT_EQ(Proof::findings(proof).size(), 1U);
    expectProofMatchesMosh(m_namespace, proof);
}

/// A real firewalld in the test's namespace, with copies of its configuration and a /run of its own
/// in a mount namespace of its own, on a private bus that stands in for the system bus. Skips (fails
/// on CI) where firewalld is not installed.
class FirewalldPeerTest : public MoshFirewallPeerTest {
protected:
    void SetUp() override {
        MoshFirewallPeerTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        if (!std::filesystem::exists(firewalld)) {
            if (TestSupport::peersAreRequired()) {
                FAIL() << "firewalld required on CI: " << firewalld << " is missing";
            }
            GTEST_SKIP() << "firewalld unavailable: " << firewalld << " is not installed";
        }
        const auto copy = m_scratch.path() / "etc-firewalld";
        ASSERT_EQ(TestSupport::runProgram("/bin/cp", {"-a", "/etc/firewalld", copy.c_str()}).exitCode, 0);
        m_environment.insert("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address());
        m_daemon.setProcessEnvironment(m_environment);
        m_daemon.setProcessChannelMode(QProcess::MergedChannels);
        const QStringList inside = m_namespace.wrapper();
        m_daemon.start(inside.first(),
                       inside.mid(1) +
                           QStringList{"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh",
                                       "-c",
                                       "mount --bind \"$1\" /etc/firewalld && "
                                       "mount -t tmpfs tmpfs /run && "
                                       "exec /usr/sbin/firewalld --nofork --nopid --log-target console",
                                       "sh", copy.c_str()});
        ASSERT_TRUE(m_daemon.waitForStarted(TestSupport::generousMilliseconds));
        ASSERT_TRUE(TestSupport::pollUntil([&] {
            return m_daemon.state() == QProcess::NotRunning || firewallCmd({"--state"}).exitCode == 0;
        }));
        ASSERT_EQ(m_daemon.state(), QProcess::Running) << m_daemon.readAll().toStdString();
    }

    void TearDown() override {
        QDBusConnection::disconnectFromBus(readerConnection);
        if (m_daemon.state() != QProcess::NotRunning) {
            m_daemon.terminate();
            if (!m_daemon.waitForFinished(TestSupport::generousMilliseconds)) {
                m_daemon.kill();
                m_daemon.waitForFinished(TestSupport::generousMilliseconds);
            }
        }
    }

    TestSupport::ProgramResult firewallCmd(const QStringList& arguments) const {
        return TestSupport::runProgram("/usr/bin/firewall-cmd", arguments, TestSupport::generousMilliseconds,
                                       m_environment);
    }

    std::vector<Companion::Finding> read() const {
        return Companion::MoshFirewall::fromFirewalld(
            QDBusConnection::connectToBus(m_bus.address(), readerConnection));
    }

    static constexpr const char* firewalld = "/usr/sbin/firewalld";
    static inline const QString readerConnection = QStringLiteral("nfc-firewalld-reader");
    TestSupport::PrivateSessionBus m_bus;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    QProcess m_daemon;
};

TEST_F(FirewalldPeerTest, ItsDefaultZoneWithoutMoshIsNamedWithTheCommandThatAddsIt) {
    const auto found = read();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "firewalldBlocksMosh");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("«public»")) << found[0].text.toStdString();
    EXPECT_TRUE(found[0].remedy.contains(
        "«sudo firewall-cmd --permanent --add-service=mosh && sudo firewall-cmd --reload»"))
        << found[0].remedy.toStdString();
    // Its own nftables table is left to this finding, not named again by the rule reader.
    const auto printed = probe();
    EXPECT_EQ(printed.find("firewalld"), std::string::npos) << printed;
}

TEST_F(FirewalldPeerTest, TheMoshServiceLetsMoshIn) {
    ASSERT_EQ(firewallCmd({"--add-service=mosh"}).exitCode, 0);
    EXPECT_TRUE(read().empty());
}

TEST_F(FirewalldPeerTest, ThePortRangeLetsMoshIn) {
    ASSERT_EQ(firewallCmd({"--add-port=60000-61000/udp"}).exitCode, 0);
    EXPECT_TRUE(read().empty());
}

/// `sshd -T` of a configuration with `listen`, read as the key doctor reads it.
std::optional<CompanionCore::SshdSettings> settingsListening(const std::filesystem::path& folder,
                                                             const std::string& listen) {
    const auto config = folder / "sshd_config";
    std::ofstream(config) << "ListenAddress " << listen << "\n";
    Companion::QtProcessRunner runner;
    return Companion::KeyDoctor::serverSettings(runner, "root", config);
}

/// The relay connected with its own mesh address.
Companion::ReadinessFacts meshConnected() {
    Companion::ReadinessFacts facts;
    facts.drozakStatus = CompanionCore::DrozakStatus{};
    facts.drozakStatus->connected = true;
    facts.drozakStatus->ip = "100.64.0.7";
    return facts;
}

TEST(ListenAddressPeerTest, AServerListeningOnlyOnAHomeAddressIsNamedWithTheMeshAddress) {
    TestSupport::TemporaryDirectory folder;
    const auto settings = settingsListening(folder.path(), "192.168.213.9");
    ASSERT_TRUE(settings.has_value()) << "sshd -T gave no settings";
    const auto found = Companion::ListenAddressCheck::findings(settings, meshConnected().meshAddress());
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found[0].text.contains("ListenAddress 192.168.213.9:22")) << found[0].text.toStdString();
    EXPECT_TRUE(found[0].text.contains("100.64.0.7"));
    EXPECT_TRUE(found[0].remedy.contains("ListenAddress 100.64.0.7"));
}

TEST(ListenAddressPeerTest, AServerListeningOnEveryAddressIsNoFinding) {
    TestSupport::TemporaryDirectory folder;
    const auto settings = settingsListening(folder.path(), "0.0.0.0");
    ASSERT_TRUE(settings.has_value()) << "sshd -T gave no settings";
    EXPECT_TRUE(Companion::ListenAddressCheck::findings(settings, meshConnected().meshAddress()).empty());
}

} // namespace
