// The SSH server's own records of real logins, as the companion reads them: a real sshd in a
// network namespace of the test's own, logging verbosely to its error output; the test writes its
// lines where a syslog daemon or journald would, and real ssh logins with the phones' private keys
// are what the records and the process table show.
#include "Companion/AuthLogLoginRecords.h"
#include "Companion/JournalLoginRecords.h"
#include "Companion/PairedPhones.h"
#include "Companion/PhoneActivity.h"
#include "Companion/linux/ProcLiveSessions.h"
#include "CompanionCore/PairedDevices.h"
#include "server/support/PeerState.h"
#include "server/support/SshdInstance.h"
#include "server/support/SshdScenario.h"
#include "support/Files.h"
#include "support/Patience.h"
#include "support/Programs.h"
#include "support/SshClient.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <QProcess>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <ctime>
#include <fstream>
#include <iostream>
#include <pwd.h>
#include <sstream>
#include <sys/stat.h>

namespace {

/// The account the phones log in to; made for these tests only.
constexpr const char* loginUser = "nla-records";
constexpr int sshPort = 2222;
constexpr const char* journalRemote = "/usr/lib/systemd/systemd-journal-remote";
const QByteArray acceptedWords = "Accepted publickey for ";
const QString cli = NUVEXA_CLI;

class SshdLoginRecordsTest : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            if (TestSupport::peersAreRequired()) {
                FAIL() << "real sshd required on CI: not running as root";
            }
            GTEST_SKIP() << "real sshd unavailable: not running as root (a test user and sshd need root)";
        }
        const passwd* entry = TestSupport::loginUser(loginUser);
        ASSERT_NE(entry, nullptr);
        m_uid = entry->pw_uid;
        const std::filesystem::path home = entry->pw_dir;
        std::filesystem::permissions(home, std::filesystem::perms(0755));
        std::filesystem::create_directories(home / ".ssh");
        ASSERT_EQ(::chown((home / ".ssh").c_str(), entry->pw_uid, entry->pw_gid), 0);
        std::filesystem::permissions(home / ".ssh", std::filesystem::perms(0700));

        std::string keys;
        for (const char* phone : {"phoneA", "phoneB"}) {
            const auto path = m_scratch / phone;
            const auto made =
                TestSupport::runProgram("/usr/bin/ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-C", "",
                                                                "-f", QString::fromStdString(path)});
            ASSERT_EQ(made.exitCode, 0) << made.output;
            std::string line;
            std::ifstream publicFile(path.string() + ".pub");
            std::getline(publicFile, line);
            keys += line + " nuvexa:" + phone + "\n";
        }
        const auto keyFile = home / ".ssh" / "authorized_keys";
        TestSupport::writeFile(keyFile, keys);
        ASSERT_EQ(::chown(keyFile.c_str(), entry->pw_uid, entry->pw_gid), 0);
        std::filesystem::permissions(keyFile, std::filesystem::perms(0600));
        m_phones = CompanionCore::PairedDevices::list(keys).devices;
        ASSERT_EQ(m_phones.size(), 2U);

        ASSERT_TRUE(m_namespace.ready());
        std::filesystem::permissions(m_scratch.path(), std::filesystem::perms(0755));
        std::filesystem::create_directories(m_scratch / "sshd");
        m_server = std::make_unique<TestSupport::SshdInstance>(
            m_scratch / "sshd", sshPort,
            std::string("ListenAddress ") + TestSupport::homeAddress +
                "\nLogLevel VERBOSE\nAuthorizedKeysFile .ssh/authorized_keys\nAllowUsers " + loginUser + "\n",
            m_namespace.wrapper());
        ASSERT_TRUE(m_server->start()) << m_server->log();
    }

    void TearDown() override {
        // Whatever the logins left running (a mosh-server and its forked copy, a held session) ends
        // with the test: every process of the test user, by its id.
        if (m_uid == 0) {
            return;
        }
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
            struct stat status {};
            const auto name = entry.path().filename().string();
            if (!name.empty() && std::all_of(name.begin(), name.end(), ::isdigit) &&
                ::stat(entry.path().c_str(), &status) == 0 && status.st_uid == m_uid) {
                ::kill(std::stoi(name), SIGKILL);
            }
        }
    }

    QStringList sshCommand(const char* phone, const QStringList& remote) const {
        return m_namespace.wrapper() +
               TestSupport::sshClient(QString::fromStdString((m_scratch / phone).string()), sshPort,
                                      QString(loginUser) + "@" + TestSupport::homeAddress, remote);
    }

    /// Logs in with `phone`'s private key and runs `remote`; true when the login and the command went well.
    bool logIn(const char* phone, const QStringList& remote = {"true"}) {
        const auto command = sshCommand(phone, remote);
        const auto result = TestSupport::runProgram(command.first(), command.mid(1));
        return result.exitCode == 0;
    }

    /// sshd's messages about keys so far, without the line ends of its error output.
    std::vector<std::string> keyMessages() {
        std::vector<std::string> messages;
        std::istringstream log(m_server->log());
        std::string line;
        while (std::getline(log, line)) {
            while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
                line.pop_back();
            }
            if (line.find("publickey for ") != std::string::npos) {
                messages.push_back(line);
            }
        }
        return messages;
    }

    /// sshd's messages as a syslog daemon writes them, in the traditional or the high-precision format.
    std::filesystem::path writeAuthLog(bool precise) {
        const auto now = std::chrono::system_clock::now();
        const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
        std::tm parts{};
        char date[64];
        if (precise) {
            gmtime_r(&seconds, &parts);
            std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S.000000+00:00", &parts);
        } else {
            localtime_r(&seconds, &parts);
            std::strftime(date, sizeof date, "%b %e %H:%M:%S", &parts);
        }
        std::string content = std::string(date) + " box CRON[77]: (root) CMD (true)\n";
        for (const auto& message : keyMessages()) {
            content += std::string(date) + " box sshd[" + std::to_string(m_server->processId()) +
                       "]: " + message + "\n";
        }
        const auto file = m_scratch / (precise ? "secure" : "auth.log");
        TestSupport::writeFile(file, content);
        return file;
    }

    std::string fingerprint(std::size_t phone) const {
        return *Companion::PairedPhones::fingerprint(m_phones[phone]);
    }

    Companion::LoginRecords::Query query() const {
        Companion::LoginRecords::Query asked;
        asked.fingerprints = {fingerprint(0), fingerprint(1)};
        asked.user = loginUser;
        asked.since = std::chrono::system_clock::now() - std::chrono::hours(1);
        return asked;
    }

    /// What the companion says of both phones, with the records of `records` and the test user's processes.
    Companion::ActivityReading activity(std::shared_ptr<Companion::LoginRecords> records) const {
        Companion::Host host;
        host.userName = [] { return std::string(loginUser); };
        host.clock = CompanionCore::systemNow;
        host.loginRecords = std::move(records);
        host.liveSessions = std::make_shared<Companion::ProcLiveSessions>(m_uid);
        return Companion::PhoneActivities::read(host, m_phones);
    }

    TestSupport::TemporaryDirectory m_scratch;
    TestSupport::NetworkNamespace m_namespace{"nla-records-"};
    std::unique_ptr<TestSupport::SshdInstance> m_server;
    std::vector<CompanionCore::PairedDevice> m_phones;
    uid_t m_uid = 0;
};

} // namespace

