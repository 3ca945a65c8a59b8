#include "CompanionCore/server/PairingServer.h"

#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/PairingTxt.h"
#include "CompanionCore/SshPublicKey.h"
#include "CompanionCore/server/LogLocation.h"
#include "CompanionCore/server/NullAnnouncer.h"
#include "CompanionCore/server/PeerGroup.h"
#include "CompanionCore/server/TxtLimits.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace CompanionCore {

namespace {

/// Room for a burst of connections: those beyond the limits are accepted and closed at once by the
/// server rather than left to wait, unanswered, in the kernel's queue.
constexpr int listenBacklog = 128;
/// How long a dying server waits for a reply still in flight.
constexpr int deliveryGraceMilliseconds = 1000;

template <typename... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

ConnectionAdmission::Id idOf(const QTcpSocket* socket) {
    return reinterpret_cast<std::uintptr_t>(socket);
}

/// "SHA256:…" of the key in an authorized_keys line, or a word saying there is none.
std::string fingerprintOf(const std::string& line) {
    const std::string identity = AuthorizedKeys::keyIdentity(line);
    const auto blank = identity.find(' ');
    const auto fingerprint = blank == std::string::npos
                                 ? std::nullopt
                                 : SshPublicKey::fingerprint(std::string_view(identity).substr(0, blank),
                                                             std::string_view(identity).substr(blank + 1));
    return fingerprint.value_or("(unknown)");
}

/// IPv4 peers of a dual-stack listener arrive as ::ffff:a.b.c.d; count them as the IPv4 address.
QHostAddress peerOf(const QTcpSocket& socket) {
    bool isIpv4 = false;
    const quint32 ipv4 = socket.peerAddress().toIPv4Address(&isIpv4);
    return isIpv4 ? QHostAddress(ipv4) : socket.peerAddress();
}

std::string portList(const std::vector<std::uint16_t>& ports) {
    std::string text = "[";
    for (std::size_t i = 0; i < ports.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(ports[i]);
    }
    return text + "]";
}

std::string hostList(const std::vector<std::string>& hosts) {
    std::string text = "[";
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        text += (i == 0 ? "" : ", ") + logQuoted(hosts[i]);
    }
    return text + "]";
}

/// The peer's method or path as the log shows it: every character that could steer a terminal
/// escaped, and no longer than `maxLoggedFieldBytes`, with the length it had.
std::string loggable(std::string_view text) {
    std::string escaped = escapedControls(text);
    if (escaped.size() > PairingServer::maxLoggedFieldBytes) {
        // Cut at a character boundary.
        std::size_t cut = PairingServer::maxLoggedFieldBytes;
        while (cut > 0 && (static_cast<unsigned char>(escaped[cut]) & 0xC0) == 0x80) {
            --cut;
        }
        escaped = escaped.substr(0, cut) + "\u2026 (" + std::to_string(text.size()) + " bytes)";
    }
    return escaped;
}

} // namespace

PairingServer::State PairingServer::State::idle() {
    return {};
}

PairingServer::State PairingServer::State::starting() {
    State state;
    state.kind = Kind::starting;
    return state;
}

PairingServer::State PairingServer::State::waiting(std::string digits, std::uint16_t port) {
    State state;
    state.kind = Kind::waiting;
    state.digits = std::move(digits);
    state.port = port;
    return state;
}

PairingServer::State PairingServer::State::paired(std::string device) {
    State state;
    state.kind = Kind::paired;
    state.device = std::move(device);
    return state;
}

PairingServer::State PairingServer::State::failed(std::string message) {
    State state;
    state.kind = Kind::failed;
    state.message = std::move(message);
    return state;
}

PairingServer::PairingServer(IdentityProvider identity, std::filesystem::path authorizedKeys, Options options,
                             QObject* parent)
    : QObject(parent)
    , m_identity(std::move(identity))
    , m_authorizedKeys(std::move(authorizedKeys))
    , m_options(std::move(options))
    , m_log(m_options.logFile.empty() ? defaultLogFile() : m_options.logFile, m_options.clock)
    , m_admission(m_options.connectionLimits)
    , m_expiry(m_options.expiryClock, m_options.expiryCheckInterval, this) {
    if (!m_options.announcer) {
        m_options.announcer = makeNullAnnouncer;
    }
    connect(&m_expiry, &ExpiryTimer::expired, this, &PairingServer::stop);
}

