#include "Companion/CompanionModel.h"
#include "Companion/HostIdentity.h"
#include "Companion/QtProcessRunner.h"
#include "Companion/Readiness.h"
#include "Companion/linux/DBusSleepInhibitor.h"
#include "Companion/linux/LinuxSystemActions.h"
#include "Companion/macos/MacSystemActions.h"
#include "CompanionCore/KeyFileSession.h"
#include "server/support/PhoneClient.h"
#include "support/Patience.h"

#include "server/support/FakeAnnouncer.h"
#include "support/CodeSequence.h"
#include "support/Executable.h"
#include "support/FakeNotificationCentre.h"
#include "support/FakeProcessRunner.h"
#include "support/FakeSystemActions.h"
#include "support/Files.h"
#include "support/LogindService.h"
#include "support/ModelParts.h"
#include "support/PrivateSessionBus.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <set>

using Companion::CompanionModel;
using Companion::ProcessCommand;
using Companion::RevokeScope;
using CompanionCore::KeyLine;
using TestSupport::FakeSystemActions;
using TestSupport::writeScript;

namespace {

constexpr int generousWait = TestSupport::generousMilliseconds;

class CompanionModelTest : public ::testing::Test {
protected:
    CompanionModelTest()
        : m_actions(std::make_shared<FakeSystemActions>()) {
        m_actions->setAddresses({"192.168.1.5"});
    }

    TestSupport::ModelParts environment() {
        TestSupport::ModelParts environment;
        environment.host.systemActions = m_actions;
        environment.host.searchPaths = std::vector<std::string>{m_tools.path().string()};
        environment.host.hostName = [this] { return m_hostName; };
        environment.host.userName = [] { return std::string("ana"); };
        environment.host.computerName = [] { return std::string("Estudio de Ana"); };
        environment.host.openUrl = [this](const std::string& url) {
            m_openedUrls.push_back(url);
            return true;
        };
        environment.host.authorizedKeys = m_home / "authorized_keys";
        environment.settings.server.logFile = m_home / "companion.log";
        environment.settings.notifier.runner = std::make_shared<TestSupport::FakeProcessRunner>();
        environment.settings.notifier.notifications = std::make_shared<TestSupport::FakeNotificationCentre>();
        return environment;
    }

    /// A model whose first refresh has completed.
    std::unique_ptr<CompanionModel> refreshedModel(TestSupport::ModelParts environment) {
        auto model = TestSupport::makeModel(std::move(environment));
        EXPECT_TRUE(waitForRefresh(*model));
        return model;
    }
    std::unique_ptr<CompanionModel> refreshedModel() { return refreshedModel(environment()); }

    /// Revokes on the model's worker and waits for the outcome.
    static bool revokeAndWait(CompanionModel& model, const CompanionCore::PairedDevice& phone,
                              RevokeScope scope) {
        QSignalSpy revoked(&model, &CompanionModel::revoked);
        model.revoke(phone, scope);
        return revoked.wait(generousWait);
    }

    static bool waitForRefresh(CompanionModel& model) {
        QSignalSpy refreshed(&model, &CompanionModel::refreshed);
        return refreshed.wait(generousWait);
    }

    static bool refreshAndWait(CompanionModel& model) {
        QSignalSpy refreshed(&model, &CompanionModel::refreshed);
        model.refresh();
        return QTest::qWaitFor([&] { return refreshed.count() >= 1; }, generousWait);
    }

    /// A relay tool that reports `statusJson` and answers "connect" with `connect` (shell text).
    void installDrozak(const std::string& statusJson, const std::string& connect = "exit 0") {
        writeScript(m_tools / "drozak", "case \"$1\" in\n"
                                        "  status) echo '" +
                                            statusJson +
                                            "' ;;\n"
                                            "  connect) " +
                                            connect +
                                            " ;;\n"
                                            "esac");
    }

    TestSupport::TemporaryDirectory m_tools;
    TestSupport::TemporaryDirectory m_home;
    std::shared_ptr<FakeSystemActions> m_actions;
    std::string m_hostName = "Studio";
    std::vector<std::string> m_openedUrls;
};

} // namespace

TEST_F(CompanionModelTest, CreationPublishesNothingAtOnceThenRefreshesEveryField) {
    m_actions->setRemoteLoginOn(true);
    m_actions->setAddresses({"100.70.1.2", "192.168.1.5"});
    writeScript(m_tools / "mosh-server", "exit 0");
    writeScript(m_tools / "tmux", "exit 0");
    const auto owner = TestSupport::makeModel(environment());
    CompanionModel& model = *owner;
    // Everything outside the process is read off the main thread: nothing is known yet.
    EXPECT_FALSE(model.remoteLogin());
    EXPECT_EQ(model.moshPath(), std::nullopt);
    EXPECT_TRUE(model.addresses().empty());
    ASSERT_TRUE(waitForRefresh(model));
    EXPECT_TRUE(model.remoteLogin());
    EXPECT_EQ(model.moshPath(), (m_tools / "mosh-server").string());
    EXPECT_EQ(model.tmuxPath(), (m_tools / "tmux").string());
    EXPECT_EQ(model.drozakPath(), std::nullopt);
    EXPECT_EQ(model.drozakStatus(), std::nullopt);
    EXPECT_EQ(model.addresses(), (std::vector<std::string>{"Studio.local", "192.168.1.5", "100.70.1.2"}));
    EXPECT_EQ(model.lastError(), std::nullopt);
    EXPECT_FALSE(model.keepAwake().enabled());
    EXPECT_FALSE(model.tmuxNotifier().enabled());
    EXPECT_TRUE(std::holds_alternative<CompanionCore::Pairing::Idle>(model.pairing().state()));
}

