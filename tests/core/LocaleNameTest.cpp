#include "CompanionCore/LocaleName.h"

#include <gtest/gtest.h>

namespace {

namespace LocaleName = CompanionCore::LocaleName;

TEST(LocaleNameTest, NormalisesTheCodesetAsTheCLibraryDoes) {
    EXPECT_EQ(LocaleName::normalized("en_US.UTF-8"), "en_US.utf8");
    EXPECT_EQ(LocaleName::normalized("de_DE.ISO-8859-15@euro"), "de_DE.iso885915@euro");
    EXPECT_EQ(LocaleName::normalized("C"), "C");
}

TEST(LocaleNameTest, TellsAUtf8CodesetInAnySpelling) {
    EXPECT_TRUE(LocaleName::isUtf8("en_US.UTF-8"));
    EXPECT_TRUE(LocaleName::isUtf8("C.utf8"));
    EXPECT_TRUE(LocaleName::isUtf8("sr_RS.UTF-8@latin"));
    EXPECT_TRUE(LocaleName::isUtf8("UTF-8"));
    EXPECT_FALSE(LocaleName::isUtf8("C"));
    EXPECT_FALSE(LocaleName::isUtf8("POSIX"));
    EXPECT_FALSE(LocaleName::isUtf8("en_US"));
    EXPECT_FALSE(LocaleName::isUtf8("en_US.ISO-8859-1"));
}

TEST(LocaleNameTest, FindsALocaleInTheListWhateverItsCodesetSpelling) {
    const auto listed = LocaleName::parseList("C\nC.utf8\nPOSIX\nen_US.utf8\n");
    EXPECT_EQ(listed, (std::vector<std::string>{"C", "C.utf8", "POSIX", "en_US.utf8"}));
    EXPECT_TRUE(LocaleName::isAvailable("en_US.UTF-8", listed));
    EXPECT_TRUE(LocaleName::isAvailable("C.UTF-8", listed));
    EXPECT_FALSE(LocaleName::isAvailable("es_ES.UTF-8", listed));
}

TEST(LocaleNameTest, TheBuiltInLocalesNeedNoList) {
    EXPECT_TRUE(LocaleName::isAvailable("C", {}));
    EXPECT_TRUE(LocaleName::isAvailable("POSIX", {}));
}

TEST(LocaleNameTest, LcAllWinsOverLcCtypeOverLang) {
    EXPECT_EQ(LocaleName::effective("C", "en_US.UTF-8", "es_ES.UTF-8"), "C");
    EXPECT_EQ(LocaleName::effective(std::nullopt, "en_US.UTF-8", "es_ES.UTF-8"), "en_US.UTF-8");
    EXPECT_EQ(LocaleName::effective("", std::nullopt, "es_ES.UTF-8"), "es_ES.UTF-8");
    EXPECT_EQ(LocaleName::effective(std::nullopt, std::nullopt, std::nullopt), std::nullopt);
}

} // namespace