TEST_F(SshdLoginRecordsTest, TheSyslogFileShowsARealLoginInBothFormats) {
    ASSERT_TRUE(logIn("phoneA"));
    ASSERT_TRUE(m_server->waitForLog(acceptedWords));
    for (const bool precise : {false, true}) {
        Companion::AuthLogLoginRecords records({writeAuthLog(precise)});
        const auto reading = records.newest(query());
        ASSERT_TRUE(reading) << reading.failure().howToAllow.toStdString();
        ASSERT_EQ(reading->size(), 1U) << m_server->log();
        EXPECT_TRUE(reading->front().accepted);
        EXPECT_EQ(reading->front().fingerprint, fingerprint(0));
        EXPECT_EQ(reading->front().address, TestSupport::homeAddress);
        EXPECT_EQ(reading->front().user, loginUser);
    }
}

TEST_F(SshdLoginRecordsTest, TheJournalShowsARealLoginAndNotAForgedOne) {
    if (!std::filesystem::exists(journalRemote)) {
        GTEST_SKIP() << "systemd-journal-remote is not installed (scripts/setup.sh --tests installs it)";
    }
    ASSERT_TRUE(logIn("phoneA"));
    ASSERT_TRUE(m_server->waitForLog(acceptedWords));
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(
                                  std::chrono::system_clock::now().time_since_epoch())
                                  .count();
    std::string entries;
    int sequence = 0;
    const auto entry = [&](const std::string& command, int uid, const std::string& message) {
        ++sequence;
        entries += "__REALTIME_TIMESTAMP=" + std::to_string(microseconds + sequence) +
                   "\n__MONOTONIC_TIMESTAMP=" + std::to_string(sequence) +
                   "\n_BOOT_ID=0123456789abcdef0123456789abcdef\n_COMM=" + command +
                   "\n_UID=" + std::to_string(uid) + "\n_PID=" + std::to_string(m_server->processId()) +
                   "\nSYSLOG_IDENTIFIER=sshd\nMESSAGE=" + message + "\n\n";
    };
    for (const auto& message : keyMessages()) {
        entry("sshd", 0, message);
    }
    // A user's program sending the same words under sshd's identifier, from another address.
    auto forged = keyMessages().front();
    forged.replace(forged.find(TestSupport::homeAddress), std::string(TestSupport::homeAddress).size(),
                   "6.6.6.6");
    entry("logger", 1000, forged);

    const auto file = m_scratch / "x.journal";
    QProcess writer;
    writer.start(journalRemote, {QString::fromStdString("--output=" + file.string()), "-"});
    writer.write(entries.data(), static_cast<qint64>(entries.size()));
    writer.closeWriteChannel();
    ASSERT_TRUE(writer.waitForFinished(TestSupport::generousMilliseconds));
    ASSERT_EQ(writer.exitCode(), 0) << writer.readAllStandardError().toStdString();

    Companion::JournalLoginRecords records(file);
    const auto reading = records.newest(query());
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 1U);
    EXPECT_EQ(reading->front().address, TestSupport::homeAddress);
    EXPECT_EQ(reading->front().fingerprint, fingerprint(0));
}

