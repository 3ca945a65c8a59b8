#pragma once

#include "Companion/ConnectedKeepAwake.h"
#include "Companion/Host.h"
#include "Companion/KeepAwake.h"
#include "Companion/KeyCheckState.h"
#include "Companion/KeyDoctor.h"
#include "Companion/PairedPhones.h"
#include "Companion/PairingSession.h"
#include "Companion/PhoneActivity.h"
#include "Companion/ReadinessCheck.h"
#include "Companion/ReadinessFacts.h"
#include "Companion/RevokeScope.h"
#include "Companion/SerialWorker.h"
#include "Companion/SystemActions.h"
#include "Companion/TmuxNotifier.h"
#include "CompanionCore/DrozakStatus.h"
#include "CompanionCore/KeyLine.h"
#include "CompanionCore/PairedDevice.h"
#include "CompanionCore/PairingHandler.h"
#include "CompanionCore/Tools.h"
#include "CompanionCore/server/PairingServer.h"

#include <QObject>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace Companion {

/// The companion's app-wide state: whether the computer is ready to be reached from the phone (SSH
/// server, mosh-server, tmux, the relay tool and its status, the addresses), the actions that repair
/// it, and the source of the pairing identity. Owns the pairing server, the keep-awake switch and the
/// long-command notifier for its whole life.
///
/// Lives on the main thread. Child processes run on a worker thread, one job after the other, so the
/// panel never freezes; every published field changes on the main thread and announces the change
/// with its own signal (emitted only when the value differs).
class CompanionModel : public QObject {
    Q_OBJECT

public:
    /// What the model sets up beyond the host; each empty member means the usual one.
    struct Settings {
        CompanionCore::PairingServer::Options server;
        /// The notifier's runner is the host's when empty.
        TmuxNotifier::Options notifier;
        /// Asks the SSH server about a freshly paired key (`KeyDoctor::examine` with the host's
        /// options when empty). Called on the worker thread.
        std::function<KeyDoctor::Report(const CompanionCore::PairedDevice& device)> checkKey;
        /// How often the records are looked at while a freshly paired phone's login is awaited
        /// (`PairingSession::loginWatchInterval` when absent).
        std::optional<std::chrono::milliseconds> loginWatchInterval;
        /// How often the process table is looked at while the "keep awake while connected" switch is
        /// on (`ConnectedKeepAwake::watchInterval` when absent).
        std::optional<std::chrono::milliseconds> connectionWatchInterval;
    };

    /// On this computer (`Host::system`).
    explicit CompanionModel(QObject* parent = nullptr);
    /// Builds the owned objects on `host`, completed with the real parts it leaves empty, and starts
    /// one `refresh`.
    explicit CompanionModel(Host host, Settings settings = {}, QObject* parent = nullptr);
    ~CompanionModel() override;

    /// What the model reaches outside the process.
    const Host& host() const { return m_host; }

    /// What the last refresh found, field by field as it arrived.
    const ReadinessFacts& readiness() const { return m_facts; }
    /// The readiness rows from `readiness` and the repairs under way.
    std::vector<ReadinessCheck> checks() const;
    /// Runs a row's repair (nothing for `Action::none`).
    void perform(ReadinessCheck::Action action);

    /// The SSH server ("Remote Login") is on.
    bool remoteLogin() const { return m_facts.remoteLogin; }
    /// An SSH server is installed, on or off (assumed until the first refresh says otherwise).
    bool sshServerInstalled() const { return m_facts.sshServerInstalled; }
    /// `enableRemoteLogin` waits for its answer; asking again meanwhile does nothing.
    bool remoteLoginPending() const { return m_remoteLoginPending; }
    /// `connectDrozak` waits for the relay tool; asking again meanwhile does nothing.
    bool drozakConnectPending() const { return m_drozakConnectPending; }
    /// Full path of `mosh-server` (the server half is what this computer needs).
    const std::optional<std::string>& moshPath() const { return m_facts.moshPath; }
    /// What the user's SSH login reported on the last look; absent when it could not tell.
    const std::optional<CompanionCore::LoginReport>& sshLogin() const { return m_facts.login; }
    const std::optional<std::string>& tmuxPath() const { return m_facts.tmuxPath; }
    /// The host names and addresses in the order the phone should try them.
    const std::vector<std::string>& addresses() const { return m_facts.addresses; }
    /// Full path of the relay tool's `drozak`.
    const std::optional<std::string>& drozakPath() const { return m_facts.drozakPath; }
    /// The relay tool's last status; absent when it is not installed or gave none.
    const std::optional<CompanionCore::DrozakStatus>& drozakStatus() const { return m_facts.drozakStatus; }
    /// The phones whose keys are in the authorized keys file, as its lines name them, oldest first.
    const std::vector<CompanionCore::PairedDevice>& pairedPhones() const { return m_pairedPhones; }
    /// Re-reads the paired phones from the authorized keys file; a file that cannot be read shows no
    /// phones, and what to fix becomes `lastError`.
    void refreshPairedPhones();
    /// The lines of the authorized keys file that hold `phone`'s key but are not its own, in file
    /// order: revoking only the phone's lines leaves it able to log in through them. Empty when the
    /// file cannot be read; the revoke then meets the same failure and reports it.
    std::vector<CompanionCore::KeyLine> otherLinesHolding(const CompanionCore::PairedDevice& phone) const;
    /// Removes that phone's lines, or with `RevokeScope::everyLine` every line holding its key, from
    /// the authorized keys file, then re-reads it. `lastError` is cleared only when no line of the
    /// file as written holds the key any more; otherwise it says the phone can still log in and names
    /// the lines. A file that cannot be changed puts the system's message there. Runs on the worker,
    /// so a wait for the key file's lock never holds the panel; `revoked` follows.
    void revoke(const CompanionCore::PairedDevice& phone, RevokeScope scope);

