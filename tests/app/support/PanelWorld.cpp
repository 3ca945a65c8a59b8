#include "support/PanelWorld.h"

#include "Companion/linux/LinuxSystemActions.h"

#include <QTcpSocket>
#include <QTest>

#include <gtest/gtest.h>

namespace AppTestSupport {

void pairAsPhone(std::uint16_t port, const std::string& code, const std::string& device) {
    const std::string publicKey =
        "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINran2uo1OJXgP8LDadnVR/no2X3xg2Y3BqV+G9J4s7B phone@example";
    const std::string body =
        R"({"code":")" + code + R"(","publicKey":")" + publicKey + R"(","device":")" + device + R"("})";
    const std::string request = "POST /pair HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                                "Content-Length: " +
                                std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    ASSERT_TRUE(socket.waitForConnected(generousMilliseconds));
    socket.write(request.data(), static_cast<qint64>(request.size()));
    ASSERT_TRUE(QTest::qWaitFor([&] { return socket.state() == QAbstractSocket::UnconnectedState; },
                                generousMilliseconds));
}

PanelWorld::PanelWorld()
    : actionsRunner(std::make_shared<TestSupport::FakeProcessRunner>())
    , tmuxRunner(std::make_shared<TestSupport::FakeProcessRunner>())
    , notifications(std::make_shared<TestSupport::FakeNotificationCentre>())
    , executables(std::make_shared<FakeExecutables>()) {
    actions = std::make_shared<TestSupport::FakeSystemActions>(actionsRunner);
    actionsRunner->setAnswer([this](const Companion::ProcessCommand& command) {
        std::lock_guard lock(m_answersMutex);
        if (!command.arguments.empty() && command.arguments.front() == "status") {
            return m_drozakStatus ? TestSupport::exited(0, *m_drozakStatus) : TestSupport::exited(1);
        }
        if (!command.arguments.empty() && command.arguments.front() == "connect") {
            return m_drozakConnect;
        }
        return TestSupport::exited(0);
    });
    tmuxRunner->setAnswer([this](const Companion::ProcessCommand&) {
        std::lock_guard lock(m_answersMutex);
        return TestSupport::exited(0, m_tmuxForeground + "\n");
    });
}

PanelWorld::~PanelWorld() {
    // The panel observes the model.
    m_panel.reset();
    m_model.reset();
}

std::shared_ptr<Companion::SystemActions> PanelWorld::linuxActions() {
    executables->add(std::string(systemBin) + "/apt");
    Companion::LinuxSystemActions::Options options;
    options.isExecutable = [files = executables](const std::string& path) { return files->contains(path); };
    options.searchPaths = std::vector<std::string>{systemBin};
    options.environment = [](const std::string&) -> std::optional<std::string> { return std::nullopt; };
    options.socketTables = std::vector<std::filesystem::path>{home.path() / "tcp"};
    options.unitDirectories = std::vector<std::filesystem::path>{};
    return std::make_shared<Companion::LinuxSystemActions>(actionsRunner, std::move(options));
}

TestSupport::ModelParts PanelWorld::environment() {
    TestSupport::ModelParts environment;
    environment.host.systemActions = platformActions ? platformActions : actions;
    environment.host.isExecutable = [files = executables](const std::string& path) {
        return files->contains(path);
    };
    environment.host.searchPaths = std::vector<std::string>{longPrefix, systemBin};
    environment.host.hostName = [] { return std::string(host); };
    environment.host.userName = [] { return std::string(user); };
    environment.host.sshLogin = [login = login] { return login; };
    environment.host.computerName = [] { return std::string(computer); };
    environment.host.authorizedKeys = home.path() / ".ssh" / "authorized_keys";
    environment.host.loginRecords = loginRecords;
    environment.host.liveSessions = liveSessions;
    // Looks follow each other quickly, so a test waits for what it added rather than for the clock.
    environment.settings.loginWatchInterval = std::chrono::milliseconds(20);
    environment.settings.connectionWatchInterval = std::chrono::milliseconds(20);
    environment.settings.server.ports = ports;
    environment.settings.server.listenAddress = QHostAddress::LocalHost;
    environment.settings.server.codeSource = codes.source();
    environment.settings.server.logFile = logFile.empty() ? home.path() / "nuvexa-companion.log" : logFile;
    environment.settings.server.announcer = [this] {
        auto record = std::make_shared<FakeAnnouncer::Record>();
        announcers.push_back(record);
        return std::make_unique<FakeAnnouncer>(record);
    };
    environment.settings.notifier.clock = clock.function();
    environment.settings.notifier.locateTmux = [files = executables]() -> std::optional<std::string> {
        const std::string tmux = std::string(systemBin) + "/tmux";
        return files->contains(tmux) ? std::optional<std::string>(tmux) : std::nullopt;
    };
    environment.settings.notifier.pollInterval = std::chrono::milliseconds(1);
    environment.settings.notifier.runner = tmuxRunner;
    environment.settings.notifier.notifications = notifications;
    environment.settings.checkKey = keyCheck;
    return environment;
}

CompanionApp::ContentView::Options PanelWorld::panelOptions() {
    CompanionApp::ContentView::Options options;
    options.openUrl = [this](const QUrl& url) {
        openedFiles.push_back(url);
        return canOpenFiles;
    };
    options.quit = [this] { ++quits; };
    if (realRevokeDialog) {
        return options;
    }
    options.confirmRevoke = [this](const QString& phone,
                                   const QStringList& otherLines) -> std::optional<Companion::RevokeScope> {
        revokeQuestions.push_back(phone);
        revokeOtherLines.push_back(otherLines);
        if (!confirmRevoke) {
            return std::nullopt;
        }
        return revokeEveryLine ? Companion::RevokeScope::everyLine : Companion::RevokeScope::phoneLines;
    };
    return options;
}

void PanelWorld::build() {
    m_model = TestSupport::makeModel(environment());
    // Published results are queued to this thread, so no refresh can be missed before this spy.
    m_refreshes = std::make_unique<QSignalSpy>(m_model.get(), &Companion::CompanionModel::refreshed);
    m_polls = std::make_unique<QSignalSpy>(&m_model->tmuxNotifier(), &Companion::TmuxNotifier::polled);
    m_panel = std::make_unique<CompanionApp::ContentView>(*m_model, panelOptions());
}

void PanelWorld::buildAndShow() {
    build();
    m_panel->show();
    waitForRefreshes(2);
}

void PanelWorld::waitForRefreshes(int count) {
    while (m_refreshes->count() < count) {
        ASSERT_TRUE(m_refreshes->wait(generousMilliseconds)) << "the model never finished refreshing";
    }
}

void PanelWorld::waitForNextRefresh() {
    waitForRefreshes(static_cast<int>(m_refreshes->count()) + 1);
}

void PanelWorld::waitForNextPoll() {
    const auto target = m_polls->count() + 1;
    while (m_polls->count() < target) {
        ASSERT_TRUE(m_polls->wait(generousMilliseconds)) << "the notifier never polled";
    }
}

void PanelWorld::installDrozak(std::optional<std::string> statusJson) {
    executables->add(std::string(systemBin) + "/drozak");
    std::lock_guard lock(m_answersMutex);
    m_drozakStatus = std::move(statusJson);
}

void PanelWorld::setDrozakConnectAnswer(Companion::ProcessResult result) {
    std::lock_guard lock(m_answersMutex);
    m_drozakConnect = std::move(result);
}

void PanelWorld::setTmuxForeground(const std::string& command) {
    std::lock_guard lock(m_answersMutex);
    m_tmuxForeground = command;
}

} // namespace AppTestSupport
