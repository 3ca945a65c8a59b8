#pragma once

#include "Companion/LiveSessions.h"
#include "Companion/LoginRecords.h"

#include <mutex>
#include <optional>
#include <vector>

namespace TestSupport {

/// Login records that answer what the test sets and remember what they were asked.
class FakeLoginRecords final : public Companion::LoginRecords {
public:
    explicit FakeLoginRecords(Reading answer)
        : m_answer(std::move(answer)) {}

    Reading newest(const Query& query) override {
        std::lock_guard lock(m_mutex);
        m_queries.push_back(query);
        return m_answer;
    }

    std::vector<Query> queries() const {
        std::lock_guard lock(m_mutex);
        return m_queries;
    }

private:
    mutable std::mutex m_mutex;
    Reading m_answer;
    std::vector<Query> m_queries;
};

/// A process table holding the sessions the test sets.
class FakeLiveSessions final : public Companion::LiveSessions {
public:
    explicit FakeLiveSessions(std::vector<Companion::LiveSession> sessions = {})
        : m_sessions(std::move(sessions)) {}

    std::vector<Companion::LiveSession> list() override { return m_sessions; }

private:
    std::vector<Companion::LiveSession> m_sessions;
};

} // namespace TestSupport