    /// The key check of the phone paired last, while the pairing section shows it; absent otherwise.
    const std::optional<KeyCheckState>& keyCheck() const { return m_keyCheck; }

    /// Whether the phone paired last has logged in since, while the pairing section shows it.
    const std::optional<PairingSession::LoginProof>& loginProof() const { return m_session->loginProof(); }

    /// What the SSH server's records and the process table say of each paired phone, in the order
    /// of `pairedPhones`; absent until the first look after the phones were read.
    const std::optional<ActivityReading>& phoneActivity() const { return m_phoneActivity; }
    /// Looks at the paired phones' logins and live sessions afresh, off the main thread.
    void refreshPhoneActivity();

    /// The text of the last failed action, shown in red; absent after a success.
    const std::optional<std::string>& lastError() const { return m_lastError; }
    void setLastError(std::optional<std::string> message);

    CompanionCore::PairingServer& pairing() { return m_session->server(); }
    /// How long a pairing session waits for the phone once it listens.
    std::chrono::milliseconds pairingExpiry() const { return m_pairingExpiry; }
    KeepAwake& keepAwake() { return *m_keepAwake; }
    ConnectedKeepAwake& connectedKeepAwake() { return *m_connectedKeepAwake; }
    TmuxNotifier& tmuxNotifier() { return *m_tmuxNotifier; }
    /// For the panel's own actions, such as turning the SSH server on.
    SystemActions& systemActions() { return *m_host.systemActions; }
    const SystemActions& systemActions() const { return *m_host.systemActions; }

    /// See `ReadinessFacts::meshAddress`.
    std::optional<std::string> meshAddress() const { return m_facts.meshAddress(); }
    /// See `ReadinessFacts::hasMeshAddress`.
    bool hasMeshAddress() const { return m_facts.hasMeshAddress(); }

    /// Re-reads the paired phones at once, then the SSH server, mosh-server, tmux, the relay tool, its
    /// status and the addresses, publishing each field in that order as soon as it is known, then
    /// emits `refreshed`.
    void refresh();

    /// Runs `drozak connect` (its trimmed output becomes `lastError` on failure, a success clears it)
    /// and refreshes; when the tool is missing, opens its download page and changes nothing.
    void connectDrozak();

    /// Types the package manager's install command for the missing mosh and tmux into a new terminal
    /// window; `lastError` gets the outcome. Does nothing when neither is missing. Runs on the calling
    /// thread, because its clipboard fallback may use the GUI's clipboard.
    void installWithHomebrew();

    /// Types the package manager's install command for the SSH server into a new terminal window, as
    /// `installWithHomebrew` does; `lastError` gets the outcome.
    void installSshServer();

    /// Turns the SSH server on through the system's administrator dialog, then refreshes; a failure
    /// message lands in `lastError`, a success clears it. The dialog never blocks the panel.
    void enableRemoteLogin();

    /// A fresh pairing identity built from the system, not from the published fields; the SSH port
    /// is always 22.
    CompanionCore::PairingHandler::Identity identity() const { return m_host.identity(); }

signals:
    /// Some fact of `readiness` changed; the field's own signal follows.
    void readinessChanged();
    void remoteLoginChanged(bool on);
    void sshServerInstalledChanged(bool installed);
    /// `remoteLoginPending` or `drozakConnectPending` changed.
    void pendingChanged();
    void moshPathChanged();
    void sshLoginChanged();
    void tmuxPathChanged();
    void addressesChanged();
    void drozakPathChanged();
    void drozakStatusChanged();
    void lastErrorChanged();
    void pairedPhonesChanged();
    void keyCheckChanged();
    /// `loginProof` changed; a desktop notification follows the login itself.
    void loginProofChanged();
    void phoneActivityChanged();
    /// After a `refresh` has published every field.
    void refreshed();
    /// After a `revoke` has published its outcome and the phones read afresh.
    void revoked();

private:
    /// Runs `job` on the worker; `job` hands results back with `publish`.
    void enqueue(std::function<void(std::stop_token)> job);
    /// Runs `change` on the main thread unless the model is gone by then.
    void publish(std::function<void(CompanionModel&)> change);
    void enqueueRefresh();

    /// Publishes `facts`, with the signal of each field that changed, in the order of the rows.
    void setFacts(ReadinessFacts facts);
    void setKeyCheck(std::optional<KeyCheckState> state);
    /// The panel's words for the session's key check.
    void followKeyCheck();
    /// Re-reads the phones when one has just paired.
    void followPairing();
    /// Tells the desktop when the phone paired last has logged in.
    void followLoginProof();
    NotificationCentre& notifications();

    Host m_host;
    Settings m_settings;
    PairedPhones m_phones;

    ReadinessFacts m_facts;
    bool m_remoteLoginPending = false;
    bool m_drozakConnectPending = false;
    std::optional<std::string> m_lastError;
    std::vector<CompanionCore::PairedDevice> m_pairedPhones;
    std::optional<KeyCheckState> m_keyCheck;
    std::optional<ActivityReading> m_phoneActivity;
    /// Each look at the activity's number, so only the newest one is published.
    std::uint64_t m_activityLooks = 0;

    std::unique_ptr<KeepAwake> m_keepAwake;
    std::unique_ptr<ConnectedKeepAwake> m_connectedKeepAwake;
    std::unique_ptr<TmuxNotifier> m_tmuxNotifier;
    std::unique_ptr<PairingSession> m_session;
    std::chrono::milliseconds m_pairingExpiry;

    SerialWorker m_worker{*this};
    // The relay tool's connect may hang; on a worker of its own it never holds back a refresh.
    SerialWorker m_connectWorker{*this};
};

} // namespace Companion
