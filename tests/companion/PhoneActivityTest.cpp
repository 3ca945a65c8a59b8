#include "Companion/PhoneActivity.h"

#include "support/FakeLoginRecords.h"
#include "support/SampleKeys.h"

#include <gtest/gtest.h>

using namespace Companion;
using std::chrono::system_clock;
using TestSupport::FakeLiveSessions;
using TestSupport::FakeLoginRecords;

namespace {

const system_clock::time_point now = system_clock::from_time_t(1795000000);
const std::string user = "ana";
const std::string& keyA = TestSupport::SampleKeys::ed25519Fingerprint;
const std::string& keyB = TestSupport::SampleKeys::rsaFingerprint;

CompanionCore::PairedDevice phoneA() {
    return {"Pixel", "ssh-ed25519", TestSupport::SampleKeys::ed25519, 1, false};
}

CompanionCore::PairedDevice phoneB() {
    return {"iPhone", "ssh-rsa", TestSupport::SampleKeys::rsa, 2, false};
}

LoginAttempt attempt(int minutesAgo, const std::string& key, bool accepted,
                     std::string address = "192.168.1.20", int port = 50000, std::string name = user) {
    return {now - std::chrono::minutes(minutesAgo), std::move(name), std::move(address), port, key, accepted};
}

Host hostWith(std::shared_ptr<LoginRecords> records, std::vector<LiveSession> sessions = {}) {
    Host host;
    host.userName = [] { return user; };
    host.clock = [] { return now; };
    host.loginRecords = std::move(records);
    host.liveSessions = std::make_shared<FakeLiveSessions>(std::move(sessions));
    return host;
}

std::shared_ptr<FakeLoginRecords> records(std::vector<LoginAttempt> attempts) {
    return std::make_shared<FakeLoginRecords>(LoginRecords::Reading(std::move(attempts)));
}

} // namespace

TEST(PhoneActivityTest, AsksForTheHostUsersRecordsOfEachPhonesKeySinceTheLookBack) {
    const auto fake = records({});
    PhoneActivities::read(hostWith(fake), {phoneA(), phoneB(), phoneA()});
    ASSERT_EQ(fake->queries().size(), 1U);
    const auto query = fake->queries().front();
    EXPECT_EQ(query.fingerprints, (std::vector<std::string>{keyA, keyB}));
    EXPECT_EQ(query.user, user);
    EXPECT_EQ(query.since, now - PhoneActivities::lookBack);
}

TEST(PhoneActivityTest, TheLastLoginIsEachPhonesNewestAcceptedOne) {
    const auto reading = PhoneActivities::read(
        hostWith(records({attempt(5, keyA, true, "10.0.0.5"), attempt(60, keyA, true, "10.0.0.6")})),
        {phoneA(), phoneB()});
    ASSERT_EQ(reading.phones.size(), 2U);
    ASSERT_TRUE(reading.phones[0].lastLogin);
    EXPECT_EQ(reading.phones[0].lastLogin->address, "10.0.0.5");
    EXPECT_FALSE(reading.phones[0].refusedLast);
    EXPECT_EQ(reading.phones[1], PhoneActivity{});
    EXPECT_FALSE(reading.unreadable);
}

TEST(PhoneActivityTest, ARefusalNewerThanTheLastLoginIsShown) {
    const auto reading =
        PhoneActivities::read(hostWith(records({attempt(1, keyA, false), attempt(5, keyA, true),
                                                attempt(2, keyB, true), attempt(9, keyB, false)})),
                              {phoneA(), phoneB()});
    ASSERT_TRUE(reading.phones[0].refusedLast);
    EXPECT_EQ(reading.phones[0].refusedLast->time, now - std::chrono::minutes(1));
    EXPECT_TRUE(reading.phones[0].lastLogin);
    EXPECT_FALSE(reading.phones[1].refusedLast);
}

TEST(PhoneActivityTest, OnlyTheHostUsersRecordsCount) {
    const auto reading = PhoneActivities::read(
        hostWith(records({attempt(1, keyA, true, "10.0.0.1", 4000, "root")})), {phoneA()});
    EXPECT_FALSE(reading.phones[0].lastLogin);
}

