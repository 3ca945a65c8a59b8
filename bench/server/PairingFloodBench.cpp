// An honest phone pairing while a flood holds connections: 50 loopback addresses (127.0.0.2 to
// 127.0.0.51) each keep 4 connections that send the start of a request and then one byte a second,
// and reconnect as soon as the server drops them. From 127.0.0.1 a phone pairs again and again; the
// program prints the pairing latency (p50, p99, worst) and the CPU the server's thread used while the
// flood ran. Everything stays on loopback, and the flood stops by itself.
//
//   build/bench/bench/server/pairing-flood-bench [seconds]      (default 30)

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

constexpr int floodAddresses = 50;
constexpr int connectionsPerAddress = 4;
constexpr auto dripInterval = std::chrono::seconds(1);
/// How often the phone pairs. Each pairing ends the session, which drops every connection, so the
/// whole flood reconnects after each one: pairing more often measures our own restarts.
constexpr auto pairingInterval = std::chrono::seconds(1);
/// One honest attempt gives up after this and tries again (a refused or dropped connection).
constexpr auto attemptLimit = std::chrono::seconds(5);
constexpr const char* phoneKey =
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIAR1UTTRYI+sWCvRZPt8cTd9Nyntus30fuAWR/HlM5WG phone";

sockaddr_in loopback(const char* address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    ::inet_pton(AF_INET, address, &result.sin_addr);
    return result;
}

/// A non-blocking connection from `from` to the server; -1 when the system refuses one.
int connectFrom(const std::string& from, std::uint16_t port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const sockaddr_in source = loopback(from.c_str(), 0);
    const sockaddr_in target = loopback("127.0.0.1", port);
    if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr*>(&source), sizeof source) != 0 ||
        (::connect(fd, reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0 &&
         errno != EINPROGRESS)) {
        if (fd >= 0) {
            ::close(fd);
        }
        return -1;
    }
    return fd;
}

/// The flood: every connection starts a request, then drips a byte a second; a dropped one comes
/// back at once.
void flood(std::uint16_t port, const std::atomic<bool>& running, std::atomic<long>& reconnects) {
    struct Flooder {
        std::string from;
        int fd = -1;
        Clock::time_point nextDrip;
    };
    std::vector<Flooder> flooders;
    for (int host = 0; host < floodAddresses; ++host) {
        for (int i = 0; i < connectionsPerAddress; ++i) {
            flooders.push_back(Flooder{"127.0.0." + std::to_string(host + 2), -1, {}});
        }
    }
    const std::string start = "POST /pair HTTP/1.1\r\nX-Slow: ";
    while (running) {
        std::vector<pollfd> watched;
        const auto now = Clock::now();
        for (auto& flooder : flooders) {
            if (flooder.fd < 0) {
                flooder.fd = connectFrom(flooder.from, port);
                if (flooder.fd >= 0) {
                    ::send(flooder.fd, start.data(), start.size(), MSG_NOSIGNAL);
                    flooder.nextDrip = now + dripInterval;
                    ++reconnects;
                }
            } else if (now >= flooder.nextDrip) {
                ::send(flooder.fd, "x", 1, MSG_NOSIGNAL);
                flooder.nextDrip = now + dripInterval;
            }
            watched.push_back(pollfd{flooder.fd, POLLIN, 0});
        }
        ::poll(watched.data(), watched.size(), 50);
        for (std::size_t i = 0; i < flooders.size(); ++i) {
            if (watched[i].fd >= 0 && (watched[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
                char sink[256];
                if (::recv(flooders[i].fd, sink, sizeof sink, MSG_DONTWAIT) <= 0) {
                    ::close(flooders[i].fd);
                    flooders[i].fd = -1;
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

/// One pairing from 127.0.0.1, retried until it is answered; answers whether the answer was 200.
bool pairOnce(std::uint16_t port, const std::string& code) {
    const std::string body =
        R"({"code":")" + code + R"(","publicKey":")" + phoneKey + R"(","device":"Honest phone"})";
    const std::string request = "POST /pair HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: " +
                                std::to_string(body.size()) + "\r\n\r\n" + body;
    for (;;) {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in target = loopback("127.0.0.1", port);
        timeval limit{std::chrono::duration_cast<std::chrono::seconds>(attemptLimit).count(), 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        std::string response;
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&target), sizeof target) == 0 &&
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
        std::printf(
            "flood: %d addresses x %d connections, a byte a second each, for %d s; server on 127.0.0.1:%u\n",
            floodAddresses, connectionsPerAddress, seconds, port);
        std::atomic<bool> running{true};
        std::atomic<long> reconnects{0};
        std::thread attacker(flood, port, std::cref(running), std::ref(reconnects));
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
            failures += pairOnce(port, code) ? 0 : 1;
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
