#include "CompanionCore/server/EventLog.h"

#include "support/FakeClock.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using CompanionCore::EventLog;

std::string content(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::filesystem::perms permissionsOf(const std::filesystem::path& path) {
    return std::filesystem::status(path).permissions();
}

mode_t modeOf(const std::filesystem::path& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

TEST(EventLogTest, StampsUtcWithWholeSecondsAndZ) {
    TestSupport::FakeClock clock; // 2023-11-14T22:13:20Z
    clock.advance(0.75);
    TestSupport::TemporaryDirectory folder;
    EventLog log(folder / "log", clock.function());
    EXPECT_EQ(log.add("pairing requested"), "2023-11-14T22:13:20Z pairing requested");
    EXPECT_EQ(EventLog::timestamp(std::chrono::system_clock::from_time_t(1'794'800'735)),
              "2026-11-16T03:45:35Z");
}

TEST(EventLogTest, The51stLinePushesTheFirstOutOfMemoryButNotOutOfTheFile) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    EventLog log(folder / "log", clock.function());
    for (int i = 1; i <= 51; ++i) {
        log.add("line " + std::to_string(i));
    }
    ASSERT_EQ(log.lines().size(), 50u);
    EXPECT_EQ(log.lines().front(), "2023-11-14T22:13:20Z line 2");
    EXPECT_EQ(log.lines().back(), "2023-11-14T22:13:20Z line 51");
    const std::string file = content(folder / "log");
    EXPECT_EQ(std::count(file.begin(), file.end(), '\n'), 51);
    EXPECT_EQ(file.rfind("2023-11-14T22:13:20Z line 1\n", 0), 0u);
}

TEST(EventLogTest, TheFirstLineCreatesTheFileAndLaterLinesAppend) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    {
        EventLog log(folder / "log", clock.function());
        EXPECT_FALSE(std::filesystem::exists(folder / "log"));
        log.add("one");
        EXPECT_EQ(content(folder / "log"), "2023-11-14T22:13:20Z one\n");
        EXPECT_EQ(modeOf(folder / "log"), 0600u);
    }
    // Another run of the program keeps what the first wrote.
    EventLog again(folder / "log", clock.function());
    again.add("two");
    EXPECT_EQ(content(folder / "log"), "2023-11-14T22:13:20Z one\n2023-11-14T22:13:20Z two\n");
    EXPECT_EQ(again.lines().size(), 1u);
}

TEST(EventLogTest, ALineFeedInAMessageSpreadsOverFileLinesButStaysOneEvent) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    EventLog log(folder / "log", clock.function());
    log.add("first\nsecond");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines().front(), "2023-11-14T22:13:20Z first\nsecond");
    EXPECT_EQ(content(folder / "log"), "2023-11-14T22:13:20Z first\nsecond\n");
}

TEST(EventLogTest, CreatesMissingFoldersForItsOwner) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    const auto file = folder / "home" / ".local" / "state" / "nuvexa-companion.log";
    EventLog log(file, clock.function());
    log.add("created");
    EXPECT_EQ(content(file), "2023-11-14T22:13:20Z created\n");
    EXPECT_EQ(modeOf(folder / "home" / ".local" / "state"), 0700u);
    EXPECT_EQ(modeOf(folder / "home"), 0700u);
}

TEST(EventLogTest, KeepsTheLineInMemoryWhenTheFileCannotBeWritten) {
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "plain") << "a file where a folder should be";
    TestSupport::FakeClock clock;
    EventLog log(folder / "plain" / "log", clock.function());
    EXPECT_EQ(log.add("kept"), "2023-11-14T22:13:20Z kept");
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(EventLogTest, AnEmptyPathKeepsLinesInMemoryOnly) {
    TestSupport::FakeClock clock;
    EventLog log({}, clock.function());
    log.add("only here");
    EXPECT_EQ(log.lines().size(), 1u);
}

} // namespace

using std::filesystem::perms;

