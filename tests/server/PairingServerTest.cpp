#include "CompanionCore/server/PairingServer.h"

#include "server/support/EventLoop.h"
#include "server/support/FakeAnnouncer.h"
#include "server/support/PhoneClient.h"
#include "support/CodeSequence.h"
#include "support/TemporaryDirectory.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using CompanionCore::ContinuousClock;
using CompanionCore::PairingFailure;
using CompanionCore::PairingHandler;
using CompanionCore::PairingServer;
using CompanionCore::PairingState;
using TestSupport::FakeAnnouncer;
using TestSupport::PhoneClient;
using TestSupport::waitUntil;
using TestSupport::wrongCode;
namespace Pairing = CompanionCore::Pairing;

const PairingState idleState = Pairing::Idle{};

constexpr std::size_t timestampLength = 21; // "2026-11-16T03:45:35Z "

class PairingServerTest : public testing::Test {
protected:
    PairingServer::Options options(std::vector<std::uint16_t> ports = {0}) {
        PairingServer::Options result;
        result.ports = std::move(ports);
        result.expiry = std::chrono::minutes(10);
        result.requestTimeout = std::chrono::minutes(10);
        result.announcer = FakeAnnouncer::factory(m_announcers);
        result.logFile = m_home / "log" / "nuvexa-companion.log";
        result.codeSource = m_codes.source();
        return result;
    }

    std::unique_ptr<PairingServer> makeServer(PairingServer::Options serverOptions) {
        return std::make_unique<PairingServer>(
            [this] {
                ++m_identityCalls;
                return m_identity;
            },
            authorizedKeys(), std::move(serverOptions));
    }

    std::filesystem::path authorizedKeys() const { return m_home / ".ssh" / "authorized_keys"; }

    /// A port of the test's own, held busy for the test's length.
    quint16 occupy() {
        auto& holder = m_busy.emplace_back(std::make_unique<QTcpServer>());
        EXPECT_TRUE(holder->listen(QHostAddress::Any, 0));
        return holder->serverPort();
    }

    static std::vector<std::string> messages(const PairingServer& server) {
        std::vector<std::string> result;
        for (const auto& line : server.events()) {
            result.push_back(line.substr(timestampLength));
        }
        return result;
    }

    template <typename Alternative>
    static bool waitFor(PairingServer& server) {
        return waitUntil(&server, &PairingServer::stateChanged,
                         [&] { return std::holds_alternative<Alternative>(server.state()); });
    }

    static bool isWaiting(const PairingServer& server) {
        return std::holds_alternative<Pairing::Waiting>(server.state());
    }

    /// The listener's port and code; the test fails when the server is not waiting.
    static Pairing::Waiting waitingOf(const PairingServer& server) {
        const auto* state = std::get_if<Pairing::Waiting>(&server.state());
        EXPECT_NE(state, nullptr) << "not waiting";
        return state != nullptr ? *state : Pairing::Waiting{};
    }

    /// Why the session failed, as the log words it; empty when it has not.
    static std::string failure(const PairingServer& server) {
        const auto* failed = std::get_if<Pairing::Failed>(&server.state());
        return failed != nullptr ? Pairing::describe(*failed) : std::string();
    }

    /// Returns once the server's loop has run past every byte already sent to `port`: a request on a
    /// connection of its own, which arrives after them, is answered only then.
    static void letTheServerRead(quint16 port) {
        EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(port, "GET /elsewhere HTTP/1.1\r\n\r\n")), 404);
    }

    /// A plain socket connected to `port` on loopback; the system completes the connection before the
    /// server has accepted it.
    static int connectedSocket(quint16 port) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
        return fd;
    }

    static std::string fileContent(const std::filesystem::path& path) {
        std::ifstream file(path);
        std::stringstream content;
        content << file.rdbuf();
        return content.str();
    }

    TestSupport::TemporaryDirectory m_home;
    std::shared_ptr<std::vector<std::shared_ptr<FakeAnnouncer::Record>>> m_announcers =
        std::make_shared<std::vector<std::shared_ptr<FakeAnnouncer::Record>>>();
    PairingHandler::Identity m_identity{"ana", "Studio", 22, {"Studio.local", "192.168.1.20"}, true, false};
    int m_identityCalls = 0;
    std::vector<std::unique_ptr<QTcpServer>> m_busy;
    TestSupport::CodeSequence m_codes;
};

