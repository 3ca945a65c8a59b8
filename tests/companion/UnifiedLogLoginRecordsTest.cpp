#include "Companion/UnifiedLogLoginRecords.h"

#include "Companion/LogAccessText.h"
#include "support/FakeProcessRunner.h"

#include <gtest/gtest.h>

using namespace Companion;
using std::chrono::system_clock;

namespace {

const system_clock::time_point now = system_clock::from_time_t(1795000000);

std::string entry(const std::string& timestamp, const std::string& image, const std::string& message) {
    return R"({"traceID":1,"eventType":"logEvent","timestamp":")" + timestamp + R"(","processImagePath":")" +
           image + R"(","subsystem":"","eventMessage":")" + message + "\"}\n";
}

} // namespace

TEST(UnifiedLogLoginRecordsTest, AsksLogShowForSshdsEntriesOfTheWindow) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    UnifiedLogLoginRecords records(runner, [] { return now; });
    LoginRecords::Query query;
    query.fingerprints = {"SHA256:abc"};
    query.since = now - std::chrono::hours(2);
    ASSERT_TRUE(records.newest(query));
    ASSERT_EQ(runner->runs().size(), 1U);
    ProcessCommand expected("/usr/bin/log",
                            {"show", "--style", "ndjson", "--last", "121m", "--predicate",
                             "(processImagePath == \"/usr/sbin/sshd\" OR processImagePath == "
                             "\"/usr/libexec/sshd-session\") AND eventMessage CONTAINS \"publickey for\""},
                            ProcessCommand::Output::capture);
    expected.timeout = std::chrono::seconds(60);
    expected.outputTail = std::size_t{32} << 20;
    EXPECT_EQ(runner->runs().front(), expected);
}

// No unified log runs here: the output is a sample of what `log show --style ndjson` prints.
TEST(UnifiedLogLoginRecordsTest, ReadsTheToolsOldestFirstOutputNewestFirst) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    runner->setResult(TestSupport::exited(
        0, "Filtering the log data using \"processImagePath == \\\"/usr/sbin/sshd\\\"\"\n" +
               entry("2026-11-24 13:00:00.000000+0000", "/usr/sbin/sshd",
                     "Accepted publickey for ana from 10.0.0.1 port 5001 ssh2: ED25519 SHA256:abc") +
               entry("2026-11-24 13:10:00.000000+0000", "/usr/bin/logger",
                     "Accepted publickey for ana from 6.6.6.6 port 6 ssh2: ED25519 SHA256:abc") +
               entry("2026-11-24 13:20:00.000000+0000", "/usr/libexec/sshd-session",
                     "Failed publickey for ana from 10.0.0.2 port 5002 ssh2: ED25519 SHA256:abc") +
               entry("2026-11-24 13:30:00.000000+0000", "/usr/sbin/sshd",
                     "Accepted publickey for ana from 10.0.0.3 port 5003 ssh2: ED25519 SHA256:other")));
    UnifiedLogLoginRecords records(runner, [] { return now; });
    LoginRecords::Query query;
    query.fingerprints = {"SHA256:abc"};
    const auto reading = records.newest(query);
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 2U);
    EXPECT_EQ((*reading)[0].address, "10.0.0.2");
    EXPECT_FALSE((*reading)[0].accepted);
    EXPECT_EQ((*reading)[1].address, "10.0.0.1");
    EXPECT_TRUE((*reading)[1].accepted);
}

TEST(UnifiedLogLoginRecordsTest, ALogThatCannotBeReadSaysWhatAppliesOnTheMac) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    runner->setResult(TestSupport::exited(64, "log: Must be admin to run 'show' command"));
    UnifiedLogLoginRecords records(runner, [] { return now; });
    const auto reading = records.newest({});
    ASSERT_FALSE(reading);
    EXPECT_EQ(reading.failure().howToAllow, LogAccessText::macosUnifiedLog());
}