TEST_F(CompanionModelTest, RefreshPublishesTheFieldsInTheirOrder) {
    m_actions->setRemoteLoginOn(true);
    writeScript(m_tools / "mosh-server", "exit 0");
    writeScript(m_tools / "tmux", "exit 0");
    installDrozak(R"({"connected": true, "ip": "100.64.0.9"})");
    const auto owner = TestSupport::makeModel(environment());
    CompanionModel& model = *owner;
    std::vector<std::string> order;
    QObject::connect(&model, &CompanionModel::remoteLoginChanged, [&] { order.emplace_back("remoteLogin"); });
    QObject::connect(&model, &CompanionModel::moshPathChanged, [&] { order.emplace_back("moshPath"); });
    QObject::connect(&model, &CompanionModel::tmuxPathChanged, [&] { order.emplace_back("tmuxPath"); });
    QObject::connect(&model, &CompanionModel::drozakPathChanged, [&] { order.emplace_back("drozakPath"); });
    QObject::connect(&model, &CompanionModel::drozakStatusChanged,
                     [&] { order.emplace_back("drozakStatus"); });
    QObject::connect(&model, &CompanionModel::addressesChanged, [&] { order.emplace_back("addresses"); });
    QObject::connect(&model, &CompanionModel::refreshed, [&] { order.emplace_back("refreshed"); });
    ASSERT_TRUE(waitForRefresh(model));
    EXPECT_EQ(order, (std::vector<std::string>{"remoteLogin", "moshPath", "tmuxPath", "drozakPath",
                                               "drozakStatus", "addresses", "refreshed"}));
}

TEST_F(CompanionModelTest, TheLoginsReportIsPublishedAfterMoshPathAndDecidesTheMoshRow) {
    writeScript(m_tools / "mosh-server", "exit 0");
    auto parts = environment();
    parts.host.sshLogin = [] {
        CompanionCore::LoginReport report;
        report.path = "/usr/bin:/bin";
        return std::optional(report);
    };
    const auto owner = TestSupport::makeModel(std::move(parts));
    CompanionModel& model = *owner;
    std::vector<std::string> order;
    QObject::connect(&model, &CompanionModel::moshPathChanged, [&] { order.emplace_back("moshPath"); });
    QObject::connect(&model, &CompanionModel::sshLoginChanged, [&] { order.emplace_back("sshLogin"); });
    QObject::connect(&model, &CompanionModel::tmuxPathChanged, [&] { order.emplace_back("tmuxPath"); });
    ASSERT_TRUE(waitForRefresh(model));
    EXPECT_EQ(order, (std::vector<std::string>{"moshPath", "sshLogin"}));
    ASSERT_TRUE(model.sshLogin().has_value());
    EXPECT_EQ(model.sshLogin()->moshServer, std::nullopt);
    const auto mosh = model.checks().at(1);
    EXPECT_FALSE(mosh.ok);
    ASSERT_EQ(mosh.findings.size(), 1U);
    EXPECT_EQ(mosh.findings[0].cause, "moshServerNotInLoginPath");
}

TEST_F(CompanionModelTest, AnUnchangedFieldAnnouncesNothing) {
    auto model = refreshedModel();
    QSignalSpy addresses(model.get(), &CompanionModel::addressesChanged);
    QSignalSpy remoteLogin(model.get(), &CompanionModel::remoteLoginChanged);
    ASSERT_TRUE(refreshAndWait(*model));
    EXPECT_EQ(addresses.count(), 0);
    EXPECT_EQ(remoteLogin.count(), 0);
}

TEST_F(CompanionModelTest, ARefreshWaitingForASlowRelayToolDoesNotBlockTheCaller) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    auto withRunner = environment();
    withRunner.host.systemActions = std::make_shared<FakeSystemActions>(runner);
    auto model = refreshedModel(std::move(withRunner));
    writeScript(m_tools / "drozak", "exit 0");
    // The relay tool answers only once the test lets it, which it does after `refresh` has returned.
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<bool> answered = false;
    runner->setAnswer([released, &answered](const ProcessCommand&) {
        released.wait_for(std::chrono::milliseconds(generousWait));
        answered = true;
        return TestSupport::exited(0, R"({"connected": true})");
    });
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    model->refresh();
    EXPECT_FALSE(answered);
    EXPECT_EQ(model->drozakPath(), std::nullopt);
    release.set_value();
    ASSERT_TRUE(refreshed.wait(generousWait));
    EXPECT_TRUE(answered);
    EXPECT_EQ(model->drozakPath(), (m_tools / "drozak").string());
    EXPECT_EQ(model->drozakStatus().value().connected, true);
}

