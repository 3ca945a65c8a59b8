#pragma once

#include "CompanionCore/HttpRequest.h"
#include "CompanionCore/HttpRequestBuffer.h"
#include "CompanionCore/server/ConnectionAdmission.h"

#include <QHostAddress>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>

class QTcpServer;
class QTcpSocket;

namespace CompanionCore {

/// The pairing server's connections, from acceptance to the last byte of the reply: admits each under
/// the limits, reads its request up to its end, hands it over once, delivers the reply and lets the
/// connection drain, and drops what runs out of time. One timer serves every deadline, so a
/// connection costs no timer of its own.
class ConnectionPool : public QObject {
    Q_OBJECT
public:
    struct Options {
        /// How long a connection may take to deliver the head of its request.
        std::chrono::milliseconds headTimeout;
        /// How long it may take to deliver the whole request, and then to take its reply.
        std::chrono::milliseconds requestTimeout;
        ConnectionAdmission::Limits limits;
    };

    /// Where a connection comes from, as the log names it.
    struct Peer {
        QHostAddress address;
        quint16 port = 0;
    };

    /// Called once per connection with its complete request; the receiver answers with `deliver` or
    /// ends it with `drop`.
    using RequestHandler = std::function<void(QTcpSocket* connection, const HttpRequest& request)>;

    /// Bytes a connection may send without completing a request.
    static constexpr std::size_t maxRequestBytes = 65536;
    /// Bytes taken from a socket at a time.
    static constexpr std::size_t readChunkBytes = 16384;

    ConnectionPool(Options options, RequestHandler onRequest, QObject* parent = nullptr);
    /// Gives replies still in flight a moment to leave, then closes everything, without signals.
    ~ConnectionPool() override;

    /// Takes every connection `listener` has waiting.
    void acceptFrom(QTcpServer& listener);
    /// Sends `reply`, closes our direction once it is with the system, and waits for the peer to close.
    void deliver(QTcpSocket* connection, const std::string& reply);
    /// Ends the connection at once.
    void drop(QTcpSocket* connection);
    /// Ends every connection that has not been answered; answered ones finish delivering.
    void dropUnanswered();

    const Peer& peerOf(QTcpSocket* connection) const { return m_connections.at(connection).peer; }
    /// Connections held right now, replies still being delivered included.
    std::size_t size() const { return m_connections.size(); }

private:
    using Clock = std::chrono::steady_clock;

    struct Connection {
        Peer peer;
        HttpRequestBuffer buffer;
        /// The head must be complete by then, the whole request by `requestDeadline`.
        Clock::time_point headDeadline;
        Clock::time_point requestDeadline;
        /// Once answered: the reply must have been taken, and the connection closed, by then.
        Clock::time_point deliveryDeadline;
        /// Set once the reply is on its way; the socket then only drains and closes.
        bool answered = false;
        /// Set once the whole reply is with the system and our direction of the connection is closed.
        bool finished = false;
        /// Set once the head deadline has been judged, so it is judged once.
        bool headJudged = false;
    };

    void receive(QTcpSocket* socket);
    void finishSending(QTcpSocket* socket);
    void forget(QTcpSocket* socket);
    /// Bytes of a held connection that have arrived but are not read yet.
    std::size_t pendingBytes(ConnectionAdmission::Id id) const;
    /// The connection's next deadline.
    Clock::time_point nextDeadline(const Connection& connection) const;
    /// Arms the timer for `deadline` unless it is armed for an earlier one already.
    void scheduleDeadline(Clock::time_point deadline);
    /// Ends what ran out of time and arms the timer for the next deadline.
    void judgeDeadlines();

    Options m_options;
    RequestHandler m_onRequest;
    std::map<QTcpSocket*, Connection> m_connections;
    ConnectionAdmission m_admission;
    QTimer m_deadlineTimer;
    Clock::time_point m_armedFor;
};

} // namespace CompanionCore