PairingServer::~PairingServer() {
    // No signals from here on: observers may be half gone.
    m_expiry.stop();
    m_announcer.reset();
    if (m_listener) {
        m_listener->close();
        delete m_listener.data();
    }
    for (auto& [socket, connection] : m_connections) {
        socket->disconnect(this);
        if (connection.answered && socket->bytesToWrite() > 0) {
            socket->waitForBytesWritten(deliveryGraceMilliseconds);
        }
        delete socket;
    }
}

std::filesystem::path PairingServer::defaultLogFile() {
    static const std::filesystem::path file = LogLocation::platformDefault();
    return file;
}

void PairingServer::start() {
    stop();
    m_codesDrawn = 0;
    begin();
}

void PairingServer::stop() {
    teardown();
    if (m_state.kind != State::Kind::paired) {
        setState(State::idle());
    }
}

void PairingServer::begin() {
    const std::uint64_t session = ++m_session;
    setState(State::starting());
    setAnnounced(false);
    log("pairing requested");
    if (session != m_session) {
        return;
    }
    // Issued on the injected clock, the one the handler judges it by.
    m_code = PairingCode(PairingCode::random().digits(), m_options.clock());
    ++m_codesDrawn;
    tryPort(0);
}

void PairingServer::tryPort(std::size_t index) {
    const std::uint64_t session = m_session;
    if (index >= m_options.ports.size()) {
        log("no free port among " + portList(m_options.ports));
        if (session == m_session) {
            setState(State::failed("no free port"));
        }
        return;
    }
    const std::uint16_t port = m_options.ports[index];
    const PairingHandler::Identity identity = m_identity();
    log("trying port " + std::to_string(port) + " as " + escapedControls(identity.user) + "@" +
        escapedControls(identity.name) + " hosts=" + hostList(identity.hosts));
    if (session != m_session) {
        return;
    }
    m_handler = std::make_unique<PairingHandler>(*m_code, identity, m_authorizedKeys, m_options.clock);

    auto* listener = new QTcpServer(this);
    listener->setListenBacklogSize(listenBacklog);
    if (!listener->listen(m_options.listenAddress, port)) {
        const QAbstractSocket::SocketError error = listener->serverError();
        const std::string description = listener->errorString().toStdString();
        delete listener;
        // A listener that failed still ends with the session, as one that ran does.
        m_failedListenerPending = true;
        log("listener failed on " + std::to_string(port) + ": " + description);
        if (session != m_session) {
            return;
        }
        if (error == QAbstractSocket::AddressInUseError) {
            tryPort(index + 1);
        } else {
            setState(State::failed(description));
        }
        return;
    }
    m_listener = listener;
    connect(listener, &QTcpServer::newConnection, this, &PairingServer::accept);
    connect(listener, &QTcpServer::acceptError, this, [this, listener] { listenerFailed(listener); });

    const std::uint16_t listening = listener->serverPort();
    const std::string digits = m_code->digits();
    log("listening on " + std::to_string(listening) + ", code " + digits);
    if (session != m_session) {
        return;
    }
    setState(State::waiting(digits, listening));
    if (session != m_session) {
        return;
    }
    armExpiry();
    announce(identity, listening);
}

void PairingServer::announce(const PairingHandler::Identity& identity, std::uint16_t port) {
    const TxtLimits::Fitted txt = TxtLimits::fit(
        PairingTxt::record(identity.name, identity.user, port, identity.hosts, identity.mosh, identity.tmux));
    Announcer::Observer observer;
    observer.registered = [this](const std::string& fullName) {
        setAnnounced(true);
        log("announced on Bonjour as " + fullName);
    };
    observer.removed = [this](const std::string& fullName) {
        setAnnounced(false);
        log("Bonjour announcement removed: " + fullName);
    };
    observer.note = [this](const std::string& message) { log(message); };
    m_announcer = m_options.announcer();
    m_announcer->announce({identity.name, std::string(PairingTxt::serviceType), port, txt.entries},
                          std::move(observer));
    // Reports come later, so these lines precede any of the announcer's.
    const std::uint64_t session = m_session;
    for (const auto& note : txt.notes) {
        if (session != m_session) {
            return;
        }
        log(note);
    }
}