TEST_F(CompanionModelTest, InstallsBothToolsWhenNeitherIsFound) {
    auto model = refreshedModel();
    model->installWithHomebrew();
    EXPECT_EQ(m_actions->terminalCommands(), (std::vector<std::string>{"brew install mosh tmux"}));
    EXPECT_EQ(model->lastError(), std::nullopt);
}

TEST_F(CompanionModelTest, InstallsOnlyTmuxWhenOnlyTmuxIsMissing) {
    writeScript(m_tools / "mosh-server", "exit 0");
    auto model = refreshedModel();
    model->installWithHomebrew();
    EXPECT_EQ(m_actions->terminalCommands(), (std::vector<std::string>{"brew install tmux"}));
}

TEST_F(CompanionModelTest, InstallsNothingAndKeepsTheLastErrorWhenBothArePresent) {
    writeScript(m_tools / "mosh-server", "exit 0");
    writeScript(m_tools / "tmux", "exit 0");
    auto model = refreshedModel();
    model->setLastError("previo");
    QSignalSpy changes(model.get(), &CompanionModel::lastErrorChanged);
    model->installWithHomebrew();
    EXPECT_TRUE(m_actions->terminalCommands().empty());
    EXPECT_EQ(model->lastError(), "previo");
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(CompanionModelTest, WithoutAPackageManagerTheMessageIsShownAndNothingOpens) {
    m_actions->setInstallCommand(std::nullopt);
    auto model = refreshedModel();
    model->installWithHomebrew();
    EXPECT_TRUE(m_actions->terminalCommands().empty());
    EXPECT_EQ(model->lastError(), "no package manager");
}

TEST_F(CompanionModelTest, ATerminalThatCannotBeUsedLeavesItsMessage) {
    m_actions->setTerminalAnswer("copiado");
    auto model = refreshedModel();
    model->installWithHomebrew();
    EXPECT_EQ(model->lastError(), "copiado");
}

TEST_F(CompanionModelTest, OnMacOSInstallingTypesTheBrewCommandIntoTerminal) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    writeScript(m_tools / "brew", "exit 0");
    auto withMac = environment();
    withMac.host.systemActions = std::make_shared<Companion::MacSystemActions>(
        runner, Companion::MacSystemActions::Options{{}, std::vector<std::string>{m_tools.path().string()}});
    auto model = refreshedModel(std::move(withMac));
    model->installWithHomebrew();
    EXPECT_EQ(runner->runs().back(),
              Companion::MacSystemActions::scriptCommand(
                  "tell application \"Terminal\"\nactivate\ndo script \"brew install mosh tmux\"\nend tell"));
    EXPECT_EQ(model->lastError(), std::nullopt);
}

TEST_F(CompanionModelTest, OnMacOSWithoutHomebrewTheMessageSaysWhereToGetItAndNothingRuns) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    auto withMac = environment();
    withMac.host.systemActions = std::make_shared<Companion::MacSystemActions>(
        runner, Companion::MacSystemActions::Options{{}, std::vector<std::string>{m_tools.path().string()}});
    auto model = refreshedModel(std::move(withMac));
    const auto runsBefore = runner->runs().size();
    model->installWithHomebrew();
    EXPECT_EQ(model->lastError(), "Homebrew no está instalado. Instálalo desde brew.sh y vuelve a pulsar.");
    EXPECT_EQ(runner->runs().size(), runsBefore);
    EXPECT_TRUE(runner->detached().empty());
}

TEST_F(CompanionModelTest, OnLinuxWithoutHomebrewInstallingTypesTheDistributionsCommandIntoATerminal) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    Companion::LinuxSystemActions::Options options;
    const std::set<std::string> executables = {"/usr/bin/apt", "/usr/bin/xterm"};
    options.isExecutable = [executables](const std::string& path) { return executables.contains(path); };
    options.environment = [](const std::string&) { return std::optional<std::string>(); };
    auto withLinux = environment();
    withLinux.host.systemActions = std::make_shared<Companion::LinuxSystemActions>(runner, options);
    writeScript(m_tools / "mosh-server", "exit 0");
    auto model = refreshedModel(std::move(withLinux));
    model->installWithHomebrew();
    ASSERT_EQ(runner->detached().size(), 1U);
    EXPECT_EQ(runner->detached()[0].program, "/usr/bin/xterm");
    EXPECT_EQ(runner->detached()[0].arguments.back(), "sudo apt install tmux");
    EXPECT_EQ(model->lastError(), std::nullopt);
}

TEST_F(CompanionModelTest, ABareHostNameGetsDotLocal) {
    m_hostName = "studio";
    auto model = refreshedModel();
    EXPECT_EQ(model->addresses().front(), "studio.local");
    EXPECT_EQ(model->identity().hosts.front(), "studio.local");
}

TEST_F(CompanionModelTest, AHostNameEndingInDotLocalIsUsedUnchanged) {
    m_hostName = "Studio.local";
    auto model = refreshedModel();
    EXPECT_EQ(model->addresses().front(), "Studio.local");
    EXPECT_EQ(model->identity().hosts.front(), "Studio.local");
}

