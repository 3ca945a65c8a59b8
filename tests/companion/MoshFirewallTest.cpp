#include "Companion/MoshFirewall.h"

#include "support/FakeProcessRunner.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMetaType>
#include <QEventLoop>
#include <QObject>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <future>

namespace MoshFirewall = Companion::MoshFirewall;
using Companion::ProcessCommand;
using Companion::ProcessResult;
using TestSupport::exited;

/// One port entry as firewalld's D-Bus interface marshals it: (ss).
struct FirewalldPort {
    QString port;
    QString protocol;
};
Q_DECLARE_METATYPE(FirewalldPort)

QDBusArgument& operator<<(QDBusArgument& argument, const FirewalldPort& entry) {
    argument.beginStructure();
    argument << entry.port << entry.protocol;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, FirewalldPort& entry) {
    argument.beginStructure();
    argument >> entry.port >> entry.protocol;
    argument.endStructure();
    return argument;
}

using ZoneBindings = QMap<QString, QMap<QString, QStringList>>;

/// What the stand-in firewalld holds: its zones' settings, the active ones and the services.
struct FirewalldState {
    QString defaultZone = QStringLiteral("public");
    ZoneBindings active;
    QMap<QString, QVariantMap> zones;
    QMap<QString, QVariantMap> services;
};

QVariantMap settings(const QString& target, const QStringList& services, const QList<FirewalldPort>& ports) {
    return {{QStringLiteral("target"), target},
            {QStringLiteral("services"), services},
            {QStringLiteral("ports"), QVariant::fromValue(ports)}};
}

/// firewalld's zone interface, as far as the reader asks it.
class FirewalldZones : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.fedoraproject.FirewallD1.zone")
public:
    FirewalldZones(QObject* parent, const FirewalldState& state)
        : QDBusAbstractAdaptor(parent)
        , m_state(state) {}

public slots:
    ZoneBindings getActiveZones() { return m_state.active; }
    QVariantMap getZoneSettings2(const QString& zone) { return m_state.zones.value(zone); }

private:
    const FirewalldState& m_state;
};

/// firewalld's main interface, as far as the reader asks it.
class FirewalldMain : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.fedoraproject.FirewallD1")
public:
    FirewalldMain(QObject* parent, const FirewalldState& state)
        : QDBusAbstractAdaptor(parent)
        , m_state(state) {}

public slots:
    QString getDefaultZone() { return m_state.defaultZone; }
    QVariantMap getServiceSettings2(const QString& service) { return m_state.services.value(service); }

private:
    const FirewalldState& m_state;
};

namespace {

const std::string ufwDeny = "Status: active\n"
                            "Logging: on (low)\n"
                            "Default: deny (incoming), allow (outgoing), disabled (routed)\n"
                            "New profiles: skip\n\n"
                            "To                         Action      From\n"
                            "--                         ------      ----\n"
                            "60001/udp                  DENY IN     Anywhere\n";

const std::string nftDrop = R"({"nftables": [
    {"chain": {"family": "inet", "table": "mine", "name": "in", "hook": "input", "policy": "accept"}},
    {"rule": {"family": "inet", "table": "mine", "chain": "in", "handle": 3, "expr": [
        {"match": {"op": "==", "left": {"payload": {"protocol": "udp", "field": "dport"}}, "right": 60001}},
        {"drop": null}]}},
    {"chain": {"family": "ip", "table": "filter", "name": "INPUT", "hook": "input", "policy": "drop"}},
    {"chain": {"family": "inet", "table": "firewalld", "name": "filter_INPUT", "hook": "input", "policy": "drop"}}]})";

bool everyProgram(const std::string&) {
    return true;
}

TEST(MoshFirewallRulesTest, AsksEachFirewallForItsRulesReadOnly) {
    TestSupport::FakeProcessRunner runner;
    runner.setAnswer([](const ProcessCommand&) { return exited(0, "Status: inactive\n"); });
    MoshFirewall::fromRules(runner, everyProgram);
    ProcessCommand ufw("/usr/sbin/ufw", {"status", "verbose"}, ProcessCommand::Output::captureMerged);
    ufw.timeout = MoshFirewall::readBound;
    ProcessCommand nft("/usr/sbin/nft", {"-j", "list", "ruleset"}, ProcessCommand::Output::captureMerged);
    nft.timeout = MoshFirewall::readBound;
    EXPECT_EQ(runner.runs(), (std::vector<ProcessCommand>{ufw, nft}));
}

