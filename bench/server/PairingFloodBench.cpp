// An honest phone pairing while a flood holds connections; the program prints the pairing latency
// (p50, p99, worst) and the CPU the server's thread used while the flood ran. Everything stays on
// loopback, and the flood stops by itself. The floods:
//   slow        50 addresses (127.0.0.2 to 127.0.0.51) each keep 4 connections that send the start of
//               a request and then one byte a second; the phone pairs from 127.0.0.1.
//   answered    70 addresses (127.0.0.2 to 127.0.0.71) each keep 4 connections that send a whole
//               request and then neither read their answer nor close; the phone pairs from 127.0.0.1.
//   answered6   4 such connections from ::1, the phone's own /64; the phone pairs from ::1.
// Every flooder reconnects as soon as the server has closed its connection.
//
//   build/bench/bench/server/pairing-flood-bench [seconds] [slow|answered|answered6]   (30, slow)

#include "CompanionCore/server/PairingServer.h"
#include "server/support/EndlessSessions.h"

#include <QCoreApplication>
#include <QTcpServer>

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using CompanionCore::PairingServer;
using Clock = std::chrono::steady_clock;

enum class Flood { slow, answered, answered6 };

struct FloodShape {
    /// Source addresses of the flood.
    std::vector<std::string> addresses;
    /// What each connection sends first.
    std::string start;
    /// Where the phone pairs from, and the server it reaches.
    std::string phone;
    std::string server;
};

constexpr int connectionsPerAddress = 4;

FloodShape shapeOf(Flood flood) {
    FloodShape shape;
    const auto loopbackRange = [&](int count) {
        for (int host = 0; host < count; ++host) {
            shape.addresses.push_back("127.0.0." + std::to_string(host + 2));
        }
    };
    switch (flood) {
    case Flood::slow:
        loopbackRange(50);
        shape.start = "POST /pair HTTP/1.1\r\nX-Slow: ";
        shape.phone = shape.server = "127.0.0.1";
        break;
    case Flood::answered:
        loopbackRange(70);
        shape.start = "GET / HTTP/1.1\r\n\r\n";
        shape.phone = shape.server = "127.0.0.1";
        break;
    case Flood::answered6:
        shape.addresses = {"::1"};
        shape.start = "GET / HTTP/1.1\r\n\r\n";
        shape.phone = shape.server = "::1";
        break;
    }
    return shape;
}
constexpr auto dripInterval = std::chrono::seconds(1);
/// How often the phone pairs. Each pairing ends the session, which drops every connection, so the
/// whole flood reconnects after each one: pairing more often measures our own restarts.
constexpr auto pairingInterval = std::chrono::seconds(1);
/// One honest attempt gives up after this and tries again (a refused or dropped connection).
constexpr auto attemptLimit = std::chrono::seconds(5);
constexpr const char* phoneKey =
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIAR1UTTRYI+sWCvRZPt8cTd9Nyntus30fuAWR/HlM5WG phone";

/// A loopback socket address of either family.
struct Address {
    sockaddr_storage storage{};
    socklen_t length = 0;
    int family = AF_INET;
};

Address loopback(const std::string& address, std::uint16_t port) {
    Address result;
    if (address.find(':') != std::string::npos) {
        auto* in6 = reinterpret_cast<sockaddr_in6*>(&result.storage);
        in6->sin6_family = AF_INET6;
        in6->sin6_port = htons(port);
        ::inet_pton(AF_INET6, address.c_str(), &in6->sin6_addr);
        result.length = sizeof(sockaddr_in6);
        result.family = AF_INET6;
    } else {
        auto* in4 = reinterpret_cast<sockaddr_in*>(&result.storage);
        in4->sin_family = AF_INET;
        in4->sin_port = htons(port);
        ::inet_pton(AF_INET, address.c_str(), &in4->sin_addr);
        result.length = sizeof(sockaddr_in);
    }
    return result;
}