void PairingServer::listenerFailed(QTcpServer* listener) {
    // Qt stops accepting after such an error (out of file descriptors, for one): nothing more will
    // come in on this listener.
    if (listener != m_listener) {
        return;
    }
    const std::string description = listener->errorString().toStdString();
    const std::uint64_t session = m_session;
    log("listener failed on " + std::to_string(listener->serverPort()) + ": " + description);
    if (session != m_session) {
        return;
    }
    // The listener stays the current one until the next start or stop, which reports it stopped.
    listener->close();
    m_announcer.reset();
    setAnnounced(false);
    if (session != m_session) {
        return;
    }
    setState(State::failed(description));
}

void PairingServer::accept() {
    while (m_listener && m_listener->hasPendingConnections()) {
        QTcpSocket* socket = m_listener->nextPendingConnection();
        // Sockets outlive the listener, to finish delivering their reply.
        socket->setParent(this);
        const QHostAddress peer = peerOf(*socket);
        const auto decision = m_admission.admit(
            idOf(socket), peerGroup(peer), [this](ConnectionAdmission::Id id) { return pendingBytes(id); });
        if (decision.evicted) {
            drop(reinterpret_cast<QTcpSocket*>(*decision.evicted));
        }
        if (!decision.admitted) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        // Never more than one chunk waits unread in the socket's own buffer.
        socket->setReadBufferSize(static_cast<qint64>(readChunkBytes));
        Connection& connection = m_connections[socket];
        connection.socket = socket;
        connection.peer = peer;
        connection.peerPort = socket->peerPort();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { receive(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { forget(socket); });
        connect(socket, &QAbstractSocket::errorOccurred, this, [this, socket] {
            if (socket->state() == QAbstractSocket::UnconnectedState) {
                forget(socket);
            }
        });
        // Counted from acceptance: a peer that dribbles still runs out of time, and much sooner when
        // it has not even finished the head.
        QTimer::singleShot(m_options.headTimeout, socket, [this, socket] {
            if (m_connections.count(socket) == 0) {
                return;
            }
            // Bytes that arrived before the deadline count, even when the loop has not read them yet.
            if (pendingBytes(idOf(socket)) > 0) {
                socket->waitForReadyRead(0);
                receive(socket);
            }
            if (const auto found = m_connections.find(socket); found != m_connections.end() &&
                                                               !found->second.answered &&
                                                               !found->second.buffer.headComplete()) {
                drop(socket);
            }
        });
        QTimer::singleShot(m_options.requestTimeout, socket, [this, socket] {
            if (const auto found = m_connections.find(socket);
                found != m_connections.end() && !found->second.answered) {
                drop(socket);
            }
        });
        if (socket->bytesAvailable() > 0) {
            receive(socket);
        }
    }
}

void PairingServer::receive(QTcpSocket* socket) {
    const auto found = m_connections.find(socket);
    if (found == m_connections.end()) {
        return;
    }
    if (found->second.answered) {
        // Read and dropped, so the peer's close is seen and no unread bytes make ours a reset.
        socket->skip(socket->bytesAvailable());
        return;
    }
    Connection& connection = found->second;
    while (socket->bytesAvailable() > 0) {
        const QByteArray chunk = socket->read(static_cast<qint64>(readChunkBytes));
        m_admission.delivered(idOf(socket), static_cast<std::size_t>(chunk.size()));
        if (connection.buffer.size() + static_cast<std::size_t>(chunk.size()) > maxRequestBytes) {
            drop(socket);
            return;
        }
        if (auto request = connection.buffer.append(std::string_view(chunk.constData(), chunk.size()))) {
            answer(*request, socket);
            return;
        }
    }
}

void PairingServer::answer(const HttpRequest& request, QTcpSocket* socket) {
    if (!m_handler) {
        drop(socket);
        return;
    }
    const PairingHandler::Outcome outcome = m_handler->handle(request);
    const Connection& connection = m_connections.at(socket);
    const std::string peer = "request from " + connection.peer.toString().toStdString() + " port " +
                             std::to_string(connection.peerPort);
    deliver(socket, PairingHandler::reply(outcome));

    const std::uint64_t session = m_session;
    // Who asked, on a line of its own, so guesses and pairings can be traced to an address.
    log(peer);
    // Method and path are the peer's bytes: their control characters must not forge log lines.
    log("request " + loggable(request.method) + " " + loggable(request.path) + " \u2192 " +
        describe(outcome));
    if (session != m_session) {
        return;
    }
    std::visit(Overloaded{
                   [&](const PairingHandler::Paired& paired) {
                       log("paired " + logQuoted(paired.device) + " with key " + fingerprintOf(paired.line));
                       if (session != m_session) {
                           return;
                       }
                       m_lastPairedKey = paired.line;
                       m_pairedDevices.push_back(paired.device);
                       emit pairedDevicesChanged();
                       if (session != m_session) {
                           return;
                       }
                       setState(State::paired(paired.device));
                       if (session != m_session) {
                           return;
                       }
                       stop();
                   },
                   [&](const PairingHandler::Rejected& rejected) {
                       if (rejected.status >= 500) {
                           emit requestFailed(rejected.message);
                       }
                   },
                   [&](const PairingHandler::Exhausted&) { restartAfterExhaustion(); },
               },
               outcome);
}

void PairingServer::deliver(QTcpSocket* socket, const std::string& reply) {
    m_connections.at(socket).answered = true;
    m_admission.answered(idOf(socket));
    connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] { finishSending(socket); });
    socket->write(reply.data(), static_cast<qint64>(reply.size()));
    // Hand the bytes to the system now, so they leave even if the server goes away right after.
    socket->flush();
    finishSending(socket);
    // A peer that never takes its reply or never closes is not waited for beyond this.
    QTimer::singleShot(m_options.requestTimeout, socket, [this, socket] {
        if (m_connections.count(socket) != 0) {
            drop(socket);
        }
    });
}