TEST_F(PairingServerTest, StartsIdleAndOpensNothingAtCreation) {
    auto server = makeServer(options());
    EXPECT_EQ(server->state(), idleState);
    EXPECT_FALSE(server->announced());
    EXPECT_TRUE(server->events().empty());
    EXPECT_EQ(m_identityCalls, 0);
    EXPECT_EQ(server->logFile(), m_home / "log" / "nuvexa-companion.log");
}

TEST_F(PairingServerTest, WaitsWithTheCodeAndPortOnceListening) {
    auto server = makeServer(options());
    std::vector<PairingState> seen;
    QObject::connect(server.get(), &PairingServer::stateChanged, [&] { seen.push_back(server->state()); });
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto state = waitingOf(*server);
    EXPECT_EQ(state.digits, m_codes[0]);
    EXPECT_NE(state.port, 0);
    EXPECT_EQ(seen, (std::vector<PairingState>{Pairing::Starting{}, state}));
    EXPECT_EQ(messages(*server), (std::vector<std::string>{
                                     "pairing requested",
                                     "trying port 0 as ana@Studio hosts=[\"Studio.local\", \"192.168.1.20\"]",
                                     "listening on " + std::to_string(state.port) + ", code " + state.digits,
                                 }));
}

TEST_F(PairingServerTest, MovesToTheFourthPortWhenTheFirstThreeAreBusy) {
    const std::vector<std::uint16_t> busy = {occupy(), occupy(), occupy()};
    // The fourth entry lets the system pick, so no other test can be holding it.
    auto server = makeServer(options({busy[0], busy[1], busy[2], 0}));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto port = waitingOf(*server).port;
    EXPECT_EQ(std::count(busy.begin(), busy.end(), port), 0);
    EXPECT_EQ(m_identityCalls, 4); // asked afresh for every port tried

    const auto lines = messages(*server);
    std::size_t next = 0;
    for (const auto busyPort : busy) {
        const std::string prefix = "listener failed on " + std::to_string(busyPort) + ": ";
        const auto found = std::find_if(lines.begin() + static_cast<std::ptrdiff_t>(next), lines.end(),
                                        [&](const std::string& line) { return line.starts_with(prefix); });
        ASSERT_NE(found, lines.end()) << prefix;
        next = static_cast<std::size_t>(found - lines.begin()) + 1;
    }
    const std::string listening =
        "listening on " + std::to_string(port) + ", code " + waitingOf(*server).digits;
    EXPECT_NE(std::find(lines.begin() + static_cast<std::ptrdiff_t>(next), lines.end(), listening),
              lines.end());
}

TEST_F(PairingServerTest, FailsWithNoFreePortWhenAllAreBusy) {
    const std::vector<std::uint16_t> busy = {occupy(), occupy(), occupy(), occupy()};
    auto server = makeServer(options(busy));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    EXPECT_EQ(server->state(), PairingState(Pairing::Failed{PairingFailure::noFreePort}));
    EXPECT_EQ(failure(*server), "no free port");
    const std::string list = "[" + std::to_string(busy[0]) + ", " + std::to_string(busy[1]) + ", " +
                             std::to_string(busy[2]) + ", " + std::to_string(busy[3]) + "]";
    EXPECT_EQ(messages(*server).back(), "no free port among " + list);
    EXPECT_TRUE(m_announcers->empty());
}

TEST_F(PairingServerTest, TheStopAfterNoFreePortReportsTheListenerStopped) {
    const std::vector<std::uint16_t> busy = {occupy(), occupy(), occupy(), occupy()};
    auto server = makeServer(options(busy));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    server->stop();
    EXPECT_EQ(messages(*server).back(), "listener stopped");
    EXPECT_EQ(server->state(), idleState);
    // Reported once: a second stop has nothing left to end.
    const auto count = server->events().size();
    server->stop();
    EXPECT_EQ(server->events().size(), count);
}

TEST_F(PairingServerTest, TheStartAfterAnotherListenerErrorReportsTheListenerStoppedFirst) {
    auto serverOptions = options();
    // An address this machine does not have: binding fails at once, and no packet leaves.
    serverOptions.listenAddress = QHostAddress(QStringLiteral("192.0.2.1"));
    auto server = makeServer(std::move(serverOptions));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    ASSERT_TRUE(messages(*server).back().starts_with("listener failed on ")) << messages(*server).back();
    const auto& failed = std::get<Pairing::Failed>(server->state());
    EXPECT_EQ(failed.reason, PairingFailure::listenerFailed);
    EXPECT_FALSE(failed.detail.empty()) << "the system's own words";
    const auto before = server->events().size();
    server->start();
    const auto lines = messages(*server);
    ASSERT_GT(lines.size(), before + 1);
    EXPECT_EQ(lines[before], "listener stopped");
    EXPECT_EQ(lines[before + 1], "pairing requested");
}