TEST(EventLogTest, EnsureExistsCreatesAMissingLogEmptyAndForThisUserOnly) {
    TestSupport::TemporaryDirectory home;
    const auto log = home / "nuvexa-companion.log";
    EXPECT_TRUE(EventLog::ensureExists(log));
    ASSERT_TRUE(std::filesystem::is_regular_file(log));
    EXPECT_EQ(std::filesystem::file_size(log), 0U);
    EXPECT_EQ(permissionsOf(log), perms::owner_read | perms::owner_write);
}

TEST(EventLogTest, EnsureExistsCreatesEachMissingFolderForThisUserOnly) {
    TestSupport::TemporaryDirectory home;
    const auto log = home.path() / ".local" / "state" / "nuvexa-companion.log";
    EXPECT_TRUE(EventLog::ensureExists(log));
    EXPECT_TRUE(std::filesystem::is_regular_file(log));
    EXPECT_EQ(permissionsOf(home / ".local"), perms::owner_all);
    EXPECT_EQ(permissionsOf(home.path() / ".local" / "state"), perms::owner_all);
}

TEST(EventLogTest, EnsureExistsLeavesTheModeOfAnExistingFolderAlone) {
    TestSupport::TemporaryDirectory home;
    std::filesystem::create_directory(home / "Logs");
    const auto shared =
        perms::owner_all | perms::group_read | perms::group_exec | perms::others_read | perms::others_exec;
    std::filesystem::permissions(home / "Logs", shared);
    EXPECT_TRUE(EventLog::ensureExists(home.path() / "Logs" / "nuvexa-companion.log"));
    EXPECT_EQ(permissionsOf(home / "Logs"), shared);
}

TEST(EventLogTest, EnsureExistsNeverTruncatesOrTouchesAnExistingLog) {
    TestSupport::TemporaryDirectory home;
    const auto log = home / "nuvexa-companion.log";
    const std::string lines = "2026-11-16T03:45:35Z pairing requested\n";
    {
        std::ofstream file(log);
        file << lines;
    }
    std::filesystem::permissions(log, perms::owner_read);
    EXPECT_TRUE(EventLog::ensureExists(log));
    EXPECT_EQ(content(log), lines);
    EXPECT_EQ(permissionsOf(log), perms::owner_read);
}

TEST(EventLogTest, EnsureExistsAnswersFalseWhenTheFolderCannotBeMade) {
    TestSupport::TemporaryDirectory home;
    { std::ofstream blocker(home / "Logs"); }
    EXPECT_FALSE(EventLog::ensureExists(home.path() / "Logs" / "nuvexa-companion.log"));
}

TEST(EventLogTest, EnsureExistsAnEmptyPathIsNoLog) {
    EXPECT_FALSE(EventLog::ensureExists({}));
}

TEST(EventLogTest, AnExistingLogReadableByOthersIsMadePrivateOnTheNextLine) {
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "log") << "old\n";
    std::filesystem::permissions(folder / "log", static_cast<std::filesystem::perms>(0644));
    EventLog log(folder / "log");
    log.add("listening on 52901, code 123456");
    EXPECT_EQ(modeOf(folder / "log"), 0600u);
    EXPECT_TRUE(content(folder / "log").starts_with("old\n"));
}

TEST(EventLogTest, AFullLogIsMovedAsideAndBegunAnew) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    {
        std::ofstream old(folder / "log.1");
        old << "the oldest lines\n";
        std::ofstream full(folder / "log");
        full << std::string(EventLog::maximumFileSize - 1, 'x') << '\n';
    }
    std::filesystem::permissions(folder / "log", static_cast<std::filesystem::perms>(0644));
    EventLog log(folder / "log", clock.function());
    log.add("next");
    EXPECT_EQ(content(folder / "log"), "2023-11-14T22:13:20Z next\n");
    EXPECT_EQ(modeOf(folder / "log"), 0600u);
    EXPECT_EQ(std::filesystem::file_size(folder / "log.1"), EventLog::maximumFileSize);
    EXPECT_EQ(modeOf(folder / "log.1"), 0600u) << "the previous file keeps no lines readable by others";
}

