#include "CompanionCore/server/ConnectionPool.h"

#include "CompanionCore/server/PeerGroup.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <algorithm>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <vector>

namespace CompanionCore {

namespace {

/// How long a dying pool waits for a reply still in flight.
constexpr int deliveryGraceMilliseconds = 1000;

ConnectionAdmission::Id idOf(const QTcpSocket* socket) {
    return reinterpret_cast<std::uintptr_t>(socket);
}

QTcpSocket* socketOf(ConnectionAdmission::Id id) {
    return reinterpret_cast<QTcpSocket*>(id);
}

/// IPv4 peers of a dual-stack listener arrive as ::ffff:a.b.c.d; count them as the IPv4 address.
QHostAddress peerAddressOf(const QTcpSocket& socket) {
    bool isIpv4 = false;
    const quint32 ipv4 = socket.peerAddress().toIPv4Address(&isIpv4);
    return isIpv4 ? QHostAddress(ipv4) : socket.peerAddress();
}

} // namespace

ConnectionPool::ConnectionPool(Options options, RequestHandler onRequest, QObject* parent)
    : QObject(parent)
    , m_options(options)
    , m_onRequest(std::move(onRequest))
    , m_admission(options.limits) {
    m_deadlineTimer.setSingleShot(true);
    // A coarse timer may fire a little early; deadlines are judged against the clock anyway, but a
    // precise one spares the extra round.
    m_deadlineTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_deadlineTimer, &QTimer::timeout, this, &ConnectionPool::judgeDeadlines);
}

ConnectionPool::~ConnectionPool() {
    m_deadlineTimer.stop();
    for (auto& [socket, connection] : m_connections) {
        socket->disconnect(this);
        if (isDraining(connection.phase) && socket->bytesToWrite() > 0) {
            socket->waitForBytesWritten(deliveryGraceMilliseconds);
        }
        delete socket;
    }
}

std::optional<ConnectionPool::Peer> ConnectionPool::peerOf(QTcpSocket* connection) const {
    const auto found = m_connections.find(connection);
    if (found == m_connections.end()) {
        return std::nullopt;
    }
    return found->second.peer;
}

bool ConnectionPool::isReading(Phase phase) {
    switch (phase) {
    case Phase::readingHead:
    case Phase::readingBody:
        return true;
    case Phase::answering:
    case Phase::sending:
    case Phase::closing:
        return false;
    }
    return false;
}

bool ConnectionPool::isDraining(Phase phase) {
    switch (phase) {
    case Phase::sending:
    case Phase::closing:
        return true;
    case Phase::readingHead:
    case Phase::readingBody:
    case Phase::answering:
        return false;
    }
    return false;
}

void ConnectionPool::acceptFrom(QTcpServer& listener) {
    while (listener.hasPendingConnections()) {
        QTcpSocket* socket = listener.nextPendingConnection();
        // Sockets outlive the listener, to finish delivering their reply.
        socket->setParent(this);
        const QHostAddress peer = peerAddressOf(*socket);
        const auto decision = m_admission.admit(
            idOf(socket), peerGroup(peer), [this](ConnectionAdmission::Id id) { return pendingBytes(id); });
        if (decision.evicted) {
            drop(socketOf(*decision.evicted));
        }
        if (!decision.admitted) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        // Never more than one chunk waits unread in the socket's own buffer.
        socket->setReadBufferSize(static_cast<qint64>(readChunkBytes));
        // Counted from acceptance: a peer that dribbles still runs out of time, and much sooner when
        // it has not even finished the head.
        const auto now = m_options.now();
        Connection& connection = m_connections[socket];
        connection.peer = {peer, socket->peerPort()};
        connection.headDeadline = now + m_options.headTimeout;
        connection.requestDeadline = now + m_options.requestTimeout;
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { receive(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { forget(socket); });
        connect(socket, &QAbstractSocket::errorOccurred, this, [this, socket] {
            if (socket->state() == QAbstractSocket::UnconnectedState) {
                forget(socket);
            }
        });
        scheduleDeadline(*nextDeadline(connection));
        if (socket->bytesAvailable() > 0) {
            receive(socket);
        }
    }
}

void ConnectionPool::receive(QTcpSocket* socket) {
    const auto found = m_connections.find(socket);
    if (found == m_connections.end()) {
        return;
    }
    Connection& connection = found->second;
    if (!isReading(connection.phase)) {
        // Read and dropped, so the peer's close is seen and no unread bytes make ours a reset.
        socket->skip(socket->bytesAvailable());
        return;
    }
    while (socket->bytesAvailable() > 0) {
        const QByteArray chunk = socket->read(static_cast<qint64>(readChunkBytes));
        m_admission.delivered(idOf(socket), static_cast<std::size_t>(chunk.size()));
        if (connection.buffer.size() + static_cast<std::size_t>(chunk.size()) > maxRequestBytes) {
            drop(socket);
            return;
        }
        if (auto request = connection.buffer.append(std::string_view(chunk.constData(), chunk.size()))) {
            // Heard: from here the connection holds no place in the admission table.
            connection.phase = Phase::answering;
            m_admission.remove(idOf(socket));
            m_onRequest(socket, *request);
            return;
        }
    }
}

void ConnectionPool::deliver(QTcpSocket* socket, const std::string& reply) {
    const auto found = m_connections.find(socket);
    if (found == m_connections.end() || isDraining(found->second.phase)) {
        return;
    }
    Connection& connection = found->second;
    m_admission.remove(idOf(socket));
    connection.phase = Phase::sending;
    // A peer that never takes its reply or never closes is not waited for beyond this.
    connection.deliveryDeadline = m_options.now() + m_options.requestTimeout;
    scheduleDeadline(connection.deliveryDeadline);
    m_draining.push_back(socket);
    connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] { finishSending(socket); });
    socket->write(reply.data(), static_cast<qint64>(reply.size()));
    // Hand the bytes to the system now, so they leave even if the server goes away right after.
    socket->flush();
    finishSending(socket);
    // Past the bound the oldest drainer goes; its reply has long been with the system.
    while (m_draining.size() > m_options.drainingLimit) {
        release(m_draining.front());
    }
}

