#pragma once

#include "CompanionCore/HttpRequest.h"
#include "CompanionCore/HttpRequestBuffer.h"
#include "CompanionCore/server/ConnectionAdmission.h"

#include <QHostAddress>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

class QTcpServer;
class QTcpSocket;

namespace CompanionCore {

/// The pairing server's connections, from acceptance to the last byte of the reply: admits each under
/// the limits, reads its request up to its end, hands it over once, delivers the reply and lets the
/// connection drain, and drops what runs out of time. One timer serves every deadline, so a
/// connection costs no timer of its own.
///
/// A connection that has had its answer leaves the admission table at once: it never holds a place
/// a phone not yet heard needs. Draining connections have a bound of their own; past it the oldest is
/// closed, gracefully, as its reply is already with the system.
class ConnectionPool : public QObject {
    Q_OBJECT
public:
    using Clock = std::chrono::steady_clock;
    /// A reading of the deadlines' clock that a test can replace.
    using Now = std::function<Clock::time_point()>;

    struct Options {
        /// How long a connection may take to deliver the head of its request.
        std::chrono::milliseconds headTimeout;
        /// How long it may take to deliver the whole request, and then to take its reply.
        std::chrono::milliseconds requestTimeout;
        ConnectionAdmission::Limits limits;
        /// Answered connections held while they drain; beyond it the oldest is closed.
        std::size_t drainingLimit = defaultDrainingLimit;
        /// The clock the deadlines are set and judged by.
        Now now = Clock::now;
    };

    /// Where a connection comes from, as the log names it.
    struct Peer {
        QHostAddress address;
        quint16 port = 0;
    };

    /// Called once per connection with its complete request; the receiver answers with `deliver`, now
    /// or later (the connection then waits, held by no limit and no deadline), or ends it with `drop`.
    using RequestHandler = std::function<void(QTcpSocket* connection, const HttpRequest& request)>;

    /// Bytes a connection may send without completing a request.
    static constexpr std::size_t maxRequestBytes = 65536;
    /// Enough for a burst of honest answers to leave at their own pace; a peer that never reads nor
    /// closes only ever holds one of these places, never one of the admission table's.
    static constexpr std::size_t defaultDrainingLimit = 64;
    /// Bytes taken from a socket at a time.
    static constexpr std::size_t readChunkBytes = 16384;

    ConnectionPool(Options options, RequestHandler onRequest, QObject* parent = nullptr);
    /// Gives replies still in flight a moment to leave, then closes everything, without signals.
    ~ConnectionPool() override;

    /// Takes every connection `listener` has waiting.
    void acceptFrom(QTcpServer& listener);
    /// Sends `reply`, closes our direction once it is with the system, and waits for the peer to close.
    /// Nothing happens for a connection the pool no longer holds.
    void deliver(QTcpSocket* connection, const std::string& reply);
    /// Ends the connection at once.
    void drop(QTcpSocket* connection);
    /// Ends every connection still reading its request; answered ones finish delivering, and one
    /// whose answer is being prepared still gets it.
    void dropUnanswered();

    /// Where a held connection comes from; nothing for one the pool no longer holds.
    std::optional<Peer> peerOf(QTcpSocket* connection) const;
    /// Connections held right now, replies still being delivered included.
    std::size_t size() const { return m_connections.size(); }

private:
    enum class Phase {
        /// Before the head deadline has been judged.
        readingHead,
        /// The head was in time; the rest of the request is awaited.
        readingBody,
        /// The request was handed over; its reply is being prepared.
        answering,
        /// The reply is on its way to the system.
        sending,
        /// The reply is with the system and our direction is closed; the peer's close is awaited.
        closing,
    };

    struct Connection {
        Peer peer;
        HttpRequestBuffer buffer;
        Phase phase = Phase::readingHead;
        /// The head must be complete by then, the whole request by `requestDeadline`.
        Clock::time_point headDeadline;
        Clock::time_point requestDeadline;
        /// Once answered: the reply must have been taken, and the connection closed, by then.
        Clock::time_point deliveryDeadline;
    };

    static bool isReading(Phase phase);
    static bool isDraining(Phase phase);

    void receive(QTcpSocket* socket);
    void finishSending(QTcpSocket* socket);
    /// Closes an answered connection without a reset: its reply is with the system and still leaves.
    void release(QTcpSocket* socket);
    void forget(QTcpSocket* socket);
    /// Bytes of a held connection that have arrived but are not read yet.
    std::size_t pendingBytes(ConnectionAdmission::Id id) const;
    /// The connection's next deadline; none while its answer is being prepared.
    std::optional<Clock::time_point> nextDeadline(const Connection& connection) const;
    /// Arms the timer for `deadline` unless it is armed for an earlier one already.
    void scheduleDeadline(Clock::time_point deadline);
    /// Ends what ran out of time and arms the timer for the next deadline.
    void judgeDeadlines();

    Options m_options;
    RequestHandler m_onRequest;
    std::map<QTcpSocket*, Connection> m_connections;
    /// Draining connections, oldest first.
    std::deque<QTcpSocket*> m_draining;
    ConnectionAdmission m_admission;
    QTimer m_deadlineTimer;
    Clock::time_point m_armedFor;
};

} // namespace CompanionCore
