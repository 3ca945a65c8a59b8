#include "CompanionCore/server/EventLog.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <linux/fs.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

// The event log's refusal of a file it cannot make private, on a file Linux's append-only attribute
// (FS_IOC_SETFLAGS) keeps from changing; on its own because that attribute is Linux's.
namespace {

using CompanionCore::EventLog;
using std::filesystem::perms;

std::string content(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

mode_t modeOf(const std::filesystem::path& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

/// Sets the append-only attribute on a file for the scope's length, where the file system has it.
class AppendOnly {
public:
    explicit AppendOnly(const std::filesystem::path& file)
        : m_fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
        int flags = 0;
        if (m_fd < 0 || ::ioctl(m_fd, FS_IOC_GETFLAGS, &flags) != 0) {
            return;
        }
        flags |= FS_APPEND_FL;
        m_set = ::ioctl(m_fd, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ~AppendOnly() {
        int flags = 0;
        if (m_set && ::ioctl(m_fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags &= ~FS_APPEND_FL;
            ::ioctl(m_fd, FS_IOC_SETFLAGS, &flags);
        }
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    AppendOnly(const AppendOnly&) = delete;
    AppendOnly& operator=(const AppendOnly&) = delete;

    bool set() const { return m_set; }

private:
    int m_fd;
    bool m_set = false;
};

TEST(EventLogTest, AFileReadableByOthersWhosePermissionsCannotChangeIsNotWritten) {
    TestSupport::TemporaryDirectory folder;
    const auto file = folder / "log";
    std::ofstream(file) << "old\n";
    std::filesystem::permissions(file, static_cast<perms>(0644));
    const AppendOnly appendOnly(file);
    if (!appendOnly.set()) {
        GTEST_SKIP() << "this file system or account cannot make a file append-only";
    }
    EventLog log(file);
    log.add("listening on 52901, code 123456");
    EXPECT_EQ(content(file), "old\n");
    EXPECT_EQ(modeOf(file), 0644u);
    EXPECT_EQ(log.refusal(), EventLog::Refusal::unprotectable);
}

} // namespace
