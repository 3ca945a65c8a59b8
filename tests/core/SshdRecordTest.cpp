#include "CompanionCore/SshdRecord.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using CompanionCore::SshdRecord;
using std::chrono::system_clock;

namespace {

constexpr const char* fingerprint = "SHA256:n2wXcIYc3GtVN7P0QNy0zRYtlk5sImRpNQq6c1IUEvs";

system_clock::time_point utc(int year, int month, int day, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    return system_clock::from_time_t(::timegm(&parts));
}

system_clock::time_point local(int year, int month, int day, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1;
    return system_clock::from_time_t(std::mktime(&parts));
}

std::string accepted(const std::string& user) {
    return "Accepted publickey for " + user + " from 192.168.1.20 port 51234 ssh2: ED25519 " + fingerprint;
}

} // namespace

TEST(SshdRecordTest, ReadsAnAcceptedKeyLogin) {
    const auto time = utc(2026, 11, 24, 13, 15, 32);
    const auto record = SshdRecord::fromMessage(accepted("ana"), time);
    ASSERT_TRUE(record);
    EXPECT_EQ(*record, (SshdRecord{time, "ana", "192.168.1.20", 51234, fingerprint, true}));
}

TEST(SshdRecordTest, ReadsARefusedKey) {
    const auto record = SshdRecord::fromMessage(
        std::string("Failed publickey for ana from fe80::1 port 22 ssh2: RSA ") + fingerprint, {});
    ASSERT_TRUE(record);
    EXPECT_FALSE(record->accepted);
    EXPECT_EQ(record->address, "fe80::1");
    EXPECT_EQ(record->port, 22);
}

TEST(SshdRecordTest, TakesTheAddressPortAndKeyFromTheEndWhateverTheNameHolds) {
    const std::string forgedName = std::string("ana from 1.2.3.4 port 5 ssh2: ED25519 ") + fingerprint;
    const auto record = SshdRecord::fromMessage(
        "Accepted publickey for " + forgedName + " from 10.0.0.9 port 40000 ssh2: ECDSA SHA256:abc", {});
    ASSERT_TRUE(record);
    EXPECT_EQ(record->user, forgedName);
    EXPECT_EQ(record->address, "10.0.0.9");
    EXPECT_EQ(record->port, 40000);
    EXPECT_EQ(record->fingerprint, "SHA256:abc");
}

TEST(SshdRecordTest, SkipsAnInvalidUserEvenWhenTheNameLooksLikeARecord) {
    EXPECT_FALSE(
        SshdRecord::fromMessage(std::string("Failed publickey for invalid user ana from 1.2.3.4 port 5 "
                                            "ssh2: ED25519 ") +
                                    fingerprint + " from 10.0.0.9 port 40000 ssh2: ED25519 " + fingerprint,
                                {}));
}

TEST(SshdRecordTest, SkipsOtherMessagesAndCertificates) {
    EXPECT_FALSE(SshdRecord::fromMessage("Accepted password for ana from 1.2.3.4 port 5 ssh2", {}));
    EXPECT_FALSE(SshdRecord::fromMessage(std::string("Postponed publickey for ana from 1.2.3.4 port 5 ssh2: "
                                                     "ED25519 ") +
                                             fingerprint,
                                         {}));
    EXPECT_FALSE(
        SshdRecord::fromMessage(std::string("Accepted publickey for ana from 1.2.3.4 port 5 ssh2: "
                                            "ED25519-CERT SHA256:abc ID phone (serial 1) CA ED25519 ") +
                                    fingerprint,
                                {}));
    EXPECT_FALSE(SshdRecord::fromMessage("Accepted publickey for ana from 1.2.3.4 port 70000 ssh2: ED25519 "
                                         "SHA256:abc",
                                         {}));
    EXPECT_FALSE(SshdRecord::fromMessage(
        "Accepted publickey for ana from 1.2.3.4 port 5 ssh2: ED25519 SHA256:a*c", {}));
    EXPECT_FALSE(
        SshdRecord::fromMessage("Accepted publickey for  from 1.2.3.4 port 5 ssh2: ED25519 SHA256:abc", {}));
}

TEST(SshdRecordTest, ReadsTheTraditionalSyslogFormatInThisYear) {
    const auto now = local(2026, 11, 24, 14, 0, 0);
    const auto record = SshdRecord::fromSyslogLine("Nov 24 13:15:32 box sshd[123]: " + accepted("ana"), now);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->time, local(2026, 11, 24, 13, 15, 32));
    EXPECT_EQ(record->user, "ana");
}

TEST(SshdRecordTest, ReadsADayPaddedWithABlank) {
    const auto now = local(2026, 3, 5, 0, 0, 0);
    const auto record = SshdRecord::fromSyslogLine("Mar  4 09:01:02 box sshd[9]: " + accepted("ana"), now);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->time, local(2026, 3, 4, 9, 1, 2));
}

