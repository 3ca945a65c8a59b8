#include "CompanionCore/PairingRequest.h"

#include <gtest/gtest.h>

using namespace CompanionCore;

TEST(PairingRequestTest, DecodesTheThreeKeys) {
    const auto request = PairingRequest::decode(
        R"({"code":"012345","publicKey":"ssh-ed25519 AAAA me","device":"iPhone de Ana"})");
    ASSERT_TRUE(request);
    EXPECT_EQ(*request, (PairingRequest{"012345", "ssh-ed25519 AAAA me", "iPhone de Ana"}));
}

TEST(PairingRequestTest, IgnoresAnExtraKey) {
    const auto request = PairingRequest::decode(R"({"v":2,"code":"1","publicKey":"k","device":"d"})");
    ASSERT_TRUE(request);
    EXPECT_EQ(*request, (PairingRequest{"1", "k", "d"}));
}

TEST(PairingRequestTest, ACodeWrittenAsANumberIsADecodingFailure) {
    EXPECT_FALSE(PairingRequest::decode(R"({"code":123456,"publicKey":"k","device":"d"})"));
}

TEST(PairingRequestTest, AMissingKeyIsADecodingFailure) {
    EXPECT_FALSE(PairingRequest::decode(R"({"code":"123456","publicKey":"k"})"));
}

TEST(PairingRequestTest, ANullValueIsADecodingFailure) {
    EXPECT_FALSE(PairingRequest::decode(R"({"code":"123456","publicKey":null,"device":"d"})"));
}

TEST(PairingRequestTest, AnEmptyBodyIsADecodingFailure) {
    EXPECT_FALSE(PairingRequest::decode(""));
}

TEST(PairingRequestTest, ABodyThatIsNotAnObjectIsADecodingFailure) {
    EXPECT_FALSE(PairingRequest::decode("code=123456"));
    EXPECT_FALSE(PairingRequest::decode(R"(["123456","k","d"])"));
}

TEST(PairingRequestTest, KeyNamesAreCaseSensitive) {
    EXPECT_FALSE(PairingRequest::decode(R"({"code":"1","publickey":"k","device":"d"})"));
}

TEST(PairingRequestTest, DecodesEscapedSlashes) {
    const auto request = PairingRequest::decode(R"({"code":"1","publicKey":"a\/b","device":"d"})");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->publicKey, "a/b");
}

TEST(PairingRequestTest, EncodesCompactlyInKeyOrder) {
    EXPECT_EQ((PairingRequest{"123456", "ssh-ed25519 AA/B", "iPhone"}.encode()),
              R"({"code":"123456","publicKey":"ssh-ed25519 AA\/B","device":"iPhone"})");
}

TEST(PairingRequestTest, SurvivesARoundTrip) {
    const PairingRequest original{"000123", "ssh-rsa AB+/== c", "Ana's \"phone\"\n"};
    EXPECT_EQ(PairingRequest::decode(original.encode()), original);
}
