#include "Companion/AuthLogLoginRecords.h"
#include "Companion/JournalLoginRecords.h"
#include "Companion/LiveSessions.h"
#include "Companion/LoginRecords.h"
#include "Companion/linux/ProcLiveSessions.h"

namespace Companion {

namespace {

/// The journal where journald keeps one; the syslog files where it keeps none.
class LinuxLoginRecords final : public LoginRecords {
public:
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

} // namespace

std::shared_ptr<LoginRecords> systemLoginRecords(std::shared_ptr<ProcessRunner>) {
    return std::make_shared<LinuxLoginRecords>();
}

std::shared_ptr<LiveSessions> systemLiveSessions() {
    return std::make_shared<ProcLiveSessions>();
}

} // namespace Companion