TEST(EventLogTest, TheFileNeverGrowsFarPastItsBound) {
    TestSupport::TemporaryDirectory folder;
    EventLog log(folder / "log");
    const std::string line(1000, 'y');
    for (std::size_t i = 0; i < 3 * EventLog::maximumFileSize / line.size(); ++i) {
        log.add(line);
    }
    EXPECT_LE(std::filesystem::file_size(folder / "log"), EventLog::maximumFileSize + line.size() + 32);
    EXPECT_LE(std::filesystem::file_size(folder / "log.1"), EventLog::maximumFileSize + line.size() + 32);
}

namespace {

constexpr uid_t nobody = 65534;

/// What a request line from the network looks like once it is logged: it must never reach a file the
/// log was not meant to write.
constexpr const char* injectedLine = "request GET /;echo${IFS}injected;# HTTP/1.1";

struct stat statusOf(const std::filesystem::path& path) {
    struct stat info {};
    ::lstat(path.c_str(), &info);
    return info;
}

TEST(EventLogTest, ALinkInTheLogsPlaceIsNotFollowedToTheFileItNames) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    std::filesystem::create_directory(folder / "shared");
    std::filesystem::permissions(folder / "shared", static_cast<perms>(01777));
    std::ofstream(folder / "ours") << "mine\n";
    std::filesystem::permissions(folder / "ours", static_cast<perms>(0600));
    const auto link = folder / "shared" / "pair.log";
    std::filesystem::create_symlink(folder / "ours", link);
    if (::geteuid() == 0) {
        // Planted by another account, as it could be in a shared folder.
        ASSERT_EQ(::lchown(link.c_str(), nobody, nobody), 0);
    }

    EventLog log(link, clock.function());
    log.add(injectedLine);
    log.add("listening on 52901, code 123456");

    EXPECT_EQ(content(folder / "ours"), "mine\n");
    EXPECT_EQ(modeOf(folder / "ours"), 0600u);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(log.refusal(), EventLog::Refusal::symbolicLink);
    EXPECT_EQ(log.lines(), (std::deque<std::string>{
                               "2023-11-14T22:13:20Z no log file is written: " + link.string() +
                                   " is refused, as it is a symbolic link",
                               std::string("2023-11-14T22:13:20Z ") + injectedLine,
                               "2023-11-14T22:13:20Z listening on 52901, code 123456",
                           }));
}

TEST(EventLogTest, ALinkToNowhereCreatesNoFileWhereItPoints) {
    TestSupport::TemporaryDirectory folder;
    std::filesystem::create_symlink(folder / "created-through-the-link", folder / "log");
    EventLog log(folder / "log");
    log.add(injectedLine);
    EXPECT_FALSE(std::filesystem::exists(folder / "created-through-the-link"));
    EXPECT_EQ(log.refusal(), EventLog::Refusal::symbolicLink);
}

TEST(EventLogTest, AFileOfAnotherAccountIsNeitherWrittenNorMadePrivate) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can hand a file to another owner";
    }
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    const auto file = folder / "pair.log";
    std::ofstream(file) << "theirs\n";
    ASSERT_EQ(::chown(file.c_str(), nobody, nobody), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0666), 0);

    EventLog log(file, clock.function());
    log.add("listening on 52901, code 123456");
    log.add(injectedLine);

    EXPECT_EQ(content(file), "theirs\n");
    EXPECT_EQ(modeOf(file), 0666u);
    EXPECT_EQ(statusOf(file).st_uid, nobody);
    EXPECT_EQ(log.refusal(), EventLog::Refusal::otherOwner);
    ASSERT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(log.lines().front(), "2023-11-14T22:13:20Z no log file is written: " + file.string() +
                                       " is refused, as it belongs to another account");
}

