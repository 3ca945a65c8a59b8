#pragma once

#include "CompanionCore/HttpRequestBuffer.h"
#include "CompanionCore/PairingHandler.h"
#include "CompanionCore/Timestamp.h"
#include "CompanionCore/server/Announcer.h"
#include "CompanionCore/server/ConnectionAdmission.h"
#include "CompanionCore/server/ConnectionPool.h"
#include "CompanionCore/server/DnsSdAnnouncer.h"
#include "CompanionCore/server/EventLog.h"
#include "CompanionCore/server/ExpiryTimer.h"
#include "CompanionCore/server/PairingState.h"

#include <QHostAddress>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

class QTcpServer;
class QTcpSocket;

namespace CompanionCore {

/// How a `PairingServer` reaches the world; the defaults are the real ones, tests replace them.
struct PairingServerOptions {
    /// Six ASCII digits for each new code.
    using CodeSource = std::function<std::string()>;

    /// Tried in order; 0 lets the system pick a free port.
    std::vector<std::uint16_t> ports{WellKnown::pairingPorts.begin(), WellKnown::pairingPorts.end()};
    /// How long a listener waits for the phone once it is ready, time asleep included.
    std::chrono::milliseconds expiry = std::chrono::minutes(5);
    /// The clock of that wait; it must keep counting while the machine sleeps.
    ContinuousNow expiryClock = ContinuousClock::now;
    /// How often the wait looks at its clock: how late a session may end after a wake-up.
    std::chrono::milliseconds expiryCheckInterval = ExpiryTimer::defaultCheckInterval;
    /// How long a connection may take to deliver a complete request, and then to take its reply.
    std::chrono::milliseconds requestTimeout = std::chrono::seconds(10);
    /// How long a connection may take to deliver the head of its request: a phone sends it at once,
    /// a connection that dribbles it only holds a place.
    std::chrono::milliseconds headTimeout = std::chrono::seconds(2);
    /// The clock those two deadlines are set and judged by.
    ConnectionPool::Now connectionClock = ConnectionPool::Clock::now;
    /// How many connections the server holds, from one peer group and in all.
    ConnectionAdmission::Limits connectionLimits;
    /// How many answered connections it holds while they drain; past it the oldest is closed.
    std::size_t drainingLimit = ConnectionPool::defaultDrainingLimit;
    /// The clock of the codes and of the log's timestamps.
    Clock clock = systemNow;
    /// Draws the digits of every code, from the system's secure random source by default.
    CodeSource codeSource = [] { return PairingCode::random().digits(); };
    /// Makes the announcer of each listener; an empty factory announces nothing.
    AnnouncerFactory announcer = makeDnsSdAnnouncer;
    /// The log file; the platform's location when empty.
    std::filesystem::path logFile;
    /// Where to listen; every interface by default, as the phone comes over the network.
    QHostAddress listenAddress = QHostAddress::Any;
};

/// One pairing session at a time: draws a code, listens on the first free port of a short list,
/// announces the listener on the local network, serves the phone's connections through a
/// `PairingHandler`, and finishes when a phone has paired, when the code has been guessed at too
/// often, or five minutes after the listener became ready. Every step goes to the event log.
///
/// Lives on one thread and does everything on that thread's Qt event loop. Each published field has
/// a signal emitted after it changed. The signals of one transition (a call, or an event from the
/// loop) go out once it is complete, in the order of the changes; while each is emitted, `state` and
/// `announced` read as that change left them, and `eventAdded` carries its line. So an observer sees
/// every state in turn, and one that starts or stops the server from a slot never finds a transition
/// half done: the signals of its call follow those still due.
class PairingServer : public QObject {
    Q_OBJECT
public:
    using State = PairingState;
    using IdentityProvider = std::function<PairingHandler::Identity()>;
    using Options = PairingServerOptions;

    /// Codes drawn by one `start()` before the session gives up on a guessing peer.
    static constexpr int maxCodesPerStart = 3;
    /// The longest method or path written to the log; the rest is cut, so unauthenticated bytes
    /// cannot grow the log by more than a line's worth.
    static constexpr std::size_t maxLoggedFieldBytes = 256;
    /// Bytes a connection may send without completing a request.
    static constexpr std::size_t maxRequestBytes = ConnectionPool::maxRequestBytes;

