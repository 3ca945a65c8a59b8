#pragma once

#include "Companion/Host.h"
#include "Companion/KeyDoctor.h"
#include "Companion/LoginRecords.h"
#include "Companion/SerialWorker.h"
#include "CompanionCore/KeyDiagnosis.h"
#include "CompanionCore/server/PairingServer.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace Companion {

/// A pairing as both front ends run it: the pairing server, and once a phone has paired, the SSH
/// server's verdict on the key just installed, asked off the caller's thread. The verdict is the proof
/// beyond the pairing's own answer that the phone will get in.
class PairingSession : public QObject {
    Q_OBJECT

public:
    /// Asks the SSH server about a freshly paired key. Called on a worker thread.
    using CheckKey = std::function<KeyDoctor::Report(const CompanionCore::PairedDevice& device)>;

    /// The key check of the phone paired last.
    struct KeyCheck {
        /// The phone whose key is checked.
        CompanionCore::PairedDevice device;
        /// The verdict; absent while the server is being asked.
        std::optional<CompanionCore::KeyDiagnosis::Result> result;
    };

    /// The proof that the phone paired last got in: its first login that the SSH server recorded.
    struct LoginProof {
        CompanionCore::PairedDevice device;
        /// The first accepted login since the pairing; absent while it is awaited.
        std::optional<LoginAttempt> login;
        /// The server's records cannot be read here, and how to allow it: nothing is awaited.
        std::optional<QString> unreadable;

        bool operator==(const LoginProof&) const = default;
    };

    /// How often the records are looked at while a login is awaited: a few seconds, so that a look
    /// costs the computer next to nothing.
    static constexpr std::chrono::milliseconds loginWatchInterval{3000};

    /// Where the key check runs.
    enum class Checking {
        /// On a worker of the session's own, so a panel never waits for the SSH server.
        onWorker,
        /// On the thread that runs the session, before the paired state's observers hear of it: for
        /// a terminal, which has nothing to keep responsive meanwhile. libssh's OpenSSL then keeps its
        /// per-thread state on the main thread, which OpenSSL frees at exit.
        onCallingThread,
    };

    /// A session on `host`, whose key file it writes and whose identity it tells the phone. Without
    /// `checkKey`, `KeyDoctor::examine` with the host's options.
    PairingSession(const Host& host, CompanionCore::PairingServer::Options options, CheckKey checkKey = {},
                   Checking checking = Checking::onWorker, QObject* parent = nullptr);
    ~PairingSession() override;

    CompanionCore::PairingServer& server() { return *m_server; }
    const CompanionCore::PairingServer& server() const { return *m_server; }

    /// While the server's state is the pairing of a phone: that phone's key check. Absent otherwise,
    /// so a new session shows no old verdict.
    const std::optional<KeyCheck>& keyCheck() const { return m_keyCheck; }

    /// While the server's state is the pairing of a phone: whether it has logged in since. Absent
    /// otherwise, and where the host has no login records.
    const std::optional<LoginProof>& loginProof() const { return m_loginProof; }

    /// Looks at the records this often while a login is awaited (tests shorten it).
    void setLoginWatchInterval(std::chrono::milliseconds interval) { m_loginWatch.setInterval(interval); }

signals:
    /// `keyCheck` changed: it began, it has its verdict, or it was dropped.
    void keyCheckChanged();
    /// `loginProof` changed: the wait began, the login arrived, the records proved unreadable, or it
    /// was dropped.
    void loginProofChanged();

private:
    void followServer();
    void setKeyCheck(std::optional<KeyCheck> check);
    void setLoginProof(std::optional<LoginProof> proof);
    /// Starts awaiting `device`'s first login from now on.
    void awaitLogin(const CompanionCore::PairedDevice& device);
    /// One look at the records, off this thread; none while one is under way.
    void lookForLogin();

    Host m_host;
    CheckKey m_checkKey;
    Checking m_checking;
    std::unique_ptr<CompanionCore::PairingServer> m_server;
    std::optional<KeyCheck> m_keyCheck;
    std::optional<LoginProof> m_loginProof;
    /// Each check's number, so a verdict that arrives after its session has moved on is dropped.
    std::uint64_t m_checks = 0;
    /// Each awaited login's number, so a look that returns after its pairing has moved on is dropped.
    std::uint64_t m_proofs = 0;
    std::string m_awaitedFingerprint;
    std::chrono::system_clock::time_point m_pairedAt;
    bool m_looking = false;
    QTimer m_loginWatch;
    SerialWorker m_worker{*this};
};

} // namespace Companion
