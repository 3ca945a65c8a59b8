#include "CompanionCore/server/ConnectionAdmission.h"

#include <gtest/gtest.h>

using CompanionCore::ConnectionAdmission;
using Decision = ConnectionAdmission::Decision;

TEST(ConnectionAdmissionTest, AdmitsWhileThereIsRoom) {
    ConnectionAdmission table({2, 3});
    EXPECT_EQ(table.admit(1, "a"), (Decision{true, std::nullopt}));
    EXPECT_EQ(table.admit(2, "b"), (Decision{true, std::nullopt}));
    EXPECT_EQ(table.countOf("a") + table.countOf("b"), 2u);
}

TEST(ConnectionAdmissionTest, AGroupAtItsShareMakesRoomFromItsOwnIdlestConnection) {
    ConnectionAdmission table({2, 10});
    table.admit(1, "a");
    table.admit(2, "a");
    table.admit(3, "b");
    table.delivered(1, 10);
    EXPECT_EQ(table.admit(4, "a"), (Decision{true, 2}));
    EXPECT_EQ(table.countOf("a"), 2u);
    EXPECT_EQ(table.countOf("b"), 1u);
}

TEST(ConnectionAdmissionTest, AFullTableDropsTheConnectionThatDeliveredLeast) {
    ConnectionAdmission table({4, 3});
    table.admit(1, "a");
    table.admit(2, "b");
    table.admit(3, "c");
    table.delivered(1, 5);
    table.delivered(2, 1);
    table.delivered(3, 9);
    EXPECT_EQ(table.admit(4, "d"), (Decision{true, 2}));
    EXPECT_EQ(table.countOf("a") + table.countOf("b") + table.countOf("c") + table.countOf("d"), 3u);
}

TEST(ConnectionAdmissionTest, BytesStillWithTheSystemCountAsDelivered) {
    ConnectionAdmission table({4, 2});
    table.admit(1, "a");
    table.admit(2, "b");
    // The phone's request has arrived but has not been read yet.
    const auto pending = [](ConnectionAdmission::Id id) -> std::size_t { return id == 2 ? 400 : 0; };
    EXPECT_EQ(table.admit(3, "c", pending), (Decision{true, 1}));
}

TEST(ConnectionAdmissionTest, TiesGoToTheFullerGroupThenToTheOlderConnection) {
    ConnectionAdmission table({4, 4});
    table.admit(1, "phone");
    table.admit(2, "flood");
    table.admit(3, "flood");
    table.admit(4, "other");
    EXPECT_EQ(table.admit(5, "new"), (Decision{true, 2}));
    EXPECT_EQ(table.admit(6, "new"), (Decision{true, 1}));
}

TEST(ConnectionAdmissionTest, AnAnsweredConnectionRemovedFromTheTableFreesItsPlaceAtOnce) {
    // The pool removes a connection once its request is complete: a peer that holds answered
    // connections open holds none of the places a phone not yet heard needs.
    ConnectionAdmission table({1, 1});
    table.admit(1, "a");
    table.remove(1);
    EXPECT_EQ(table.admit(2, "a"), (Decision{true, std::nullopt}));
    table.remove(2);
    EXPECT_EQ(table.admit(3, "b"), (Decision{true, std::nullopt}));
}

TEST(ConnectionAdmissionTest, RemovingFreesTheGroupsShare) {
    ConnectionAdmission table({1, 5});
    table.admit(1, "a");
    table.remove(1);
    table.remove(1);
    EXPECT_EQ(table.countOf("a"), 0u);
    EXPECT_EQ(table.admit(2, "a"), (Decision{true, std::nullopt}));
}
