#include "CompanionCore/server/EventLog.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace CompanionCore {

namespace {

// The log names devices and shows codes: it is for this user's eyes only.
constexpr mode_t fileMode = 0600;
constexpr mode_t folderMode = 0700;

void createFolder(const std::filesystem::path& folder) {
    if (folder.empty() || folder == folder.root_path()) {
        return;
    }
    struct stat info {};
    if (::stat(folder.c_str(), &info) == 0) {
        return;
    }
    createFolder(folder.parent_path());
    ::mkdir(folder.c_str(), folderMode);
}

} // namespace

bool EventLog::ensureExists(const std::filesystem::path& file) {
    if (file.empty()) {
        return false;
    }
    struct stat info {};
    if (::stat(file.c_str(), &info) == 0) {
        return true;
    }
    createFolder(file.parent_path());
    // Exclusive creation: a log the server writes at the same moment is left as it is.
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, fileMode);
    if (fd < 0) {
        return errno == EEXIST;
    }
    ::close(fd);
    return true;
}

EventLog::EventLog(std::filesystem::path file, Clock now)
    : m_file(std::move(file))
    , m_now(std::move(now))
    , m_account(::geteuid()) {}

const std::string& EventLog::add(std::string_view message) {
    // Lines come in bursts within a second: its text is made once.
    const Timestamp now = m_now();
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    if (!m_stampedSecond || *m_stampedSecond != second) {
        m_stamp = timestamp(now);
        m_stampedSecond = second;
    }
    std::string line = m_stamp;
    line += ' ';
    line += message;
    // Written first, so that a refusal of the file is kept before the line it refused.
    append(line);
    m_lines.push_back(std::move(line));
    while (m_lines.size() > kept) {
        m_lines.pop_front();
    }
    return m_lines.back();
}

EventLog::~EventLog() {
    closeFile();
}

void EventLog::closeFile() {
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

int EventLog::currentFile(struct stat& info) {
    if (m_fd >= 0) {
        struct stat named {};
        if (::lstat(m_file.c_str(), &named) == 0 && ::fstat(m_fd, &info) == 0 &&
            info.st_dev == named.st_dev && info.st_ino == named.st_ino) {
            return m_fd;
        }
        // Moved aside, removed or replaced: the next line goes to whatever the path names now.
        closeFile();
    }
    m_fd = openSafely(info);
    return m_fd;
}

int EventLog::openSafely(struct stat& info) {
    // Non-blocking, so a FIFO in the log's place cannot hold the server up; no link is followed, so
    // another account's link cannot point our lines into a file of ours.
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
    int fd = ::open(m_file.c_str(), flags, fileMode);
    if (fd < 0 && errno == ENOENT) {
        createFolder(m_file.parent_path());
        fd = ::open(m_file.c_str(), flags, fileMode);
    }
    if (fd < 0) {
        // The open fails for what is refused as well: ELOOP for a link, ENXIO for a FIFO nobody
        // reads, EISDIR for a folder, EACCES for another account's file or link in a sticky folder
        // (fs.protected_*). Judged by name, so the user is told why rather than left with no log.
        if (auto reason = unsafeByName(m_file)) {
            refuse(*reason);
        }
        return -1;
    }
    const auto reason = ::fstat(fd, &info) != 0 ? std::optional(Refusal::notRegularFile) : unsafe(fd, info);
    if (reason) {
        ::close(fd);
        refuse(*reason);
        return -1;
    }
    return fd;
}

std::optional<EventLog::Refusal> EventLog::unsafe(int fd, const struct stat& info) const {
    if (!S_ISREG(info.st_mode)) {
        return Refusal::notRegularFile;
    }
    if (info.st_uid != m_account) {
        return Refusal::otherOwner;
    }
    if (info.st_nlink != 1) {
        return Refusal::otherNames;
    }
    // A log made readable by others (by hand, or by an older version) is taken back before a line
    // goes in; one that cannot be taken back gets none.
    if ((info.st_mode & 07777) != fileMode && ::fchmod(fd, fileMode) != 0) {
        return Refusal::unprotectable;
    }
    return std::nullopt;
}

std::optional<EventLog::Refusal> EventLog::unsafeByName(const std::filesystem::path& file) const {
    struct stat info {};
    if (::lstat(file.c_str(), &info) != 0) {
        return std::nullopt;
    }
    if (S_ISLNK(info.st_mode)) {
        return Refusal::symbolicLink;
    }
    if (!S_ISREG(info.st_mode)) {
        return Refusal::notRegularFile;
    }
    if (info.st_uid != m_account) {
        return Refusal::otherOwner;
    }
    return std::nullopt;
}

std::string_view EventLog::describe(Refusal refusal) {
    switch (refusal) {
    case Refusal::symbolicLink:
        return "it is a symbolic link";
    case Refusal::notRegularFile:
        return "it is not a regular file";
    case Refusal::otherOwner:
        return "it belongs to another account";
    case Refusal::otherNames:
        return "it has another name (a hard link)";
    case Refusal::unprotectable:
        return "others can read it and its permissions cannot be changed";
    }
    return {};
}

void EventLog::refuse(Refusal refusal) {
    if (m_refusal) {
        return;
    }
    m_refusal = refusal;
    m_lines.push_back(timestamp(m_now()) + " no log file is written: " + m_file.string() +
                      " is refused, as " + std::string(describe(refusal)));
    while (m_lines.size() > kept) {
        m_lines.pop_front();
    }
}

void EventLog::append(const std::string& line) {
    if (m_file.empty() || m_refusal) {
        return;
    }
    struct stat info {};
    int fd = currentFile(info);
    if (fd < 0) {
        return;
    }
    // Changed since it was opened: judged again before the line goes in.
    if (auto reason = unsafe(fd, info)) {
        closeFile();
        refuse(*reason);
        return;
    }
    if (static_cast<std::uintmax_t>(info.st_size) >= maximumFileSize) {
        closeFile();
        const std::filesystem::path previous = m_file.string() + ".1";
        ::rename(m_file.c_str(), previous.c_str());
        fd = currentFile(info);
        if (fd < 0) {
            return;
        }
    }
    const std::string bytes = line + '\n';
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        written += static_cast<std::size_t>(count);
    }
}

std::string EventLog::timestamp(Timestamp at) {
    const std::time_t seconds =
        std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(at));
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    char text[32] = {};
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return std::string(text, length);
}

} // namespace CompanionCore
