#pragma once

#include "CompanionCore/Timestamp.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace CompanionCore {

/// The pairing server's diary: the newest lines in memory for the window, and every line appended to
/// a file so a failed pairing can be diagnosed afterwards.
class EventLog {
public:
    /// Why a log file is not written.
    enum class Refusal { symbolicLink, notRegularFile, otherOwner, otherNames, unprotectable };

    /// Lines kept in memory.
    static constexpr std::size_t kept = 50;
    /// The file's size at which it is moved aside to `file` + ".1" (replacing an older one) and
    /// begun anew, so the log never grows without bound.
    static constexpr std::uintmax_t maximumFileSize = 1024 * 1024;

    /// Nothing is touched on disk until the first line.
    explicit EventLog(std::filesystem::path file, Clock now = systemNow);
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    /// Stamps `message` with the current time, keeps the line and appends it to the file, creating
    /// the file and any missing folder (0700) on the way. The file stays open between lines; one that
    /// was moved, removed or replaced meanwhile is opened afresh by path, and one made readable by
    /// others is made private (0600) again, as its lines hold the live code. File errors are
    /// swallowed: the line is in memory all the same. Answers the stamped line.
    ///
    /// The lines hold the live code and bytes from the network, so they go only into a regular file
    /// of this account's own with no other name: a symbolic link is never followed, and a file of
    /// another account, or one with a second hard link, is never written. Such a file is refused once,
    /// with a line in memory that says why (`refusal`), and no line reaches the disk.
    const std::string& add(std::string_view message);

    /// Why the file is not written, once it has been refused; nothing while it is written.
    const std::optional<Refusal>& refusal() const { return m_refusal; }

    /// The reason as the log's own line words it, after "as ".
    static std::string_view describe(Refusal refusal);

    /// The newest lines, oldest first, without line ends.
    const std::deque<std::string>& lines() const { return m_lines; }

    const std::filesystem::path& file() const { return m_file; }

    /// Makes sure `file` exists, so that the desktop's opener has something to show before the first
    /// line is written: creates each missing folder (0700) and an empty file (0600). An existing file
    /// is never opened for writing, let alone truncated. False when the file is still not there.
    static bool ensureExists(const std::filesystem::path& file);

    /// ISO 8601 in UTC with whole seconds and "Z", for instance 2026-11-16T03:45:35Z.
    static std::string timestamp(Timestamp at);

private:
    void append(const std::string& line);
    /// The open file for the next line, opened afresh when the path no longer names it, with what
    /// `fstat` says of it in `info`; -1 when there is none to write to.
    int currentFile(struct stat& info);
    /// Opens the file by its path, refusing one that is not safe to write; -1 then.
    int openSafely(struct stat& info);
    /// Why the open file, of which `fstat` said `info` a moment ago, may not take a line; nothing
    /// when it may.
    std::optional<Refusal> unsafe(int fd, const struct stat& info) const;
    /// Why the file that could not be opened would be refused had it opened; nothing for an
    /// ordinary failure (a missing folder, no permission on a file of this account's).
    std::optional<Refusal> unsafeByName(const std::filesystem::path& file) const;
    void refuse(Refusal refusal);
    void closeFile();

    std::filesystem::path m_file;
    Clock m_now;
    /// The account whose files alone the log writes.
    uid_t m_account;
    std::deque<std::string> m_lines;
    /// The second of the latest line's time stamp, and its text.
    std::optional<std::chrono::time_point<std::chrono::system_clock, std::chrono::seconds>> m_stampedSecond;
    std::string m_stamp;
    int m_fd = -1;
    std::optional<Refusal> m_refusal;
};

} // namespace CompanionCore