TEST(MoshFirewallRulesTest, NamesTheBlockingRulesOfEachFirewallWithTheirRemedy) {
    TestSupport::FakeProcessRunner runner;
    runner.setAnswer([](const ProcessCommand& command) {
        return exited(0, command.program == "/usr/sbin/ufw" ? ufwDeny : nftDrop);
    });
    const auto found = MoshFirewall::fromRules(runner, everyProgram);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].cause, "ufwBlocksMosh");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("60001/udp                  DENY IN     Anywhere"))
        << found[0].text.toStdString();
    EXPECT_TRUE(found[0].remedy.contains("sudo ufw insert 1 allow 60000:61000/udp"));
    EXPECT_TRUE(found[0].remedy.contains("sudo ufw allow 60000:61000/udp"));
    EXPECT_EQ(found[1].cause, "nftablesBlocksMosh");
    EXPECT_TRUE(found[1].text.contains("inet mine in: udp dport 60001 drop")) << found[1].text.toStdString();
    // iptables' own table, where ufw keeps its rules, is named by ufw's finding only.
    EXPECT_FALSE(found[1].text.contains("ip filter INPUT"));
    // firewalld's own table is named by the firewalld check, with firewalld's commands.
    EXPECT_FALSE(found[1].text.contains("firewalld"));
    EXPECT_EQ(found[1].remedy.count("sudo nft insert rule inet mine in udp dport 60000-61000 accept"), 1);
}

TEST(MoshFirewallRulesTest, RulesThatCannotBeReadAreSaidOnceWithoutGuessing) {
    TestSupport::FakeProcessRunner runner;
    runner.setAnswer([](const ProcessCommand& command) {
        return exited(1, command.program == "/usr/sbin/ufw"
                             ? "ERROR: You need to be root to run this script\n"
                             : "Error: Operation not permitted\n");
    });
    const auto found = MoshFirewall::fromRules(runner, everyProgram);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "firewallRulesUnreadable");
    EXPECT_FALSE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("ufw, nftables"));
    EXPECT_TRUE(found[0].remedy.contains("sudo nft list ruleset"));
}

TEST(MoshFirewallRulesTest, AFirewallThatIsNotInstalledIsNotAsked) {
    TestSupport::FakeProcessRunner runner;
    EXPECT_TRUE(MoshFirewall::fromRules(runner, [](const std::string&) { return false; }).empty());
    EXPECT_TRUE(runner.runs().empty());
}

ProcessCommand socketfilterfw(std::vector<std::string> arguments) {
    ProcessCommand command("/usr/libexec/ApplicationFirewall/socketfilterfw", std::move(arguments),
                           ProcessCommand::Output::captureMerged);
    command.timeout = MoshFirewall::readBound;
    return command;
}

/// The application firewall on, answering `appAnswer` about the program.
TestSupport::FakeProcessRunner& answering(TestSupport::FakeProcessRunner& runner,
                                          const std::string& appAnswer) {
    runner.setAnswer([appAnswer](const ProcessCommand& command) {
        return exited(0, command.arguments.front() == "--getglobalstate"
                             ? "Firewall is enabled. (State = 1)\n"
                             : appAnswer);
    });
    return runner;
}

TEST(MoshFirewallMacTest, AsksTheStateAndThenAboutMoshServer) {
    TestSupport::FakeProcessRunner runner;
    MoshFirewall::fromApplicationFirewall(answering(runner, "The application is permitted\n"),
                                          "/opt/homebrew/bin/mosh-server");
    EXPECT_EQ(runner.runs(), (std::vector<ProcessCommand>{
                                 socketfilterfw({"--getglobalstate"}),
                                 socketfilterfw({"--getappblocked", "/opt/homebrew/bin/mosh-server"})}));
}

TEST(MoshFirewallMacTest, ABlockedMoshServerKeepsThePhoneOut) {
    TestSupport::FakeProcessRunner runner;
    const auto found = MoshFirewall::fromApplicationFirewall(
        answering(runner, "The application /opt/homebrew/bin/mosh-server is blocked\n"),
        "/opt/homebrew/bin/mosh-server");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "macFirewallBlocksMosh");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].remedy.contains("--unblockapp /opt/homebrew/bin/mosh-server"));
}

TEST(MoshFirewallMacTest, AMoshServerTheFirewallDoesNotKnowIsANote) {
    TestSupport::FakeProcessRunner runner;
    const auto found = MoshFirewall::fromApplicationFirewall(
        answering(runner, "The application is not part of the firewall\n"), "/usr/local/bin/mosh-server");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "macFirewallMayAskForMosh");
    EXPECT_FALSE(found[0].keepsPhoneOut);
}

TEST(MoshFirewallMacTest, APermittedMoshServerOrAFirewallThatIsOffIsFine) {
    TestSupport::FakeProcessRunner runner;
    EXPECT_TRUE(MoshFirewall::fromApplicationFirewall(
                    answering(runner, "The application /usr/local/bin/mosh-server is not blocked\n"),
                    "/usr/local/bin/mosh-server")
                    .empty());
    TestSupport::FakeProcessRunner off;
    off.setResult(exited(0, "Firewall is disabled. (State = 0)\n"));
    EXPECT_TRUE(MoshFirewall::fromApplicationFirewall(off, "/usr/local/bin/mosh-server").empty());
    EXPECT_EQ(off.runs().size(), 1U);
}