TEST_F(PairingServerTest, ListsTheFixedPortsByDefault) {
    EXPECT_EQ(PairingServer::Options{}.ports, (std::vector<std::uint16_t>{52901, 52902, 52903, 52904}));
    EXPECT_EQ(PairingServer::Options{}.expiry, std::chrono::seconds(300));
    EXPECT_EQ(PairingServer::Options{}.requestTimeout, std::chrono::seconds(10));
    EXPECT_EQ(PairingServer::Options{}.expiryCheckInterval, std::chrono::seconds(1));
    const std::string drawn = PairingServer::Options{}.codeSource();
    EXPECT_EQ(drawn.size(), 6u);
    EXPECT_TRUE(std::all_of(drawn.begin(), drawn.end(), [](char c) { return c >= '0' && c <= '9'; }))
        << drawn;
}

TEST_F(PairingServerTest, AWrongCodeKeepsWaitingWithTheSameDigits) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const PairingState before = server->state();
    const QByteArray response =
        TestSupport::exchange(waitingOf(*server).port,
                              TestSupport::pairingRequest(wrongCode, TestSupport::sampleEd25519Key, "Phone"));
    EXPECT_EQ(TestSupport::statusOf(response), 403);
    EXPECT_EQ(TestSupport::bodyOf(response), QByteArray(R"({"error":"wrong code"})"));
    EXPECT_EQ(server->state(), before);
    EXPECT_EQ(messages(*server).back(),
              "request POST /pair \u2192 rejected(status: 403, message: \"wrong code\")");
}

TEST_F(PairingServerTest, TheAttemptThatExhaustsTheCodeDrawsANewOne) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto first = waitingOf(*server);
    const QByteArray request = TestSupport::pairingRequest(wrongCode, TestSupport::sampleEd25519Key, "Phone");
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(first.port, request)), 403);
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(first.port, request)), 403);
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(first.port, request)), 410);
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    EXPECT_TRUE(isWaiting(*server));
    const auto lines = messages(*server);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "pairing requested"), 2);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.starts_with("listening on "); }),
              2);
    EXPECT_EQ(lines.back().rfind(
                  "listening on " + std::to_string(waitingOf(*server).port) + ", code " + m_codes[1], 0),
              0u);
    EXPECT_EQ(first.digits, m_codes[0]);
    EXPECT_EQ(waitingOf(*server).digits, m_codes[1]);
}

TEST_F(PairingServerTest, GivesUpWithTooManyWrongCodesAfterTheThirdCodeIsExhausted) {
    auto server = makeServer(options());
    server->start();
    for (int code = 0; code < PairingServer::maxCodesPerStart; ++code) {
        ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
        const auto state = waitingOf(*server);
        const QByteArray request =
            TestSupport::pairingRequest(wrongCode, TestSupport::sampleEd25519Key, "Phone");
        EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(state.port, request)), 403);
        EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(state.port, request)), 403);
        EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(state.port, request)), 410);
    }
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    EXPECT_EQ(server->state(), PairingState(Pairing::Failed{PairingFailure::tooManyWrongCodes}));
    EXPECT_EQ(failure(*server), "too many wrong codes");
    const auto lines = messages(*server);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "too many wrong codes"), lines.end());
    EXPECT_EQ(lines.back(), "listener stopped");
    EXPECT_TRUE(m_announcers->back()->destroyed);

    // Only a new start begins again, with a fresh allowance.
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
}

