#include "Companion/AuthLogLoginRecords.h"

#include "Companion/LogAccessText.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace Companion;
using std::chrono::system_clock;

namespace {

const system_clock::time_point now = system_clock::from_time_t(1795000000); // 2026-11-19T06:26:40Z

/// "2026-11-19T06:MM:00+00:00": minute `minute` of the morning `now` falls in.
std::string precise(int minute) {
    return "2026-11-19T06:" + std::string(minute < 10 ? "0" : "") + std::to_string(minute) +
           ":00.000001+00:00";
}

std::string line(int minute, const std::string& tag, const std::string& message) {
    return precise(minute) + " box " + tag + ": " + message + "\n";
}

std::string accepted(const std::string& key, const std::string& address, int port = 4000,
                     const std::string& user = "ana") {
    return "Accepted publickey for " + user + " from " + address + " port " + std::to_string(port) +
           " ssh2: ED25519 " + key;
}

LoginRecords::Query query(std::vector<std::string> keys, std::size_t perKey = 16) {
    LoginRecords::Query asked;
    asked.fingerprints = std::move(keys);
    asked.user = "ana";
    asked.since = now - std::chrono::hours(24);
    asked.acceptedPerKey = perKey;
    return asked;
}

std::vector<std::string> addresses(const LoginRecords::Reading& reading) {
    std::vector<std::string> found;
    for (const auto& attempt : *reading) {
        found.push_back(attempt.address);
    }
    return found;
}

class AuthLogLoginRecordsTest : public testing::Test {
protected:
    AuthLogLoginRecords recordsOf(const std::string& content,
                                  std::size_t byteBound = AuthLogLoginRecords::defaultByteBound) {
        TestSupport::writeFile(m_folder / "auth.log", content);
        return AuthLogLoginRecords(
            {m_folder / "auth.log"}, [] { return now; }, [] { return std::string("ana"); }, byteBound);
    }

    TestSupport::TemporaryDirectory m_folder;
};

} // namespace

TEST_F(AuthLogLoginRecordsTest, ReadsTheAskedKeysAttemptsNewestFirst) {
    auto records = recordsOf(
        line(1, "sshd[10]", accepted("SHA256:a", "10.0.0.1")) +
        line(2, "sshd[11]", "Connection closed by 10.0.0.9 port 22") +
        line(3, "sshd-session[12]", accepted("SHA256:other", "10.0.0.3")) +
        line(4, "sshd[13]", "Failed publickey for ana from 10.0.0.4 port 4 ssh2: ED25519 SHA256:a") +
        line(5, "sshd[14]", accepted("SHA256:b", "10.0.0.5")));
    const auto reading = records.newest(query({"SHA256:a", "SHA256:b"}));
    ASSERT_TRUE(reading);
    EXPECT_EQ(addresses(reading), (std::vector<std::string>{"10.0.0.5", "10.0.0.4", "10.0.0.1"}));
    EXPECT_FALSE((*reading)[1].accepted);
    EXPECT_EQ((*reading)[2].port, 4000);
}

TEST_F(AuthLogLoginRecordsTest, ReadsTheTraditionalFormatToo) {
    std::tm parts{};
    const std::time_t seconds = system_clock::to_time_t(now - std::chrono::minutes(5));
    localtime_r(&seconds, &parts);
    char date[32];
    std::strftime(date, sizeof date, "%b %e %H:%M:%S", &parts);
    auto records = recordsOf(std::string(date) + " box sshd[10]: " + accepted("SHA256:a", "10.0.0.1") + "\n");
    const auto reading = records.newest(query({"SHA256:a"}));
    ASSERT_TRUE(reading);
    ASSERT_EQ(reading->size(), 1U);
    EXPECT_EQ(reading->front().time, system_clock::from_time_t(seconds));
}

TEST_F(AuthLogLoginRecordsTest, SkipsAnotherProgramsLineThatEmbedsTheWords) {
    auto records = recordsOf(line(1, "sshd[10]", accepted("SHA256:a", "10.0.0.1")) +
                             line(2, "logger[99]", accepted("SHA256:a", "6.6.6.6")) +
                             line(3, "ana", "sshd[5]: " + accepted("SHA256:a", "6.6.6.7")) +
                             line(4, "sshd", accepted("SHA256:a", "6.6.6.8")));
    const auto reading = records.newest(query({"SHA256:a"}));
    ASSERT_TRUE(reading);
    EXPECT_EQ(addresses(reading), std::vector<std::string>{"10.0.0.1"});
}

