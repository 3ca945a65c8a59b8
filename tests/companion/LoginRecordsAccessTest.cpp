// The records that the user's groups do not let it read, read for real by an unprivileged user:
// root, which runs the tests, reads any file.
#include "Companion/LogAccessText.h"

#include "support/Files.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

constexpr uid_t unprivileged = 65534;
constexpr const char* journalRemote = "/usr/lib/systemd/systemd-journal-remote";
const std::string record =
    "2026-11-19T06:00:00+00:00 box sshd[10]: Accepted publickey for ana from 10.0.0.1 port "
    "4000 ssh2: ED25519 SHA256:a\n";

class LoginRecordsAccessTest : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root to drop to an unprivileged user";
        }
        std::filesystem::permissions(m_folder.path(), std::filesystem::perms(0755));
    }

    /// What the probe prints when it reads `path` as `kind`, as root or as nobody.
    static std::string probe(const std::string& kind, const std::filesystem::path& path, bool dropped) {
        QStringList command = {NUVEXA_LOGIN_RECORDS_PROBE, QString::fromStdString(kind),
                               QString::fromStdString(path.string())};
        if (dropped) {
            command = QStringList{"--reuid=65534", "--regid=65534", "--clear-groups"} + command;
            return TestSupport::runProgram("/usr/bin/setpriv", command).output;
        }
        return TestSupport::runProgram(command.first(), command.mid(1)).output;
    }

    static std::string advice() {
        const passwd* entry = ::getpwuid(unprivileged);
        return "unreadable: " +
               Companion::LogAccessText::linuxGroups(entry ? entry->pw_name : "").toStdString() + "\n";
    }

    TestSupport::TemporaryDirectory m_folder;
};

} // namespace

TEST_F(LoginRecordsAccessTest, AnAuthLogOfGroupAdmIsUnreadableAndTheAdviceNamesTheGroup) {
    const auto file = m_folder / "auth.log";
    TestSupport::writeFile(file, record);
    std::filesystem::permissions(file, std::filesystem::perms(0640));
    EXPECT_EQ(probe("auth-log", file, false), "attempts: 1\n");
    EXPECT_EQ(probe("auth-log", file, true), advice());
}

TEST_F(LoginRecordsAccessTest, AJournalOfTheSystemsGroupsIsUnreadableAndTheAdviceNamesThem) {
    if (!std::filesystem::exists(journalRemote)) {
        GTEST_SKIP() << "systemd-journal-remote is not installed (scripts/setup.sh --tests installs it)";
    }
    const auto file = m_folder / "x.journal";
    const std::string entry =
        "__REALTIME_TIMESTAMP=1795000000000000\n__MONOTONIC_TIMESTAMP=1\n"
        "_BOOT_ID=0123456789abcdef0123456789abcdef\n_COMM=sshd\n_UID=0\nMESSAGE=Accepted "
        "publickey for ana from 10.0.0.1 port 4000 ssh2: ED25519 SHA256:a\n\n";
    QProcess writer;
    writer.start(journalRemote, {QString::fromStdString("--output=" + file.string()), "-"});
    writer.write(entry.data(), static_cast<qint64>(entry.size()));
    writer.closeWriteChannel();
    ASSERT_TRUE(writer.waitForFinished(60000));
    std::filesystem::permissions(file, std::filesystem::perms(0640));
    EXPECT_EQ(probe("journal", file, false), "attempts: 1\n");
    EXPECT_EQ(probe("journal", file, true), advice());

    // The same file as the system's journal, in its machine's folder.
    const auto machine = m_folder / "journal" / "0123456789abcdef0123456789abcdef";
    std::filesystem::create_directories(machine);
    std::filesystem::permissions(m_folder / "journal", std::filesystem::perms(0755));
    std::filesystem::permissions(machine, std::filesystem::perms(0755));
    std::filesystem::rename(file, machine / "system.journal");
    EXPECT_EQ(probe("system-journal", m_folder / "journal", false), "attempts: 1\n");
    EXPECT_EQ(probe("system-journal", m_folder / "journal", true), advice());
}