TEST_F(CompanionModelTest, AHostNameEndingInDotLocalOfAnotherCaseIsNamedAsTheDaemonAnnouncesIt) {
    m_hostName = "Studio.LOCAL";
    auto model = refreshedModel();
    // Avahi cuts at the first dot ("Studio.local"); macOS's daemon keeps the name ("Studio.LOCAL.local").
    const std::string announced =
        Companion::HostIdentity::announcesFirstLabelOnly() ? "Studio.local" : "Studio.LOCAL.local";
    EXPECT_EQ(model->addresses(), (std::vector<std::string>{announced, "192.168.1.5"}));
}

TEST_F(CompanionModelTest, ConnectingWithoutTheRelayToolOpensItsDownloadPageAndChangesNothing) {
    auto model = refreshedModel();
    model->setLastError("previo");
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    QSignalSpy pending(model.get(), &CompanionModel::pendingChanged);
    model->connectDrozak();
    EXPECT_EQ(m_openedUrls, (std::vector<std::string>{"https://drozak.net/downloads"}));
    EXPECT_EQ(model->lastError(), "previo");
    EXPECT_FALSE(model->drozakConnectPending());
    EXPECT_EQ(pending.count(), 0);
    // A revoke of a phone that is not there goes through the model's worker after anything the
    // connect could have queued there: once it is answered, a refresh asked for would have been too.
    QSignalSpy revoked(model.get(), &CompanionModel::revoked);
    model->revoke(
        CompanionCore::PairedDevice{"nadie", "ssh-ed25519", TestSupport::SampleKeys::ed25519, 1, false},
        RevokeScope::phoneLines);
    ASSERT_TRUE(revoked.wait(generousWait));
    EXPECT_EQ(refreshed.count(), 0);
}

TEST_F(CompanionModelTest, AFailedConnectShowsTheToolsTrimmedOutputThenRefreshes) {
    installDrozak(R"({"connected": false})", "printf '  sin permiso para conectar \\n'; exit 2");
    auto model = refreshedModel();
    ASSERT_TRUE(model->drozakPath().has_value());
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    model->connectDrozak();
    ASSERT_TRUE(refreshed.wait(generousWait));
    EXPECT_EQ(model->lastError(), "drozak connect: sin permiso para conectar");
    EXPECT_TRUE(m_openedUrls.empty());
}

TEST_F(CompanionModelTest, ASuccessfulConnectClearsTheLastErrorAndRefreshes) {
    installDrozak(R"({"connected": false})", "echo conectado; exit 0");
    auto model = refreshedModel();
    model->setLastError("previo");
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    model->connectDrozak();
    ASSERT_TRUE(refreshed.wait(generousWait));
    EXPECT_EQ(model->lastError(), std::nullopt);
}

TEST_F(CompanionModelTest, ARelayToolThatCannotLaunchGivesTheLaunchError) {
    installDrozak(R"({"connected": false})");
    auto model = refreshedModel();
    std::filesystem::permissions(m_tools / "drozak", std::filesystem::perms::owner_read);
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    model->connectDrozak();
    ASSERT_TRUE(refreshed.wait(generousWait));
    ASSERT_TRUE(model->lastError().has_value());
    EXPECT_TRUE(model->lastError()->starts_with("drozak connect: ")) << *model->lastError();
    EXPECT_GT(model->lastError()->size(), std::string("drozak connect: ").size());
}

TEST_F(CompanionModelTest, AConnectedRelayWithAnEmptyAddressFallsBackToTheAddressList) {
    installDrozak(R"({"connected": true, "ip": ""})");
    m_actions->setAddresses({"192.168.1.5", "100.70.1.2"});
    auto model = refreshedModel();
    EXPECT_EQ(model->meshAddress(), "100.70.1.2");
    EXPECT_TRUE(model->hasMeshAddress());
}

TEST_F(CompanionModelTest, TheRelaysAddressWinsWhileHasMeshAddressLooksOnlyAtTheList) {
    installDrozak(R"({"connected": true, "ip": "100.101.2.3", "relay_connected": true})");
    auto model = refreshedModel();
    EXPECT_EQ(model->meshAddress(), "100.101.2.3");
    EXPECT_FALSE(model->hasMeshAddress());
}

TEST_F(CompanionModelTest, ADisconnectedRelaysAddressDoesNotCount) {
    installDrozak(R"({"connected": false, "ip": "100.101.2.3"})");
    auto model = refreshedModel();
    EXPECT_EQ(model->meshAddress(), std::nullopt);
    EXPECT_FALSE(model->hasMeshAddress());
}

TEST_F(CompanionModelTest, ARefreshAfterTheRelayToolWasUninstalledClearsItsPathAndStatus) {
    installDrozak(R"({"connected": true, "ip": "100.101.2.3"})");
    auto model = refreshedModel();
    ASSERT_TRUE(model->drozakPath().has_value());
    ASSERT_TRUE(model->drozakStatus().has_value());
    std::filesystem::remove(m_tools / "drozak");
    ASSERT_TRUE(refreshAndWait(*model));
    EXPECT_EQ(model->drozakPath(), std::nullopt);
    EXPECT_EQ(model->drozakStatus(), std::nullopt);
    EXPECT_EQ(model->meshAddress(), std::nullopt);
}

