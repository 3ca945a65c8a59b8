#include "Companion/QtProcessRunner.h"

#include "support/Executable.h"
#include "support/Files.h"
#include "support/Patience.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

using Companion::ProcessCommand;
using Companion::ProcessResult;
using Companion::QtProcessRunner;

namespace {

using TestSupport::readFile;

/// Waits until a file has a whole line, for scripts that report their pid.
std::string waitForContent(const std::filesystem::path& path) {
    std::string text;
    TestSupport::pollUntil([&] {
        text = readFile(path);
        return !text.empty() && text.back() == '\n';
    });
    return text;
}

bool processExists(long long pid) {
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH;
}

bool waitUntilGone(long long pid) {
    return TestSupport::pollUntil([pid] { return !processExists(pid); });
}

} // namespace

TEST(QtProcessRunnerTest, CapturesOutputButNotErrors) {
    QtProcessRunner runner;
    const auto result = runner.run(
        ProcessCommand{"/bin/sh", {"-c", "echo out; echo err >&2; exit 3"}, ProcessCommand::Output::capture});
    EXPECT_EQ(result.status, ProcessResult::Status::finished);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, "out\n");
}

TEST(QtProcessRunnerTest, KeepsOnlyTheAskedTailOfALargeOutput) {
    QtProcessRunner runner;
    ProcessCommand whole{"/usr/bin/seq", {"1", "200000"}, ProcessCommand::Output::capture};
    const auto full = runner.run(whole).output;
    ASSERT_GT(full.size(), 1000000U);
    ProcessCommand tail = whole;
    tail.outputTail = 1000;
    const auto result = runner.run(tail);
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.output, full.substr(full.size() - 1000));
}

TEST(QtProcessRunnerTest, MergesErrorsIntoTheOutputWhenAsked) {
    QtProcessRunner runner;
    const auto result = runner.run(
        ProcessCommand{"/bin/sh", {"-c", "echo out; echo err >&2"}, ProcessCommand::Output::captureMerged});
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.output, "out\nerr\n");
}

TEST(QtProcessRunnerTest, PassesArgumentsUnchangedWithoutAShell) {
    TestSupport::TemporaryDirectory directory;
    const auto script = TestSupport::writeScript(directory / "args", "printf '%s|' \"$@\"");
    QtProcessRunner runner;
    const auto result = runner.run(ProcessCommand{
        script.string(), {"a b", "\"quoted\"", "$HOME", "*"}, ProcessCommand::Output::capture});
    EXPECT_EQ(result.output, "a b|\"quoted\"|$HOME|*|");
}

TEST(QtProcessRunnerTest, GivesTheChildExactlyTheEnvironmentItIsGiven) {
    QtProcessRunner runner;
    ProcessCommand command{"/usr/bin/env", {}, ProcessCommand::Output::capture};
    command.environment = std::vector<std::string>{"A=1", "B=two words"};
    EXPECT_EQ(runner.run(command).output, "A=1\nB=two words\n");
}

TEST(QtProcessRunnerTest, NamesTheChildsArgv0AsAskedAndKeepsItsEnvironment) {
    QtProcessRunner runner;
    ProcessCommand command{
        "/bin/sh", {"-c", "printf '%s %s' \"$0\" \"$A\""}, ProcessCommand::Output::capture};
    command.argv0 = "login-shell";
    command.environment = std::vector<std::string>{"A=1"};
    EXPECT_EQ(runner.run(command).output, "login-shell 1");
}

TEST(QtProcessRunnerTest, WritesTheInputAndClosesIt) {
    QtProcessRunner runner;
    ProcessCommand command{"/bin/cat", {}, ProcessCommand::Output::capture};
    command.input = "brew install \"tmux\"";
    EXPECT_EQ(runner.run(command).output, "brew install \"tmux\"");
}

TEST(QtProcessRunnerTest, GivesTheNullDeviceAsInputWhenThereIsNone) {
    QtProcessRunner runner;
    const auto result = runner.run(ProcessCommand{"/bin/cat", {}, ProcessCommand::Output::capture});
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.output, "");
}

TEST(QtProcessRunnerTest, ReportsAProgramThatCannotStart) {
    TestSupport::TemporaryDirectory directory;
    QtProcessRunner runner;
    const auto result = runner.run(ProcessCommand{(directory / "missing").string(), {}});
    EXPECT_EQ(result.status, ProcessResult::Status::failedToStart);
    EXPECT_FALSE(result.error.empty());
    EXPECT_FALSE(result.succeeded());
}

