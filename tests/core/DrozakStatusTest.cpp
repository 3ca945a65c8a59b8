#include "CompanionCore/DrozakStatus.h"

#include <gtest/gtest.h>

using namespace CompanionCore;

TEST(DrozakStatusTest, OnlyConnectedLeavesEveryOtherFieldAbsent) {
    EXPECT_EQ(DrozakStatus::parse(R"({"connected": true})"), (DrozakStatus{true, {}, {}, {}, {}, {}}));
}

TEST(DrozakStatusTest, ReadsEveryField) {
    const auto status = DrozakStatus::parse(
        R"({"connected":false,"state":"offline","state_detail":"no network","ip":"100.70.1.2",)"
        R"("relay_connected":true,"update_available":false})");
    EXPECT_EQ(status, (DrozakStatus{false, "offline", "no network", "100.70.1.2", true, false}));
}

TEST(DrozakStatusTest, ConnectedAsAStringGivesNothing) {
    EXPECT_FALSE(DrozakStatus::parse(R"({"connected":"true"})"));
}

TEST(DrozakStatusTest, AMissingConnectedGivesNothing) {
    EXPECT_FALSE(DrozakStatus::parse(R"({"state":"running"})"));
}

TEST(DrozakStatusTest, ANullConnectedGivesNothing) {
    EXPECT_FALSE(DrozakStatus::parse(R"({"connected":null})"));
}

TEST(DrozakStatusTest, ANullStateDetailIsAbsent) {
    const auto status = DrozakStatus::parse(R"({"connected":true,"state_detail":null})");
    ASSERT_TRUE(status);
    EXPECT_FALSE(status->stateDetail);
}

TEST(DrozakStatusTest, ACamelCaseStateDetailKeyIsIgnored) {
    const auto status = DrozakStatus::parse(R"({"connected":true,"stateDetail":"ignored"})");
    ASSERT_TRUE(status);
    EXPECT_FALSE(status->stateDetail);
}

TEST(DrozakStatusTest, UnknownKeysAreIgnored) {
    EXPECT_EQ(DrozakStatus::parse(R"({"connected":true,"peers":[1,2],"version":"1.2"})"),
              (DrozakStatus{true, {}, {}, {}, {}, {}}));
}

TEST(DrozakStatusTest, AnOptionalFieldOfTheWrongTypeGivesNothing) {
    EXPECT_FALSE(DrozakStatus::parse(R"({"connected":true,"relay_connected":"yes"})"));
}

TEST(DrozakStatusTest, TextThatIsNotAnObjectGivesNothing) {
    EXPECT_FALSE(DrozakStatus::parse(""));
    EXPECT_FALSE(DrozakStatus::parse("connected: true"));
    EXPECT_FALSE(DrozakStatus::parse("[true]"));
}