TEST_F(CompanionModelTest, ARelayToolWithoutStatusCountsAsInstalledWithoutStatus) {
    writeScript(m_tools / "drozak", "echo '{\"connected\": true}'\nexit 1");
    auto model = refreshedModel();
    EXPECT_TRUE(model->drozakPath().has_value());
    EXPECT_EQ(model->drozakStatus(), std::nullopt);
}

TEST_F(CompanionModelTest, TheIdentityAlwaysReportsPort22EvenWithRemoteLoginOff) {
    auto withTools = environment();
    withTools.host.isExecutable = [](const std::string& path) { return path == "/usr/bin/tmux"; };
    auto model = refreshedModel(std::move(withTools));
    ASSERT_FALSE(model->remoteLogin());
    const auto identity = model->identity();
    EXPECT_EQ(identity.sshPort, 22);
    EXPECT_EQ(identity.user, "ana");
    EXPECT_EQ(identity.name, "Estudio de Ana");
    EXPECT_EQ(identity.hosts, (std::vector<std::string>{"Studio.local", "192.168.1.5"}));
    EXPECT_FALSE(identity.mosh);
    EXPECT_TRUE(identity.tmux);
}

TEST_F(CompanionModelTest, TheIdentityNamesTheHostWhenTheComputerHasNoName) {
    auto unnamed = environment();
    unnamed.host.computerName = [] { return std::string(); };
    auto model = refreshedModel(std::move(unnamed));
    EXPECT_EQ(model->identity().name, "Studio");
}

TEST_F(CompanionModelTest, TheIdentityReadsTheSystemAfreshNotThePublishedFields) {
    auto model = refreshedModel();
    m_actions->setAddresses({"10.0.0.2"});
    EXPECT_EQ(model->identity().hosts, (std::vector<std::string>{"Studio.local", "10.0.0.2"}));
    EXPECT_EQ(model->addresses(), (std::vector<std::string>{"Studio.local", "192.168.1.5"}));
}

TEST_F(CompanionModelTest, TurningRemoteLoginOnClearsTheLastErrorAndRefreshes) {
    auto model = refreshedModel();
    model->setLastError("previo");
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    model->enableRemoteLogin();
    ASSERT_TRUE(refreshed.wait(generousWait));
    EXPECT_EQ(m_actions->remoteLoginRequests(), (std::vector<bool>{true}));
    EXPECT_EQ(model->lastError(), std::nullopt);
    EXPECT_TRUE(model->remoteLogin());
}

TEST_F(CompanionModelTest, ACancelledRemoteLoginDialogLeavesItsMessage) {
    m_actions->setRemoteLoginAnswer("Request dismissed");
    auto model = refreshedModel();
    QSignalSpy refreshed(model.get(), &CompanionModel::refreshed);
    model->enableRemoteLogin();
    ASSERT_TRUE(refreshed.wait(generousWait));
    EXPECT_EQ(model->lastError(), "Request dismissed");
    EXPECT_FALSE(model->remoteLogin());
}

TEST_F(CompanionModelTest, AKeyFileTooLargeToReadListsNoPhoneAndTheLastErrorSaysWhatToDo) {
    {
        std::ofstream keys(m_home / "authorized_keys", std::ios::binary);
        keys.seekp(static_cast<std::streamoff>(CompanionCore::KeyFileSession::maximumSize));
        keys.put('\n');
    }
    const auto model = refreshedModel();
    EXPECT_TRUE(model->pairedPhones().empty());
    EXPECT_EQ(model->lastError(),
              "~/.ssh/authorized_keys ocupa más de 16 MiB: ningún archivo de llaves escrito a "
              "mano es tan grande; mira qué lo ha llenado y deja en él solo tus llaves");
}

TEST_F(CompanionModelTest, SetLastErrorAnnouncesOnlyChanges) {
    auto model = refreshedModel();
    QSignalSpy changes(model.get(), &CompanionModel::lastErrorChanged);
    model->setLastError("uno");
    model->setLastError("uno");
    model->setLastError(std::nullopt);
    EXPECT_EQ(changes.count(), 2);
}

TEST_F(CompanionModelTest, TheModelCanGoWhileARelayToolIsStillAnswering) {
    const auto started = m_home / "started";
    writeScript(m_tools / "drozak", ": > '" + started.string() + "'\nexec /bin/sleep 60");
    auto model = TestSupport::makeModel(environment());
    ASSERT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(started); }, generousWait));
    // Returns at the status query's own deadline (the runner's tests prove that deadline holds), not
    // when the tool would have answered; a hang here is caught by the test's own time limit.
    model.reset();
    EXPECT_EQ(model, nullptr);
}

