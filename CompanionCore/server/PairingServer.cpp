#include "CompanionCore/server/PairingServer.h"

#include "CompanionCore/KeyFileOwnership.h"
#include "CompanionCore/LogText.h"
#include "CompanionCore/Overloaded.h"
#include "CompanionCore/PairingTxt.h"
#include "CompanionCore/SshPublicKey.h"
#include "CompanionCore/Unicode.h"
#include "CompanionCore/server/LogLocation.h"
#include "CompanionCore/server/NullAnnouncer.h"
#include "CompanionCore/server/TxtLimits.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <unistd.h>

#include <algorithm>
#include <string_view>

namespace CompanionCore {

namespace {

/// Room for a burst of connections: those beyond the limits are accepted and closed at once by the
/// server rather than left to wait, unanswered, in the kernel's queue.
constexpr int listenBacklog = 128;

} // namespace

/// Holds back the signals of the changes made while it lives; the outermost one, on leaving, has
/// them sent. Every way into the server opens one.
class PairingServer::Transition {
public:
    explicit Transition(PairingServer& server)
        : m_server(server) {
        ++m_server.m_transitions;
    }
    ~Transition() {
        if (--m_server.m_transitions == 0) {
            m_server.publishDue();
        }
    }
    Transition(const Transition&) = delete;
    Transition& operator=(const Transition&) = delete;

private:
    PairingServer& m_server;
};

PairingServer::PairingServer(IdentityProvider identity, std::filesystem::path authorizedKeys, Options options,
                             QObject* parent)
    : QObject(parent)
    , m_identity(std::move(identity))
    , m_authorizedKeys(std::move(authorizedKeys))
    , m_options(std::move(options))
    , m_log(m_options.logFile.empty() ? defaultLogFile() : m_options.logFile, m_options.clock)
    , m_connections(
          {m_options.headTimeout, m_options.requestTimeout, m_options.connectionLimits,
           m_options.drainingLimit, m_options.connectionClock},
          [this](QTcpSocket* connection, const HttpRequest& request) { answer(connection, request); })
    , m_expiry(m_options.expiryClock, m_options.expiryCheckInterval, this) {
    if (!m_options.announcer) {
        m_options.announcer = makeNullAnnouncer;
    }
    connect(&m_expiry, &ExpiryTimer::expired, this, &PairingServer::stop);
}

PairingServer::~PairingServer() {
    // A key write waiting for the lock gives up at once; one writing finishes first. Their answers,
    // posted to this object, go with it.
    for (auto& [number, install] : m_installs) {
        install.thread.request_stop();
    }
    m_installs.clear();
    // No signals from here on: observers may be half gone.
    m_expiry.stop();
    m_announcer.reset();
    if (m_listener) {
        m_listener->close();
        delete m_listener.data();
    }
    // The connections go with their pool, which gives replies in flight a moment to leave.
}

std::filesystem::path PairingServer::defaultLogFile() {
    static const std::filesystem::path file = LogLocation::platformDefault();
    return file;
}

void PairingServer::start() {
    const Transition transition(*this);
    stop();
    m_codesDrawn = 0;
    begin();
}

void PairingServer::stop() {
    const Transition transition(*this);
    teardown();
    if (!std::holds_alternative<Pairing::Paired>(m_state)) {
        setState(Pairing::Idle{});
    }
}

void PairingServer::begin() {
    setState(Pairing::Starting{});
    setAnnounced(false);
    log("pairing requested");
    // Before any code is shown: a pairing that would name one account to the phone and write into
    // another's files helps nobody and takes the other's key folder over. The identity is the one the
    // first port names, asked once, so the account checked is the account the phone is told.
    PairingHandler::Identity identity = m_identity();
    const uid_t account = KeyFileOwnership::accountOf(identity.user);
    if (const auto mismatch = KeyFileOwnership::check(m_authorizedKeys, account)) {
        KeyFileOwnership::Named ownership = KeyFileOwnership::named(*mismatch, account);
        log("not pairing: " + KeyFileOwnership::describe(ownership));
        setState(Pairing::Failed{PairingFailure::keyFileNotTheUsers, {}, std::move(ownership)});
        return;
    }
    // Issued on the injected clock, the one the handler judges it by.
    m_code = PairingCode(m_options.codeSource(), m_options.clock());
    ++m_codesDrawn;
    tryPort(0, std::move(identity));
}

void PairingServer::tryPort(std::size_t index, std::optional<PairingHandler::Identity> given) {
    if (index >= m_options.ports.size()) {
        log("no free port among " + LogText::numberList(m_options.ports));
        setState(Pairing::Failed{PairingFailure::noFreePort});
        return;
    }
    const std::uint16_t port = m_options.ports[index];
    const PairingHandler::Identity identity = given ? std::move(*given) : m_identity();
    log("trying port " + std::to_string(port) + " as " + LogText::escapedControls(identity.user) + "@" +
        LogText::escapedControls(identity.name) + " hosts=" + LogText::quotedList(identity.hosts));
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
        if (error == QAbstractSocket::AddressInUseError) {
            tryPort(index + 1);
        } else {
            setState(Pairing::Failed{PairingFailure::listenerFailed, description});
        }
        return;
    }
    m_listener = listener;
    connect(listener, &QTcpServer::newConnection, this, &PairingServer::accept);
    connect(listener, &QTcpServer::acceptError, this, [this, listener] { listenerFailed(listener); });