TEST_F(PairingServerTest, PairsInstallsTheKeyAndTearsDown) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto waiting = waitingOf(*server);
    ASSERT_FALSE(m_announcers->empty());
    m_announcers->back()->observer.registered("Studio._nuvexa._tcp.local.");
    ASSERT_TRUE(server->announced());

    const QByteArray response = TestSupport::exchange(
        waiting.port,
        TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, "Ana's phone"));
    EXPECT_EQ(TestSupport::statusOf(response), 200);
    EXPECT_EQ(
        TestSupport::bodyOf(response),
        QByteArray(R"({"user":"ana","name":"Studio","sshPort":22,"hosts":["Studio.local","192.168.1.20"],)"
                   R"("mosh":true,"tmux":false})"));
    const std::string keyLine =
        std::string(TestSupport::sampleEd25519Key).substr(0, 80) + " nuvexa:Ana's phone";
    const PairingState paired = Pairing::Paired{"Ana's phone", keyLine};
    EXPECT_EQ(server->state(), paired);
    EXPECT_FALSE(server->announced());
    EXPECT_TRUE(m_announcers->back()->destroyed);
    EXPECT_EQ(messages(*server).back(), "listener stopped");
    EXPECT_EQ(fileContent(authorizedKeys()), keyLine + "\n");

    PhoneClient late(waiting.port);
    EXPECT_FALSE(late.waitConnected()) << "the listener is closed";

    server->stop();
    EXPECT_EQ(server->state(), paired);
}

TEST_F(PairingServerTest, EachSessionPublishesItsOwnPairing) {
    auto server = makeServer(options());
    std::vector<std::string> paired;
    QObject::connect(server.get(), &PairingServer::stateChanged, [&] {
        if (const auto* state = std::get_if<Pairing::Paired>(&server->state())) {
            paired.push_back(state->device);
        }
    });
    for (const std::string device : {"first", "second"}) {
        server->start();
        ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
        const auto waiting = waitingOf(*server);
        EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(
                      waiting.port,
                      TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, device))),
                  200);
    }
    EXPECT_EQ(paired, (std::vector<std::string>{"first", "second"}));
    ASSERT_TRUE(std::holds_alternative<Pairing::Paired>(server->state()));
    EXPECT_EQ(std::get<Pairing::Paired>(server->state()).keyLine,
              std::string(TestSupport::sampleEd25519Key).substr(0, 80) + " nuvexa:second");
}

TEST_F(PairingServerTest, ReturnsToIdleWhenTheInjectedExpiryPasses) {
    auto serverOptions = options();
    serverOptions.expiry = std::chrono::milliseconds(200);
    auto server = makeServer(std::move(serverOptions));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto port = waitingOf(*server).port;
    ASSERT_TRUE(waitFor<Pairing::Idle>(*server));
    EXPECT_EQ(messages(*server).back(), "listener stopped");
    PhoneClient late(port);
    EXPECT_FALSE(late.waitConnected());
}

TEST_F(PairingServerTest, EndsTheSessionFiveMinutesAfterReadyCountingTimeAsleep) {
    ContinuousClock::time_point now{std::chrono::hours(1)};
    int reads = 0;
    auto serverOptions = options();
    serverOptions.expiry = PairingServer::Options{}.expiry;
    serverOptions.expiryClock = [&] {
        ++reads;
        return now;
    };
    // Short checks keep the test quick; only the fake clock decides when five minutes have passed.
    serverOptions.expiryCheckInterval = 2ms;
    auto server = makeServer(std::move(serverOptions));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));

    // Asleep for all but the last instant of the five minutes.
    now += 300s - 1ns;
    const int seen = reads;
    ASSERT_TRUE(TestSupport::spinUntil([&] { return reads >= seen + 3; }));
    EXPECT_TRUE(isWaiting(*server));

    now += 1ns;
    ASSERT_TRUE(waitFor<Pairing::Idle>(*server));
    EXPECT_EQ(messages(*server).back(), "listener stopped");
}

TEST_F(PairingServerTest, StartingTwiceLeavesOneListenerWithTheSecondCode) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto first = waitingOf(*server);
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto second = waitingOf(*server);

    const auto lines = messages(*server);
    std::vector<std::string> listening;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(listening),
                 [](const std::string& line) { return line.starts_with("listening on "); });
    ASSERT_EQ(listening.size(), 2u);
    EXPECT_EQ(second.digits, m_codes[1]);
    EXPECT_EQ(listening[1], "listening on " + std::to_string(second.port) + ", code " + m_codes[1]);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "listener stopped"), 1);
    ASSERT_EQ(m_announcers->size(), 2u);
    EXPECT_TRUE(m_announcers->front()->destroyed);
    EXPECT_FALSE(m_announcers->back()->destroyed);

    if (first.port != second.port) {
        PhoneClient old(first.port);
        EXPECT_FALSE(old.waitConnected()) << "the first listener is closed";
    }
    PhoneClient current(second.port);
    EXPECT_TRUE(current.waitConnected());
}

