#include "CompanionCore/server/DnsSdAnnouncer.h"

#include "CompanionCore/server/PairingServer.h"
#include "server/support/AvahiPeer.h"
#include "server/support/EventLoop.h"
#include "server/support/PeerState.h"
#include "server/support/PhoneClient.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <QRegularExpression>

#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <unistd.h>

namespace {

using CompanionCore::Announcer;
using CompanionCore::DnsSdAnnouncer;
using CompanionCore::PairingHandler;
using CompanionCore::PairingServer;

constexpr std::size_t timestampLength = 21;

/// What `avahi-browse -rpt _nuvexa._tcp` resolves for one instance name: TXT entries per port.
std::vector<std::set<std::string>> browse(const std::string& instance) {
    const auto result = TestSupport::runProgram("/usr/bin/avahi-browse", {"-rpt", "_nuvexa._tcp"});
    std::vector<std::set<std::string>> found;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> fields;
        std::size_t start = 0;
        for (int i = 0; i < 9 && start != std::string::npos; ++i) {
            const std::size_t end = line.find(';', start);
            fields.push_back(line.substr(start, end == std::string::npos ? std::string::npos : end - start));
            start = end == std::string::npos ? end : end + 1;
        }
        if (fields.size() < 9 || fields[0] != "=" || fields[3] != instance || start == std::string::npos) {
            continue;
        }
        std::set<std::string> txt;
        const QString entries = QString::fromStdString(line.substr(start));
        auto quoted = QRegularExpression("\"([^\"]*)\"").globalMatch(entries);
        while (quoted.hasNext()) {
            txt.insert(quoted.next().captured(1).toStdString());
        }
        found.push_back(txt);
    }
    return found;
}

std::vector<std::string> messages(const PairingServer& server) {
    std::vector<std::string> result;
    for (const auto& line : server.events()) {
        result.push_back(line.substr(timestampLength));
    }
    return result;
}

class DnsSdAnnouncerTest : public testing::Test {
protected:
    std::unique_ptr<PairingServer> makeServer() {
        PairingServer::Options options;
        options.ports = {0};
        options.expiry = std::chrono::minutes(10);
        options.logFile = m_home / "log";
        return std::make_unique<PairingServer>([this] { return m_identity; }, m_home / "authorized_keys",
                                               std::move(options));
    }

    static bool waitForWaiting(PairingServer& server) {
        return TestSupport::waitUntil(&server, &PairingServer::stateChanged,
                                      [&] { return isWaiting(server); });
    }

    static bool isWaiting(const PairingServer& server) {
        return std::holds_alternative<CompanionCore::Pairing::Waiting>(server.state());
    }

    static const CompanionCore::Pairing::Waiting& waitingOf(const PairingServer& server) {
        return std::get<CompanionCore::Pairing::Waiting>(server.state());
    }

    static bool waitForAnnounced(PairingServer& server) {
        return TestSupport::waitUntil(&server, &PairingServer::announcedChanged,
                                      [&] { return server.announced(); });
    }

    TestSupport::TemporaryDirectory m_home;
    // Unique per process, so leftovers of another run can never be mistaken for this one's.
    std::string m_name = "nuvexa-test-" + std::to_string(::getpid());
    PairingHandler::Identity m_identity{"ana", m_name, 22, {"Studio.local", "192.168.1.20"}, true, false};
};

TEST_F(DnsSdAnnouncerTest, WithoutDaemonNothingIsAnnouncedAndTheLogSaysWhy) {
    // CTest points the system bus nowhere for this test; make sure when run by hand, too.
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/nuvexa-no-system-bus", 1);
    auto server = makeServer();
    server->start();
    ASSERT_TRUE(waitForWaiting(*server));
    ASSERT_TRUE(TestSupport::waitUntil(server.get(), &PairingServer::eventAdded, [&] {
        return messages(*server).back().starts_with("not announced on Bonjour: ");
    }));
    EXPECT_EQ(messages(*server).back(), "not announced on Bonjour: " + DnsSdAnnouncer::describeError(-65537));
    EXPECT_FALSE(server->announced());
    // The session works all the same.
    const auto waiting = waitingOf(*server);
    EXPECT_EQ(
        TestSupport::statusOf(TestSupport::exchange(
            waiting.port, TestSupport::pairingRequest(waiting.digits, TestSupport::sampleEd25519Key, "P"))),
        200);
}