TEST(SshdRecordTest, PutsADateMoreThanADayAheadInLastYear) {
    const auto now = local(2027, 1, 2, 10, 0, 0);
    const auto december = SshdRecord::fromSyslogLine("Dec 31 23:59:59 box sshd[1]: " + accepted("ana"), now);
    ASSERT_TRUE(december);
    EXPECT_EQ(december->time, local(2026, 12, 31, 23, 59, 59));
    // Within a day ahead (a clock a little off) stays in this year.
    const auto soon = SshdRecord::fromSyslogLine("Jan  3 09:00:00 box sshd[1]: " + accepted("ana"), now);
    ASSERT_TRUE(soon);
    EXPECT_EQ(soon->time, local(2027, 1, 3, 9, 0, 0));
}

TEST(SshdRecordTest, ReadsRsyslogsHighPrecisionFormat) {
    const auto record = SshdRecord::fromSyslogLine(
        "2026-11-24T13:15:32.123456+01:00 box sshd-session[4567]: " + accepted("ana"), {});
    ASSERT_TRUE(record);
    EXPECT_EQ(record->time, utc(2026, 11, 24, 12, 15, 32) + std::chrono::microseconds(123456));
    const auto zulu = SshdRecord::fromSyslogLine("2026-11-24T13:15:32Z box sshd[1]: " + accepted("ana"), {});
    ASSERT_TRUE(zulu);
    EXPECT_EQ(zulu->time, utc(2026, 11, 24, 13, 15, 32));
}

TEST(SshdRecordTest, CountsOnlySshdsTagsWithAPid) {
    const auto now = local(2026, 11, 24, 14, 0, 0);
    EXPECT_FALSE(SshdRecord::fromSyslogLine("Nov 24 13:15:32 box logger[55]: " + accepted("ana"), now));
    EXPECT_FALSE(SshdRecord::fromSyslogLine("Nov 24 13:15:32 box sshd: " + accepted("ana"), now));
    EXPECT_FALSE(SshdRecord::fromSyslogLine("Nov 24 13:15:32 box sshd-evil[5]: " + accepted("ana"), now));
    EXPECT_FALSE(SshdRecord::fromSyslogLine("Nov 24 13:15:32 box ana: sshd[5]: " + accepted("ana"), now));
    EXPECT_FALSE(SshdRecord::fromSyslogLine("Nov 24 13:15:32 box sshd[x]: " + accepted("ana"), now));
    EXPECT_FALSE(SshdRecord::fromSyslogLine("Now 24 13:15:32 box sshd[5]: " + accepted("ana"), now));
}

TEST(SshdRecordTest, GivesTheTimeOfAnyProgramsLine) {
    const auto line = SshdRecord::syslogLine("2026-11-24T13:15:32+00:00 box CRON[77]: session opened", {});
    ASSERT_TRUE(line);
    EXPECT_EQ(line->program, "CRON");
    EXPECT_EQ(line->time, utc(2026, 11, 24, 13, 15, 32));
}

TEST(SshdRecordTest, ReadsSshdsUnifiedLogEntries) {
    const std::string entry =
        R"({"timestamp":"2026-11-24 13:15:32.500000+0100","processImagePath":"/usr/sbin/sshd",)"
        R"("eventMessage":")" +
        accepted("ana") + R"(","subsystem":""})";
    const auto record = SshdRecord::fromUnifiedLogEntry(entry);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->time, utc(2026, 11, 24, 12, 15, 32) + std::chrono::milliseconds(500));
    const std::string session = R"({"timestamp":"2026-11-24 13:15:32.000000+0000",)"
                                R"("processImagePath":"/usr/libexec/sshd-session","eventMessage":")" +
                                accepted("ana") + R"("})";
    EXPECT_TRUE(SshdRecord::fromUnifiedLogEntry(session));
}

TEST(SshdRecordTest, SkipsUnifiedLogEntriesOfOtherProcesses) {
    const std::string entry =
        R"({"timestamp":"2026-11-24 13:15:32.000000+0000","processImagePath":"/usr/bin/logger",)"
        R"("process":"sshd","eventMessage":")" +
        accepted("ana") + R"("})";
    EXPECT_FALSE(SshdRecord::fromUnifiedLogEntry(entry));
    EXPECT_FALSE(SshdRecord::fromUnifiedLogEntry("Filtering the log data using \"process == sshd\""));
    EXPECT_FALSE(
        SshdRecord::fromUnifiedLogEntry(R"({"processImagePath":"/usr/sbin/sshd","eventMessage":1})"));
}

TEST(SshdRecordTest, ADateTheClockCannotHoldOrThatDoesNotExistIsNoRecord) {
    for (const char* date : {"1013-11-24 13:15:32.500000+0100", "9999-11-24 13:15:32.000000+0000",
                             "2026-02-30 13:15:32.000000+0000"}) {
        const std::string entry = R"({"timestamp":")" + std::string(date) +
                                  R"(","processImagePath":"/usr/sbin/sshd","eventMessage":")" +
                                  accepted("ana") + R"("})";
        EXPECT_FALSE(SshdRecord::fromUnifiedLogEntry(entry)) << date;
    }
}