TEST_F(CompanionModelTest, KeepAwakeThatNothingCanHoldStaysOffAndTheRedLineSaysWhy) {
    // Buses on which neither a portal nor logind runs.
    TestSupport::PrivateSessionBus session;
    TestSupport::PrivateSessionBus system;
    const auto sessionClient = QDBusConnection::connectToBus(session.address(), QStringLiteral("session"));
    const auto systemClient = QDBusConnection::connectToBus(system.address(), QStringLiteral("system"));
    m_actions->setSleepInhibitor([&] {
        return std::make_unique<Companion::DBusSleepInhibitor>([sessionClient] { return sessionClient; },
                                                               [systemClient] { return systemClient; },
                                                               "nuvexa Companion", "test");
    });
    {
        auto model = refreshedModel();
        model->keepAwake().setEnabled(true);
        ASSERT_TRUE(QTest::qWaitFor([&] { return model->lastError().has_value(); }, generousWait));
        EXPECT_EQ(model->lastError(),
                  "No puedo mantener el ordenador despierto: ni el portal del escritorio ni "
                  "logind responden.");
        EXPECT_FALSE(model->keepAwake().enabled());

        // Once logind answers, switching on again holds and the red line goes.
        TestSupport::LogindService logind;
        ASSERT_TRUE(
            logind.serveOn(QDBusConnection::connectToBus(system.address(), QStringLiteral("logind"))));
        model->keepAwake().setEnabled(true);
        ASSERT_TRUE(QTest::qWaitFor([&] { return model->keepAwake().enabled(); }, generousWait));
        EXPECT_EQ(model->lastError(), std::nullopt);
        model.reset();
        ASSERT_EQ(logind.calls.size(), 1);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return TestSupport::LogindService::released(logind.calls.first()); }, generousWait));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("session"));
    QDBusConnection::disconnectFromBus(QStringLiteral("system"));
    QDBusConnection::disconnectFromBus(QStringLiteral("logind"));
}

TEST_F(CompanionModelTest, AFullyQualifiedHostNameIsNamedEverywhereAsAvahiAnnouncesIt) {
    if (!Companion::HostIdentity::announcesFirstLabelOnly()) {
        GTEST_SKIP() << "this platform's DNS-SD daemon announces the host name as it is";
    }
    m_hostName = "box.example.org";
    auto announcers = std::make_shared<std::vector<std::shared_ptr<TestSupport::FakeAnnouncer::Record>>>();
    auto withAnnouncer = environment();
    withAnnouncer.host.computerName = [] { return std::string(); };
    withAnnouncer.settings.server.ports = {0};
    withAnnouncer.settings.server.announcer = TestSupport::FakeAnnouncer::factory(announcers);
    auto model = refreshedModel(std::move(withAnnouncer));
    EXPECT_EQ(model->addresses(), (std::vector<std::string>{"box.local", "192.168.1.5"}));
    const auto identity = model->identity();
    EXPECT_EQ(identity.name, "box");
    EXPECT_EQ(identity.hosts, (std::vector<std::string>{"box.local", "192.168.1.5"}));

    model->pairing().start();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return !announcers->empty() && announcers->back()->announced; }, generousWait));
    const auto& service = announcers->back()->service;
    EXPECT_EQ(service.name, "box");
    const std::set<std::pair<std::string, std::string>> txt(service.txt.begin(), service.txt.end());
    EXPECT_TRUE(txt.contains({"name", "box"})) << testing::PrintToString(service.txt);
    EXPECT_TRUE(txt.contains({"hosts", "box.local,192.168.1.5"})) << testing::PrintToString(service.txt);
    model->pairing().stop();
}

namespace {

/// The key check runs on a real SSH server in KeyDoctorTest; here a stand-in answers for it so the
/// model's part (when it asks, what it publishes, when it forgets) is seen on its own.
Companion::KeyDoctor::Report refusedReport() {
    Companion::KeyDoctor::Report report;
    report.result.obstacles = {CompanionCore::Obstacle::userNotAllowed};
    report.result.hostKeyFingerprint = "SHA256:nkUMalcE/xHxKDwZtgHqWT3Ippjy/2KZxdvbQDk/H4U";
    return report;
}

TEST_F(CompanionModelTest, APairingIsFollowedByTheKeyCheckAndANewSessionForgetsIt) {
    auto environment = this->environment();
    environment.settings.server.ports = {0};
    environment.settings.server.announcer = nullptr;
    const TestSupport::CodeSequence codes;
    environment.settings.server.codeSource = codes.source();
    std::atomic<int> checks = 0;
    std::string checkedKey;
    environment.settings.checkKey = [&](const CompanionCore::PairedDevice& device) {
        checkedKey = device.blob;
        ++checks;
        return refusedReport();
    };
    auto model = refreshedModel(std::move(environment));
    EXPECT_FALSE(model->keyCheck().has_value());

    auto& pairing = model->pairing();
    pairing.start();
    const auto isWaiting = [&] {
        return std::holds_alternative<CompanionCore::Pairing::Waiting>(pairing.state());
    };
    ASSERT_TRUE(QTest::qWaitFor(isWaiting, generousWait));
    const QByteArray response =
        TestSupport::exchange(std::get<CompanionCore::Pairing::Waiting>(pairing.state()).port,
                              TestSupport::pairingRequest(codes[0], TestSupport::sampleEd25519Key, "Phone"));
    ASSERT_EQ(TestSupport::statusOf(response), 200) << response.toStdString();

    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return model->keyCheck() && model->keyCheck()->stage != Companion::KeyCheckState::Stage::checking;
        },
        generousWait));
    EXPECT_EQ(checks, 1);
    EXPECT_NE(std::string(TestSupport::sampleEd25519Key).find(checkedKey), std::string::npos);
    EXPECT_EQ(model->keyCheck()->stage, Companion::KeyCheckState::Stage::refused);
    EXPECT_TRUE(model->keyCheck()->text.contains(QStringLiteral("AllowUsers")));
    EXPECT_EQ(model->keyCheck()->hostKey,
              QStringLiteral("SHA256:nkUMalcE/xHxKDwZtgHqWT3Ippjy/2KZxdvbQDk/H4U"));

    pairing.start();
    ASSERT_TRUE(QTest::qWaitFor(isWaiting, generousWait));
    EXPECT_FALSE(model->keyCheck().has_value());
    pairing.stop();
}