void PairingServer::finishSending(QTcpSocket* socket) {
    const auto found = m_connections.find(socket);
    if (found == m_connections.end() || found->second.finished || socket->bytesToWrite() > 0 ||
        socket->state() != QAbstractSocket::ConnectedState) {
        return;
    }
    found->second.finished = true;
    // Only our direction ends here. Closing the whole socket while the peer's bytes wait unread in it
    // would reset the connection, and a reset may destroy the reply on the peer's side before it is
    // read. The peer closes once it has the reply; `disconnected` then forgets the socket.
    ::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR);
}

void PairingServer::drop(QTcpSocket* socket) {
    m_connections.erase(socket);
    m_admission.remove(idOf(socket));
    socket->abort();
    socket->deleteLater();
}

std::size_t PairingServer::pendingBytes(ConnectionAdmission::Id id) const {
    const auto found = m_connections.find(reinterpret_cast<QTcpSocket*>(id));
    if (found == m_connections.end()) {
        return 0;
    }
    int waiting = 0;
    ::ioctl(static_cast<int>(found->first->socketDescriptor()), FIONREAD, &waiting);
    return static_cast<std::size_t>(found->first->bytesAvailable()) +
           static_cast<std::size_t>(std::max(waiting, 0));
}

void PairingServer::forget(QTcpSocket* socket) {
    m_admission.remove(idOf(socket));
    if (m_connections.erase(socket) != 0) {
        socket->deleteLater();
    }
}

void PairingServer::armExpiry() {
    m_expiry.start(m_options.expiry);
}

void PairingServer::teardown() {
    ++m_session;
    m_expiry.stop();
    const QPointer<QTcpServer> listener = std::exchange(m_listener, nullptr);
    std::unique_ptr<Announcer> announcer = std::move(m_announcer);
    m_handler.reset();
    std::vector<QTcpSocket*> reading;
    for (auto entry = m_connections.begin(); entry != m_connections.end();) {
        if (entry->second.answered) {
            ++entry; // Left to finish delivering its reply.
        } else {
            reading.push_back(entry->first);
            m_admission.remove(idOf(entry->first));
            entry = m_connections.erase(entry);
        }
    }
    if (listener) {
        listener->close();
        listener->deleteLater();
    }
    announcer.reset();
    for (QTcpSocket* socket : reading) {
        socket->abort();
        socket->deleteLater();
    }
    if (listener || std::exchange(m_failedListenerPending, false)) {
        log("listener stopped");
    }
    setAnnounced(false);
}

void PairingServer::restartAfterExhaustion() {
    if (m_codesDrawn >= maxCodesPerStart) {
        const std::uint64_t session = m_session;
        log("too many wrong codes");
        if (session != m_session) {
            return;
        }
        teardown();
        setState(State::failed("too many wrong codes"));
        return;
    }
    stop();
    begin();
}

void PairingServer::setState(State state) {
    if (m_state == state) {
        return;
    }
    m_state = std::move(state);
    emit stateChanged();
}

void PairingServer::setAnnounced(bool announced) {
    if (m_announced == announced) {
        return;
    }
    m_announced = announced;
    emit announcedChanged();
}

void PairingServer::log(std::string_view message) {
    m_log.add(message);
    emit eventsChanged();
}

} // namespace CompanionCore