TEST_F(PairingServerTest, StopIsSafeWhenNothingRuns) {
    auto server = makeServer(options());
    server->stop();
    EXPECT_EQ(server->state(), idleState);
    EXPECT_TRUE(server->events().empty());
}

TEST_F(PairingServerTest, StopEndsWaitingAndClosesOpenConnections) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    PhoneClient idle(waitingOf(*server).port);
    ASSERT_TRUE(idle.waitConnected());
    ASSERT_TRUE(TestSupport::spinUntil([&] { return server->openConnections() == 1; }));
    server->stop();
    EXPECT_EQ(server->state(), idleState);
    EXPECT_EQ(server->openConnections(), 0u);
    EXPECT_TRUE(idle.waitClosed().isEmpty());
    EXPECT_EQ(messages(*server).back(), "listener stopped");
}

TEST_F(PairingServerTest, AnnouncesTheListenerWithTheTxtRecord) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    ASSERT_EQ(m_announcers->size(), 1u);
    const auto& record = *m_announcers->front();
    EXPECT_EQ(record.service.name, "Studio");
    EXPECT_EQ(record.service.type, "_nuvexa._tcp");
    EXPECT_EQ(record.service.port, waitingOf(*server).port);
    const std::map<std::string, std::string> txt(record.service.txt.begin(), record.service.txt.end());
    EXPECT_EQ(txt, (std::map<std::string, std::string>{{"v", "1"},
                                                       {"name", "Studio"},
                                                       {"user", "ana"},
                                                       {"port", std::to_string(waitingOf(*server).port)},
                                                       {"hosts", "Studio.local,192.168.1.20"},
                                                       {"mosh", "1"},
                                                       {"tmux", "0"}}));
    EXPECT_FALSE(server->announced());

    int changes = 0;
    QObject::connect(server.get(), &PairingServer::announcedChanged, [&] { ++changes; });
    record.observer.registered("Studio._nuvexa._tcp.local.");
    EXPECT_TRUE(server->announced());
    EXPECT_EQ(messages(*server).back(), "announced on Bonjour as Studio._nuvexa._tcp.local.");
    record.observer.removed("Studio._nuvexa._tcp.local.");
    EXPECT_FALSE(server->announced());
    EXPECT_EQ(messages(*server).back(), "Bonjour announcement removed: Studio._nuvexa._tcp.local.");
    record.observer.note("a note from the backend");
    EXPECT_EQ(messages(*server).back(), "a note from the backend");
    record.observer.registered("Studio._nuvexa._tcp.local.");
    server->stop();
    EXPECT_FALSE(server->announced());
    EXPECT_EQ(changes, 4);
}

TEST_F(PairingServerTest, ATooLongHostListLosesWholeHostsFromItsEndAndSaysSo) {
    m_identity.hosts.clear();
    for (int i = 0; i < 40; ++i) {
        m_identity.hosts.push_back("192.168.100." + std::to_string(100 + i));
    }
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto& entries = m_announcers->front()->service.txt;
    const auto hosts =
        std::find_if(entries.begin(), entries.end(), [](const auto& e) { return e.first == "hosts"; });
    ASSERT_NE(hosts, entries.end());
    EXPECT_LE(hosts->first.size() + 1 + hosts->second.size(), 255u);
    std::string expected;
    for (const auto& host : m_identity.hosts) {
        const std::string longer = expected.empty() ? host : expected + "," + host;
        if (6 + longer.size() > 255) {
            break;
        }
        expected = longer;
    }
    EXPECT_EQ(hosts->second, expected);
    const auto lines = messages(*server);
    EXPECT_NE(std::find_if(lines.begin(), lines.end(),
                           [](const std::string& line) { return line.starts_with("TXT entry hosts is "); }),
              lines.end());
}

TEST_F(PairingServerTest, EscapesControlCharactersOfTheRequestLineInTheLog) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const QByteArray request = "PO\x1bST /pair\x7f HTTP/1.1\r\nContent-Length: 0\r\n\r\n";
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(waitingOf(*server).port, request)), 404);
    EXPECT_EQ(messages(*server).back(),
              "request PO\\u{1B}ST /pair\\u{7F} \u2192 rejected(status: 404, message: \"not found\")");
}