TEST_F(AuthLogLoginRecordsTest, SkipsOtherUsersAndInvalidUsers) {
    auto records =
        recordsOf(line(1, "sshd[10]", accepted("SHA256:a", "10.0.0.1", 1, "root")) +
                  line(2, "sshd[10]",
                       "Failed publickey for invalid user ana from 10.0.0.2 port 2 ssh2: ED25519 SHA256:a") +
                  line(3, "sshd[10]", accepted("SHA256:a", "10.0.0.3")));
    EXPECT_EQ(addresses(records.newest(query({"SHA256:a"}))), std::vector<std::string>{"10.0.0.3"});
}

TEST_F(AuthLogLoginRecordsTest, StopsAtTheFirstRecordOlderThanAsked) {
    auto records = recordsOf("2026-11-17T06:00:00+00:00 box sshd[10]: " + accepted("SHA256:a", "10.0.0.1") +
                             "\n" + "2026-11-18T06:00:00+00:00 box CRON[1]: tick\n" +
                             line(1, "sshd[10]", accepted("SHA256:a", "10.0.0.2")));
    EXPECT_EQ(addresses(records.newest(query({"SHA256:a"}))), std::vector<std::string>{"10.0.0.2"});
}

TEST_F(AuthLogLoginRecordsTest, StopsOnceEveryKeyHasTheAcceptedLoginsAsked) {
    auto records = recordsOf(line(1, "sshd[10]", accepted("SHA256:b", "10.0.0.1")) +
                             line(2, "sshd[10]", accepted("SHA256:a", "10.0.0.2")) +
                             line(3, "sshd[10]", accepted("SHA256:b", "10.0.0.3")) +
                             line(4, "sshd[10]", accepted("SHA256:a", "10.0.0.4")));
    EXPECT_EQ(addresses(records.newest(query({"SHA256:a"}, 1))), std::vector<std::string>{"10.0.0.4"});
    EXPECT_EQ(addresses(records.newest(query({"SHA256:a", "SHA256:b"}, 1))),
              (std::vector<std::string>{"10.0.0.4", "10.0.0.3"}));
}

TEST_F(AuthLogLoginRecordsTest, ReadsLinesAcrossChunksOfTheFile) {
    std::string content;
    const std::string filler(200, 'x');
    std::size_t written = 0;
    for (int index = 0; written < 3 * AuthLogLoginRecords::chunkBytes; ++index) {
        const auto next =
            line(1, "sshd[10]", accepted("SHA256:a", "10.0." + std::to_string(index % 250) + ".1")) +
            line(1, "CRON[1]", filler);
        content += next;
        written += next.size();
    }
    const auto lines = static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n'));
    auto records = recordsOf(content);
    const auto reading = records.newest(query({"SHA256:a"}, lines));
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->size(), lines / 2);
}

// A line the bound cuts is left out with everything before it.
TEST_F(AuthLogLoginRecordsTest, ReadsNoMoreThanItsBoundFromTheEnd) {
    const std::string newest = line(2, "sshd[10]", accepted("SHA256:a", "10.0.0.2"));
    auto records =
        recordsOf(line(1, "sshd[10]", accepted("SHA256:a", "10.0.0.1")) + newest, newest.size() + 1);
    EXPECT_EQ(addresses(records.newest(query({"SHA256:a"}))), std::vector<std::string>{"10.0.0.2"});
}

TEST_F(AuthLogLoginRecordsTest, ReadsTheSecondCandidateWhenTheFirstIsMissing) {
    TestSupport::writeFile(m_folder / "secure", line(1, "sshd[10]", accepted("SHA256:a", "10.0.0.1")));
    AuthLogLoginRecords records({m_folder / "auth.log", m_folder / "secure"}, [] { return now; });
    EXPECT_EQ(addresses(records.newest(query({"SHA256:a"}))), std::vector<std::string>{"10.0.0.1"});
}

TEST_F(AuthLogLoginRecordsTest, WithoutAnyFileTheAdviceIsToKeepRecords) {
    AuthLogLoginRecords records({m_folder / "auth.log", m_folder / "secure"}, [] { return now; });
    const auto reading = records.newest(query({"SHA256:a"}));
    ASSERT_FALSE(reading);
    EXPECT_EQ(reading.failure().howToAllow, LogAccessText::linuxNoRecords());
}
