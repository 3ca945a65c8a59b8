#include "CompanionCore/server/ConnectionAdmission.h"

#include <tuple>

namespace CompanionCore {

ConnectionAdmission::ConnectionAdmission(Limits limits)
    : m_limits(limits) {}

ConnectionAdmission::Decision ConnectionAdmission::admit(Id newcomer, const std::string& group,
                                                         const PendingBytes& pending) {
    Decision decision;
    if (countOf(group) >= m_limits.perGroup) {
        // A group at its share makes room among its own connections only.
        decision.evicted = leastDelivered([&](const Entry& entry) { return entry.group == group; }, pending);
    } else if (m_entries.size() >= m_limits.total) {
        decision.evicted = leastDelivered([](const Entry&) { return true; }, pending);
    } else {
        decision.admitted = true;
    }
    if (decision.evicted) {
        remove(*decision.evicted);
        decision.admitted = true;
    }
    if (decision.admitted) {
        m_entries[newcomer] = Entry{group, m_nextOrder++, 0};
        ++m_groups[group];
    }
    return decision;
}

void ConnectionAdmission::delivered(Id id, std::size_t bytes) {
    if (const auto found = m_entries.find(id); found != m_entries.end()) {
        found->second.delivered += bytes;
    }
}

void ConnectionAdmission::remove(Id id) {
    const auto found = m_entries.find(id);
    if (found == m_entries.end()) {
        return;
    }
    const auto group = m_groups.find(found->second.group);
    if (--group->second == 0) {
        m_groups.erase(group);
    }
    m_entries.erase(found);
}

std::size_t ConnectionAdmission::countOf(const std::string& group) const {
    const auto found = m_groups.find(group);
    return found == m_groups.end() ? 0 : found->second;
}

std::optional<ConnectionAdmission::Id>
ConnectionAdmission::leastDelivered(const std::function<bool(const Entry&)>& belongs,
                                    const PendingBytes& pending) const {
    std::optional<Id> chosen;
    // Lower is evicted first: fewest bytes, then the fuller group, then the older connection.
    std::tuple<std::size_t, std::size_t, std::uint64_t> chosenRank{};
    for (const auto& [id, entry] : m_entries) {
        if (!belongs(entry)) {
            continue;
        }
        const std::size_t bytes = entry.delivered + (pending ? pending(id) : 0);
        const auto rank = std::make_tuple(bytes, m_limits.total - countOf(entry.group), entry.order);
        if (!chosen || rank < chosenRank) {
            chosen = id;
            chosenRank = rank;
        }
    }
    return chosen;
}

} // namespace CompanionCore