TEST_F(PairingServerTest, EscapesC1ControlCharactersOfTheRequestLineInTheLog) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    // U+009B starts an escape sequence in terminals that obey C1 controls.
    const QByteArray request = "GET /pair\xC2\x9B"
                               "2J\xC2\x85x\xC2\xA0 HTTP/1.1\r\n\r\n";
    EXPECT_EQ(TestSupport::statusOf(TestSupport::exchange(waitingOf(*server).port, request)), 404);
    EXPECT_EQ(messages(*server).back(),
              "request GET /pair\\u{9B}2J\\u{85}x\u00A0 \u2192 rejected(status: 404, "
              "message: \"not found\")");
}

TEST_F(PairingServerTest, FailsWhenTheListenerCanNoLongerAccept) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer runtime opens descriptors of its own and cannot run out of them";
#endif
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto port = waitingOf(*server).port;
    ASSERT_FALSE(m_announcers->empty());
    m_announcers->back()->observer.registered("Studio._nuvexa._tcp.local.");
    const int client = connectedSocket(port);

    // Out of file descriptors: the lowest free one becomes the limit, so accepting needs one too many.
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    const int lowestFree = ::dup(0);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    rlimit lowered = saved;
    lowered.rlim_cur = static_cast<rlim_t>(lowestFree);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
    const bool failed = waitFor<Pairing::Failed>(*server);
    ::setrlimit(RLIMIT_NOFILE, &saved);
    ::close(client);

    ASSERT_TRUE(failed);
    const auto& why = std::get<Pairing::Failed>(server->state());
    EXPECT_EQ(why.reason, PairingFailure::listenerFailed);
    EXPECT_FALSE(why.detail.empty());
    EXPECT_EQ(messages(*server).back().rfind("listener failed on " + std::to_string(port) + ": ", 0), 0u)
        << messages(*server).back();
    EXPECT_FALSE(server->announced());
    EXPECT_TRUE(m_announcers->back()->destroyed) << "a dead listener is not announced";
    PhoneClient late(port);
    EXPECT_FALSE(late.waitConnected()) << "the listener is closed";

    server->stop();
    EXPECT_EQ(server->state(), idleState);
    EXPECT_EQ(messages(*server).back(), "listener stopped");
}

TEST_F(PairingServerTest, ClosesAConnectionSilentlyWhenItsRequestTakesTooLong) {
    auto serverOptions = options();
    serverOptions.requestTimeout = std::chrono::milliseconds(200);
    auto server = makeServer(std::move(serverOptions));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    PhoneClient silent(waitingOf(*server).port);
    PhoneClient partial(waitingOf(*server).port);
    ASSERT_TRUE(partial.waitConnected());
    partial.send("POST /pair HTTP/1.1\r\nContent-Length: 10\r\n\r\n{\"co");
    EXPECT_TRUE(silent.waitClosed().isEmpty());
    EXPECT_TRUE(partial.waitClosed().isEmpty());
    EXPECT_TRUE(isWaiting(*server));
}

TEST_F(PairingServerTest, WritesEveryLineToTheLogFile) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    server->stop();
    std::string expected;
    for (const auto& line : server->events()) {
        expected += line + "\n";
    }
    EXPECT_EQ(fileContent(server->logFile()), expected);
}

TEST_F(PairingServerTest, StampsTheLogWithTheInjectedClock) {
    auto serverOptions = options();
    serverOptions.clock = [] { return std::chrono::system_clock::from_time_t(1'794'800'735); };
    auto server = makeServer(std::move(serverOptions));
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    EXPECT_EQ(server->events().front(), "2026-11-16T03:45:35Z pairing requested");
    // The code was issued on that clock too, so it is not stale on it.
    const auto waiting = waitingOf(*server);
    EXPECT_EQ(
        TestSupport::statusOf(TestSupport::exchange(
            waiting.port, TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, "P"))),
        200);
}

TEST_F(PairingServerTest, AnObserverMayStopTheServerFromInsideASignal) {
    auto server = makeServer(options());
    std::vector<PairingState> seen;
    QObject::connect(server.get(), &PairingServer::stateChanged, [&] {
        seen.push_back(server->state());
        if (isWaiting(*server)) {
            server->stop();
        }
    });
    std::vector<PairingState> seenByTheNext;
    QObject::connect(server.get(), &PairingServer::stateChanged,
                     [&] { seenByTheNext.push_back(server->state()); });
    server->start();
    EXPECT_EQ(server->state(), idleState);
    // Each observer sees every state in turn, the stop's after the start's.
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0], PairingState(Pairing::Starting{}));
    EXPECT_TRUE(std::holds_alternative<Pairing::Waiting>(seen[1]));
    EXPECT_EQ(seen[2], idleState);
    EXPECT_EQ(seenByTheNext, seen);
    ASSERT_EQ(m_announcers->size(), 1u);
    EXPECT_TRUE(m_announcers->back()->destroyed) << "the announcement ends with the session";
    EXPECT_EQ(messages(*server).back(), "listener stopped");
}