// A password dialog that stays open needs a desktop's polkit agent and a person at it, which no test
// here has: the test writes a stand-in that stays as pkexec does while that dialog waits. (The real
// pkexec and polkit daemon, with no agent, are in PolkitWithoutAgentTest.)
TEST(CompanionModelQuitTest, QuittingNeverWaitsForAPendingAdministratorDialog) {
    TestSupport::TemporaryDirectory bin;
    const auto asked = bin / "asked";
    TestSupport::writeScript(bin / "pkexec", "touch '" + asked.string() + "'\nexec sleep 3600");
    TestSupport::writeScript(bin / "systemctl", "exit 0");
    std::filesystem::create_directories(bin / "units");
    TestSupport::writeFile(bin / "units" / "ssh.service", "");
    Companion::LinuxSystemActions::Options options;
    options.searchPaths = std::vector<std::string>{bin.path().string()};
    options.environment = [](const std::string&) -> std::optional<std::string> { return std::nullopt; };
    options.socketTables = std::vector<std::filesystem::path>{bin / "tcp"};
    options.unitDirectories = std::vector<std::filesystem::path>{bin / "units"};
    auto actions = std::make_shared<Companion::LinuxSystemActions>(
        std::make_shared<Companion::QtProcessRunner>(), std::move(options));

    TestSupport::ModelParts environment;
    environment.host.systemActions = actions;
    environment.host.searchPaths = std::vector<std::string>{bin.path().string()};
    environment.host.hostName = [] { return std::string("estudio"); };
    environment.host.authorizedKeys = bin / "authorized_keys";
    environment.settings.server.logFile = bin / "companion.log";
    environment.settings.notifier.runner = std::make_shared<TestSupport::FakeProcessRunner>();
    environment.settings.notifier.notifications = std::make_shared<TestSupport::FakeNotificationCentre>();
    auto model = TestSupport::makeModel(std::move(environment));
    model->enableRemoteLogin();
    ASSERT_TRUE(TestSupport::pollUntil([&] { return std::filesystem::exists(asked); }));

    auto quit = std::async(std::launch::async, [&model] { model.reset(); });
    EXPECT_EQ(quit.wait_for(TestSupport::generousBound), std::future_status::ready)
        << "the model waited for the dialog";
}

} // namespace

namespace {

TEST_F(CompanionModelTest, AHangingRelayConnectNeverHoldsBackARefresh) {
    const auto connecting = m_tools / "connecting";
    installDrozak(R"({"connected": false})", "touch '" + connecting.string() + "'; exec sleep 3600");
    auto model = refreshedModel();
    model->connectDrozak();
    EXPECT_TRUE(model->drozakConnectPending());
    ASSERT_TRUE(TestSupport::pollUntil([&] { return std::filesystem::exists(connecting); }));
    EXPECT_TRUE(refreshAndWait(*model));
    EXPECT_TRUE(model->drozakConnectPending());
}

TEST_F(CompanionModelTest, ARelayConnectThatIsRunningIsNotQueuedAgain) {
    const auto connects = m_tools / "connects";
    const auto release = m_tools / "release";
    installDrozak(R"({"connected": false})", "echo x >> '" + connects.string() + "'; while [ ! -e '" +
                                                 release.string() + "' ]; do sleep 0.05; done");
    auto model = refreshedModel();
    QSignalSpy pending(model.get(), &CompanionModel::pendingChanged);
    model->connectDrozak();
    model->connectDrozak();
    ASSERT_TRUE(TestSupport::pollUntil([&] { return std::filesystem::exists(connects); }));
    TestSupport::writeFile(release, "");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model->drozakConnectPending(); }, generousWait));
    EXPECT_EQ(pending.count(), 2) << "pending once, then done";
    // The refresh that follows the connect comes after every job queued before it.
    EXPECT_TRUE(refreshAndWait(*model));
    EXPECT_EQ(TestSupport::readFile(connects), "x\n");
}

