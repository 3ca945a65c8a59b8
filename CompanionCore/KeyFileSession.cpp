#include "CompanionCore/KeyFileSession.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace CompanionCore {

namespace {

constexpr mode_t directoryMode = 0700;
constexpr mode_t newFileMode = 0600;
/// The bits the SSH server's StrictModes refuses on the file: group and other write.
constexpr mode_t refusedBits = 022;
constexpr int maximumLinkDepth = 40;
/// "XXXXXX" in the temporary's name, as mkstemp fills it.
constexpr std::size_t temporarySuffixLength = 6;

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

[[noreturn]] void fail(const KeyFileFailure& failure) {
    throw std::system_error(failure.error, failure.context());
}

KeyFileFailure failure(KeyFileFailure::Kind kind, int error, const std::filesystem::path& path) {
    return {kind, path, std::error_code(error, std::generic_category())};
}

/// A descriptor closed on every path out.
class Descriptor {
public:
    explicit Descriptor(int fd)
        : m_fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    int get() const { return m_fd; }
    /// Hands the descriptor over: it is no longer closed here.
    int release() { return std::exchange(m_fd, -1); }
    /// Closes now and reports the close's own failure.
    int close() {
        const int result = ::close(m_fd);
        m_fd = -1;
        return result;
    }

private:
    int m_fd;
};

void createDirectories(const std::filesystem::path& directory) {
    if (directory.empty()) {
        return;
    }
    struct stat info {};
    if (::lstat(directory.c_str(), &info) == 0) {
        return; // Whatever is there is left alone, permissions included.
    }
    if (errno != ENOENT) {
        fail(errno, "cannot inspect " + directory.string());
    }
    if (directory.has_parent_path() && directory.parent_path() != directory) {
        createDirectories(directory.parent_path());
    }
    if (::mkdir(directory.c_str(), directoryMode) != 0) {
        if (errno == EEXIST) {
            return; // Made by someone else meanwhile: theirs to keep as it is.
        }
        fail(errno, "cannot create " + directory.string());
    }
    // The umask may have taken bits away; the SSH directory must be exactly 0700.
    if (::chmod(directory.c_str(), directoryMode) != 0) {
        fail(errno, "cannot set permissions of " + directory.string());
    }
}

/// The file that really receives the content: the final target when `path` is a symbolic link.
std::filesystem::path resolvedTarget(std::filesystem::path path) {
    for (int depth = 0; depth < maximumLinkDepth; ++depth) {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
            return path;
        }
        std::error_code error;
        const auto target = std::filesystem::read_symlink(path, error);
        if (error) {
            fail(error.value(), "cannot read link " + path.string());
        }
        path = target.is_absolute() ? target : path.parent_path() / target;
    }
    fail(ELOOP, "cannot resolve " + path.string());
}

void writeAll(int fd, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "cannot write " + path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

using FileInfo = struct stat;

/// Checks what an open descriptor is before anything is read from it or written to it.
Expected<FileInfo, KeyFileFailure> regularFileInfo(int fd, const std::filesystem::path& path) {
    FileInfo info{};
    if (::fstat(fd, &info) != 0) {
        return failure(KeyFileFailure::Kind::unreadable, errno, path);
    }
    if (!S_ISREG(info.st_mode)) {
        return failure(KeyFileFailure::Kind::notRegularFile, EINVAL, path);
    }
    if (static_cast<std::uintmax_t>(info.st_size) > KeyFileSession::maximumSize) {
        return failure(KeyFileFailure::Kind::tooLarge, EFBIG, path);
    }
    return info;
}

/// Whether two looks at the file saw the same content. Any append changes the size; the times (in
/// whole seconds, which is what every platform offers) catch most edits of the same length.
bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtime == b.st_mtime && a.st_ctime == b.st_ctime;
}

/// The folder that holds `target`; "." for a bare file name.
std::filesystem::path folderOf(const std::filesystem::path& target) {
    return target.parent_path().empty() ? std::filesystem::path(".") : target.parent_path();
}

std::string temporaryPrefix(const std::filesystem::path& target) {
    return "." + target.filename().string() + ".";
}

} // namespace

KeyFileSession::KeyFileSession(const std::filesystem::path& path, const std::stop_token& stop,
                               std::chrono::milliseconds wait)
    : m_lockWait(wait) {
    createDirectories(path.parent_path());
    m_target = resolvedTarget(path);
    const auto directory = folderOf(m_target);
    m_directory = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_directory < 0) {
        fail(errno, "cannot open " + directory.string());
    }
    try {
        lock(stop);
    } catch (...) {
        ::close(m_directory);
        throw;
    }
    removeStaleTemporaries();
}

KeyFileSession::~KeyFileSession() {
    // Closing the descriptors releases the lock. The lock file goes first, while it is still held, so
    // the key folder keeps nothing of ours; a writer that waits on it finds the name gone once it has
    // the lock and takes a fresh one.
    if (m_lock >= 0) {
        ::unlinkat(m_directory, lockFileName(m_target).c_str(), 0);
        ::close(m_lock);
    }
    ::close(m_directory);
}

