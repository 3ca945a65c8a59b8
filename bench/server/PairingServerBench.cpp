// Measures the pairing server as a phone meets it: over loopback TCP, from client threads with
// blocking sockets, against the server on the main thread's Qt event loop.

#include "CompanionCore/HttpRequest.h"
#include "CompanionCore/HttpRequestBuffer.h"
#include "CompanionCore/server/PairingServer.h"
#include "server/support/EndlessSessions.h"
#include "server/support/LoopbackClient.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QThread>

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <random>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using CompanionCore::PairingServer;
using Clock = std::chrono::steady_clock;
using Bench::connectTo;
using Bench::pairingBody;
using Bench::post;
using Bench::roundTrip;
using Bench::sendAll;

constexpr int sequentialRequests = 3000;
constexpr int concurrentClients = 8;
constexpr int requestsPerClient = 1000;
constexpr int sequentialPairings = 500;
constexpr int dribbleBytes = 65536;
constexpr std::chrono::microseconds retryPause{100};
constexpr std::chrono::microseconds dribblePause{20};

double threadCpuSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// A well-formed ed25519 public key line with random key bytes, so every pairing writes a new line.
std::string randomKey(std::mt19937_64& random) {
    std::string blob = std::string("\0\0\0\x0bssh-ed25519\0\0\0\x20", 19);
    for (int i = 0; i < 32; ++i) {
        blob += static_cast<char>(random() & 0xFF);
    }
    static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string encoded;
    for (std::size_t i = 0; i < blob.size(); i += 3) {
        const unsigned a = static_cast<unsigned char>(blob[i]);
        const unsigned b = i + 1 < blob.size() ? static_cast<unsigned char>(blob[i + 1]) : 0;
        const unsigned c = i + 2 < blob.size() ? static_cast<unsigned char>(blob[i + 2]) : 0;
        const unsigned triple = (a << 16) | (b << 8) | c;
        encoded += alphabet[(triple >> 18) & 63];
        encoded += alphabet[(triple >> 12) & 63];
        encoded += i + 1 < blob.size() ? alphabet[(triple >> 6) & 63] : '=';
        encoded += i + 2 < blob.size() ? alphabet[triple & 63] : '=';
    }
    return "ssh-ed25519 " + encoded;
}

struct Summary {
    double p50Ms = 0;
    double p99Ms = 0;
    double meanMs = 0;
};

Summary summarize(std::vector<double> millis) {
    std::sort(millis.begin(), millis.end());
    Summary summary;
    if (millis.empty()) {
        return summary;
    }
    summary.p50Ms = millis[millis.size() / 2];
    summary.p99Ms = millis[std::min(millis.size() - 1, millis.size() * 99 / 100)];
    double total = 0;
    for (const double value : millis) {
        total += value;
    }
    summary.meanMs = total / static_cast<double>(millis.size());
    return summary;
}

double millisSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

template <typename Work>
auto onServerThread(QObject* context, Work work) {
    decltype(work()) result{};
    QMetaObject::invokeMethod(
        context, [&] { result = work(); }, Qt::BlockingQueuedConnection);
    return result;
}

