#include "Companion/AuthLogLoginRecords.h"

#include "Companion/HostIdentity.h"
#include "Companion/LogAccessText.h"
#include "Companion/LoginRecordFilter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

namespace Companion {

namespace {

/// A descriptor closed with the object.
class OpenFile {
public:
    explicit OpenFile(const std::filesystem::path& path)
        : m_descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// Reads `length` bytes at `offset`; fewer when the file shrank meanwhile.
std::string readAt(int descriptor, off_t offset, std::size_t length) {
    std::string bytes(length, '\0');
    std::size_t got = 0;
    while (got < length) {
        const ssize_t read =
            ::pread(descriptor, bytes.data() + got, length - got, offset + static_cast<off_t>(got));
        if (read <= 0) {
            break;
        }
        got += static_cast<std::size_t>(read);
    }
    bytes.resize(got);
    return bytes;
}

} // namespace

std::vector<std::filesystem::path> AuthLogLoginRecords::systemFiles() {
    return {"/var/log/auth.log", "/var/log/secure"};
}

AuthLogLoginRecords::AuthLogLoginRecords(std::vector<std::filesystem::path> candidates,
                                         CompanionCore::Clock clock, std::function<std::string()> userName,
                                         std::size_t byteBound)
    : m_candidates(std::move(candidates))
    , m_clock(clock ? std::move(clock) : CompanionCore::Clock(CompanionCore::systemNow))
    , m_userName(userName ? std::move(userName) : [] { return HostIdentity::userName(); })
    , m_byteBound(byteBound) {}

LoginRecords::Reading AuthLogLoginRecords::newest(const Query& query) {
    const auto found = std::find_if(m_candidates.begin(), m_candidates.end(), [](const auto& path) {
        std::error_code ignored;
        return std::filesystem::exists(path, ignored);
    });
    if (found == m_candidates.end()) {
        return Unreadable{LogAccessText::linuxNoRecords()};
    }
    const OpenFile file(*found);
    struct stat status {};
    if (file.descriptor() < 0 || ::fstat(file.descriptor(), &status) != 0) {
        return Unreadable{LogAccessText::linuxGroups(m_userName())};
    }
    const auto now = m_clock();
    LoginRecordFilter filter(query);
    // Lines are taken from the end of each chunk; the piece before a chunk's first line feed
    // belongs to the line the next chunk (further back) completes.
    std::string carried;
    off_t position = status.st_size;
    std::size_t readBytes = 0;
    while (position > 0 && readBytes < m_byteBound && !filter.satisfied()) {
        const auto length =
            std::min({chunkBytes, static_cast<std::size_t>(position), m_byteBound - readBytes});
        position -= static_cast<off_t>(length);
        readBytes += length;
        std::string chunk = readAt(file.descriptor(), position, length);
        chunk += carried;
        std::string_view rest(chunk);
        while (true) {
            const auto feed = rest.rfind('\n', rest.empty() ? 0 : rest.size() - 1);
            const bool whole = feed != std::string_view::npos || position == 0;
            if (!whole) {
                break;
            }
            const auto start = feed == std::string_view::npos ? 0 : feed + 1;
            const auto line = rest.substr(start);
            rest = rest.substr(0, feed == std::string_view::npos ? 0 : feed);
            if (!line.empty()) {
                const auto parsed = CompanionCore::SshdRecord::syslogLine(line, now);
                if (parsed) {
                    if (filter.tooOld(parsed->time)) {
                        return filter.take();
                    }
                    if (CompanionCore::SshdRecord::isSshdProgram(parsed->program)) {
                        if (const auto record =
                                CompanionCore::SshdRecord::fromMessage(parsed->message, parsed->time)) {
                            filter.offer(*record);
                            if (filter.satisfied()) {
                                return filter.take();
                            }
                        }
                    }
                }
            }
            if (feed == std::string_view::npos) {
                break;
            }
        }
        carried = std::string(rest);
    }
    return filter.take();
}

} // namespace Companion