std::string KeyFileSession::lockFileName(const std::filesystem::path& keyFileName) {
    return "." + keyFileName.filename().string() + ".lock";
}

void KeyFileSession::lock(const std::stop_token& stop) {
    const std::string name = lockFileName(m_target);
    const std::filesystem::path shown = folderOf(m_target) / name;
    for (int round = 0; round < maximumRounds; ++round) {
        const int fd = ::openat(m_directory, name.c_str(),
                                O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, newFileMode);
        if (fd < 0 && errno == ELOOP) {
            // A link in its place is never followed, and never left to lead a later writer astray.
            if (::unlinkat(m_directory, name.c_str(), 0) != 0 && errno != ENOENT) {
                fail(errno, "cannot replace the link " + shown.string());
            }
            continue;
        }
        if (fd < 0) {
            if (errno == EACCES || errno == EPERM || errno == EROFS) {
                // A folder this account may not write: nobody else of ours can write in it either,
                // so its own lock is the one every writer of ours can share.
                waitForLock(m_directory, folderOf(m_target), stop);
                return;
            }
            fail(errno, "cannot open " + shown.string());
        }
        Descriptor candidate(fd);
        struct stat info {};
        if (::fstat(candidate.get(), &info) != 0) {
            fail(errno, "cannot inspect " + shown.string());
        }
        // A lock file another account could open is one it could hold: it is replaced by a private one.
        if (!S_ISREG(info.st_mode) || info.st_uid != ::geteuid() || info.st_nlink != 1 ||
            (info.st_mode & 077) != 0) {
            if (::unlinkat(m_directory, name.c_str(), 0) != 0 && errno != ENOENT) {
                fail(errno, "cannot replace " + shown.string() + ", which another account could lock");
            }
            continue;
        }
        waitForLock(candidate.get(), shown, stop);
        // Replaced meanwhile by a writer of ours that found it unsafe: the lock must be on the file
        // the name stands for now.
        struct stat named {};
        if (::fstatat(m_directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 ||
            named.st_dev != info.st_dev || named.st_ino != info.st_ino) {
            continue;
        }
        // Kept open for the session: closing it would release the lock.
        m_lock = candidate.release();
        return;
    }
    fail(EAGAIN, "cannot lock " + shown.string() + ": it keeps being replaced");
}

void KeyFileSession::waitForLock(int fd, const std::filesystem::path& what,
                                 const std::stop_token& stop) const {
    const auto deadline = std::chrono::steady_clock::now() + m_lockWait;
    while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR) {
            continue;
        }
        if (errno != EWOULDBLOCK) {
            fail(errno, "cannot lock " + what.string());
        }
        if (stop.stop_requested()) {
            fail(ECANCELED, "stopped while waiting for the lock on " + what.string());
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            fail(EAGAIN,
                 "another program of this account has held the lock on " + what.string() + " for " +
                     std::to_string(std::chrono::duration_cast<std::chrono::seconds>(m_lockWait).count()) +
                     " seconds; try again");
        }
        std::this_thread::sleep_for(lockRetryInterval);
    }
}

void KeyFileSession::removeStaleTemporaries() const {
    // Under the lock no writer of ours is between mkstemp and rename: every temporary is a leftover.
    const std::string prefix = temporaryPrefix(m_target);
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folderOf(m_target), error)) {
        const std::string name = entry.path().filename().string();
        if (name.size() != prefix.size() + temporarySuffixLength || !name.starts_with(prefix)) {
            continue;
        }
        struct stat info {};
        if (::lstat(entry.path().c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            info.st_uid == ::geteuid()) {
            ::unlink(entry.path().c_str());
        }
    }
}

KeyFileSession::Snapshot KeyFileSession::read() const {
    auto snapshot = readFile(m_target);
    if (!snapshot) {
        fail(snapshot.failure());
    }
    return *snapshot;
}

Expected<KeyFileSession::Snapshot, KeyFileFailure>
KeyFileSession::readFile(const std::filesystem::path& path) {
    Snapshot snapshot;
    // Non-blocking, so a FIFO in the file's place cannot hold the open; it is refused just after.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        if (error == ENOENT) {
            return snapshot;
        }
        // A socket, or a device without a driver, refuses the open itself: it is no file either.
        FileInfo info{};
        if (::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
            return failure(KeyFileFailure::Kind::notRegularFile, EINVAL, path);
        }
        return failure(KeyFileFailure::Kind::unreadable, error, path);
    }
    Descriptor file(fd);
    const auto info = regularFileInfo(file.get(), path);
    if (!info) {
        return info.failure();
    }
    snapshot.info = *info;
    snapshot.exists = true;
    char chunk[8192];
    for (;;) {
        const ssize_t count = ::read(file.get(), chunk, sizeof chunk);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return failure(KeyFileFailure::Kind::unreadable, errno, path);
        }
        if (count == 0) {
            return snapshot;
        }
        snapshot.content.append(chunk, static_cast<std::size_t>(count));
        if (snapshot.content.size() > maximumSize) {
            return failure(KeyFileFailure::Kind::tooLarge, EFBIG, path);
        }
    }
}

