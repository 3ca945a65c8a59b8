#include "Companion/LogFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Companion::LogFile {

namespace {

void createFolder(const std::filesystem::path& folder) {
    if (folder.empty() || folder == folder.root_path()) {
        return;
    }
    struct stat info {};
    if (::stat(folder.c_str(), &info) == 0) {
        return;
    }
    createFolder(folder.parent_path());
    ::mkdir(folder.c_str(), static_cast<mode_t>(folderMode));
}

} // namespace

bool ensureExists(const std::filesystem::path& file) {
    if (file.empty()) {
        return false;
    }
    struct stat info {};
    if (::stat(file.c_str(), &info) == 0) {
        return true;
    }
    createFolder(file.parent_path());
    // Exclusive creation: a log the server writes at the same moment is left as it is.
    const int fd =
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, static_cast<mode_t>(fileMode));
    if (fd < 0) {
        return errno == EEXIST;
    }
    ::close(fd);
    return true;
}

} // namespace Companion::LogFile