TEST(PhoneActivityTest, ASessionFromTheLoginsAddressAndPortIsConnectedNow) {
    const auto reading =
        PhoneActivities::read(hostWith(records({attempt(30, keyA, true, "192.168.1.20", 50000),
                                                attempt(1, keyA, true, "192.168.1.20", 50001)}),
                                       {{77, "::ffff:192.168.1.20", 50000, false}}),
                              {phoneA(), phoneB()});
    EXPECT_TRUE(reading.phones[0].connectedNow);
    EXPECT_FALSE(reading.phones[1].connectedNow);
}

TEST(PhoneActivityTest, IPv6SpellingsOfOneAddressMatch) {
    const auto reading =
        PhoneActivities::read(hostWith(records({attempt(1, keyA, true, "2001:db8::1", 50000)}),
                                       {{77, "2001:DB8:0::1", 50000, false}}),
                              {phoneA()});
    EXPECT_TRUE(reading.phones[0].connectedNow);
}

TEST(PhoneActivityTest, ASessionFromAnotherPortOrARefusedAttemptIsNotConnected) {
    const auto reading = PhoneActivities::read(
        hostWith(records({attempt(1, keyA, true, "192.168.1.20", 50000),
                          attempt(2, keyA, false, "192.168.1.20", 50002)}),
                 {{77, "192.168.1.20", 50001, false}, {78, "192.168.1.20", 50002, false}}),
        {phoneA()});
    EXPECT_FALSE(reading.phones[0].connectedNow);
}

TEST(PhoneActivityTest, AMoshServerCountsAsAMoshSessionNotAConnection) {
    const auto reading =
        PhoneActivities::read(hostWith(records({attempt(90, keyA, true, "192.168.1.20", 50000),
                                                attempt(5, keyA, true, "192.168.1.20", 50003)}),
                                       {{77, "192.168.1.20", 50000, true},
                                        {78, "192.168.1.20", 50003, true},
                                        {79, "10.9.9.9", 1, true}}),
                              {phoneA()});
    EXPECT_EQ(reading.phones[0].moshSessions, 2);
    EXPECT_FALSE(reading.phones[0].connectedNow);
}

TEST(PhoneActivityTest, UnreadableRecordsGiveTheAdviceOnceAndNoLogins) {
    const auto fake = std::make_shared<FakeLoginRecords>(
        LoginRecords::Reading(LoginRecords::Unreadable{"Añade tu usuario."}));
    const auto reading =
        PhoneActivities::read(hostWith(fake, {{77, "192.168.1.20", 50000, false}}), {phoneA(), phoneB()});
    EXPECT_EQ(reading.unreadable, QString("Añade tu usuario."));
    EXPECT_EQ(reading.phones, (std::vector<PhoneActivity>(2)));
}

TEST(PhoneActivityTest, APhoneWhoseKeyTheServerCannotUseHasNoActivity) {
    auto broken = phoneA();
    broken.blob = "AAAA";
    const auto fake = records({attempt(1, keyA, true)});
    const auto reading = PhoneActivities::read(hostWith(fake), {broken});
    EXPECT_EQ(reading.phones, (std::vector<PhoneActivity>(1)));
    EXPECT_TRUE(fake->queries().empty());
}

TEST(PhoneActivityTest, TheFirstLoginSinceAPointIsTheOldestAcceptedAfterIt) {
    FakeLoginRecords fake(LoginRecords::Reading(
        std::vector<LoginAttempt>{attempt(1, keyA, true, "10.0.0.1"), attempt(3, keyA, false, "10.0.0.3"),
                                  attempt(4, keyA, true, "10.0.0.4"), attempt(20, keyA, true, "10.0.0.20")}));
    const auto first = PhoneActivities::firstLoginSince(fake, keyA, now - std::chrono::minutes(10), user);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->address, "10.0.0.4");
    const auto query = fake.queries().front();
    EXPECT_EQ(query.fingerprints, std::vector<std::string>{keyA});
    EXPECT_EQ(query.since, now - std::chrono::minutes(10));
    EXPECT_EQ(query.user, user);
    EXPECT_FALSE(PhoneActivities::firstLoginSince(fake, keyA, now, user));
}