void report(const char* what, const Summary& summary, int count, double seconds) {
    std::printf("%-58s p50 %7.3f ms  p99 %7.3f ms  mean %7.3f ms  (%d in %.2f s, %.0f/s)\n", what,
                summary.p50Ms, summary.p99Ms, summary.meanMs, count, seconds, count / seconds);
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);

    const std::filesystem::path folder = Bench::temporaryFolder("nuvexa-bench");
    const std::uint16_t port = Bench::freeLoopbackPort();

    PairingServer::Options options;
    options.ports = {port};
    options.expiry = std::chrono::hours(1);
    // The paced dribble takes seconds; only the byte limit may end it.
    options.requestTimeout = std::chrono::minutes(1);
    options.announcer = nullptr;
    options.logFile = folder / "nuvexa-companion.log";
    PairingServer server(Bench::identity, folder / ".ssh" / "authorized_keys", options);
    Bench::SessionCodes session;
    // Every end of a session starts the next at once, on the same port.
    Bench::keepStarting(server, [&session](const std::string& digits) { session.publish(digits); });
    server.start();

    std::thread bench([&] {
        std::printf("pairing server on 127.0.0.1:%u, %d CPU(s) online\n", port,
                    std::thread::hardware_concurrency());
        std::uint64_t seen = 0;
        session.codeAfter(seen);
        const std::string wrong = post("/pair", pairingBody("000000", "ssh-ed25519 AAAA", "Bench"));
        const std::string notFound = post("/elsewhere", "{}");

        // 1. One request at a time.
        for (const auto& [label, request] :
             {std::pair{"rejected round trip (wrong code: 403, every third 410)", &wrong},
              std::pair{"steady round trip (404, no code spent)", &notFound}}) {
            std::vector<double> millis;
            int failures = 0;
            const double cpuBefore = onServerThread(&server, [] { return threadCpuSeconds(); });
            const auto start = Clock::now();
            for (int i = 0; i < sequentialRequests; ++i) {
                // A session that restarts closes its listener for a moment: try again, and count it.
                for (;;) {
                    const auto begun = Clock::now();
                    if (roundTrip(port, *request)) {
                        millis.push_back(millisSince(begun));
                        break;
                    }
                    ++failures;
                    // Give the server's thread the CPU rather than spin against it.
                    std::this_thread::sleep_for(retryPause);
                }
            }
            const double seconds = millisSince(start) / 1000;
            const double cpu = onServerThread(&server, [] { return threadCpuSeconds(); }) - cpuBefore;
            report(label, summarize(millis), static_cast<int>(millis.size()), seconds);
            std::printf("%-58s server CPU %.1f us per request; %d attempts refused or reset by a restart\n",
                        "", cpu * 1e6 / sequentialRequests, failures);
        }

        // 2. Eight clients at once.
        for (const auto& [label, request] : {std::pair{"8 concurrent clients, wrong code", &wrong},
                                             std::pair{"8 concurrent clients, 404", &notFound}}) {
            std::atomic<int> done{0};
            std::atomic<int> failures{0};
            std::vector<std::vector<double>> perClient(concurrentClients);
            const auto start = Clock::now();
            std::vector<std::thread> clients;
            for (int c = 0; c < concurrentClients; ++c) {
                clients.emplace_back([&, c] {
                    for (int i = 0; i < requestsPerClient; ++i) {
                        for (;;) {
                            const auto begun = Clock::now();
                            if (roundTrip(port, *request, c + 2)) {
                                perClient[static_cast<std::size_t>(c)].push_back(millisSince(begun));
                                ++done;
                                break;
                            }
                            ++failures;
                            std::this_thread::sleep_for(retryPause);
                        }
                    }
                });
            }
            for (auto& client : clients) {
                client.join();
            }
            const double seconds = millisSince(start) / 1000;
            std::vector<double> all;
            for (const auto& list : perClient) {
                all.insert(all.end(), list.begin(), list.end());
            }
            report(label, summarize(all), done.load(), seconds);
            std::printf("%-58s %d attempts refused or reset by a restart, then retried\n", "",
                        failures.load());
        }

        // 3. Full pairings, each writing a new key line (synced to disk) and restarting the session.
        {
            std::mt19937_64 random(42);
            std::vector<double> millis;
            int failures = 0;
            const auto start = Clock::now();
            for (int i = 0; i < sequentialPairings; ++i) {
                const std::string code = session.codeAfter(seen);
                const std::string request =
                    post("/pair", pairingBody(code, randomKey(random), "Phone " + std::to_string(i)));
                const auto begun = Clock::now();
                const auto status = roundTrip(port, request);
                if (status == 200) {
                    millis.push_back(millisSince(begun));
                } else {
                    ++failures;
                }
            }
            const double seconds = millisSince(start) / 1000;
            report("full pairing (key written and synced, session restarted)", summarize(millis),
                   static_cast<int>(millis.size()), seconds);
            std::printf(
                "%-58s %d failed; authorized_keys holds %zu bytes\n", "", failures,
                static_cast<std::size_t>(std::filesystem::file_size(folder / ".ssh" / "authorized_keys")));
        }

        // 4. One peer sending 64 KiB one byte per segment, never completing a request: as fast as it can
        // (the server then reads several bytes at once), and paced so nearly every byte is a read of
        // its own.
        const std::string head = "POST /pair HTTP/1.1\r\nX-Filler: ";
        for (const bool paced : {false, true}) {
            session.codeAfter(seen = 0);
            const double cpuBefore = onServerThread(&server, [] { return threadCpuSeconds(); });
            const int fd = connectTo(port);
            const int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            sendAll(fd, head);
            const auto start = Clock::now();
            for (int i = static_cast<int>(head.size()); i < dribbleBytes; ++i) {
                sendAll(fd, "a");
                if (paced) {
                    std::this_thread::sleep_for(dribblePause);
                }
            }
            const double sendSeconds = millisSince(start) / 1000;
            ::close(fd);
            while (onServerThread(&server, [&] { return server.openConnections(); }) != 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            const double cpu = onServerThread(&server, [] { return threadCpuSeconds(); }) - cpuBefore;
            std::printf(
                "64 KiB one byte per segment, %s: server CPU %.2f ms (%.2f us per byte), sent in %.2f s\n",
                paced ? "paced" : "burst", cpu * 1e3, cpu * 1e6 / dribbleBytes, sendSeconds);
        }
        {
            // For scale: what re-parsing the whole buffer after every byte would cost, and the buffer.
            std::string bytes = head;
            const double parseBefore = threadCpuSeconds();
            for (int i = static_cast<int>(head.size()); i < dribbleBytes; ++i) {
                bytes += 'a';
                volatile bool complete = CompanionCore::HttpRequest::parse(bytes).has_value();
                (void)complete;
            }
            const double reparse = threadCpuSeconds() - parseBefore;
            CompanionCore::HttpRequestBuffer buffer;
            const double bufferBefore = threadCpuSeconds();
            buffer.append(head);
            for (int i = static_cast<int>(head.size()); i < dribbleBytes; ++i) {
                volatile bool complete = buffer.append("a").has_value();
                (void)complete;
            }
            const double incremental = threadCpuSeconds() - bufferBefore;
            std::printf("  parser alone, one byte per call: whole-buffer re-parse %.2f ms, HttpRequestBuffer "
                        "%.2f ms\n",
                        reparse * 1e3, incremental * 1e3);
        }
        QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
    });

    const int result = QCoreApplication::exec();
    bench.join();
    server.stop();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return result;
}