/// A non-blocking connection from `from` to the server; -1 when the system refuses one.
int connectFrom(const std::string& from, const std::string& server, std::uint16_t port) {
    const Address source = loopback(from, 0);
    const Address target = loopback(server, port);
    const int fd = ::socket(target.family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr*>(&source.storage), source.length) != 0 ||
        (::connect(fd, reinterpret_cast<const sockaddr*>(&target.storage), target.length) != 0 &&
         errno != EINPROGRESS)) {
        if (fd >= 0) {
            ::close(fd);
        }
        return -1;
    }
    return fd;
}

/// The flood: every connection sends its start, then a byte a second; a slow flooder reads what the
/// server sends (so it sees a drop at once), an answered one never reads and learns of a drop only
/// when its next byte is refused. A dropped one comes back at once.
void flood(const FloodShape& shape, bool reads, std::uint16_t port, const std::atomic<bool>& running,
           std::atomic<long>& reconnects) {
    struct Flooder {
        std::string from;
        int fd = -1;
        Clock::time_point nextDrip;
    };
    std::vector<Flooder> flooders;
    for (const auto& address : shape.addresses) {
        for (int i = 0; i < connectionsPerAddress; ++i) {
            flooders.push_back(Flooder{address, -1, {}});
        }
    }
    const auto reconnect = [](Flooder& flooder) {
        ::close(flooder.fd);
        flooder.fd = -1;
    };
    while (running) {
        std::vector<pollfd> watched;
        const auto now = Clock::now();
        for (auto& flooder : flooders) {
            if (flooder.fd < 0) {
                flooder.fd = connectFrom(flooder.from, shape.server, port);
                if (flooder.fd >= 0) {
                    ::send(flooder.fd, shape.start.data(), shape.start.size(), MSG_NOSIGNAL);
                    flooder.nextDrip = now + dripInterval;
                    ++reconnects;
                }
            } else if (now >= flooder.nextDrip) {
                if (::send(flooder.fd, "x", 1, MSG_NOSIGNAL) < 0 && errno != EAGAIN) {
                    reconnect(flooder);
                    continue;
                }
                flooder.nextDrip = now + dripInterval;
            }
            watched.push_back(pollfd{flooder.fd, static_cast<short>(reads ? POLLIN : 0), 0});
        }
        ::poll(watched.data(), watched.size(), 50);
        for (std::size_t i = 0; i < flooders.size(); ++i) {
            if (watched[i].fd < 0) {
                continue;
            }
            if ((watched[i].revents & (POLLHUP | POLLERR)) != 0) {
                reconnect(flooders[i]);
            } else if (reads && (watched[i].revents & POLLIN) != 0) {
                char sink[256];
                if (::recv(flooders[i].fd, sink, sizeof sink, MSG_DONTWAIT) <= 0) {
                    reconnect(flooders[i]);
                }
            }
        }
    }
    for (auto& flooder : flooders) {
        if (flooder.fd >= 0) {
            ::close(flooder.fd);
        }
    }
}

/// One pairing from the phone's address, retried until it is answered; answers whether the answer
/// was 200.
bool pairOnce(const FloodShape& shape, std::uint16_t port, const std::string& code) {
    const std::string body =
        R"({"code":")" + code + R"(","publicKey":")" + phoneKey + R"(","device":"Honest phone"})";
    const std::string request = "POST /pair HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: " +
                                std::to_string(body.size()) + "\r\n\r\n" + body;
    for (;;) {
        const Address target = loopback(shape.server, port);
        const int fd = ::socket(target.family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        timeval limit{std::chrono::duration_cast<std::chrono::seconds>(attemptLimit).count(), 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        std::string response;
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&target.storage), target.length) == 0 &&
            ::send(fd, request.data(), request.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(request.size())) {
            char chunk[4096];
            ssize_t count = 0;
            while ((count = ::recv(fd, chunk, sizeof chunk, 0)) > 0) {
                response.append(chunk, static_cast<std::size_t>(count));
            }
        }
        ::close(fd);
        if (response.starts_with("HTTP/1.1 ")) {
            return response.starts_with("HTTP/1.1 200 ");
        }
    }
}

