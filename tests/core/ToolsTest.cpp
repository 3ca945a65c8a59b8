#include "CompanionCore/Tools.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

using namespace CompanionCore;
namespace fs = std::filesystem;

namespace {

/// Answers from a fixed set of executable paths and records every question.
struct FakeExecutables {
    std::set<std::string> present;
    std::vector<std::string> asked;
    Tools::ExecutableTest test() {
        return [this](const std::string& path) {
            asked.push_back(path);
            return present.contains(path);
        };
    }
};

void createFile(const fs::path& path, fs::perms permissions) {
    std::ofstream(path) << "#!/bin/sh\nexit 0\n";
    fs::permissions(path, permissions);
}

constexpr auto executable = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec;
constexpr auto readable = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;

} // namespace

TEST(ToolsTest, SearchesHomebrewBeforeTheSystemDirectories) {
    const std::vector<std::string> expected = {"/opt/homebrew/bin", "/usr/local/bin", "/usr/bin", "/bin"};
    EXPECT_EQ(Tools::searchPaths(), expected);
}

TEST(ToolsTest, TheFirstDirectoryWins) {
    FakeExecutables files{{"/opt/homebrew/bin/tmux", "/usr/bin/tmux"}, {}};
    EXPECT_EQ(Tools::locate("tmux", files.test(), Tools::searchPaths()), "/opt/homebrew/bin/tmux");
}

TEST(ToolsTest, StopsAtTheFirstMatch) {
    FakeExecutables files{{"/usr/local/bin/brew", "/usr/bin/brew"}, {}};
    Tools::locate("brew", files.test(), Tools::searchPaths());
    const std::vector<std::string> expected = {"/opt/homebrew/bin/brew", "/usr/local/bin/brew"};
    EXPECT_EQ(files.asked, expected);
}

TEST(ToolsTest, AsksEveryDirectoryInOrderWhenNothingQualifies) {
    FakeExecutables files;
    EXPECT_FALSE(Tools::locate("drozak", files.test(), Tools::searchPaths()));
    const std::vector<std::string> expected = {"/opt/homebrew/bin/drozak", "/usr/local/bin/drozak",
                                               "/usr/bin/drozak", "/bin/drozak"};
    EXPECT_EQ(files.asked, expected);
}

TEST(ToolsTest, AnEmptyListOfPathsGivesNothingWithoutTouchingTheFileSystem) {
    FakeExecutables files{{"/usr/bin/tmux"}, {}};
    EXPECT_FALSE(Tools::locate("tmux", files.test(), {}));
    EXPECT_TRUE(files.asked.empty());
}

TEST(ToolsTest, ToleratesATrailingSlashOnADirectory) {
    FakeExecutables files;
    Tools::locate("tmux", files.test(), {"/opt/tools/", "/"});
    const std::vector<std::string> expected = {"/opt/tools/tmux", "/tmux"};
    EXPECT_EQ(files.asked, expected);
}

TEST(ToolsTest, JoinsANameWithASlashLikeAnyOther) {
    FakeExecutables files;
    Tools::locate("sub/tool", files.test(), {"/opt"});
    EXPECT_EQ(files.asked, std::vector<std::string>{"/opt/sub/tool"});
}

TEST(ToolsTest, FindsAnExecutableInATemporaryDirectory) {
    TestSupport::TemporaryDirectory root;
    createFile(root / "mosh-server", executable);
    EXPECT_EQ(Tools::locate("mosh-server", Tools::isExecutableFile, {root.path().string()}),
              (root / "mosh-server").string());
}

TEST(ToolsTest, SkipsAFileWithoutExecutePermissionAndGoesOn) {
    TestSupport::TemporaryDirectory root;
    fs::create_directory(root / "first");
    fs::create_directory(root / "second");
    createFile(root / "first/tmux", readable);
    createFile(root / "second/tmux", executable);
    EXPECT_EQ(Tools::locate("tmux", Tools::isExecutableFile,
                            {(root / "first").string(), (root / "second").string()}),
              (root / "second/tmux").string());
}

TEST(ToolsTest, ADirectoryIsNotAnExecutableFile) {
    TestSupport::TemporaryDirectory root;
    fs::create_directory(root / "tmux");
    EXPECT_FALSE(Tools::isExecutableFile((root / "tmux").string()));
}

TEST(ToolsTest, AMissingFileIsNotAnExecutableFile) {
    TestSupport::TemporaryDirectory root;
    EXPECT_FALSE(Tools::isExecutableFile((root / "absent").string()));
}

TEST(ToolsTest, TheDownloadPageIsAnHttpsDownloadsPath) {
    EXPECT_TRUE(Tools::drozakDownload.starts_with("https://"));
    EXPECT_TRUE(Tools::drozakDownload.ends_with("/downloads"));
}

TEST(ToolsTest, ALookupWithNothingSetUsesTheRealTestAndDirectories) {
    const CompanionCore::Tools::Lookup lookup;
    EXPECT_EQ(lookup.locate("sh"), CompanionCore::Tools::locate("sh"));
    EXPECT_TRUE(lookup.executable("/bin/sh"));
}

TEST(ToolsTest, ALookupSearchesItsOwnDirectoriesWithItsOwnTest) {
    CompanionCore::Tools::Lookup lookup;
    lookup.searchPaths = std::vector<std::string>{"/first", "/second"};
    lookup.isExecutable = [](const std::string& path) { return path == "/second/tool"; };
    EXPECT_EQ(lookup.locate("tool"), "/second/tool");
    EXPECT_EQ(lookup.locate("sh"), std::nullopt);
}