// As above, a stand-in for pkexec keeps the administrator dialog open until the test answers it.
TEST_F(CompanionModelTest, TurningTheSshServerOnWhileItsDialogIsOpenAsksOnce) {
    TestSupport::TemporaryDirectory bin;
    const auto asked = bin / "asked";
    const auto answer = bin / "answer";
    writeScript(bin / "pkexec", "echo x >> '" + asked.string() + "'\nwhile [ ! -e '" + answer.string() +
                                    "' ]; do sleep 0.05; done");
    writeScript(bin / "systemctl", "exit 0");
    TestSupport::writeFile(bin / "ssh.service", "");
    Companion::LinuxSystemActions::Options options;
    options.searchPaths = std::vector<std::string>{bin.path().string()};
    options.environment = [](const std::string&) -> std::optional<std::string> { return std::nullopt; };
    options.socketTables = std::vector<std::filesystem::path>{bin / "tcp"};
    options.unitDirectories = std::vector<std::filesystem::path>{bin.path()};
    auto environment = this->environment();
    environment.host.systemActions = std::make_shared<Companion::LinuxSystemActions>(
        std::make_shared<Companion::QtProcessRunner>(), std::move(options));
    auto model = refreshedModel(std::move(environment));

    model->enableRemoteLogin();
    model->enableRemoteLogin();
    EXPECT_TRUE(model->remoteLoginPending());
    const auto checks = model->checks();
    EXPECT_TRUE(checks.front().busy);
    ASSERT_TRUE(TestSupport::pollUntil([&] { return std::filesystem::exists(asked); }));
    TestSupport::writeFile(answer, "");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model->remoteLoginPending(); }, generousWait));
    EXPECT_TRUE(refreshAndWait(*model));
    EXPECT_EQ(TestSupport::readFile(asked), "x\n");
    EXPECT_FALSE(model->checks().front().busy);
}

} // namespace

namespace {

const std::string anaLine = "ssh-ed25519 " + TestSupport::SampleKeys::ed25519 + " nuvexa:Ana";
const std::string backupLine = "restrict ssh-ed25519 " + TestSupport::SampleKeys::ed25519 + " backup";
const std::string laptopLine = "ecdsa-sha2-nistp256 " + TestSupport::SampleKeys::ecdsa256 + " ana@laptop";

} // namespace

TEST_F(CompanionModelTest, NamesTheOtherLinesThatHoldAPhonesKey) {
    TestSupport::writeFile(m_home / "authorized_keys",
                           anaLine + "\n" + laptopLine + "\n" + backupLine + "\n");
    auto model = refreshedModel();
    ASSERT_EQ(model->pairedPhones().size(), 1u);
    EXPECT_EQ(model->otherLinesHolding(model->pairedPhones().front()),
              (std::vector<KeyLine>{{3, "restrict ssh-ed25519 … backup"}}));
}

TEST_F(CompanionModelTest, RevokingOnlyThePhonesLineSaysItCanStillLogInWhileItsKeyOpensAnother) {
    TestSupport::writeFile(m_home / "authorized_keys",
                           anaLine + "\n" + laptopLine + "\n" + backupLine + "\n");
    auto model = refreshedModel();
    model->setLastError("an earlier failure");
    const auto ana = model->pairedPhones().at(0);
    ASSERT_TRUE(revokeAndWait(*model, ana, RevokeScope::phoneLines));
    EXPECT_EQ(TestSupport::readFile(m_home / "authorized_keys"), laptopLine + "\n" + backupLine + "\n");
    EXPECT_EQ(model->lastError(), "«Ana» aún puede iniciar sesión: su llave sigue en la línea 2.");
    EXPECT_TRUE(model->pairedPhones().empty());
}

TEST_F(CompanionModelTest, LinesAnotherWriterAddedMeanwhileAreNamedToo) {
    TestSupport::writeFile(m_home / "authorized_keys", anaLine + "\n");
    auto model = refreshedModel();
    const auto ana = model->pairedPhones().at(0);
    // Added after the question was asked: the verdict is on the file as written.
    TestSupport::writeFile(m_home / "authorized_keys",
                           anaLine + "\n" + backupLine + "\n" + backupLine + "\n");
    ASSERT_TRUE(revokeAndWait(*model, ana, RevokeScope::phoneLines));
    EXPECT_EQ(model->lastError(), "«Ana» aún puede iniciar sesión: su llave sigue en las líneas 1, 2.");
}

TEST_F(CompanionModelTest, RevokingEveryLineRemovesEachLineWithThePhonesKeyAndClearsTheRedLine) {
    TestSupport::writeFile(m_home / "authorized_keys",
                           anaLine + "\n" + laptopLine + "\n" + backupLine + "\n");
    auto model = refreshedModel();
    model->setLastError("an earlier failure");
    ASSERT_TRUE(revokeAndWait(*model, model->pairedPhones().at(0), RevokeScope::everyLine));
    EXPECT_EQ(TestSupport::readFile(m_home / "authorized_keys"), laptopLine + "\n");
    EXPECT_EQ(model->lastError(), std::nullopt);
    EXPECT_TRUE(model->pairedPhones().empty());
}