TEST(EventLogTest, AFileWithASecondNameIsNotWritten) {
    TestSupport::TemporaryDirectory folder;
    const auto file = folder / "log";
    std::ofstream(file) << "old\n";
    std::filesystem::permissions(file, static_cast<perms>(0600));
    std::filesystem::create_hard_link(file, folder / "elsewhere");

    EventLog log(file);
    log.add("listening on 52901, code 123456");

    EXPECT_EQ(content(file), "old\n");
    EXPECT_EQ(content(folder / "elsewhere"), "old\n");
    EXPECT_EQ(log.refusal(), EventLog::Refusal::otherNames);
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_TRUE(log.lines().front().ends_with(" is refused, as it has another name (a hard link)"))
        << log.lines().front();
}

TEST(EventLogTest, AFileThatGainsASecondNameWhileOpenGetsNoFurtherLine) {
    TestSupport::TemporaryDirectory folder;
    TestSupport::FakeClock clock;
    const auto file = folder / "log";
    EventLog log(file, clock.function());
    log.add("one");
    std::filesystem::create_hard_link(file, folder / "elsewhere");
    log.add("listening on 52901, code 123456");
    EXPECT_EQ(content(file), "2023-11-14T22:13:20Z one\n");
    EXPECT_EQ(log.refusal(), EventLog::Refusal::otherNames);
}

TEST(EventLogTest, TheRefusalIsSaidOnceHoweverManyLinesFollow) {
    TestSupport::TemporaryDirectory folder;
    std::filesystem::create_symlink(folder / "elsewhere", folder / "log");
    EventLog log(folder / "log");
    for (int i = 0; i < 3; ++i) {
        log.add("line");
    }
    EXPECT_EQ(std::count_if(log.lines().begin(), log.lines().end(),
                            [](const std::string& line) {
                                return line.find("no log file is written") != std::string::npos;
                            }),
              1);
    EXPECT_EQ(log.lines().size(), 4u);
}

TEST(EventLogTest, OurOwnFileIsNeitherRefusedNorSaidToBe) {
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "log") << "old\n";
    std::filesystem::permissions(folder / "log", static_cast<perms>(0644));
    EventLog log(folder / "log");
    log.add("listening on 52901, code 123456");
    EXPECT_FALSE(log.refusal().has_value());
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(content(folder / "log").ends_with(" listening on 52901, code 123456\n"));
    EXPECT_EQ(modeOf(folder / "log"), 0600u);
}

TEST(EventLogTest, ADeviceInTheLogsPlaceIsNotWritten) {
    EventLog log("/dev/null");
    log.add("listening on 52901, code 123456");
    EXPECT_EQ(log.refusal(), EventLog::Refusal::notRegularFile);
    EXPECT_TRUE(log.lines().front().ends_with("/dev/null is refused, as it is not a regular file"));
}

TEST(EventLogTest, AFifoWithoutAReaderIsRefusedWithoutWaiting) {
    TestSupport::TemporaryDirectory folder;
    ASSERT_EQ(::mkfifo((folder / "log").c_str(), 0600), 0);
    EventLog log(folder / "log");
    log.add("listening on 52901, code 123456");
    EXPECT_EQ(log.refusal(), EventLog::Refusal::notRegularFile);
}

TEST(EventLogTest, AFolderInTheLogsPlaceIsRefused) {
    TestSupport::TemporaryDirectory folder;
    std::filesystem::create_directory(folder / "log");
    EventLog log(folder / "log");
    log.add("listening on 52901, code 123456");
    EXPECT_EQ(log.refusal(), EventLog::Refusal::notRegularFile);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "log"));
}

TEST(EventLogTest, EachReasonIsWordedForTheLogsLine) {
    EXPECT_EQ(EventLog::describe(EventLog::Refusal::symbolicLink), "it is a symbolic link");
    EXPECT_EQ(EventLog::describe(EventLog::Refusal::notRegularFile), "it is not a regular file");
    EXPECT_EQ(EventLog::describe(EventLog::Refusal::otherOwner), "it belongs to another account");
    EXPECT_EQ(EventLog::describe(EventLog::Refusal::otherNames), "it has another name (a hard link)");
    EXPECT_EQ(EventLog::describe(EventLog::Refusal::unprotectable),
              "others can read it and its permissions cannot be changed");
}

} // namespace
