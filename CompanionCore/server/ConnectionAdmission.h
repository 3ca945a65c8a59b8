#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace CompanionCore {

/// Decides which connections the pairing server holds, so that a flood of slow or idle connections
/// never keeps an honest phone out: every peer group (an IPv4 address, or an IPv6 /64, which one host
/// can fill) holds a few connections at most, and when the table is full a newcomer takes the place
/// of the connection that has delivered least, not the other way round. A phone sends its whole
/// request at once, so it is never the one that has delivered least for long. Only connections still
/// waiting for their request are held here: one that has had its answer is the pool's to drain and
/// never takes a place a phone not yet heard needs.
///
/// Knows nothing of sockets: connections are numbers the caller chooses.
class ConnectionAdmission {
public:
    using Id = std::uint64_t;

    /// A few connections per group are all a phone needs. The total is far above that, so a flood
    /// from many addresses is held until its deadlines cut it off, rather than turned into a storm of
    /// reconnections; beyond it the connection that delivered least goes.
    struct Limits {
        std::size_t perGroup = 4;
        std::size_t total = 256;
    };

    /// What to do with a newcomer.
    struct Decision {
        /// Hold the newcomer.
        bool admitted = false;
        /// The connection to drop first to make room, if any.
        std::optional<Id> evicted;

        bool operator==(const Decision&) const = default;
    };

    /// Bytes that have arrived for a connection but are not counted yet (still with the system).
    using PendingBytes = std::function<std::size_t(Id)>;

    explicit ConnectionAdmission(Limits limits);

    /// Decides on `newcomer` from `group` and records it when admitted (an evicted connection is
    /// forgotten at once).
    Decision admit(Id newcomer, const std::string& group, const PendingBytes& pending = {});

    /// Counts bytes a connection delivered.
    void delivered(Id id, std::size_t bytes);
    /// Forgets a connection: it was closed, dropped, or its request is complete and it is answered.
    void remove(Id id);

    /// Connections held for `group`.
    std::size_t countOf(const std::string& group) const;

private:
    struct Entry {
        std::string group;
        std::uint64_t order = 0;
        std::size_t delivered = 0;
    };

    /// The connection that delivered least among those `belongs` admits; ties go to the
    /// fuller group, then to the older connection.
    std::optional<Id> leastDelivered(const std::function<bool(const Entry&)>& belongs,
                                     const PendingBytes& pending) const;

    Limits m_limits;
    std::map<Id, Entry> m_entries;
    std::map<std::string, std::size_t> m_groups;
    std::uint64_t m_nextOrder = 0;
};

} // namespace CompanionCore