TEST_F(SshdLoginRecordsTest, OfTwoPhonesOnlyTheOneThatLoggedInHasALastLogin) {
    ASSERT_TRUE(logIn("phoneA"));
    ASSERT_TRUE(m_server->waitForLog(acceptedWords));
    const auto reading =
        activity(std::make_shared<Companion::AuthLogLoginRecords>(std::vector{writeAuthLog(true)}));
    ASSERT_FALSE(reading.unreadable);
    ASSERT_EQ(reading.phones.size(), 2U);
    ASSERT_TRUE(reading.phones[0].lastLogin);
    EXPECT_EQ(reading.phones[0].lastLogin->address, TestSupport::homeAddress);
    EXPECT_FALSE(reading.phones[0].connectedNow);
    EXPECT_EQ(reading.phones[1], Companion::PhoneActivity{});
}

TEST_F(SshdLoginRecordsTest, AHeldLoginIsConnectedNowUntilItEnds) {
    QProcess held;
    const auto command = sshCommand("phoneA", {"cat"});
    held.start(command.first(), command.mid(1));
    ASSERT_TRUE(held.waitForStarted());
    ASSERT_TRUE(m_server->waitForLog(acceptedWords));
    const auto records = std::make_shared<Companion::AuthLogLoginRecords>(std::vector{writeAuthLog(true)});
    EXPECT_TRUE(TestSupport::pollUntil([&] { return activity(records).phones[0].connectedNow; }));
    EXPECT_FALSE(activity(records).phones[1].connectedNow);

    // The remote cat reads the end of its input and the login ends.
    held.closeWriteChannel();
    ASSERT_TRUE(held.waitForFinished(TestSupport::generousMilliseconds));
    EXPECT_TRUE(TestSupport::pollUntil([&] { return !activity(records).phones[0].connectedNow; }));
}