TEST(QtProcessRunnerTest, TerminatesAChildThatOutlivesItsTimeout) {
    TestSupport::TemporaryDirectory directory;
    const auto pidFile = directory / "pid";
    const auto script = TestSupport::writeScript(directory / "slow",
                                                 "echo $$ > '" + pidFile.string() + "'\nexec /bin/sleep 30");
    QtProcessRunner runner;
    ProcessCommand command{script.string(), {}, ProcessCommand::Output::capture};
    command.timeout = std::chrono::milliseconds(500);
    const auto result = runner.run(command);
    EXPECT_EQ(result.status, ProcessResult::Status::timedOut);
    const auto pidText = waitForContent(pidFile);
    ASSERT_FALSE(pidText.empty());
    EXPECT_TRUE(waitUntilGone(std::stoll(pidText)));
}

TEST(QtProcessRunnerTest, ReturnsAtItsDeadlineEvenWhenTheChildIgnoresTheTerminateSignal) {
    TestSupport::TemporaryDirectory directory;
    const auto pidFile = directory / "pid";
    const auto script =
        TestSupport::writeScript(directory / "stubborn", "trap '' TERM\necho $$ > '" + pidFile.string() +
                                                             "'\nwhile :; do /bin/sleep 1; done");
    // A grace longer than any test: if the run waited for the child's end, it would never return.
    QtProcessRunner runner(std::chrono::hours(1));
    ProcessCommand command{script.string(), {}, ProcessCommand::Output::capture};
    // Long enough for the shell to set its trap first, whatever the machine's load.
    command.timeout = std::chrono::milliseconds(2000);
    const auto result = runner.run(command);
    EXPECT_EQ(result.status, ProcessResult::Status::timedOut);
    const auto pidText = waitForContent(pidFile);
    ASSERT_FALSE(pidText.empty());
    const auto pid = std::stoll(pidText);
    // Still in its grace, reaped off the caller's path; the test ends it rather than wait an hour.
    EXPECT_TRUE(processExists(pid));
    ::kill(static_cast<pid_t>(pid), SIGKILL);
    EXPECT_TRUE(waitUntilGone(pid));
}

TEST(QtProcessRunnerTest, AStopRequestEndsTheChild) {
    QtProcessRunner runner;
    std::stop_source stop;
    std::thread stopper([&stop] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        stop.request_stop();
    });
    const auto result = runner.run(ProcessCommand{"/bin/sleep", {"30"}}, stop.get_token());
    stopper.join();
    EXPECT_EQ(result.status, ProcessResult::Status::cancelled);
}

TEST(QtProcessRunnerTest, ACrashIsNotAnExitStatus) {
    QtProcessRunner runner;
    const auto result = runner.run(ProcessCommand{"/bin/sh", {"-c", "kill -KILL $$"}});
    EXPECT_EQ(result.status, ProcessResult::Status::crashed);
    EXPECT_FALSE(result.succeeded());
}

TEST(QtProcessRunnerTest, AStartedChildRunsUntilTerminatedAndIsGoneWithItsHandle) {
    QtProcessRunner runner;
    auto child = runner.start(ProcessCommand{"/bin/sleep", {"30"}, ProcessCommand::Output::inherit});
    ASSERT_TRUE(child->isRunning());
    const auto pid = child->processId();
    ASSERT_TRUE(pid.has_value());
    EXPECT_TRUE(processExists(*pid));
    child->terminate();
    child.reset();
    EXPECT_TRUE(waitUntilGone(*pid));
}

TEST(QtProcessRunnerTest, AHandleEndsItsChildWhenDestroyed) {
    QtProcessRunner runner;
    auto child = runner.start(ProcessCommand{"/bin/sleep", {"30"}, ProcessCommand::Output::inherit});
    const auto pid = child->processId();
    ASSERT_TRUE(pid.has_value());
    child.reset();
    EXPECT_TRUE(waitUntilGone(*pid));
}

TEST(QtProcessRunnerTest, AChildThatCannotStartGivesAHandleThatNeverRan) {
    TestSupport::TemporaryDirectory directory;
    QtProcessRunner runner;
    auto child = runner.start(ProcessCommand{(directory / "missing").string(), {}});
    ASSERT_NE(child, nullptr);
    EXPECT_FALSE(child->isRunning());
    EXPECT_FALSE(child->processId().has_value());
    child->terminate();
}

TEST(QtProcessRunnerTest, ADetachedChildRunsOnItsOwn) {
    TestSupport::TemporaryDirectory directory;
    const auto marker = directory / "marker";
    QtProcessRunner runner;
    EXPECT_TRUE(
        runner.startDetached(ProcessCommand{"/bin/sh", {"-c", "echo done > '" + marker.string() + "'"}}));
    EXPECT_EQ(waitForContent(marker), "done\n");
    EXPECT_FALSE(runner.startDetached(ProcessCommand{(directory / "missing").string(), {}}));
}
