#pragma once

#include "Companion/LiveSessions.h"
#include "Companion/LoginRecords.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <vector>

namespace TestSupport {

/// Login records a test writes, for what is built on them; the readers of the SSH server's real
/// records are tested against real ones. Remembers what it was asked.
class FakeLoginRecords final : public Companion::LoginRecords {
public:
    /// Answers what `add` gave it that the query asks for, newest first.
    FakeLoginRecords() = default;
    /// Answers `answer` to every query, as it is.
    explicit FakeLoginRecords(Reading answer)
        : m_answer(std::move(answer)) {}

    void add(Companion::LoginAttempt attempt) {
        const std::lock_guard lock(m_mutex);
        m_attempts.push_back(std::move(attempt));
    }

    /// From now on nothing can be read, and `howToAllow` says why.
    void makeUnreadable(QString howToAllow) {
        const std::lock_guard lock(m_mutex);
        m_unreadable = std::move(howToAllow);
    }

    int reads() const {
        const std::lock_guard lock(m_mutex);
        return static_cast<int>(m_queries.size());
    }

    std::vector<Query> queries() const {
        const std::lock_guard lock(m_mutex);
        return m_queries;
    }

    Reading newest(const Query& query) override {
        const std::lock_guard lock(m_mutex);
        m_queries.push_back(query);
        if (m_answer) {
            return *m_answer;
        }
        if (m_unreadable) {
            return Unreadable{*m_unreadable};
        }
        std::vector<Companion::LoginAttempt> found;
        for (const auto& attempt : m_attempts) {
            const bool asked = std::find(query.fingerprints.begin(), query.fingerprints.end(),
                                         attempt.fingerprint) != query.fingerprints.end();
            if (asked && attempt.time >= query.since) {
                found.push_back(attempt);
            }
        }
        std::stable_sort(found.begin(), found.end(),
                         [](const auto& left, const auto& right) { return left.time > right.time; });
        return found;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Companion::LoginAttempt> m_attempts;
    std::optional<QString> m_unreadable;
    std::optional<Reading> m_answer;
    std::vector<Query> m_queries;
};

/// Live sessions a test sets, standing in for the process table for what is built on it; the real
/// one is read in the process table's own tests.
class FakeLiveSessions final : public Companion::LiveSessions {
public:
    explicit FakeLiveSessions(std::vector<Companion::LiveSession> sessions = {})
        : m_sessions(std::move(sessions)) {}

    void set(std::vector<Companion::LiveSession> sessions) {
        const std::lock_guard lock(m_mutex);
        m_sessions = std::move(sessions);
    }

    int lists() const {
        const std::lock_guard lock(m_mutex);
        return m_lists;
    }

    std::vector<Companion::LiveSession> list() override {
        const std::lock_guard lock(m_mutex);
        ++m_lists;
        return m_sessions;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Companion::LiveSession> m_sessions;
    int m_lists = 0;
};

} // namespace TestSupport
