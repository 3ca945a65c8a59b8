#include "CompanionCore/PairingError.h"

#include <gtest/gtest.h>

using namespace CompanionCore;

TEST(PairingErrorTest, EncodesTheMessageUnderError) {
    EXPECT_EQ(PairingError{"code expired"}.encode(), R"({"error":"code expired"})");
}

TEST(PairingErrorTest, EscapesEachSlashOfAWriteFailurePath) {
    EXPECT_EQ(PairingError{"could not write authorized_keys: /home/ana/.ssh/authorized_keys"}.encode(),
              R"({"error":"could not write authorized_keys: \/home\/ana\/.ssh\/authorized_keys"})");
}

TEST(PairingErrorTest, SurvivesARoundTrip) {
    const PairingError original{"could not write authorized_keys: /x/y: \"quoted\""};
    EXPECT_EQ(PairingError::decode(original.encode()), original);
}

TEST(PairingErrorTest, DecodingRefusesANonTextError) {
    EXPECT_FALSE(PairingError::decode(R"({"error":404})"));
}
