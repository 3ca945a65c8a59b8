#include "Companion/JournalLoginRecords.h"
#include "Companion/linux/LinuxLoginRecords.h"

#include "support/Files.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Companion;
using std::chrono::system_clock;

namespace {

constexpr const char* journalRemote = "/usr/lib/systemd/systemd-journal-remote";
constexpr long long baseMicroseconds = 1795000000000000LL;

/// One entry of the journal export format, as journald would have stored it.
std::string exportEntry(int second, const std::string& command, int uid, const std::string& message,
                        const std::string& identifier = "sshd") {
    return "__REALTIME_TIMESTAMP=" + std::to_string(baseMicroseconds + second * 1000000LL) +
           "\n__MONOTONIC_TIMESTAMP=" + std::to_string(1000 + second) +
           "\n_BOOT_ID=0123456789abcdef0123456789abcdef\n_COMM=" + command + "\n_UID=" + std::to_string(uid) +
           "\n_PID=" + std::to_string(100 + second) + "\nSYSLOG_IDENTIFIER=" + identifier +
           "\nMESSAGE=" + message + "\n\n";
}

std::string accepted(const std::string& address) {
    return "Accepted publickey for ana from " + address + " port 4000 ssh2: ED25519 SHA256:a";
}

LoginRecords::Query query() {
    LoginRecords::Query asked;
    asked.fingerprints = {"SHA256:a"};
    asked.user = "ana";
    asked.since = system_clock::time_point(std::chrono::microseconds(baseMicroseconds));
    return asked;
}

class JournalLoginRecordsTest : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(journalRemote)) {
            GTEST_SKIP() << "systemd-journal-remote is not installed (scripts/setup.sh --tests installs it)";
        }
    }

    /// A real journal file that journal-remote wrote from `entries`.
    std::filesystem::path journalOf(const std::string& entries, std::filesystem::path file = {}) {
        if (file.empty()) {
            file = m_folder / "x.journal";
        }
        std::filesystem::create_directories(file.parent_path());
        QProcess process;
        process.start(journalRemote, {QString::fromStdString("--output=" + file.string()), "-"});
        process.write(entries.data(), static_cast<qint64>(entries.size()));
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        return file;
    }

    TestSupport::TemporaryDirectory m_folder;
};

} // namespace

TEST_F(JournalLoginRecordsTest, ReadsSshdsEntriesNewestFirst) {
    JournalLoginRecords records(
        journalOf(exportEntry(1, "sshd", 0, accepted("10.0.0.1")) +
                  exportEntry(2, "sshd-session", 0,
                              "Failed publickey for ana from 10.0.0.2 port 4000 ssh2: "
                              "ED25519 SHA256:a") +
                  exportEntry(3, "sshd", 0, "Server listening on 0.0.0.0 port 22.")));
    const auto reading = records.newest(query());
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 2U);
    EXPECT_EQ((*reading)[0].address, "10.0.0.2");
    EXPECT_FALSE((*reading)[0].accepted);
    EXPECT_EQ((*reading)[1].address, "10.0.0.1");
    EXPECT_EQ((*reading)[1].time,
              system_clock::time_point(std::chrono::microseconds(baseMicroseconds + 1000000)));
}

TEST_F(JournalLoginRecordsTest, SkipsEntriesAnotherProgramSentInSshdsName) {
    JournalLoginRecords records(journalOf(exportEntry(1, "sshd", 0, accepted("10.0.0.1")) +
                                          exportEntry(2, "logger", 1000, accepted("6.6.6.6")) +
                                          exportEntry(3, "sshd", 1000, accepted("6.6.6.7"), "logger")));
    const auto reading = records.newest(query());
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 1U);
    EXPECT_EQ(reading->front().address, "10.0.0.1");
}

TEST_F(JournalLoginRecordsTest, StopsAtEntriesOlderThanAsked) {
    JournalLoginRecords records(journalOf(exportEntry(-5, "sshd", 0, accepted("10.0.0.1")) +
                                          exportEntry(5, "sshd", 0, accepted("10.0.0.2"))));
    const auto reading = records.newest(query());
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 1U);
    EXPECT_EQ(reading->front().address, "10.0.0.2");
}

TEST_F(JournalLoginRecordsTest, AFolderWithoutEntriesIsNoJournal) {
    std::filesystem::create_directories(m_folder / "empty");
    JournalLoginRecords records(m_folder / "empty");
    EXPECT_FALSE(records.read(query()));
    EXPECT_FALSE(JournalLoginRecords(m_folder / "missing").read(query()));
}

TEST_F(JournalLoginRecordsTest, ReadsTheSystemJournalInTheMachineFolders) {
    journalOf(exportEntry(1, "sshd", 0, accepted("10.0.0.1")),
              m_folder / "journal" / "0123456789abcdef0123456789abcdef" / "system.journal");
    JournalLoginRecords records(SystemJournal{{m_folder / "journal", m_folder / "run"}});
    const auto reading = records.read(query());
    ASSERT_TRUE(reading);
    ASSERT_TRUE(*reading);
    EXPECT_EQ((*reading)->size(), 1U);
}

TEST_F(JournalLoginRecordsTest, AnEmptySystemJournalFolderIsNoJournal) {
    std::filesystem::create_directories(m_folder / "journal" / "0123456789abcdef0123456789abcdef");
    JournalLoginRecords records(SystemJournal{{m_folder / "journal"}});
    EXPECT_FALSE(records.read(query()));
}

TEST_F(JournalLoginRecordsTest, WithoutAJournalLinuxReadsTheSyslogFile) {
    std::filesystem::create_directories(m_folder / "journal" / "0123456789abcdef0123456789abcdef");
    TestSupport::writeFile(m_folder / "auth.log",
                           "2026-11-19T06:30:00+00:00 box sshd[5]: " + accepted("10.0.0.9") + "\n");
    LinuxLoginRecords records(JournalLoginRecords(SystemJournal{{m_folder / "journal"}}),
                              AuthLogLoginRecords({m_folder / "auth.log"}));
    const auto reading = records.newest(query());
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 1U);
    EXPECT_EQ(reading->front().address, "10.0.0.9");
}

TEST_F(JournalLoginRecordsTest, WithAJournalLinuxLeavesTheSyslogFileAlone) {
    journalOf(exportEntry(1, "sshd", 0, accepted("10.0.0.1")),
              m_folder / "journal" / "0123456789abcdef0123456789abcdef" / "system.journal");
    TestSupport::writeFile(m_folder / "auth.log",
                           "2026-11-19T06:30:00+00:00 box sshd[5]: " + accepted("10.0.0.9") + "\n");
    LinuxLoginRecords records(JournalLoginRecords(SystemJournal{{m_folder / "journal"}}),
                              AuthLogLoginRecords({m_folder / "auth.log"}));
    const auto reading = records.newest(query());
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 1U);
    EXPECT_EQ(reading->front().address, "10.0.0.1");
}