TEST_F(SshdLoginRecordsTest, AMoshServerStartedFromALoginIsAMoshSessionNotAConnection) {
    ASSERT_TRUE(logIn("phoneA", {"/usr/bin/mosh-server", "new", "-i", TestSupport::homeAddress, "-p",
                                 "60001:60999", "-l", "LANG=C.UTF-8", "--", "/bin/sleep", "600"}));
    ASSERT_TRUE(m_server->waitForLog(acceptedWords));
    const auto records = std::make_shared<Companion::AuthLogLoginRecords>(std::vector{writeAuthLog(true)});
    // The login that started it has ended: only the detached server is left.
    EXPECT_TRUE(TestSupport::pollUntil([&] { return activity(records).phones[0].moshSessions == 1; }));
    const auto reading = activity(records);
    EXPECT_EQ(reading.phones[0].moshSessions, 1);
    EXPECT_FALSE(reading.phones[0].connectedNow);
    EXPECT_EQ(reading.phones[1].moshSessions, 0);
}

TEST_F(SshdLoginRecordsTest, DevicesRunAsTheUserShowsTheConnectedPhoneAndTheOneThatNeverLoggedIn) {
    QProcess held;
    const auto command = sshCommand("phoneA", {"cat"});
    held.start(command.first(), command.mid(1));
    ASSERT_TRUE(held.waitForStarted());
    ASSERT_TRUE(m_server->waitForLog(acceptedWords));
    const auto records = writeAuthLog(true);
    std::filesystem::permissions(records, std::filesystem::perms(0644));
    const passwd* entry = ::getpwnam(loginUser);
    ASSERT_NE(entry, nullptr);
    const auto devices = [&](const QString& lang) {
        return TestSupport::runProgram("/usr/sbin/runuser",
                                       {"-u", loginUser, "--", "/usr/bin/env",
                                        QStringLiteral("HOME=%1").arg(entry->pw_dir), cli, "devices",
                                        "--login-records", QString::fromStdString(records.string())},
                                       TestSupport::generousMilliseconds, TestSupport::speaking(lang));
    };
    std::string spanish;
    ASSERT_TRUE(TestSupport::pollUntil([&] {
        spanish = devices("es_ES.UTF-8").output;
        return spanish.find("conectado ahora (SSH)") != std::string::npos;
    })) << spanish;
    std::cout << spanish;
    const auto phoneB = spanish.find("phoneB");
    ASSERT_NE(phoneB, std::string::npos);
    EXPECT_LT(spanish.find("conectado ahora (SSH) · último acceso hace un momento desde " +
                           std::string(TestSupport::homeAddress)),
              phoneB);
    EXPECT_GT(spanish.find("no ha iniciado sesión desde que se emparejó"), phoneB);

    const auto english = devices("en_GB.UTF-8").output;
    std::cout << english;
    EXPECT_NE(english.find("connected now (SSH) · last login just now from " +
                           std::string(TestSupport::homeAddress)),
              std::string::npos)
        << english;
    EXPECT_NE(english.find("has not logged in since it was paired"), std::string::npos) << english;
    held.closeWriteChannel();
    ASSERT_TRUE(held.waitForFinished(TestSupport::generousMilliseconds));
}