double threadSeconds(clockid_t clock) {
    timespec spent{};
    ::clock_gettime(clock, &spent);
    return static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) / 1e9;
}

double percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(index, values.size() - 1)];
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const int seconds = argc > 1 ? std::max(2, std::atoi(argv[1])) : 30;
    const std::string mode = argc > 2 ? argv[2] : "slow";
    if (mode != "slow" && mode != "answered" && mode != "answered6") {
        std::fprintf(stderr, "pairing-flood-bench: the flood is slow, answered or answered6, not %s\n",
                     mode.c_str());
        return 2;
    }
    const Flood kind = mode == "slow" ? Flood::slow : mode == "answered" ? Flood::answered : Flood::answered6;
    const FloodShape shape = shapeOf(kind);

    const std::filesystem::path folder = Bench::temporaryFolder("nuvexa-flood");
    const std::uint16_t port = Bench::freeLoopbackPort();
    PairingServer::Options options;
    options.ports = {port};
    options.expiry = std::chrono::hours(1);
    options.announcer = nullptr;
    options.logFile = folder / "nuvexa-companion.log";
    PairingServer server(Bench::identity, folder / ".ssh" / "authorized_keys", options);
    Bench::SessionCodes session;
    // Every end of a session starts the next at once, on the same port.
    Bench::keepStarting(server, [&session](const std::string& digits) { session.publish(digits); });
    server.start();

    clockid_t serverClock{};
    ::pthread_getcpuclockid(::pthread_self(), &serverClock);

    std::thread bench([&] {
        std::printf("%s flood: %zu addresses x %d connections, a byte a second each, for %d s; server on "
                    "port %u, phone from %s\n",
                    mode.c_str(), shape.addresses.size(), connectionsPerAddress, seconds, port,
                    shape.phone.c_str());
        std::atomic<bool> running{true};
        std::atomic<long> reconnects{0};
        std::thread attacker(flood, std::cref(shape), kind == Flood::slow, port, std::cref(running),
                             std::ref(reconnects));
        // Let the flood take its places first.
        std::this_thread::sleep_for(std::chrono::seconds(2));
        const double cpuBefore = threadSeconds(serverClock);
        const auto began = Clock::now();
        const long reconnectsBefore = reconnects;
        std::vector<double> latencies;
        int failures = 0;
        std::uint64_t seen = 0;
        while (Clock::now() - began < std::chrono::seconds(seconds)) {
            const std::string code = session.codeAfter(seen);
            const auto start = Clock::now();
            failures += pairOnce(shape, port, code) ? 0 : 1;
            latencies.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
            std::this_thread::sleep_for(pairingInterval);
        }
        const double wall = std::chrono::duration<double>(Clock::now() - began).count();
        const double cpu = threadSeconds(serverClock) - cpuBefore;
        running = false;
        attacker.join();
        std::printf("honest pairings: %zu (%d not 200), p50 %.1f ms, p99 %.1f ms, worst %.1f ms\n",
                    latencies.size(), failures, percentile(latencies, 0.5), percentile(latencies, 0.99),
                    *std::max_element(latencies.begin(), latencies.end()));
        std::printf("server thread CPU: %.3f s in %.1f s = %.3f of a core; flood reconnections: %.0f/s\n",
                    cpu, wall, cpu / wall, static_cast<double>(reconnects - reconnectsBefore) / wall);
        QMetaObject::invokeMethod(
            qApp, [] { QCoreApplication::quit(); }, Qt::QueuedConnection);
    });
    const int status = application.exec();
    bench.join();
    std::filesystem::remove_all(folder);
    return status;
}