void ConnectionPool::finishSending(QTcpSocket* socket) {
    const auto found = m_connections.find(socket);
    if (found == m_connections.end() || found->second.phase != Phase::sending || socket->bytesToWrite() > 0 ||
        socket->state() != QAbstractSocket::ConnectedState) {
        return;
    }
    found->second.phase = Phase::closing;
    // Only our direction ends here. Closing the whole socket while the peer's bytes wait unread in it
    // would reset the connection, and a reset may destroy the reply on the peer's side before it is
    // read. The peer closes once it has the reply; `disconnected` then forgets the socket.
    ::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR);
}

void ConnectionPool::release(QTcpSocket* socket) {
    const int descriptor = static_cast<int>(socket->socketDescriptor());
    if (descriptor >= 0 && socket->bytesToWrite() == 0) {
        // Whatever the peer sent since is read and dropped: a close with unread bytes would be a
        // reset, which may destroy the reply before the peer reads it. Without them the system
        // still delivers the reply and ends the connection in order.
        socket->skip(socket->bytesAvailable());
        char sink[4096];
        while (::recv(descriptor, sink, sizeof sink, MSG_DONTWAIT) > 0) {
        }
        ::shutdown(descriptor, SHUT_WR);
    }
    drop(socket);
}

void ConnectionPool::drop(QTcpSocket* socket) {
    if (m_connections.erase(socket) != 0) {
        std::erase(m_draining, socket);
    }
    m_admission.remove(idOf(socket));
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
}

void ConnectionPool::dropUnanswered() {
    std::vector<QTcpSocket*> reading;
    for (const auto& [socket, connection] : m_connections) {
        if (isReading(connection.phase)) {
            reading.push_back(socket);
        }
    }
    for (QTcpSocket* socket : reading) {
        drop(socket);
    }
}

void ConnectionPool::forget(QTcpSocket* socket) {
    m_admission.remove(idOf(socket));
    if (m_connections.erase(socket) != 0) {
        std::erase(m_draining, socket);
        socket->deleteLater();
    }
}

std::size_t ConnectionPool::pendingBytes(ConnectionAdmission::Id id) const {
    const auto found = m_connections.find(socketOf(id));
    if (found == m_connections.end()) {
        return 0;
    }
    int waiting = 0;
    ::ioctl(static_cast<int>(found->first->socketDescriptor()), FIONREAD, &waiting);
    return static_cast<std::size_t>(found->first->bytesAvailable()) +
           static_cast<std::size_t>(std::max(waiting, 0));
}

std::optional<ConnectionPool::Clock::time_point>
ConnectionPool::nextDeadline(const Connection& connection) const {
    switch (connection.phase) {
    case Phase::readingHead:
        return std::min(connection.headDeadline, connection.requestDeadline);
    case Phase::readingBody:
        return connection.requestDeadline;
    case Phase::answering:
        return std::nullopt;
    case Phase::sending:
    case Phase::closing:
        return connection.deliveryDeadline;
    }
    return std::nullopt;
}

void ConnectionPool::scheduleDeadline(Clock::time_point deadline) {
    if (m_deadlineTimer.isActive() && m_armedFor <= deadline) {
        return;
    }
    m_armedFor = deadline;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(deadline - m_options.now());
    m_deadlineTimer.start(std::max(wait, std::chrono::milliseconds(0)));
}

void ConnectionPool::judgeDeadlines() {
    const auto now = m_options.now();
    std::vector<QTcpSocket*> due;
    for (const auto& [socket, connection] : m_connections) {
        const auto deadline = nextDeadline(connection);
        if (deadline && *deadline <= now) {
            due.push_back(socket);
        }
    }
    for (QTcpSocket* socket : due) {
        auto found = m_connections.find(socket);
        if (found == m_connections.end()) {
            continue;
        }
        if (isDraining(found->second.phase)) {
            release(socket);
            continue;
        }
        if (found->second.phase != Phase::readingHead || now >= found->second.requestDeadline) {
            drop(socket);
            continue;
        }
        // The head deadline. Bytes that arrived before it count, even when the loop has not read
        // them yet.
        found->second.phase = Phase::readingBody;
        if (pendingBytes(idOf(socket)) > 0) {
            socket->waitForReadyRead(0);
            receive(socket);
        }
        found = m_connections.find(socket);
        if (found != m_connections.end() && isReading(found->second.phase) &&
            !found->second.buffer.headComplete()) {
            drop(socket);
        }
    }
    std::optional<Clock::time_point> next;
    for (const auto& [socket, connection] : m_connections) {
        if (const auto deadline = nextDeadline(connection)) {
            next = next ? std::min(*next, *deadline) : *deadline;
        }
    }
    if (next) {
        scheduleDeadline(*next);
    }
}

} // namespace CompanionCore
