#pragma once

#include "Companion/Host.h"
#include "Companion/KeyDoctor.h"
#include "Companion/SerialWorker.h"
#include "CompanionCore/KeyDiagnosis.h"
#include "CompanionCore/server/PairingServer.h"

#include <QObject>

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

signals:
    /// `keyCheck` changed: it began, it has its verdict, or it was dropped.
    void keyCheckChanged();

private:
    void followServer();
    void setKeyCheck(std::optional<KeyCheck> check);

    Host m_host;
    CheckKey m_checkKey;
    Checking m_checking;
    std::unique_ptr<CompanionCore::PairingServer> m_server;
    std::optional<KeyCheck> m_keyCheck;
    /// Each check's number, so a verdict that arrives after its session has moved on is dropped.
    std::uint64_t m_checks = 0;
    SerialWorker m_worker{*this};
};

} // namespace Companion
