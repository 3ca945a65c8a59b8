#pragma once

#include "Companion/LoginRecords.h"
#include "CompanionCore/SshdRecord.h"

#include <map>
#include <string>
#include <vector>

namespace Companion {

/// What every source of login records does with the records it reads newest first: keeps the
/// attempts a query asks about and says when reading can stop.
class LoginRecordFilter {
public:
    explicit LoginRecordFilter(const LoginRecords::Query& query);

    /// Whether a record written at `time` is older than anything asked about; the records before it
    /// are older still.
    bool tooOld(std::chrono::system_clock::time_point time) const { return time < m_since; }

    /// Keeps `record` when the query asks about it.
    void offer(const CompanionCore::SshdRecord& record);

    /// Every asked key has as many accepted logins as the query wants.
    bool satisfied() const;

    /// The kept attempts, in the order offered.
    std::vector<LoginAttempt> take() { return std::move(m_attempts); }

private:
    std::chrono::system_clock::time_point m_since;
    std::string m_user;
    std::size_t m_acceptedPerKey;
    /// Accepted logins per asked key.
    std::map<std::string, std::size_t> m_accepted;
    std::size_t m_satisfiedKeys = 0;
    std::vector<LoginAttempt> m_attempts;
};

} // namespace Companion
