#pragma once

#include "Companion/AuthLogLoginRecords.h"
#include "Companion/JournalLoginRecords.h"

namespace Companion {

/// Linux's records: the journal where journald keeps one, the syslog files where it keeps none
/// (or keeps only an empty folder). Linux only, as the journal is.
class LinuxLoginRecords final : public LoginRecords {
public:
    explicit LinuxLoginRecords(JournalLoginRecords journal = JournalLoginRecords(),
                               AuthLogLoginRecords files = AuthLogLoginRecords())
        : m_journal(std::move(journal))
        , m_files(std::move(files)) {}

    Reading newest(const Query& query) override {
        if (auto reading = m_journal.read(query)) {
            return std::move(*reading);
        }
        return m_files.newest(query);
    }

private:
    JournalLoginRecords m_journal;
    AuthLogLoginRecords m_files;
};

} // namespace Companion
