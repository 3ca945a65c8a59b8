#include "Companion/JournalLoginRecords.h"

#include "Companion/HostIdentity.h"
#include "Companion/LogAccessText.h"
#include "Companion/LoginRecordFilter.h"

#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <vector>

namespace Companion {

namespace {

constexpr std::string_view messageField = "MESSAGE=";

/// The journal closed with the object.
class Journal {
public:
    Journal() = default;
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    ~Journal() {
        if (m_journal != nullptr) {
            sd_journal_close(m_journal);
        }
    }
    sd_journal** address() { return &m_journal; }
    sd_journal* get() const { return m_journal; }

private:
    sd_journal* m_journal = nullptr;
};

/// The system journal's files ("system.journal", "system@….journal") in the machine folders of
/// `roots`: whether there are any, and those this user may read.
struct SystemFiles {
    bool any = false;
    std::vector<std::string> readable;
};

SystemFiles systemFiles(const std::vector<std::filesystem::path>& roots) {
    SystemFiles found;
    for (const auto& root : roots) {
        std::error_code error;
        for (const auto& machine : std::filesystem::directory_iterator(root, error)) {
            std::error_code inner;
            for (const auto& file : std::filesystem::directory_iterator(machine.path(), inner)) {
                const auto name = file.path().filename().string();
                if (name.starts_with("system") && name.ends_with(".journal")) {
                    found.any = true;
                    if (::access(file.path().c_str(), R_OK) == 0) {
                        found.readable.push_back(file.path().string());
                    }
                }
            }
        }
    }
    return found;
}

std::optional<LoginRecords::Reading> readOpened(sd_journal* journal, const LoginRecords::Query& query) {
    // A journal without a single entry is an empty folder journald once made, not where records go.
    if (sd_journal_seek_head(journal) < 0 || sd_journal_next(journal) <= 0) {
        return std::nullopt;
    }
    sd_journal_flush_matches(journal);
    // Matches on one field are alternatives; on different fields all must hold.
    if (sd_journal_add_match(journal, "_COMM=sshd", 0) < 0 ||
        sd_journal_add_match(journal, "_COMM=sshd-session", 0) < 0 ||
        sd_journal_add_match(journal, "_UID=0", 0) < 0 || sd_journal_seek_tail(journal) < 0) {
        return LoginRecords::Reading{std::vector<LoginAttempt>{}};
    }
    LoginRecordFilter filter(query);
    std::size_t readBytes = 0;
    while (!filter.satisfied() && readBytes < JournalLoginRecords::byteBound &&
           sd_journal_previous(journal) > 0) {
        std::uint64_t microseconds = 0;
        if (sd_journal_get_realtime_usec(journal, &microseconds) < 0) {
            continue;
        }
        const std::chrono::system_clock::time_point time{
            std::chrono::duration_cast<std::chrono::system_clock::duration>(
                std::chrono::microseconds(microseconds))};
        if (filter.tooOld(time)) {
            break;
        }
        const void* data = nullptr;
        std::size_t length = 0;
        if (sd_journal_get_data(journal, "MESSAGE", &data, &length) < 0) {
            continue;
        }
        readBytes += length;
        std::string_view message(static_cast<const char*>(data), length);
        if (!message.starts_with(messageField)) {
            continue;
        }
        message.remove_prefix(messageField.size());
        if (const auto record = CompanionCore::SshdRecord::fromMessage(message, time)) {
            filter.offer(*record);
        }
    }
    return LoginRecords::Reading{filter.take()};
}

} // namespace

JournalLoginRecords::JournalLoginRecords(SystemJournal system, std::function<std::string()> userName)
    : m_system(std::move(system))
    , m_userName(userName ? std::move(userName) : [] { return HostIdentity::userName(); }) {}

JournalLoginRecords::JournalLoginRecords(std::filesystem::path fileOrFolder,
                                         std::function<std::string()> userName)
    : m_path(std::move(fileOrFolder))
    , m_userName(userName ? std::move(userName) : [] { return HostIdentity::userName(); }) {}

std::optional<LoginRecords::Reading> JournalLoginRecords::read(const Query& query) {
    Journal journal;
    int opened = 0;
    if (m_path) {
        std::error_code error;
        if (std::filesystem::is_directory(*m_path, error)) {
            opened = sd_journal_open_directory(journal.address(), m_path->c_str(), 0);
        } else if (std::filesystem::exists(*m_path, error)) {
            std::array<const char*, 2> files = {m_path->c_str(), nullptr};
            opened = sd_journal_open_files(journal.address(), files.data(), 0);
        } else {
            return std::nullopt;
        }
    } else {
        const auto files = systemFiles(m_system.roots);
        if (!files.any) {
            return std::nullopt;
        }
        if (files.readable.empty()) {
            return Reading{Unreadable{LogAccessText::linuxGroups(m_userName())}};
        }
        std::vector<const char*> paths;
        for (const auto& file : files.readable) {
            paths.push_back(file.c_str());
        }
        paths.push_back(nullptr);
        opened = sd_journal_open_files(journal.address(), paths.data(), 0);
    }
    if (opened < 0) {
        return Reading{Unreadable{LogAccessText::linuxGroups(m_userName())}};
    }
    return readOpened(journal.get(), query);
}

LoginRecords::Reading JournalLoginRecords::newest(const Query& query) {
    auto reading = read(query);
    return reading ? std::move(*reading) : Reading{std::vector<LoginAttempt>{}};
}

} // namespace Companion
