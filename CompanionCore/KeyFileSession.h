#pragma once

#include "CompanionCore/Expected.h"
#include "CompanionCore/KeyFileFailure.h"

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <stop_token>
#include <string>
#include <string_view>

namespace CompanionCore {

/// One change of the authorized keys file, with every other writer of ours kept out for its whole
/// length: the session takes an exclusive lock on a private lock file beside the file (a symbolic link
/// is followed to its target), so two companions, or a pairing and a revoke, never overlap. Only this
/// account can open that file, so no other account can hold the lock and keep the owner from pairing
/// or revoking; the wait for it is bounded all the same, and can be stopped. The lock file lasts as long
/// as the session. Tools that only append
/// (`>>`) take no lock; the session never replaces content that changed since it read it.
///
/// Every failure of a session throws std::system_error carrying the system's message and the path;
/// `readFile`, for readers that change nothing, answers its failure as a value instead.
class KeyFileSession {
public:
    /// The largest file read; a bigger one is not an authorized keys file anybody wrote by hand.
    static constexpr std::size_t maximumSize = 16 * 1024 * 1024;
    /// How often a change is tried again when another writer changed the file meanwhile.
    static constexpr int maximumRounds = 8;
    /// How long another writer of ours may hold the lock before a session gives up, unless it is told
    /// otherwise: far longer than any change takes, far shorter than a person waits.
    static constexpr std::chrono::milliseconds lockWait = std::chrono::seconds(10);
    /// How often a held lock is tried again, and so how soon a stop is noticed.
    static constexpr std::chrono::milliseconds lockRetryInterval = std::chrono::milliseconds(20);

    /// The file as it was read.
    struct Snapshot {
        bool exists = false;
        std::string content;
        struct stat info {};
    };

    /// Resolves links, creates the missing folders (0700), takes the lock and removes our own
    /// temporaries left behind by a writer that was killed. Gives up with EAGAIN when the lock is
    /// still held after `wait`, and with ECANCELED as soon as `stop` is requested.
    explicit KeyFileSession(const std::filesystem::path& path, const std::stop_token& stop = {},
                            std::chrono::milliseconds wait = lockWait);
    KeyFileSession(const KeyFileSession&) = delete;
    KeyFileSession& operator=(const KeyFileSession&) = delete;
    ~KeyFileSession();

    /// The file's content; a file that does not exist reads as empty. Only a regular file of at most
    /// `maximumSize` bytes is read: a FIFO or a device is refused without blocking.
    Snapshot read() const;

    /// What `read` reads, for a reader that changes nothing: no lock, no folder created. What keeps
    /// the file from being read is the failure, never an exception, so that a reader can say what to
    /// fix.
    static Expected<Snapshot, KeyFileFailure> readFile(const std::filesystem::path& path);

    enum class AppendResult { appended, notWritable, changed };
    /// Appends `line` and a line feed to the file in place, after a line feed of its own when the file
    /// does not end with one at that moment. In place keeps the file's owner, its mode (bits the SSH
    /// server refuses, group and other write, are taken away) and its hard links, and whatever another
    /// appender added meanwhile stays before it. Creates the file (0600) when it does not exist.
    /// `notWritable` when this user may not write it in place, `changed` when it is not the file
    /// `basis` read (created or replaced meanwhile); nothing is written then.
    AppendResult append(std::string_view line, const Snapshot& basis);

    /// Replaces the whole file by `content` so that a reader sees the old file or the new one: a
    /// private temporary in the same folder, flushed, renamed over the file, the folder flushed. The
    /// file keeps its owner and its mode (less the bits the SSH server refuses). False, and nothing
    /// changed, when the file is not as `basis` read it.
    bool replace(std::string_view content, const Snapshot& basis);

    /// The file that receives the content.
    const std::filesystem::path& target() const { return m_target; }

    /// The name of the lock file in the folder of a key file named `keyFileName`.
    static std::string lockFileName(const std::filesystem::path& keyFileName);

private:
    /// Opens the private lock file and takes the lock on it; the folder itself when this account
    /// may not create files in it.
    void lock(const std::stop_token& stop);
    /// Waits for an exclusive lock on `fd` within `lockWait`.
    void waitForLock(int fd, const std::filesystem::path& what, const std::stop_token& stop) const;
    void removeStaleTemporaries() const;
    bool isUnchanged(const Snapshot& basis) const;
    void flushDirectory() const;

    std::chrono::milliseconds m_lockWait;
    std::filesystem::path m_target;
    int m_directory = -1;
    /// The lock file, or -1 when the folder's own lock is held.
    int m_lock = -1;
};

} // namespace CompanionCore
