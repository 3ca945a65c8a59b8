#include "CompanionCore/JsonText.h"

#include <gtest/gtest.h>

#include <string>

using namespace CompanionCore;

TEST(JsonTextTest, WritesCompactJsonInInsertionOrder) {
    nlohmann::ordered_json value;
    value["zeta"] = 1;
    value["alpha"] = nlohmann::ordered_json::array({true, false});
    value["mid"] = "text";
    EXPECT_EQ(JsonText::encode(value), R"({"zeta":1,"alpha":[true,false],"mid":"text"})");
}

TEST(JsonTextTest, EscapesEveryForwardSlash) {
    EXPECT_EQ(JsonText::encode(nlohmann::ordered_json("/home/ana/.ssh")), R"("\/home\/ana\/.ssh")");
}

TEST(JsonTextTest, ASlashAfterABackslashStaysDecodable) {
    const std::string text = "a\\/b";
    const std::string encoded = JsonText::encode(nlohmann::ordered_json(text));
    EXPECT_EQ(encoded, R"("a\\\/b")");
    EXPECT_EQ(nlohmann::json::parse(encoded).get<std::string>(), text);
}

TEST(JsonTextTest, EscapesQuotesAndLineBreaks) {
    EXPECT_EQ(JsonText::encode(nlohmann::ordered_json("say \"hi\"\n")), R"("say \"hi\"\n")");
}

TEST(JsonTextTest, KeepsNonAsciiTextAsUtf8) {
    EXPECT_EQ(JsonText::encode(nlohmann::ordered_json("Estudio de Ana \xC3\xA9")),
              "\"Estudio de Ana \xC3\xA9\"");
}

TEST(JsonTextTest, ReplacesInvalidUtf8InsteadOfFailing) {
    EXPECT_EQ(JsonText::encode(nlohmann::ordered_json("a\xFF")), "\"a\xEF\xBF\xBD\"");
}