TEST_F(DnsSdAnnouncerTest, NamesTheRegisteredServiceInFull) {
    EXPECT_EQ(DnsSdAnnouncer::fullName("Studio", "_nuvexa._tcp.", "local."), "Studio._nuvexa._tcp.local.");
    EXPECT_EQ(DnsSdAnnouncer::fullName("Studio", "_nuvexa._tcp", ""), "Studio._nuvexa._tcp.local.");
}

TEST_F(DnsSdAnnouncerTest, KeepsInstanceNamesWithinOneLabel) {
    EXPECT_EQ(DnsSdAnnouncer::instanceName("Studio"), "Studio");
    EXPECT_EQ(DnsSdAnnouncer::instanceName("Studio", " (2)"), "Studio (2)");
    const std::string accented = "\xC3\xA9" + std::string(62, 'x'); // 64 bytes
    EXPECT_EQ(DnsSdAnnouncer::instanceName(accented), accented.substr(0, 63));
    EXPECT_EQ(DnsSdAnnouncer::instanceName(std::string(62, 'x') + "\xC3\xA9"), std::string(62, 'x'))
        << "never half a character";
    EXPECT_EQ(DnsSdAnnouncer::instanceName(std::string(70, 'x'), " (2)"), std::string(59, 'x') + " (2)");
}

class AvahiAnnouncerTest : public DnsSdAnnouncerTest {
protected:
    void SetUp() override {
        const auto peer = TestSupport::peerState("NUVEXA_AVAHI_PEER");
        REQUIRE_PEER(peer);
    }
};

TEST_F(AvahiAnnouncerTest, ShowsTheSessionWithExactlyTheSevenTxtEntriesWhileWaitingAndNothingAfter) {
    auto server = makeServer();
    server->start();
    ASSERT_TRUE(waitForWaiting(*server));
    ASSERT_TRUE(waitForAnnounced(*server)) << messages(*server).back();
    EXPECT_EQ(messages(*server).back(), "announced on Bonjour as " + m_name + "._nuvexa._tcp.local.");

    const std::string port = std::to_string(waitingOf(*server).port);
    const auto seen = browse(m_name);
    ASSERT_FALSE(seen.empty());
    for (const auto& txt : seen) {
        EXPECT_EQ(txt, (std::set<std::string>{"v=1", "name=" + m_name, "user=ana", "port=" + port,
                                              "hosts=Studio.local,192.168.1.20", "mosh=1", "tmux=0"}));
    }

    server->stop();
    EXPECT_FALSE(server->announced());
    // The daemon drops the record at once; a browser may still hold it until the goodbye is processed.
    EXPECT_TRUE(TestSupport::spinUntil([&] { return browse(m_name).empty(); }));
}

TEST_F(AvahiAnnouncerTest, ATooLongHostListIsAnnouncedWithoutItsLastHosts) {
    m_identity.hosts = {"Studio.local"};
    for (int i = 0; i < 30; ++i) {
        m_identity.hosts.push_back("192.168.100." + std::to_string(100 + i));
    }
    auto server = makeServer();
    server->start();
    ASSERT_TRUE(waitForWaiting(*server));
    ASSERT_TRUE(waitForAnnounced(*server)) << messages(*server).back();
    const auto seen = browse(m_name);
    ASSERT_FALSE(seen.empty());
    const auto hosts = std::find_if(seen.front().begin(), seen.front().end(),
                                    [](const std::string& entry) { return entry.starts_with("hosts="); });
    ASSERT_NE(hosts, seen.front().end());
    EXPECT_LE(hosts->size(), 255u);
    EXPECT_TRUE(hosts->starts_with("hosts=Studio.local,192.168.100.100,"));
    EXPECT_TRUE(std::regex_match(*hosts, std::regex(R"(hosts=Studio\.local(,192\.168\.100\.1\d\d)+)")))
        << *hosts;
    const auto lines = messages(*server);
    EXPECT_NE(std::find_if(lines.begin(), lines.end(),
                           [](const std::string& line) { return line.starts_with("TXT entry hosts is "); }),
              lines.end());
    server->stop();
}

