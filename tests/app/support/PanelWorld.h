#pragma once

#include "Companion/CompanionModel.h"
#include "CompanionApp/ContentView.h"
#include "CompanionApp/PairedPhonesSection.h"
#include "CompanionCore/server/Announcer.h"
#include "support/CodeSequence.h"
#include "support/FakeClock.h"
#include "support/FakeLoginRecords.h"
#include "support/FakeNotificationCentre.h"
#include "support/FakeProcessRunner.h"
#include "support/FakeSystemActions.h"
#include "support/ModelParts.h"
#include "support/Patience.h"
#include "support/TemporaryDirectory.h"

#include <QHostAddress>
#include <QPushButton>
#include <QSignalSpy>
#include <QUrl>

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace AppTestSupport {

using TestSupport::generousMilliseconds;

/// Which files the model and the panel take for installed tools; shared with the model's worker
/// thread.
class FakeExecutables {
public:
    void add(const std::string& path) {
        std::lock_guard lock(m_mutex);
        m_paths.insert(path);
    }
    void remove(const std::string& path) {
        std::lock_guard lock(m_mutex);
        m_paths.erase(path);
    }
    bool contains(const std::string& path) const {
        std::lock_guard lock(m_mutex);
        return m_paths.count(path) != 0;
    }

private:
    mutable std::mutex m_mutex;
    std::set<std::string> m_paths;
};

/// An announcer that announces nothing by itself: the test plays the DNS-SD daemon's answers through
/// the observer it keeps.
class FakeAnnouncer final : public CompanionCore::Announcer {
public:
    struct Record {
        Service service;
        Observer observer;
        bool alive = true;
    };

    explicit FakeAnnouncer(std::shared_ptr<Record> record)
        : m_record(std::move(record)) {}
    ~FakeAnnouncer() override { m_record->alive = false; }

    void announce(Service service, Observer observer) override {
        m_record->service = std::move(service);
        m_record->observer = std::move(observer);
    }

private:
    std::shared_ptr<Record> m_record;
};

/// Sends what the phone app sends to pair with `code` to the loopback `port`, and waits until the
/// server has closed the connection.
void pairAsPhone(std::uint16_t port, const std::string& code, const std::string& device);

/// A real `CompanionModel` and a real panel over fake surroundings: system actions and tools that
/// answer as the test says, a pairing server on a free loopback port with a fake announcer, a tmux
/// notifier whose tmux, clock and notifications are fakes, and a home in a temporary folder.
class PanelWorld {
public:
    /// Search directories: a deep Homebrew-like prefix first, so paths found there are long.
    static constexpr const char* longPrefix = "/opt/homebrew/Cellar/nuvexa-tools/2024.11.3/libexec/bin";
    static constexpr const char* systemBin = "/usr/bin";
    static constexpr const char* computer = "Estudio de Ana";
    static constexpr const char* user = "ana";
    static constexpr const char* host = "estudio";

    PanelWorld();
    ~PanelWorld();
    PanelWorld(const PanelWorld&) = delete;
    PanelWorld& operator=(const PanelWorld&) = delete;

    // Set before `build`.
    std::vector<std::uint16_t> ports = {0};
    /// The pairing codes the server draws, in order.
    TestSupport::CodeSequence codes;
    /// The pairing log; "nuvexa-companion.log" in the home folder when empty.
    std::filesystem::path logFile;
    /// Answers the key check after a pairing in place of the SSH server (which KeyDoctorTest asks for
    /// real); accepts every key with `hostKey` unless a test says otherwise.
    static constexpr const char* hostKey = "SHA256:nkUMalcE/xHxKDwZtgHqWT3Ippjy/2KZxdvbQDk/H4U";
    std::function<Companion::KeyDoctor::Report(const CompanionCore::PairedDevice&)> keyCheck =
        [](const CompanionCore::PairedDevice&) {
            Companion::KeyDoctor::Report report;
            report.result.hostKeyFingerprint = hostKey;
            return report;
        };
    /// What the user's SSH login reports (where it finds mosh-server, its locale); nothing, as where
    /// the login cannot be asked, unless a test says otherwise.
    std::optional<CompanionCore::LoginReport> login;
    /// A platform's own system actions to use instead of `actions` (which speak as on macOS).
    std::shared_ptr<Companion::SystemActions> platformActions;
    /// The Linux backend over this world's fake runner and tools, for `platformActions`, so the panel
    /// speaks as on Linux: apt is the one package manager, there is no terminal, no display for a
    /// clipboard helper, no SSH unit and nothing listening on port 22.
    std::shared_ptr<Companion::SystemActions> linuxActions();

    /// The fake surroundings of a model, for a test that builds its own.
    TestSupport::ModelParts environment();
    /// The fake surroundings of a panel, recording what it opens and whether it quits.
    CompanionApp::ContentView::Options panelOptions();

    /// Builds the model and the panel (which renders at once); nothing else happens until the event
    /// loop runs.
    void build();
    /// `build`, then shows the panel and waits until both refreshes (the model's first and the one
    /// the panel asks for when it appears) have been published.
    void buildAndShow();

    /// Waits until the model has published `count` refreshes since it was built.
    void waitForRefreshes(int count);
    /// Waits for the next refresh.
    void waitForNextRefresh();
    /// Waits until the notifier has answered one more poll.
    void waitForNextPoll();

    /// The relay tool is installed (in /usr/bin) and answers its status query with `json`; nothing
    /// makes the query fail.
    void installDrozak(std::optional<std::string> statusJson);
    /// What `drozak connect` answers.
    void setDrozakConnectAnswer(Companion::ProcessResult result);
    /// What tmux answers the notifier's poll.
    void setTmuxForeground(const std::string& command);

    /// Clicks the paired phone's revoke button `index` and, once the confirmation has said yes, waits
    /// until the model's worker has done the revoke and published its outcome.
    bool clickRevoke(std::size_t index) {
        QSignalSpy revoked(m_model.get(), &Companion::CompanionModel::revoked);
        m_panel->pairedPhonesSection().revokeButtons().at(index)->click();
        return revoked.count() > 0 || revoked.wait(generousMilliseconds);
    }

    Companion::CompanionModel& model() { return *m_model; }
    CompanionApp::ContentView& panel() { return *m_panel; }
    CompanionCore::PairingServer& pairing() { return m_model->pairing(); }

    std::shared_ptr<TestSupport::FakeSystemActions> actions;
    std::shared_ptr<TestSupport::FakeProcessRunner> actionsRunner;
    std::shared_ptr<TestSupport::FakeProcessRunner> tmuxRunner;
    std::shared_ptr<TestSupport::FakeNotificationCentre> notifications;
    std::shared_ptr<FakeExecutables> executables;
    TestSupport::FakeClock clock;
    /// The SSH server's records of logins and the live sessions the panel reads: none until a test
    /// adds some.
    std::shared_ptr<TestSupport::FakeLoginRecords> loginRecords =
        std::make_shared<TestSupport::FakeLoginRecords>();
    std::shared_ptr<TestSupport::FakeLiveSessions> liveSessions =
        std::make_shared<TestSupport::FakeLiveSessions>();
    TestSupport::TemporaryDirectory home;
    std::vector<std::shared_ptr<FakeAnnouncer::Record>> announcers;
    std::vector<QUrl> openedFiles;
    /// Whether the desktop has an application for what the panel opens.
    bool canOpenFiles = true;
    int quits = 0;
    /// What the revoke confirmation answers (and whether it chose to remove the other lines that
    /// hold the key too), the phones it named and the other lines it showed for each.
    bool confirmRevoke = true;
    bool revokeEveryLine = false;
    /// The panel asks with its own dialog instead, and none of the above is recorded.
    bool realRevokeDialog = false;
    std::vector<QString> revokeQuestions;
    std::vector<QStringList> revokeOtherLines;

private:
    std::unique_ptr<Companion::CompanionModel> m_model;
    std::unique_ptr<QSignalSpy> m_refreshes;
    std::unique_ptr<QSignalSpy> m_polls;
    std::unique_ptr<CompanionApp::ContentView> m_panel;
    std::mutex m_answersMutex;
    std::optional<std::string> m_drozakStatus;
    Companion::ProcessResult m_drozakConnect;
    std::string m_tmuxForeground = "zsh";
};

} // namespace AppTestSupport