    /// Opens nothing yet. `identity` is called afresh for every port tried.
    PairingServer(IdentityProvider identity, std::filesystem::path authorizedKeys, Options options = {},
                  QObject* parent = nullptr);
    ~PairingServer() override;

    /// Ends whatever runs and begins a new session with a new code.
    void start();
    /// Ends the session. Safe when nothing runs; a `paired` state stays.
    void stop();

    /// The state as last published.
    const State& state() const { return m_published.state; }
    /// True while the current listener is visible on the local network, as last published.
    bool announced() const { return m_published.announced; }
    /// The newest log lines, oldest first, at most 50; a line is here before its `eventAdded` is sent.
    const std::deque<std::string>& events() const { return m_log.lines(); }

    /// Connections held right now, replies still being delivered included.
    std::size_t openConnections() const { return m_connections.size(); }

    /// The platform's log location, computed once.
    static std::filesystem::path defaultLogFile();
    /// The log file in use.
    std::filesystem::path logFile() const { return m_log.file(); }
    /// Why the log file is not written, once it has been refused (see `EventLog::refusal`).
    const std::optional<EventLog::Refusal>& logRefusal() const { return m_log.refusal(); }

signals:
    void stateChanged();
    void announcedChanged();
    /// `line` joined the log, stamped as `events` keeps it.
    void eventAdded(const std::string& line);
    /// The log file was refused, as `logRefusal` says: nothing more reaches it.
    void logRefused();

private:
    class Transition;

    void begin();
    /// Listens on the `index`th port as `identity`, or as the identity asked afresh when none is given.
    void tryPort(std::size_t index, std::optional<PairingHandler::Identity> identity = std::nullopt);
    void announce(const PairingHandler::Identity& identity, std::uint16_t port);
    void listenerFailed(QTcpServer* listener);
    void accept();
    void answer(QTcpSocket* connection, const HttpRequest& request);
    /// Writes an accepted key on a thread of its own, so a wait for the key file's lock never holds
    /// the event loop, then answers on the loop.
    void installInBackground(QTcpSocket* connection, const HttpRequest& request,
                             PairingHandler::Accepted accepted);
    /// Delivers the outcome's reply, logs the request and, when the request belongs to the session
    /// still running, acts on the outcome.
    void finish(QTcpSocket* connection, const std::optional<ConnectionPool::Peer>& from,
                const HttpRequest& request, const PairingHandler::Outcome& outcome, std::uint64_t session);
    void armExpiry();
    void teardown();
    void restartAfterExhaustion();

    void setState(State state);
    void setAnnounced(bool announced);
    void log(std::string_view message);
    /// Holds `change` (which publishes a field and emits its signal) until the transition is complete.
    void due(std::function<void()> change);
    /// Makes the due changes, in order, unless an earlier call is making them already.
    void publishDue();

    IdentityProvider m_identity;
    std::filesystem::path m_authorizedKeys;
    Options m_options;
    EventLog m_log;

    /// The fields as the server works with them.
    State m_state;
    bool m_announced = false;
    /// The fields as observers read them: as the latest signal emitted left them.
    struct Published {
        State state;
        bool announced = false;
    };
    Published m_published;
    /// Transitions under way, nested ones included.
    int m_transitions = 0;
    std::deque<std::function<void()>> m_due;
    bool m_publishing = false;

    /// Changes whenever a session ends, so work that outlives its session (a key write, its queued
    /// answer) can tell.
    std::uint64_t m_session = 0;
    std::optional<PairingCode> m_code;
    int m_codesDrawn = 0;
    std::unique_ptr<PairingHandler> m_handler;
    QPointer<QTcpServer> m_listener;
    /// A listener of this session failed to open; the next teardown reports it stopped.
    bool m_failedListenerPending = false;
    std::unique_ptr<Announcer> m_announcer;
    ConnectionPool m_connections;
    ExpiryTimer m_expiry;
    struct Install {
        std::uint64_t session = 0;
        std::jthread thread;
    };
    /// Whether a key write of the current session is under way: its code is spent, yet the session
    /// is not over until the write is.
    bool installing() const;

    /// Key writes under way, by number; each is asked to stop and joined when the server goes.
    std::map<std::uint64_t, Install> m_installs;
    std::uint64_t m_nextInstall = 0;
};

} // namespace CompanionCore