/// A stand-in for firewalld on a private bus: the reader only asks over D-Bus, so the service's
/// answers are what it judges, and zones the real daemon only shows with interfaces bound to them
/// (another zone than the default, part of the range) are set up directly. The real firewalld is
/// asked in its own namespace by the server layer's peer tests.
class MoshFirewalldTest : public testing::Test {
protected:
    void SetUp() override {
        qDBusRegisterMetaType<FirewalldPort>();
        qDBusRegisterMetaType<QList<FirewalldPort>>();
        qDBusRegisterMetaType<QMap<QString, QStringList>>();
        qDBusRegisterMetaType<ZoneBindings>();
        m_service = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("firewalld-service")));
        ASSERT_TRUE(m_service->isConnected());
        new FirewalldZones(&m_object, m_state);
        new FirewalldMain(&m_object, m_state);
        ASSERT_TRUE(m_service->registerObject(QStringLiteral("/org/fedoraproject/FirewallD1"), &m_object,
                                              QDBusConnection::ExportAdaptors));
        ASSERT_TRUE(m_service->registerService(QStringLiteral("org.fedoraproject.FirewallD1")));
        m_state.services[QStringLiteral("mosh")] =
            settings({}, {}, {{QStringLiteral("60000-61000"), QStringLiteral("udp")}});
        m_state.services[QStringLiteral("ssh")] =
            settings({}, {}, {{QStringLiteral("22"), QStringLiteral("tcp")}});
    }

    void TearDown() override {
        QDBusConnection::disconnectFromBus(QStringLiteral("firewalld-reader"));
        if (m_service) {
            m_service->unregisterObject(QStringLiteral("/org/fedoraproject/FirewallD1"));
            QDBusConnection::disconnectFromBus(QStringLiteral("firewalld-service"));
        }
    }

    /// The reader's findings, asked on a connection of its own from a worker thread while this
    /// thread's event loop lets the stand-in answer.
    std::vector<Companion::Finding> read() {
        auto reading = std::async(std::launch::async, [this] {
            return MoshFirewall::fromFirewalld(
                QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("firewalld-reader")));
        });
        while (reading.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        return reading.get();
    }

    void activate(const QString& zone, const QVariantMap& zoneSettings) {
        m_state.active[zone] = {{QStringLiteral("interfaces"), {QStringLiteral("home0")}}};
        m_state.zones[zone] = zoneSettings;
    }

    TestSupport::PrivateSessionBus m_bus;
    FirewalldState m_state;
    QObject m_object;
    std::unique_ptr<QDBusConnection> m_service;
};

TEST_F(MoshFirewalldTest, AZoneWithoutMoshNamesTheCommandThatAddsIt) {
    activate(QStringLiteral("public"), settings(QStringLiteral("default"), {QStringLiteral("ssh")}, {}));
    const auto found = read();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "firewalldBlocksMosh");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("public"));
    EXPECT_TRUE(found[0].remedy.contains(
        "sudo firewall-cmd --permanent --add-service=mosh && sudo firewall-cmd --reload"))
        << found[0].remedy.toStdString();
}

TEST_F(MoshFirewalldTest, AnotherZoneThanTheDefaultIsNamedInTheCommand) {
    activate(QStringLiteral("home"), settings(QStringLiteral("default"), {}, {}));
    const auto found = read();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found[0].remedy.contains("--add-service=mosh --zone=home && sudo firewall-cmd --reload"));
}

TEST_F(MoshFirewalldTest, TheMoshServiceTheRangeOrAnAcceptingTargetLetMoshIn) {
    activate(QStringLiteral("public"), settings(QStringLiteral("default"), {QStringLiteral("mosh")}, {}));
    activate(QStringLiteral("home"), settings(QStringLiteral("default"), {},
                                              {{QStringLiteral("60000-61000"), QStringLiteral("udp")}}));
    activate(QStringLiteral("trusted"), settings(QStringLiteral("ACCEPT"), {}, {}));
    EXPECT_TRUE(read().empty());
}

TEST_F(MoshFirewalldTest, PartOfTheRangeIsANoteWhileTheFirstPortMoshTriesIsOpen) {
    activate(QStringLiteral("public"), settings(QStringLiteral("default"), {},
                                                {{QStringLiteral("60001-60010"), QStringLiteral("udp")}}));
    const auto found = read();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_FALSE(found[0].keepsPhoneOut);
}

TEST(MoshFirewalldAbsentTest, NoFirewalldOnTheBusIsNoFinding) {
    TestSupport::PrivateSessionBus bus;
    EXPECT_TRUE(
        MoshFirewall::fromFirewalld(QDBusConnection::connectToBus(bus.address(), QStringLiteral("nobody")))
            .empty());
    QDBusConnection::disconnectFromBus(QStringLiteral("nobody"));
}

} // namespace

#include "MoshFirewallTest.moc"
