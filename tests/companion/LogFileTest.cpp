#include "Companion/LogFile.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

using std::filesystem::perms;

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

perms permissionsOf(const std::filesystem::path& path) {
    return std::filesystem::status(path).permissions();
}

} // namespace

TEST(LogFileTest, CreatesAMissingLogEmptyAndForThisUserOnly) {
    TestSupport::TemporaryDirectory home;
    const auto log = home / "nuvexa-companion.log";
    EXPECT_TRUE(Companion::LogFile::ensureExists(log));
    ASSERT_TRUE(std::filesystem::is_regular_file(log));
    EXPECT_EQ(std::filesystem::file_size(log), 0U);
    EXPECT_EQ(permissionsOf(log), perms::owner_read | perms::owner_write);
}

TEST(LogFileTest, CreatesEachMissingFolderForThisUserOnly) {
    TestSupport::TemporaryDirectory home;
    const auto log = home.path() / ".local" / "state" / "nuvexa-companion.log";
    EXPECT_TRUE(Companion::LogFile::ensureExists(log));
    EXPECT_TRUE(std::filesystem::is_regular_file(log));
    EXPECT_EQ(permissionsOf(home / ".local"), perms::owner_all);
    EXPECT_EQ(permissionsOf(home.path() / ".local" / "state"), perms::owner_all);
}

TEST(LogFileTest, LeavesTheModeOfAnExistingFolderAlone) {
    TestSupport::TemporaryDirectory home;
    std::filesystem::create_directory(home / "Logs");
    const auto shared =
        perms::owner_all | perms::group_read | perms::group_exec | perms::others_read | perms::others_exec;
    std::filesystem::permissions(home / "Logs", shared);
    EXPECT_TRUE(Companion::LogFile::ensureExists(home.path() / "Logs" / "nuvexa-companion.log"));
    EXPECT_EQ(permissionsOf(home / "Logs"), shared);
}

TEST(LogFileTest, NeverTruncatesOrTouchesAnExistingLog) {
    TestSupport::TemporaryDirectory home;
    const auto log = home / "nuvexa-companion.log";
    const std::string lines = "2026-11-16T03:45:35Z pairing requested\n";
    {
        std::ofstream file(log);
        file << lines;
    }
    std::filesystem::permissions(log, perms::owner_read);
    EXPECT_TRUE(Companion::LogFile::ensureExists(log));
    EXPECT_EQ(readFile(log), lines);
    EXPECT_EQ(permissionsOf(log), perms::owner_read);
}

TEST(LogFileTest, AnswersFalseWhenTheFolderCannotBeMade) {
    TestSupport::TemporaryDirectory home;
    { std::ofstream blocker(home / "Logs"); }
    EXPECT_FALSE(Companion::LogFile::ensureExists(home.path() / "Logs" / "nuvexa-companion.log"));
}

TEST(LogFileTest, AnEmptyPathIsNoLog) {
    EXPECT_FALSE(Companion::LogFile::ensureExists({}));
}