    const std::uint16_t listening = listener->serverPort();
    const std::string digits = m_code->digits();
    log("listening on " + std::to_string(listening) + ", code " + digits);
    setState(Pairing::Waiting{digits, listening});
    armExpiry();
    announce(identity, listening);
}

void PairingServer::announce(const PairingHandler::Identity& identity, std::uint16_t port) {
    const TxtLimits::Fitted txt = TxtLimits::fit(
        PairingTxt::record(identity.name, identity.user, port, identity.hosts, identity.mosh, identity.tmux));
    // The announcer reports from the event loop, or from inside `announce`.
    Announcer::Observer observer;
    observer.registered = [this](const std::string& fullName) {
        const Transition transition(*this);
        setAnnounced(true);
        log("announced on Bonjour as " + fullName);
    };
    observer.removed = [this](const std::string& fullName) {
        const Transition transition(*this);
        setAnnounced(false);
        log("Bonjour announcement removed: " + fullName);
    };
    observer.note = [this](const std::string& message) {
        const Transition transition(*this);
        log(message);
    };
    m_announcer = m_options.announcer();
    m_announcer->announce({identity.name, std::string(PairingTxt::serviceType), port, txt.entries},
                          std::move(observer));
    // Reports come later, so these lines precede any of the announcer's.
    for (const auto& note : txt.notes) {
        log(note);
    }
}

void PairingServer::listenerFailed(QTcpServer* listener) {
    const Transition transition(*this);
    // Qt stops accepting after such an error (out of file descriptors, for one): nothing more will
    // come in on this listener.
    if (listener != m_listener) {
        return;
    }
    const std::string description = listener->errorString().toStdString();
    log("listener failed on " + std::to_string(listener->serverPort()) + ": " + description);
    // The listener stays the current one until the next start or stop, which reports it stopped.
    listener->close();
    m_announcer.reset();
    setAnnounced(false);
    setState(Pairing::Failed{PairingFailure::listenerFailed, description});
}

void PairingServer::accept() {
    const Transition transition(*this);
    if (m_listener) {
        m_connections.acceptFrom(*m_listener);
    }
}

void PairingServer::answer(QTcpSocket* connection, const HttpRequest& request) {
    const Transition transition(*this);
    if (!m_handler) {
        m_connections.drop(connection);
        return;
    }
    auto decision = m_handler->decide(request);
    if (auto* accepted = std::get_if<PairingHandler::Accepted>(&decision)) {
        installInBackground(connection, request, std::move(*accepted));
        return;
    }
    // Only a refusal or a spent code is left: everything else was accepted above.
    const auto* rejected = std::get_if<PairingHandler::Rejected>(&decision);
    const PairingHandler::Outcome outcome =
        rejected != nullptr ? PairingHandler::Outcome(*rejected) : PairingHandler::Exhausted{};
    finish(connection, m_connections.peerOf(connection), request, outcome, m_session);
}

void PairingServer::installInBackground(QTcpSocket* connection, const HttpRequest& request,
                                        PairingHandler::Accepted accepted) {
    const std::uint64_t number = m_nextInstall++;
    const std::uint64_t session = m_session;
    // Only what the log needs of the request travels: the body holds the key and the code.
    HttpRequest head{request.method, request.path, {}, {}};
    // Taken now: the peer may be gone by the time the key is written, and the log still names it.
    auto peer = m_connections.peerOf(connection);
    m_installs.emplace(
        number,
        Install{session, std::jthread([this, number, session, head = std::move(head), peer = std::move(peer),
                                       accepted = std::move(accepted),
                                       socket = QPointer<QTcpSocket>(connection)](std::stop_token stop) {
                    PairingHandler::Outcome outcome = PairingHandler::install(accepted, stop);
                    QMetaObject::invokeMethod(
                        this,
                        [this, number, session, head, peer, socket, outcome = std::move(outcome)] {
                            m_installs.erase(number);
                            finish(socket.data(), peer, head, outcome, session);
                        },
                        Qt::QueuedConnection);
                })});
}

bool PairingServer::installing() const {
    return std::any_of(m_installs.begin(), m_installs.end(),
                       [this](const auto& entry) { return entry.second.session == m_session; });
}