TEST_F(AvahiAnnouncerTest, TriesAnotherNameWhenTheNameIsTaken) {
    std::vector<std::string> registered;
    std::vector<std::string> notes;
    Announcer::Observer observer;
    observer.registered = [&](const std::string& name) { registered.push_back(name); };
    observer.removed = [&](const std::string&) {};
    observer.note = [&](const std::string& note) { notes.push_back(note); };

    DnsSdAnnouncer first;
    first.announce({m_name, "_nuvexa._tcp", 40001, {{"v", "1"}}}, observer);
    ASSERT_TRUE(TestSupport::spinUntil([&] { return registered.size() == 1 || !notes.empty(); }));
    ASSERT_EQ(registered, std::vector<std::string>{m_name + "._nuvexa._tcp.local."});

    DnsSdAnnouncer second;
    second.announce({m_name, "_nuvexa._tcp", 40002, {{"v", "1"}}}, observer);
    ASSERT_TRUE(TestSupport::spinUntil([&] { return registered.size() == 2; }))
        << testing::PrintToString(notes);
    EXPECT_EQ(registered.back(), m_name + " (2)._nuvexa._tcp.local.");
    EXPECT_EQ(notes, std::vector<std::string>{"Bonjour name \"" + m_name + "\" is taken; trying \"" + m_name +
                                              " (2)\""});
}

TEST_F(AvahiAnnouncerTest, TheAnnouncementComesBackWithTheDaemonWithoutAnyoneAsking) {
    auto server = makeServer();
    server->start();
    ASSERT_TRUE(waitForWaiting(*server));
    ASSERT_TRUE(waitForAnnounced(*server)) << messages(*server).back();

    // Whatever happens below, the other tests find the daemon running.
    TestSupport::AvahiRestart restart;
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-stop"));
    ASSERT_TRUE(TestSupport::waitUntil(server.get(), &PairingServer::announcedChanged,
                                       [&] { return !server->announced(); }));
    const auto lost = messages(*server);
    EXPECT_NE(std::find(lost.begin(), lost.end(),
                        "Bonjour announcement removed: " + m_name + "._nuvexa._tcp.local."),
              lost.end())
        << testing::PrintToString(lost);

    restart.needed = false;
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-start"));
    ASSERT_TRUE(waitForAnnounced(*server)) << testing::PrintToString(messages(*server));
    EXPECT_EQ(messages(*server).back(), "announced on Bonjour as " + m_name + "._nuvexa._tcp.local.");
    EXPECT_TRUE(isWaiting(*server));
    ASSERT_TRUE(TestSupport::spinUntil([&] { return !browse(m_name).empty(); }));
    const std::string port = std::to_string(waitingOf(*server).port);
    for (const auto& txt : browse(m_name)) {
        EXPECT_TRUE(txt.contains("port=" + port));
    }
    server->stop();
}

TEST_F(AvahiAnnouncerTest, ReportsNothingOnceDestroyed) {
    int reports = 0;
    Announcer::Observer observer;
    observer.registered = [&](const std::string&) { ++reports; };
    observer.removed = [&](const std::string&) { ++reports; };
    observer.note = [&](const std::string&) { ++reports; };
    {
        DnsSdAnnouncer announcer;
        announcer.announce({m_name, "_nuvexa._tcp", 40003, {{"v", "1"}}}, observer);
    }
    TestSupport::settle(std::chrono::milliseconds(500));
    EXPECT_EQ(reports, 0);
    EXPECT_TRUE(TestSupport::spinUntil([&] { return browse(m_name).empty(); }));
}

} // namespace