TEST_F(PairingServerTest, AnObserverMayStartTheServerAgainFromInsideASignal) {
    auto server = makeServer(options());
    bool restarted = false;
    QObject::connect(server.get(), &PairingServer::stateChanged, [&] {
        if (isWaiting(*server) && !restarted) {
            restarted = true;
            server->start();
        }
    });
    server->start();
    ASSERT_TRUE(isWaiting(*server));
    EXPECT_EQ(waitingOf(*server).digits, m_codes[1]);
    ASSERT_EQ(m_announcers->size(), 2u);
    EXPECT_TRUE(m_announcers->front()->destroyed);
    EXPECT_FALSE(m_announcers->back()->destroyed);
    const auto lines = messages(*server);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "listener stopped"), 1);
    PhoneClient current(waitingOf(*server).port);
    EXPECT_TRUE(current.waitConnected());
}

constexpr uid_t nobody = 65534;

TEST_F(PairingServerTest, RefusesToPairIntoTheHomeOfAnotherAccountBeforeAnyCodeIsDrawn) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can hand a folder to another owner";
    }
    // Run as root with another account's home, as `sudo -E` does: the phone would be told root.
    m_identity.user = "root";
    ASSERT_EQ(::chown(m_home.path().c_str(), nobody, nobody), 0);
    auto server = makeServer(options());
    std::vector<PairingState> seen;
    QObject::connect(server.get(), &PairingServer::stateChanged, [&] { seen.push_back(server->state()); });
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    const std::string message =
        m_home.path().string() + " belongs to nobody, not to root, the account the phone would log in to";
    const PairingState failed =
        Pairing::Failed{PairingFailure::keyFileNotTheUsers,
                        {},
                        CompanionCore::KeyFileOwnership::Named{m_home.path(), "nobody", "root"}};
    EXPECT_EQ(server->state(), failed);
    EXPECT_EQ(failure(*server), message);
    EXPECT_EQ(seen, (std::vector<PairingState>{Pairing::Starting{}, failed}));
    EXPECT_EQ(m_codes.drawn(), 0u);
    EXPECT_EQ(messages(*server), (std::vector<std::string>{"pairing requested", "not pairing: " + message}));
    EXPECT_TRUE(m_announcers->empty());
    EXPECT_FALSE(std::filesystem::exists(m_home / ".ssh"));
}

TEST_F(PairingServerTest, PairsIntoTheHomeOfTheAccountThePhoneIsToldOf) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can hand a folder to another owner";
    }
    m_identity.user = "nobody";
    ASSERT_EQ(::chown(m_home.path().c_str(), nobody, nobody), 0);
    auto server = makeServer(options());
    server->start();
    EXPECT_TRUE(waitFor<Pairing::Waiting>(*server)) << failure(*server);
}

TEST_F(PairingServerTest, AStartAfterTheOwnerIsPutRightDrawsACode) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can hand a folder to another owner";
    }
    m_identity.user = "root";
    std::filesystem::create_directories(m_home / ".ssh");
    ASSERT_EQ(::chown((m_home / ".ssh").c_str(), nobody, nobody), 0);
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    EXPECT_TRUE(failure(*server).starts_with((m_home / ".ssh").string() + " belongs to nobody"))
        << failure(*server);
    ASSERT_EQ(::chown((m_home / ".ssh").c_str(), 0, 0), 0);
    server->start();
    EXPECT_TRUE(waitFor<Pairing::Waiting>(*server)) << failure(*server);
}

} // namespace

namespace {

class PairingServerLogTest : public PairingServerTest {};

} // namespace

