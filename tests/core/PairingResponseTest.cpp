#include "CompanionCore/PairingResponse.h"

#include <gtest/gtest.h>

using namespace CompanionCore;

TEST(PairingResponseTest, EncodesAllSixKeysCompactlyInFieldOrder) {
    const PairingResponse response{"ana", "Studio", 22, {"Studio.local", "192.168.1.20"}, true, false};
    EXPECT_EQ(
        response.encode(),
        R"({"user":"ana","name":"Studio","sshPort":22,"hosts":["Studio.local","192.168.1.20"],"mosh":true,"tmux":false})");
}

TEST(PairingResponseTest, WritesAnEmptyHostListAsAnEmptyArray) {
    const PairingResponse response{"ana", "Studio", 2222, {}, false, true};
    EXPECT_EQ(response.encode(),
              R"({"user":"ana","name":"Studio","sshPort":2222,"hosts":[],"mosh":false,"tmux":true})");
}

TEST(PairingResponseTest, EscapesSlashesInEveryText) {
    const PairingResponse response{"a/b", "Studio/2", 22, {"fe80::1/64"}, false, false};
    EXPECT_EQ(
        response.encode(),
        R"({"user":"a\/b","name":"Studio\/2","sshPort":22,"hosts":["fe80::1\/64"],"mosh":false,"tmux":false})");
}

TEST(PairingResponseTest, SurvivesARoundTrip) {
    const PairingResponse original{"ana", "Estudio de Ana \xC3\xA9", 22, {"Studio.local", "10.0.0.2"}, true,
                                   true};
    EXPECT_EQ(PairingResponse::decode(original.encode()), original);
}

TEST(PairingResponseTest, DecodingRefusesAHostThatIsNotText) {
    EXPECT_FALSE(PairingResponse::decode(
        R"({"user":"ana","name":"Studio","sshPort":22,"hosts":[1],"mosh":true,"tmux":false})"));
}

TEST(PairingResponseTest, DecodingRefusesAMissingKey) {
    EXPECT_FALSE(
        PairingResponse::decode(R"({"user":"ana","name":"Studio","sshPort":22,"mosh":true,"tmux":false})"));
}
