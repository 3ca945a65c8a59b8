#include "CompanionCore/KeyFileSession.h"

#include "CompanionCore/AuthorizedKeys.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;
using CompanionCore::KeyFileSession;
namespace AuthorizedKeys = CompanionCore::AuthorizedKeys;

namespace {

constexpr const char* line =
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIK8ukunMc8/xzR/VDl2xjxFCKCqTJ2/etdEaiQhjPRJB "
    "nuvexa:iPhone";
constexpr uid_t nobody = 65534;

/// `mkdir ~/.ssh` under umask 022: what the SSH server accepts and every account can open.
struct OpenHome {
    TestSupport::TemporaryDirectory home;
    fs::path folder = home / ".ssh";
    fs::path keys = folder / "authorized_keys";
    OpenHome() {
        fs::permissions(home.path(), fs::perms(0755));
        fs::create_directory(folder);
        fs::permissions(folder, fs::perms(0755));
    }
};

/// A child process, as another account when `uid` is given, holding an exclusive lock on `path` until
/// it is ended; the lock is held once the constructor returns.
class LockHolder {
public:
    LockHolder(const fs::path& path, std::optional<uid_t> uid = std::nullopt) {
        int ready[2];
        if (::pipe(ready) != 0) {
            return;
        }
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(ready[0]);
            if (uid && (::setgid(*uid) != 0 || ::setuid(*uid) != 0)) {
                ::_exit(2);
            }
            const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            const char held = fd >= 0 && ::flock(fd, LOCK_EX) == 0 ? 'y' : 'n';
            [[maybe_unused]] const ssize_t written = ::write(ready[1], &held, 1);
            ::pause();
            ::_exit(0);
        }
        ::close(ready[1]);
        char held = 'n';
        m_held = ::read(ready[0], &held, 1) == 1 && held == 'y';
        ::close(ready[0]);
    }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;
    ~LockHolder() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }
    bool held() const { return m_held; }

private:
    pid_t m_pid = -1;
    bool m_held = false;
};

fs::path lockFileOf(const fs::path& keys) {
    return keys.parent_path() / KeyFileSession::lockFileName(keys.filename());
}

/// A private lock file of ours, held by another process of this account.
std::unique_ptr<LockHolder> holdOurLock(const fs::path& keys) {
    TestSupport::writeFile(lockFileOf(keys), "");
    fs::permissions(lockFileOf(keys), fs::perms(0600));
    return std::make_unique<LockHolder>(lockFileOf(keys));
}

/// Long enough for one try at the lock, short enough that a test never waits for a held one.
constexpr std::chrono::milliseconds tinyWait{1};

/// The error a session gives up with; nothing when it had the lock.
std::optional<std::system_error> sessionFailure(const fs::path& keys, const std::stop_token& stop,
                                                std::chrono::milliseconds wait) {
    try {
        KeyFileSession session(keys, stop, wait);
        return std::nullopt;
    } catch (const std::system_error& error) {
        return error;
    }
}

std::set<std::string> entriesOf(const fs::path& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

/// The error `install` gives up with; nothing when the key went in.
std::optional<std::system_error> installFailure(const fs::path& keys, const std::stop_token& stop = {}) {
    try {
        AuthorizedKeys::install(line, keys, stop);
        return std::nullopt;
    } catch (const std::system_error& error) {
        return error;
    }
}

} // namespace

TEST(KeyFileSessionTest, AnotherAccountLockingTheKeyFolderKeepsNoPairingOut) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "acting as another account needs root";
    }
    OpenHome open;
    LockHolder stranger(open.folder, nobody);
    ASSERT_TRUE(stranger.held());
    // Before, this waited as long as the stranger pleased.
    EXPECT_TRUE(AuthorizedKeys::install(line, open.keys));
    EXPECT_EQ(TestSupport::readFile(open.keys), std::string(line) + "\n");
}

TEST(KeyFileSessionTest, TheLockFileIsPrivateSoNoOtherAccountCanOpenIt) {
    OpenHome open;
    {
        KeyFileSession session(open.keys);
        struct stat info {};
        ASSERT_EQ(::lstat(lockFileOf(open.keys).c_str(), &info), 0);
        EXPECT_TRUE(S_ISREG(info.st_mode));
        EXPECT_EQ(info.st_mode & 07777, 0600u);
        EXPECT_EQ(info.st_uid, ::geteuid());
    }
    // Nothing of ours stays in the key folder.
    EXPECT_FALSE(fs::exists(lockFileOf(open.keys)));
}

TEST(KeyFileSessionTest, ALockFileAnotherAccountCouldOpenIsReplacedByAPrivateOne) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "acting as another account needs root";
    }
    OpenHome open;
    const fs::path lock = lockFileOf(open.keys);
    TestSupport::writeFile(lock, "");
    fs::permissions(lock, fs::perms(0644));
    LockHolder stranger(lock, nobody);
    ASSERT_TRUE(stranger.held());
    EXPECT_TRUE(AuthorizedKeys::install(line, open.keys));
    // Replaced by a private one for the session, which took it away at its end.
    EXPECT_FALSE(fs::exists(lock));
}

