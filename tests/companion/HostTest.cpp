#include "Companion/Host.h"

#include "support/FakeLoginRecords.h"
#include "support/FakeSystemActions.h"

#include <gtest/gtest.h>

using namespace Companion;

TEST(HostTest, CompletingGivesTheSystemsLoginRecordsAndSessions) {
    Host host;
    host.systemActions = std::make_shared<TestSupport::FakeSystemActions>();
    host = std::move(host).completed();
    EXPECT_NE(host.loginRecords, nullptr);
    EXPECT_NE(host.liveSessions, nullptr);
}

TEST(HostTest, CompletingKeepsTheLoginRecordsAndSessionsItWasGiven) {
    Host host;
    host.systemActions = std::make_shared<TestSupport::FakeSystemActions>();
    const auto records =
        std::make_shared<TestSupport::FakeLoginRecords>(LoginRecords::Reading(std::vector<LoginAttempt>{}));
    const auto sessions = std::make_shared<TestSupport::FakeLiveSessions>();
    host.loginRecords = records;
    host.liveSessions = sessions;
    host = std::move(host).completed();
    EXPECT_EQ(host.loginRecords, records);
    EXPECT_EQ(host.liveSessions, sessions);
}
