#include "Companion/DatagramProof.h"

#include "Companion/LocalizedFormat.h"
#include "CompanionCore/Sockets.h"
#include "CompanionCore/WellKnown.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <unistd.h>

namespace Companion::DatagramProof {

namespace {

/// This file's texts, in the catalogue's "DatagramProof" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(DatagramProof)
};

/// Room for one of our datagrams and then some, so a longer stranger is not mistaken for one.
constexpr std::size_t datagramRoom = 256;

/// Closes a descriptor at the end of its scope.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1)
        : m_descriptor(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    int get() const { return m_descriptor; }
    bool valid() const { return m_descriptor >= 0; }

private:
    int m_descriptor;
};

/// A receiving socket on every address, IPv6 and IPv4 alike where the system has IPv6.
struct Receiver {
    std::unique_ptr<Descriptor> socket;
    int family = AF_INET;
    int port = 0;
};

bool bindTo(int descriptor, int family, int port) {
    if (family == AF_INET6) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_addr = in6addr_any;
        address.sin6_port = htons(static_cast<std::uint16_t>(port));
        return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// The ports in the order mosh-server tries them, then the rest of the range.
std::vector<int> portOrder() {
    std::vector<int> ports;
    for (int port = CompanionCore::WellKnown::moshFirstTriedPort;
         port <= CompanionCore::WellKnown::moshLastPort; ++port) {
        ports.push_back(port);
    }
    for (int port = CompanionCore::WellKnown::moshFirstPort;
         port < CompanionCore::WellKnown::moshFirstTriedPort; ++port) {
        ports.push_back(port);
    }
    return ports;
}

std::optional<Receiver> openReceiver() {
    for (const int family : {AF_INET6, AF_INET}) {
        auto socket =
            std::make_unique<Descriptor>(CompanionCore::Sockets::openNonBlocking(family, SOCK_DGRAM, 0));
        if (!socket->valid()) {
            continue;
        }
        if (family == AF_INET6) {
            const int off = 0;
            if (::setsockopt(socket->get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) != 0) {
                continue;
            }
        }
        for (const int port : portOrder()) {
            if (bindTo(socket->get(), family, port)) {
                return Receiver{std::move(socket), family, port};
            }
        }
        return std::nullopt;
    }
    return std::nullopt;
}

/// Sends `payload` to `address`:`port`; the system's error when it cannot, with its errno.
std::optional<std::pair<int, std::string>> send(const std::string& address, int port,
                                                const Receiver& receiver, const std::string& payload) {
    sockaddr_storage target{};
    socklen_t length = 0;
    int family = AF_INET;
    in_addr ipv4{};
    in6_addr ipv6{};
    if (::inet_pton(AF_INET, address.c_str(), &ipv4) == 1) {
        auto* v4 = reinterpret_cast<sockaddr_in*>(&target);
        v4->sin_family = AF_INET;
        v4->sin_addr = ipv4;
        v4->sin_port = htons(static_cast<std::uint16_t>(port));
        length = sizeof(sockaddr_in);
    } else if (::inet_pton(AF_INET6, address.c_str(), &ipv6) == 1 && receiver.family == AF_INET6) {
        family = AF_INET6;
        auto* v6 = reinterpret_cast<sockaddr_in6*>(&target);
        v6->sin6_family = AF_INET6;
        v6->sin6_addr = ipv6;
        v6->sin6_port = htons(static_cast<std::uint16_t>(port));
        length = sizeof(sockaddr_in6);
    } else {
        return std::pair{EAFNOSUPPORT, std::string(std::strerror(EAFNOSUPPORT))};
    }
    const Descriptor sender(CompanionCore::Sockets::openNonBlocking(family, SOCK_DGRAM, 0));
    if (!sender.valid()) {
        const int error = errno;
        return std::pair{error, std::string(std::strerror(error))};
    }
    if (::sendto(sender.get(), payload.data(), payload.size(), 0, reinterpret_cast<const sockaddr*>(&target),
                 length) < 0) {
        const int error = errno;
        return std::pair{error, std::string(std::strerror(error))};
    }
    return std::nullopt;
}

bool isAddressLiteral(const std::string& text) {
    in6_addr scratch{};
    return ::inet_pton(AF_INET, text.c_str(), &scratch) == 1 ||
           ::inet_pton(AF_INET6, text.c_str(), &scratch) == 1;
}

} // namespace

Result run(const std::vector<std::string>& addresses, std::chrono::milliseconds bound) {
    Result result;
    std::vector<std::string> targets{std::string(loopback)};
    for (const auto& address : addresses) {
        if (isAddressLiteral(address) &&
            std::find(targets.begin(), targets.end(), address) == targets.end()) {
            targets.push_back(address);
        }
    }
    const auto receiver = openReceiver();
    if (!receiver) {
        return result;
    }
    result.port = receiver->port;
    // A token of this run tells our datagrams from any stranger's on the same port.
    std::random_device random;
    const auto token = std::to_string(random()) + std::to_string(random());
    std::vector<std::string> payloads;
    for (std::size_t index = 0; index < targets.size(); ++index) {
        payloads.push_back("nuvexa-proof " + token + " " + std::to_string(index));
        Delivery delivery{targets[index], Delivery::Fate::lost, {}};
        if (const auto failure = send(targets[index], receiver->port, *receiver, payloads.back())) {
            // A firewall's verdict on the way out reads as "not permitted"; anything else proves nothing.
            delivery.fate = failure->first == EPERM ? Delivery::Fate::lost : Delivery::Fate::notSent;
            delivery.error = failure->second;
            payloads.back().clear();
        }
        result.deliveries.push_back(delivery);
    }
    const auto awaited = [&] {
        return std::count_if(payloads.begin(), payloads.end(),
                             [](const std::string& p) { return !p.empty(); });
    };
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (awaited() > 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            break;
        }
        pollfd waiting{receiver->socket->get(), POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(left.count())) < 0 && errno != EINTR) {
            break;
        }
        char buffer[datagramRoom];
        for (ssize_t size; (size = ::recv(receiver->socket->get(), buffer, sizeof buffer, 0)) >= 0;) {
            const std::string received(buffer, static_cast<std::size_t>(size));
            for (std::size_t index = 0; index < payloads.size(); ++index) {
                if (!payloads[index].empty() && payloads[index] == received) {
                    payloads[index].clear();
                    result.deliveries[index].fate = Delivery::Fate::arrived;
                }
            }
        }
    }
    return result;
}