void PairingServer::finish(QTcpSocket* connection, const std::optional<ConnectionPool::Peer>& from,
                           const HttpRequest& request, const PairingHandler::Outcome& outcome,
                           std::uint64_t requestSession) {
    const Transition transition(*this);
    const std::string peer = from ? "request from " + from->address.toString().toStdString() + " port " +
                                        std::to_string(from->port)
                                  : std::string("request from an address no longer known");
    if (connection != nullptr) {
        m_connections.deliver(connection, PairingHandler::reply(outcome));
    }

    // Who asked, on a line of its own, so guesses and pairings can be traced to an address.
    log(peer);
    // Method and path are the peer's bytes: their control characters must not forge log lines.
    log("request " + LogText::bounded(request.method, maxLoggedFieldBytes) + " " +
        LogText::bounded(request.path, maxLoggedFieldBytes) + " \u2192 " + describe(outcome));
    if (const auto* paired = std::get_if<PairingHandler::Paired>(&outcome)) {
        // The line is as the handler normalized it: key type, blank, key, then the comment.
        const auto fields = Unicode::splitOnWhitespace(paired->line);
        const auto fingerprint =
            fields.size() < 2 ? std::nullopt : SshPublicKey::fingerprint(fields[0], fields[1]);
        // Said even when the session has ended meanwhile: the key is in the file all the same.
        log("paired " + LogText::quoted(paired->device) + " with key " + fingerprint.value_or("(unknown)"));
    }
    if (requestSession != m_session) {
        return;
    }
    std::visit(Overloaded{
                   [&](const PairingHandler::Paired& paired) {
                       setState(Pairing::Paired{paired.device, paired.line});
                       stop();
                   },
                   [&](const PairingHandler::Rejected& rejected) {
                       if (rejected.status < 500) {
                           return;
                       }
                       // The code was spent on a key that is not in the file: no phone can pair in
                       // this session any more, and retrying will not help until the cause is fixed.
                       std::string_view cause = rejected.message;
                       if (cause.starts_with(PairingHandler::keyWriteFailure)) {
                           cause.remove_prefix(PairingHandler::keyWriteFailure.size());
                       }
                       teardown();
                       setState(Pairing::Failed{PairingFailure::keyNotInstalled, std::string(cause)});
                   },
                   [&](const PairingHandler::Exhausted&) {
                       // A guess that comes while the right code's key is being written finds the code
                       // spent; the session ends with that write, not with a new code.
                       if (!installing()) {
                           restartAfterExhaustion();
                       }
                   },
               },
               outcome);
}

void PairingServer::armExpiry() {
    m_expiry.start(m_options.expiry);
}

void PairingServer::teardown() {
    // A key write of this session still waiting for the lock is given up: the user ended the session
    // before the phone got in. One already writing finishes, and its phone is answered.
    for (auto& [number, install] : m_installs) {
        if (install.session == m_session) {
            install.thread.request_stop();
        }
    }
    ++m_session;
    m_expiry.stop();
    const QPointer<QTcpServer> listener = std::exchange(m_listener, nullptr);
    std::unique_ptr<Announcer> announcer = std::move(m_announcer);
    m_handler.reset();
    if (listener) {
        listener->close();
        listener->deleteLater();
    }
    announcer.reset();
    // Answered connections are left to finish delivering their reply.
    m_connections.dropUnanswered();
    if (listener || std::exchange(m_failedListenerPending, false)) {
        log("listener stopped");
    }
    setAnnounced(false);
}

void PairingServer::restartAfterExhaustion() {
    if (m_codesDrawn >= maxCodesPerStart) {
        log("too many wrong codes");
        teardown();
        setState(Pairing::Failed{PairingFailure::tooManyWrongCodes});
        return;
    }
    stop();
    begin();
}

void PairingServer::setState(State state) {
    if (m_state == state) {
        return;
    }
    m_state = state;
    due([this, state = std::move(state)] {
        m_published.state = state;
        emit stateChanged();
    });
}

void PairingServer::setAnnounced(bool announced) {
    if (m_announced == announced) {
        return;
    }
    m_announced = announced;
    due([this, announced] {
        m_published.announced = announced;
        emit announcedChanged();
    });
}

void PairingServer::log(std::string_view message) {
    const bool refusedBefore = m_log.refusal().has_value();
    std::string line = m_log.add(message);
    if (!refusedBefore && m_log.refusal()) {
        due([this] { emit logRefused(); });
    }
    due([this, line = std::move(line)] { emit eventAdded(line); });
}

void PairingServer::due(std::function<void()> change) {
    // Opened here too, so a change made outside any other transition is still published.
    const Transition transition(*this);
    m_due.push_back(std::move(change));
}

void PairingServer::publishDue() {
    // A call from a slot below leaves its changes to this loop, after the ones already due.
    if (m_publishing) {
        return;
    }
    m_publishing = true;
    while (!m_due.empty()) {
        const std::function<void()> change = std::move(m_due.front());
        m_due.pop_front();
        change();
    }
    m_publishing = false;
}

} // namespace CompanionCore
