#include "Companion/KeepAwake.h"
#include "Companion/QtProcessRunner.h"
#include "support/Patience.h"

#include "support/FakeProcessRunner.h"
#include "support/TemporaryDirectory.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <mutex>
#include <thread>

using Companion::KeepAwake;
using Companion::ProcessCommand;
using TestSupport::FakeProcessRunner;

namespace {

const ProcessCommand helper{"/usr/bin/systemd-inhibit",
                            {"--what=idle:sleep", "--who=nuvexa Companion", "--why=test", "--mode=block",
                             "/usr/bin/sleep", "infinity"},
                            ProcessCommand::Output::inherit};

/// The real runner, except that whatever it is asked to start, it starts a harmless sleeping child
/// in its place: logind is not there to take a real inhibitor. It records what it was asked.
class StandInRunner final : public Companion::ProcessRunner {
public:
    std::unique_ptr<Companion::RunningProcess> start(const ProcessCommand& command) override {
        std::lock_guard lock(m_mutex);
        m_asked.push_back(command);
        return m_real.start(ProcessCommand{"/bin/sleep", {"300"}, ProcessCommand::Output::inherit});
    }
    bool startDetached(const ProcessCommand&) override { return false; }
    std::vector<ProcessCommand> asked() const {
        std::lock_guard lock(m_mutex);
        return m_asked;
    }

protected:
    Companion::ProcessResult execute(const ProcessCommand& command, std::stop_token stop) override {
        return m_real.run(command, stop);
    }

private:
    mutable std::mutex m_mutex;
    Companion::QtProcessRunner m_real;
    std::vector<ProcessCommand> m_asked;
};

bool processExists(long long pid) {
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH;
}

bool waitUntilGone(long long pid) {
    return TestSupport::pollUntil([pid] { return !processExists(pid); });
}

} // namespace

TEST(KeepAwakeTest, StartsOff) {
    auto runner = std::make_shared<FakeProcessRunner>();
    KeepAwake keepAwake(helper, runner);
    EXPECT_FALSE(keepAwake.enabled());
    EXPECT_EQ(keepAwake.helper(), nullptr);
    EXPECT_TRUE(runner->started().empty());
}

TEST(KeepAwakeTest, OnTwiceInARowStartsExactlyOneHelper) {
    auto runner = std::make_shared<FakeProcessRunner>();
    KeepAwake keepAwake(helper, runner);
    QSignalSpy changes(&keepAwake, &KeepAwake::enabledChanged);
    keepAwake.setEnabled(true);
    keepAwake.setEnabled(true);
    EXPECT_TRUE(keepAwake.enabled());
    ASSERT_EQ(runner->started().size(), 1U);
    EXPECT_EQ(runner->started()[0].command, helper);
    EXPECT_EQ(changes.count(), 1);
}

TEST(KeepAwakeTest, OffWhenAlreadyOffDoesNothingVisible) {
    auto runner = std::make_shared<FakeProcessRunner>();
    KeepAwake keepAwake(helper, runner);
    QSignalSpy changes(&keepAwake, &KeepAwake::enabledChanged);
    keepAwake.setEnabled(false);
    EXPECT_FALSE(keepAwake.enabled());
    EXPECT_EQ(changes.count(), 0);
    EXPECT_TRUE(runner->started().empty());
}

TEST(KeepAwakeTest, OffAfterOnEndsTheHelperAndALaterOnStartsANewOne) {
    auto runner = std::make_shared<FakeProcessRunner>();
    KeepAwake keepAwake(helper, runner);
    QSignalSpy changes(&keepAwake, &KeepAwake::enabledChanged);
    keepAwake.setEnabled(true);
    keepAwake.setEnabled(false);
    EXPECT_EQ(keepAwake.helper(), nullptr);
    auto started = runner->started();
    ASSERT_EQ(started.size(), 1U);
    EXPECT_EQ(started[0].terminations, 1);
    EXPECT_TRUE(started[0].destroyed);
    keepAwake.setEnabled(true);
    started = runner->started();
    ASSERT_EQ(started.size(), 2U);
    EXPECT_FALSE(started[1].destroyed);
    EXPECT_EQ(changes.count(), 3);
    ASSERT_EQ(changes.at(1).size(), 1);
    EXPECT_FALSE(changes.at(1).at(0).toBool());
}

TEST(KeepAwakeTest, AHelperThatCannotLaunchIsSwallowedAndTheSwitchStaysOn) {
    TestSupport::TemporaryDirectory directory;
    KeepAwake keepAwake(ProcessCommand{(directory / "caffeinate").string(), {"-i"}},
                        std::make_shared<Companion::QtProcessRunner>());
    keepAwake.setEnabled(true);
    EXPECT_TRUE(keepAwake.enabled());
    ASSERT_NE(keepAwake.helper(), nullptr);
    EXPECT_FALSE(keepAwake.helper()->isRunning());
    // Assigning on again does not retry: the never-started helper is still held.
    const auto* held = keepAwake.helper();
    keepAwake.setEnabled(true);
    EXPECT_EQ(keepAwake.helper(), held);
    keepAwake.setEnabled(false);
    EXPECT_EQ(keepAwake.helper(), nullptr);
}

TEST(KeepAwakeTest, WithoutAHelperOnThisSystemOnlyTheSwitchMoves) {
    auto runner = std::make_shared<FakeProcessRunner>();
    KeepAwake keepAwake(std::nullopt, runner);
    keepAwake.setEnabled(true);
    EXPECT_TRUE(keepAwake.enabled());
    EXPECT_TRUE(runner->started().empty());
}

// systemd-inhibit cannot take an inhibitor on this machine (no logind), so a sleeping child stands in
// for it: what is checked is that a real child starts with the switch and ends with it.
TEST(KeepAwakeTest, AStandInHelperRunsWhileOnAndEndsWhenSwitchedOff) {
    auto runner = std::make_shared<StandInRunner>();
    KeepAwake keepAwake(helper, runner);
    keepAwake.setEnabled(true);
    EXPECT_EQ(runner->asked(), (std::vector<ProcessCommand>{helper}));
    ASSERT_NE(keepAwake.helper(), nullptr);
    ASSERT_TRUE(keepAwake.helper()->isRunning());
    const auto pid = keepAwake.helper()->processId();
    ASSERT_TRUE(pid.has_value());
    EXPECT_TRUE(processExists(*pid));
    keepAwake.setEnabled(false);
    EXPECT_TRUE(waitUntilGone(*pid));
}

TEST(KeepAwakeTest, AStandInHelperEndsWhenTheSwitchIsDestroyedWhileOn) {
    auto runner = std::make_shared<StandInRunner>();
    std::optional<long long> pid;
    {
        KeepAwake keepAwake(helper, runner);
        keepAwake.setEnabled(true);
        ASSERT_NE(keepAwake.helper(), nullptr);
        pid = keepAwake.helper()->processId();
        ASSERT_TRUE(pid.has_value());
    }
    EXPECT_TRUE(waitUntilGone(*pid));
}
