#include "CompanionCore/AuthorizedKeys.h"

#include "CompanionCore/SshPublicKey.h"
#include "CompanionCore/Unicode.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace CompanionCore::AuthorizedKeys {

namespace {

constexpr mode_t directoryMode = 0700;
constexpr mode_t fileMode = 0600;
constexpr int maximumLinkDepth = 40;

bool isBase64Character(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Standard base64 with the padding the standard requires, nothing else tolerated.
bool isStandardBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return false;
    }
    const std::size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
    if (padding > 2) {
        return false;
    }
    return std::all_of(text.begin(), text.end() - static_cast<std::ptrdiff_t>(padding), isBase64Character);
}

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
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

/// The whole file as bytes; empty only when the file does not exist.
std::string readExisting(const std::filesystem::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) {
            return {};
        }
        fail(errno, "cannot read " + path.string());
    }
    Descriptor file(fd);
    std::string content;
    char chunk[8192];
    for (;;) {
        const ssize_t count = ::read(file.get(), chunk, sizeof chunk);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "cannot read " + path.string());
        }
        if (count == 0) {
            return content;
        }
        content.append(chunk, static_cast<std::size_t>(count));
    }
}

bool containsIdentity(std::string_view text, const std::string& identity) {
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        const std::string_view line = text.substr(start, end - start);
        if (!line.empty() && keyIdentity(line) == identity) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

void writeAll(int fd, std::string_view bytes, const std::filesystem::path& path) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "cannot write " + path.string());
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

/// Replaces `target` by `content` so that a reader sees the old file or the new one, never a part.
void replaceAtomically(const std::filesystem::path& target, std::string_view content) {
    const auto directory = target.parent_path();
    std::string temporaryName = ".";
    temporaryName += target.filename().string();
    temporaryName += ".XXXXXX";
    std::string temporary = (directory / temporaryName).string();
    // mkstemp creates the file 0600, so the key material is never open to group or others.
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) {
        fail(errno, "cannot create a temporary file in " + directory.string());
    }
    Descriptor file(fd);
    try {
        if (::fchmod(file.get(), fileMode) != 0) {
            fail(errno, "cannot set permissions of " + temporary);
        }
        writeAll(file.get(), content, temporary);
        if (::fsync(file.get()) != 0) {
            fail(errno, "cannot flush " + temporary);
        }
        if (file.close() != 0) {
            fail(errno, "cannot close " + temporary);
        }
        if (::rename(temporary.c_str(), target.c_str()) != 0) {
            fail(errno, "cannot replace " + target.string());
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    // The rename is durable only once the directory itself is flushed; a failure here leaves the new
    // content in place, so it is not reported as a failed write.
    const int directoryFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directoryFd >= 0) {
        ::fsync(directoryFd);
        ::close(directoryFd);
    }
}

} // namespace

Expected<std::string, Failure> normalize(std::string_view key, std::string_view comment) {
    const auto pieces = Unicode::splitOnWhitespace(key);
    if (pieces.size() < 2) {
        return Failure::notAPublicKey;
    }
    if (std::find(keyTypes.begin(), keyTypes.end(), pieces[0]) == keyTypes.end()) {
        return Failure::notAPublicKey;
    }
    // A key the SSH server cannot use would spend the code and still keep the phone out.
    if (!isStandardBase64(pieces[1]) || !SshPublicKey::isUsable(pieces[0], pieces[1])) {
        return Failure::notAPublicKey;
    }
    std::string cleaned(comment);
    std::replace(cleaned.begin(), cleaned.end(), '\n', ' ');
    // The phone chose the comment: nothing in it may steer a terminal that shows the file.
    const auto trimmed = Unicode::displaySafe(Unicode::trim(cleaned, Unicode::isBlank));

    std::string line;
    line.reserve(pieces[0].size() + pieces[1].size() + trimmed.size() + 2);
    line.append(pieces[0]).append(" ").append(pieces[1]);
    if (!trimmed.empty()) {
        line.append(" ").append(trimmed);
    }
    return line;
}

std::string keyIdentity(std::string_view line) {
    const auto pieces = Unicode::splitOnWhitespace(line);
    if (pieces.empty()) {
        return {};
    }
    std::string identity(pieces[0]);
    if (pieces.size() > 1) {
        identity.append(" ").append(pieces[1]);
    }
    return identity;
}

bool install(std::string_view line, const std::filesystem::path& path) {
    createDirectories(path.parent_path());
    const auto target = resolvedTarget(path);
    const std::string existing = readExisting(target);
    if (containsIdentity(existing, keyIdentity(line))) {
        return false;
    }
    std::string content = existing;
    if (!content.empty() && content.back() != '\n') {
        content += '\n';
    }
    content.append(line).append("\n");
    replaceAtomically(target, content);
    return true;
}

} // namespace CompanionCore::AuthorizedKeys