TEST(KeyFileSessionTest, ALinkInTheLockFilesPlaceIsNeverFollowed) {
    OpenHome open;
    TestSupport::TemporaryDirectory elsewhere;
    const fs::path target = elsewhere / "bashrc";
    TestSupport::writeFile(target, "echo hello\n");
    fs::create_symlink(target, lockFileOf(open.keys));
    EXPECT_TRUE(AuthorizedKeys::install(line, open.keys));
    EXPECT_EQ(TestSupport::readFile(target), "echo hello\n");
    EXPECT_FALSE(fs::is_symlink(lockFileOf(open.keys)));
}

TEST(KeyFileSessionTest, AWriterOfOursHoldingTheLockIsWaitedForOnlyWithinTheBound) {
    OpenHome open;
    const auto other = holdOurLock(open.keys);
    ASSERT_TRUE(other->held());
    const auto failure = sessionFailure(open.keys, {}, tinyWait);
    ASSERT_TRUE(failure.has_value()) << "the lock was had while another writer held it";
    EXPECT_EQ(failure->code().value(), EAGAIN);
    EXPECT_NE(std::string(failure->what()).find("another program of this account has held the lock"),
              std::string::npos)
        << failure->what();
    EXPECT_FALSE(fs::exists(open.keys));
}

TEST(KeyFileSessionTest, AStopEndsTheWaitForTheLockAtOnce) {
    OpenHome open;
    const auto other = holdOurLock(open.keys);
    ASSERT_TRUE(other->held());
    std::stop_source stop;
    stop.request_stop();
    // Were the stop not heeded, the default wait would run its course and end in EAGAIN.
    const auto failure = installFailure(open.keys, stop.get_token());
    ASSERT_TRUE(failure.has_value()) << "the key went in while the lock was held";
    EXPECT_EQ(failure->code().value(), ECANCELED);
    EXPECT_FALSE(fs::exists(open.keys));
}

TEST(KeyFileSessionTest, ASecondSessionOfThisProcessWaitsForTheFirst) {
    OpenHome open;
    {
        KeyFileSession first(open.keys);
        const auto failure = sessionFailure(open.keys, {}, tinyWait);
        ASSERT_TRUE(failure.has_value()) << "two sessions held the lock at once";
        EXPECT_EQ(failure->code().value(), EAGAIN);
    }
    EXPECT_FALSE(sessionFailure(open.keys, {}, tinyWait).has_value());
}

TEST(KeyFileSessionTest, ALockFileOthersCouldOpenIsReplacedByAPrivateOneOfItsOwn) {
    OpenHome open;
    const fs::path lock = lockFileOf(open.keys);
    TestSupport::writeFile(lock, "left by someone");
    fs::permissions(lock, fs::perms(0644));
    KeyFileSession session(open.keys, {}, tinyWait);
    struct stat during {};
    ASSERT_EQ(::lstat(lock.c_str(), &during), 0);
    EXPECT_EQ(during.st_mode & 07777, 0600u);
    EXPECT_EQ(TestSupport::readFile(lock), "")
        << "the lock file is a fresh one, not the old one made private";
}

TEST(KeyFileSessionTest, ALockFileWithASecondNameIsReplacedAndTheOtherNameKeptAsItWas) {
    OpenHome open;
    const fs::path lock = lockFileOf(open.keys);
    const fs::path elsewhere = open.home / "lock-alias";
    TestSupport::writeFile(elsewhere, "not ours");
    fs::permissions(elsewhere, fs::perms(0600));
    fs::create_hard_link(elsewhere, lock);
    {
        KeyFileSession session(open.keys, {}, tinyWait);
        EXPECT_EQ(fs::hard_link_count(lock), 1u);
    }
    EXPECT_EQ(TestSupport::readFile(elsewhere), "not ours");
    EXPECT_EQ(fs::hard_link_count(elsewhere), 1u);
}

TEST(KeyFileSessionTest, AStaleTemporaryOfOursIsRemovedAndNothingElse) {
    OpenHome open;
    TestSupport::writeFile(open.keys, "ssh-ed25519 AAAA\n");
    TestSupport::writeFile(open.folder / ".authorized_keys.a1B2c3", "half a file");
    TestSupport::writeFile(open.folder / ".authorized_keys.toolong7", "someone else's");
    TestSupport::writeFile(open.folder / "known_hosts", "kept");
    fs::create_directory(open.folder / ".authorized_keys.dir123");
    { KeyFileSession session(open.keys); }
    EXPECT_EQ(entriesOf(open.folder), (std::set<std::string>{"authorized_keys", ".authorized_keys.toolong7",
                                                             "known_hosts", ".authorized_keys.dir123"}));
    EXPECT_EQ(TestSupport::readFile(open.keys), "ssh-ed25519 AAAA\n");
}

TEST(KeyFileSessionTest, TheLockIsFreeAgainOnceTheSessionEnds) {
    OpenHome open;
    { KeyFileSession first(open.keys); }
    std::stop_source stop;
    stop.request_stop();
    // A stop only ends a wait: a free lock is taken whatever it says.
    EXPECT_NO_THROW(KeyFileSession second(open.keys, stop.get_token()));
}
