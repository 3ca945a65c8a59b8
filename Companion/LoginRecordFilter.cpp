#include "Companion/LoginRecordFilter.h"

namespace Companion {

LoginRecordFilter::LoginRecordFilter(const LoginRecords::Query& query)
    : m_since(query.since)
    , m_user(query.user)
    , m_acceptedPerKey(query.acceptedPerKey) {
    for (const auto& fingerprint : query.fingerprints) {
        m_accepted.emplace(fingerprint, 0);
    }
}

void LoginRecordFilter::offer(const CompanionCore::SshdRecord& record) {
    if (tooOld(record.time) || (!m_user.empty() && record.user != m_user)) {
        return;
    }
    const auto asked = m_accepted.find(record.fingerprint);
    if (asked == m_accepted.end()) {
        return;
    }
    if (record.accepted && ++asked->second == m_acceptedPerKey) {
        ++m_satisfiedKeys;
    }
    m_attempts.push_back(record);
}

bool LoginRecordFilter::satisfied() const {
    return m_acceptedPerKey == 0 || m_satisfiedKeys == m_accepted.size();
}

} // namespace Companion
