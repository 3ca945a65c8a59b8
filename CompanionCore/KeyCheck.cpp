#include "CompanionCore/KeyCheck.h"

#include "CompanionCore/LibsshKey.h"
#include "CompanionCore/Sockets.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace CompanionCore::KeyCheck {

namespace {

struct SessionDeleter {
    void operator()(ssh_session session) const {
        ssh_disconnect(session);
        ssh_free(session);
    }
};
using Session = std::unique_ptr<std::remove_pointer_t<ssh_session>, SessionDeleter>;

using LibsshKey::Key;

struct AddressDeleter {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};

class Socket {
public:
    explicit Socket(int descriptor)
        : m_descriptor(descriptor) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    int get() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// One non-blocking connection attempt: 0 when connected, else the errno that ended it
/// (ETIMEDOUT when the bound passed).
int connectOnce(const addrinfo& address, std::chrono::milliseconds bound) {
    const Socket socket(
        Sockets::openNonBlocking(address.ai_family, address.ai_socktype, address.ai_protocol));
    if (socket.get() < 0) {
        return errno;
    }
    if (::connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS) {
        return errno;
    }
    pollfd waiting{socket.get(), POLLOUT, 0};
    const int ready = ::poll(&waiting, 1, static_cast<int>(bound.count()));
    if (ready == 0) {
        return ETIMEDOUT;
    }
    if (ready < 0) {
        return errno;
    }
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        return errno;
    }
    return error;
}

std::optional<std::string> hostKeyFingerprint(ssh_session session) {
    ssh_key raw = nullptr;
    if (ssh_get_server_publickey(session, &raw) != SSH_OK) {
        return std::nullopt;
    }
    const Key key(raw);
    return LibsshKey::fingerprint(key.get());
}

} // namespace

Verdict probe(const std::string& host, int port, std::chrono::milliseconds bound, std::string* detail) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string service = std::to_string(port);
    if (const int failure = ::getaddrinfo(host.c_str(), service.c_str(), &hints, &found); failure != 0) {
        if (detail != nullptr) {
            *detail = ::gai_strerror(failure);
        }
        return Verdict::unreachable;
    }
    const std::unique_ptr<addrinfo, AddressDeleter> list(found);
    bool refused = false;
    int last = 0;
    for (const addrinfo* address = list.get(); address != nullptr; address = address->ai_next) {
        last = connectOnce(*address, bound);
        if (last == 0) {
            return Verdict::accepted;
        }
        refused = refused || last == ECONNREFUSED;
    }
    if (detail != nullptr) {
        *detail = std::strerror(refused ? ECONNREFUSED : last);
    }
    return refused ? Verdict::noServer : Verdict::unreachable;
}

Answer ask(const Query& query) {
    Answer answer;
    // A connection of our own first: only the socket layer tells "refused" from "unreachable".
    if (const auto reached = probe(query.host, query.port, query.bound, &answer.detail);
        reached != Verdict::accepted) {
        answer.verdict = reached;
        return answer;
    }
    answer.detail.clear();
    const Session session(ssh_new());
    if (!session) {
        answer.detail = "libssh could not make a session";
        return answer;
    }
    const unsigned int port = static_cast<unsigned int>(query.port);
    const long seconds =
        std::max<long>(1, static_cast<long>(std::chrono::ceil<std::chrono::seconds>(query.bound).count()));
    const int no = 0;
    ssh_options_set(session.get(), SSH_OPTIONS_HOST, query.host.c_str());
    ssh_options_set(session.get(), SSH_OPTIONS_PORT, &port);
    ssh_options_set(session.get(), SSH_OPTIONS_USER, query.user.c_str());
    ssh_options_set(session.get(), SSH_OPTIONS_TIMEOUT, &seconds);
    // The user's own client settings must not change what is asked.
    ssh_options_set(session.get(), SSH_OPTIONS_PROCESS_CONFIG, &no);
    if (ssh_connect(session.get()) != SSH_OK) {
        answer.detail = ssh_get_error(session.get());
        return answer;
    }
    answer.hostKeyFingerprint = hostKeyFingerprint(session.get());

    ssh_key raw = nullptr;
    const auto keyType = ssh_key_type_from_name(query.keyType.c_str());
    if (keyType == SSH_KEYTYPE_UNKNOWN ||
        ssh_pki_import_pubkey_base64(query.keyBase64.c_str(), keyType, &raw) != SSH_OK) {
        answer.verdict = Verdict::refused;
        answer.detail = "the key cannot be read";
        return answer;
    }
    const Key key(raw);
    // The server must be asked for the method list before a key can be offered.
    if (ssh_userauth_none(session.get(), nullptr) == SSH_AUTH_ERROR) {
        answer.detail = ssh_get_error(session.get());
        return answer;
    }
    switch (ssh_userauth_try_publickey(session.get(), nullptr, key.get())) {
    case SSH_AUTH_SUCCESS:
        answer.verdict = Verdict::accepted;
        return answer;
    case SSH_AUTH_DENIED:
    case SSH_AUTH_PARTIAL:
        answer.verdict = Verdict::refused;
        return answer;
    case SSH_AUTH_AGAIN:
    case SSH_AUTH_INFO:
    case SSH_AUTH_ERROR:
        break;
    }
    // A server that closes the connection on the offer has refused it as plainly as one that says no.
    answer.verdict = Verdict::refused;
    answer.detail = ssh_get_error(session.get());
    return answer;
}

} // namespace CompanionCore::KeyCheck