KeyFileSession::AppendResult KeyFileSession::append(std::string_view line, const Snapshot& basis) {
    std::string bytes(line);
    bytes += '\n';
    if (!basis.exists) {
        const int fd =
            ::open(m_target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, newFileMode);
        if (fd < 0) {
            if (errno == EEXIST) {
                return AppendResult::changed;
            }
            fail(errno, "cannot create " + m_target.string());
        }
        Descriptor file(fd);
        // The umask may have taken bits away; the key file must be exactly 0600.
        if (::fchmod(file.get(), newFileMode) != 0) {
            fail(errno, "cannot set permissions of " + m_target.string());
        }
        writeAll(file.get(), bytes, m_target.string());
        if (::fsync(file.get()) != 0 || file.close() != 0) {
            fail(errno, "cannot flush " + m_target.string());
        }
        flushDirectory();
        return AppendResult::appended;
    }
    const int fd = ::open(m_target.c_str(), O_RDWR | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == EACCES || errno == EPERM) {
            return AppendResult::notWritable;
        }
        if (errno == ENOENT) {
            return AppendResult::changed;
        }
        fail(errno, "cannot open " + m_target.string());
    }
    Descriptor file(fd);
    const auto checked = regularFileInfo(file.get(), m_target);
    if (!checked) {
        fail(checked.failure());
    }
    const FileInfo& info = *checked;
    if (info.st_dev != basis.info.st_dev || info.st_ino != basis.info.st_ino) {
        return AppendResult::changed;
    }
    if ((info.st_mode & refusedBits) != 0 && ::fchmod(file.get(), info.st_mode & 07777 & ~refusedBits) != 0) {
        fail(errno, "cannot set permissions of " + m_target.string());
    }
    // The file as it ends now, appends by others included: a line of ours never runs on from theirs.
    char last = '\n';
    if (info.st_size > 0 && ::pread(file.get(), &last, 1, info.st_size - 1) != 1) {
        fail(errno, "cannot read " + m_target.string());
    }
    if (last != '\n') {
        bytes.insert(bytes.begin(), '\n');
    }
    // One write with O_APPEND: whatever another appender added meanwhile stays before it.
    writeAll(file.get(), bytes, m_target.string());
    if (::fsync(file.get()) != 0 || file.close() != 0) {
        fail(errno, "cannot flush " + m_target.string());
    }
    return AppendResult::appended;
}

bool KeyFileSession::replace(std::string_view content, const Snapshot& basis) {
    const auto directory = folderOf(m_target);
    std::string temporary = (directory / (temporaryPrefix(m_target) + "XXXXXX")).string();
    // mkstemp creates the file 0600, so the key material is never open to group or others.
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) {
        fail(errno, "cannot create a temporary file in " + directory.string());
    }
    Descriptor file(fd);
    try {
        writeAll(file.get(), content, temporary);
        const mode_t mode = basis.exists ? (basis.info.st_mode & 07777 & ~refusedBits) : newFileMode;
        if (::fchmod(file.get(), mode) != 0) {
            fail(errno, "cannot set permissions of " + temporary);
        }
        if (basis.exists && (basis.info.st_uid != ::geteuid() || basis.info.st_gid != ::getegid()) &&
            ::fchown(file.get(), basis.info.st_uid, basis.info.st_gid) != 0) {
            // Only its owner (or root) may give the file away; taking it over silently is worse.
            fail(errno, "cannot keep the owner of " + m_target.string());
        }
        if (::fsync(file.get()) != 0) {
            fail(errno, "cannot flush " + temporary);
        }
        if (file.close() != 0) {
            fail(errno, "cannot close " + temporary);
        }
        if (!isUnchanged(basis)) {
            ::unlink(temporary.c_str());
            return false;
        }
        if (::rename(temporary.c_str(), m_target.c_str()) != 0) {
            fail(errno, "cannot replace " + m_target.string());
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    flushDirectory();
    return true;
}

bool KeyFileSession::isUnchanged(const Snapshot& basis) const {
    struct stat now {};
    if (::stat(m_target.c_str(), &now) != 0) {
        return errno == ENOENT && !basis.exists;
    }
    return basis.exists && sameFile(now, basis.info);
}

void KeyFileSession::flushDirectory() const {
    // A new name is durable only once the directory itself is flushed; a failure here leaves the new
    // content in place, so it is not reported as a failed write.
    ::fsync(m_directory);
}

} // namespace CompanionCore
