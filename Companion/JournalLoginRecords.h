#pragma once

#include "Companion/LoginRecords.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Companion {

/// Where journald keeps the system's journal: a folder per machine in each root, holding
/// "system.journal" and its archived "system@….journal".
struct SystemJournal {
    std::vector<std::filesystem::path> roots = {"/var/log/journal", "/run/log/journal"};
};

/// systemd's journal, read newest first. Only journald's own fields decide what sshd wrote: the
/// command name `_COMM` and the user `_UID`, which the sender cannot choose (it can choose
/// `SYSLOG_IDENTIFIER`). Linux only.
class JournalLoginRecords final : public LoginRecords {
public:
    /// Message bytes read at most.
    static constexpr std::size_t byteBound = std::size_t{32} << 20;

    /// The system's journal, the files of it this user may read; `userName` names the account in
    /// the advice when it may read none.
    explicit JournalLoginRecords(SystemJournal system = {}, std::function<std::string()> userName = {});
    /// A journal file, or a folder of them.
    explicit JournalLoginRecords(std::filesystem::path fileOrFolder,
                                 std::function<std::string()> userName = {});

    /// The attempts, or nothing when there is no journal here at all (no file, or not a single
    /// entry), and the syslog files are to be read instead.
    std::optional<Reading> read(const Query& query);

    /// As `read`; a missing journal holds no attempt.
    Reading newest(const Query& query) override;

private:
    SystemJournal m_system;
    std::optional<std::filesystem::path> m_path;
    std::function<std::string()> m_userName;
};

} // namespace Companion