TEST_F(PairingServerLogTest, EachRequestIsPrecededByALineNamingThePeer) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    PhoneClient client(waitingOf(*server).port);
    ASSERT_TRUE(client.waitConnected());
    const auto port = client.socket().localPort();
    client.send("GET /status HTTP/1.1\r\n\r\n");
    client.waitClosed();
    const auto lines = messages(*server);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], "request from 127.0.0.1 port " + std::to_string(port));
    EXPECT_EQ(lines.back(), "request GET /status \u2192 rejected(status: 404, message: \"not found\")");
}

TEST_F(PairingServerLogTest, APairingLogsThePhoneAndItsKeyFingerprint) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto waiting = waitingOf(*server);
    TestSupport::exchange(waiting.port, TestSupport::pairingRequest(
                                            waiting.digits, TestSupport::sampleEd25519Key, "Ana's phone"));
    ASSERT_TRUE(waitFor<Pairing::Paired>(*server));
    const auto lines = messages(*server);
    EXPECT_NE(
        std::find(lines.begin(), lines.end(),
                  std::string("paired \"Ana\\'s phone\" with key ") + TestSupport::sampleEd25519Fingerprint),
        lines.end())
        << testing::PrintToString(lines);
}

TEST_F(PairingServerLogTest, AHugePathWritesOneShortLine) {
    auto server = makeServer(options());
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const QByteArray request = "GET /" + QByteArray(65000, 'a') + " HTTP/1.1\r\n\r\n";
    PhoneClient client(waitingOf(*server).port);
    ASSERT_TRUE(client.waitConnected());
    client.send(request);
    client.waitClosed();
    ASSERT_TRUE(waitUntil(server.get(), &PairingServer::eventAdded,
                          [&] { return messages(*server).back().starts_with("request GET /"); }));
    const std::string line = messages(*server).back();
    EXPECT_LT(line.size(), 2 * PairingServer::maxLoggedFieldBytes);
    EXPECT_NE(line.find("\u2026 (65001 bytes) \u2192 rejected(status: 404"), std::string::npos) << line;
    EXPECT_LT(std::filesystem::file_size(m_home / "log" / "nuvexa-companion.log"), 4096u);
}

TEST_F(PairingServerLogTest, AFailedInstallReportsTheFailureOnce) {
    // A plain file where the key folder should be: the install fails after the code is spent.
    std::ofstream(m_home / ".ssh") << "in the way";
    auto server = makeServer(options());
    std::vector<Pairing::Failed> failures;
    QObject::connect(server.get(), &PairingServer::stateChanged, [&] {
        if (const auto* failed = std::get_if<Pairing::Failed>(&server->state())) {
            failures.push_back(*failed);
        }
    });
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    const auto waiting = waitingOf(*server);
    TestSupport::exchange(waiting.port,
                          TestSupport::pairingRequest(wrongCode, TestSupport::sampleEd25519Key, "x"));
    EXPECT_TRUE(failures.empty()) << "a wrong code is no failure of ours";
    const QByteArray response = TestSupport::exchange(
        waiting.port, TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, "x"));
    EXPECT_EQ(TestSupport::statusOf(response), 500);
    ASSERT_TRUE(waitFor<Pairing::Failed>(*server));
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].reason, PairingFailure::keyNotInstalled);
    EXPECT_FALSE(failures[0].detail.empty()) << "the system's own words";
    EXPECT_TRUE(Pairing::describe(failures[0]).starts_with("could not write authorized_keys: "))
        << Pairing::describe(failures[0]);
    // The code is spent: the session is over.
    EXPECT_EQ(messages(*server).back(), "listener stopped");
}

TEST_F(PairingServerLogTest, ARefusedLogFileIsSignalledOnceAndSaidInTheEvents) {
    const auto file = m_home / "log" / "nuvexa-companion.log";
    std::filesystem::create_directories(file.parent_path());
    std::filesystem::create_symlink(m_home / "elsewhere", file);
    auto server = makeServer(options());
    int refusals = 0;
    QObject::connect(server.get(), &PairingServer::logRefused, [&] { ++refusals; });
    server->start();
    ASSERT_TRUE(waitFor<Pairing::Waiting>(*server));
    server->stop();
    EXPECT_EQ(refusals, 1);
    EXPECT_EQ(server->logRefusal(), CompanionCore::EventLog::Refusal::symbolicLink);
    EXPECT_EQ(messages(*server).front(),
              "no log file is written: " + file.string() + " is refused, as it is a symbolic link");
    EXPECT_EQ(messages(*server)[1], "pairing requested");
    EXPECT_FALSE(std::filesystem::exists(m_home / "elsewhere"));
}