std::vector<Finding> findings(const Result& result, std::chrono::milliseconds bound) {
    if (!result.port) {
        return {
            Finding{std::string(noFreeMoshPort), true,
                    Texts::tr("Todos los puertos UDP de mosh (60000–61000) están ocupados: mosh-server no "
                              "podrá recibir al iPhone."),
                    Texts::tr("Cierra las sesiones de mosh que ya no uses (mosh-server sigue abierto hasta "
                              "que su sesión termina).")}};
    }
    QStringList lost;
    for (const auto& delivery : result.deliveries) {
        if (delivery.fate == Delivery::Fate::lost) {
            lost << QString::fromStdString(delivery.address);
        }
    }
    if (lost.isEmpty()) {
        return {};
    }
    return {Finding{
        std::string(datagramsDropped), true,
        LocalizedFormat::fill(
            Texts::tr("Un datagrama UDP enviado al puerto %d de este ordenador (%@) "
                      "no ha llegado en %d ms: un cortafuegos de este ordenador "
                      "descarta el tráfico de mosh."),
            {QString::number(*result.port), lost.join(QStringLiteral(", ")), QString::number(bound.count())}),
        Texts::tr("Deja pasar el UDP entrante de los puertos 60000–61000 en el cortafuegos de este "
                  "ordenador y vuelve a comprobarlo.")}};
}

std::vector<Finding> check(const std::vector<std::string>& addresses, std::chrono::milliseconds bound) {
    return findings(run(addresses, bound), bound);
}

} // namespace Companion::DatagramProof
