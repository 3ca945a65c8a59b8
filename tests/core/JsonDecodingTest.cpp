#include "CompanionCore/JsonDecoding.h"

#include <gtest/gtest.h>

#include <string>

using namespace CompanionCore;

namespace {

nlohmann::json sample() {
    return *JsonDecoding::object(R"({"text":"a","flag":true,"number":7,"none":null,"fraction":1.5})");
}

} // namespace

TEST(JsonDecodingTest, ObjectAcceptsOneObjectWithSurroundingWhitespace) {
    EXPECT_TRUE(JsonDecoding::object(" \n{\"a\":1}\t"));
}

TEST(JsonDecodingTest, ObjectRefusesOtherTopLevelValues) {
    EXPECT_FALSE(JsonDecoding::object("[]"));
    EXPECT_FALSE(JsonDecoding::object("\"text\""));
    EXPECT_FALSE(JsonDecoding::object("42"));
    EXPECT_FALSE(JsonDecoding::object("null"));
}

TEST(JsonDecodingTest, ObjectRefusesTextThatIsNotJson) {
    EXPECT_FALSE(JsonDecoding::object(""));
    EXPECT_FALSE(JsonDecoding::object("{"));
    EXPECT_FALSE(JsonDecoding::object("{'a':1}"));
}

TEST(JsonDecodingTest, ObjectRefusesTrailingBytes) {
    EXPECT_FALSE(JsonDecoding::object("{}{}"));
}

TEST(JsonDecodingTest, ObjectRefusesInvalidUtf8InStrings) {
    EXPECT_FALSE(JsonDecoding::object("{\"a\":\"\xFF\"}"));
}

TEST(JsonDecodingTest, RequiredReadsValuesOfTheRightType) {
    const auto object = sample();
    EXPECT_EQ(JsonDecoding::required<std::string>(object, "text"), "a");
    EXPECT_EQ(JsonDecoding::required<bool>(object, "flag"), true);
    EXPECT_EQ(JsonDecoding::required<int>(object, "number"), 7);
}

TEST(JsonDecodingTest, RequiredNeverConvertsBetweenTypes) {
    const auto object = sample();
    EXPECT_FALSE(JsonDecoding::required<std::string>(object, "number"));
    EXPECT_FALSE(JsonDecoding::required<bool>(object, "number"));
    EXPECT_FALSE(JsonDecoding::required<int>(object, "flag"));
    EXPECT_FALSE(JsonDecoding::required<int>(object, "fraction"));
}

TEST(JsonDecodingTest, RequiredIsNothingForMissingOrNull) {
    const auto object = sample();
    EXPECT_FALSE(JsonDecoding::required<std::string>(object, "absent"));
    EXPECT_FALSE(JsonDecoding::required<std::string>(object, "none"));
}

TEST(JsonDecodingTest, OptionalTreatsMissingAndNullAsAbsent) {
    const auto object = sample();
    const auto missing = JsonDecoding::optional<std::string>(object, "absent");
    const auto null = JsonDecoding::optional<std::string>(object, "none");
    EXPECT_FALSE(missing.wrongType);
    EXPECT_FALSE(missing.value);
    EXPECT_FALSE(null.wrongType);
    EXPECT_FALSE(null.value);
}

TEST(JsonDecodingTest, OptionalFlagsAValueOfAnotherType) {
    const auto wrong = JsonDecoding::optional<bool>(sample(), "text");
    EXPECT_TRUE(wrong.wrongType);
    EXPECT_FALSE(wrong.value);
}

TEST(JsonDecodingTest, OptionalReadsAPresentValue) {
    const auto present = JsonDecoding::optional<bool>(sample(), "flag");
    EXPECT_FALSE(present.wrongType);
    EXPECT_EQ(present.value, true);
}

TEST(JsonDecodingTest, RefusesAnIntegerThatDoesNotFitTheField) {
    const auto object = CompanionCore::JsonDecoding::object(R"({"port":4294967296,"small":-1})");
    ASSERT_TRUE(object);
    EXPECT_FALSE(CompanionCore::JsonDecoding::required<int>(*object, "port"));
    EXPECT_EQ(CompanionCore::JsonDecoding::required<int>(*object, "small"), -1);
}
