#include "Companion/TmuxNotifier.h"
#include "Companion/QtProcessRunner.h"
#include "Companion/linux/DBusNotificationCentre.h"
#include "CompanionCore/Tools.h"
#include "support/Patience.h"

#include "support/FakeClock.h"
#include "support/FakeNotificationCentre.h"
#include "support/FakeProcessRunner.h"
#include "support/NotificationsService.h"
#include "support/PrivateSessionBus.h"
#include "support/TemporaryDirectory.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>

using Companion::ProcessCommand;
using Companion::ProcessResult;
using Companion::TmuxNotifier;
using TestSupport::exited;
using TestSupport::FakeClock;
using TestSupport::FakeNotificationCentre;
using TestSupport::FakeProcessRunner;

namespace {

constexpr int generousWait = TestSupport::generousMilliseconds;
constexpr std::chrono::milliseconds quickPolls{10};

/// Waits until `notifier` has handled `count` more polls.
bool waitForPolls(TmuxNotifier& notifier, int count) {
    QSignalSpy polls(&notifier, &TmuxNotifier::polled);
    return QTest::qWaitFor([&] { return polls.count() >= count; }, generousWait);
}

/// A notifier whose tmux is a fake runner: each test says what tmux answers.
class TmuxNotifierTest : public ::testing::Test {
protected:
    TmuxNotifierTest()
        : m_runner(std::make_shared<FakeProcessRunner>())
        , m_centre(std::make_shared<FakeNotificationCentre>()) {}

    TmuxNotifier::Options options() {
        TmuxNotifier::Options options;
        options.clock = m_clock.function();
        options.locateTmux = [] { return std::optional<std::string>("/usr/bin/tmux"); };
        options.pollInterval = quickPolls;
        options.runner = m_runner;
        options.notifications = m_centre;
        return options;
    }

    void foreground(const std::string& command) { m_runner->setResult(exited(0, command + "\n")); }

    bool waitForRunning(TmuxNotifier& notifier, const std::optional<std::string>& command) {
        return QTest::qWaitFor([&] { return notifier.running() == command; }, generousWait);
    }

    FakeClock m_clock;
    std::shared_ptr<FakeProcessRunner> m_runner;
    std::shared_ptr<FakeNotificationCentre> m_centre;
};

} // namespace

TEST_F(TmuxNotifierTest, StartsOffWithNothingToShow) {
    auto off = options();
    int lookedForTmux = 0;
    off.locateTmux = [&lookedForTmux] {
        ++lookedForTmux;
        return std::optional<std::string>("/usr/bin/tmux");
    };
    TmuxNotifier notifier(off);
    EXPECT_FALSE(notifier.enabled());
    EXPECT_EQ(notifier.running(), std::nullopt);
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
    EXPECT_FALSE(notifier.notificationsRefused());
    // A second notifier, switched on, polls on the same loop at the same interval: by its third poll
    // any poll the first one had scheduled would have been due, and a poll looks for tmux at once.
    auto on = options();
    on.locateTmux = [] { return std::optional<std::string>("/opt/other/tmux"); };
    TmuxNotifier witness(on);
    witness.setEnabled(true);
    ASSERT_TRUE(waitForPolls(witness, 3));
    EXPECT_EQ(lookedForTmux, 0);
    for (const auto& run : m_runner->runs()) {
        EXPECT_EQ(run.program, "/opt/other/tmux");
    }
}

TEST_F(TmuxNotifierTest, AsksTmuxForTheForegroundCommandOfTheSessionNuvexa) {
    foreground("zsh");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForPolls(notifier, 3));
    ProcessCommand expected{"/usr/bin/tmux",
                            {"display-message", "-p", "-t", "nuvexa", "#{pane_current_command}"},
                            ProcessCommand::Output::capture};
    expected.timeout = TmuxNotifier::tmuxTimeout;
    EXPECT_EQ(m_runner->runs().front(), expected);
    EXPECT_EQ(TmuxNotifier::pollCommand("/usr/bin/tmux"), expected);
}

TEST_F(TmuxNotifierTest, TurningOnWithoutTmuxTurnsStraightBackOffAfterTheFirstPoll) {
    auto withoutTmux = options();
    withoutTmux.locateTmux = [] { return std::optional<std::string>(); };
    TmuxNotifier notifier(withoutTmux);
    QSignalSpy changes(&notifier, &TmuxNotifier::enabledChanged);
    notifier.setEnabled(true);
    EXPECT_TRUE(notifier.enabled());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !notifier.enabled(); }, generousWait));
    ASSERT_EQ(changes.count(), 2);
    EXPECT_FALSE(changes.at(1).at(0).toBool());
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(TmuxNotifierTest, ACommandOfThirtySecondsIsAnnouncedWhenThePaneReturnsToTheShell) {
    foreground("make");
    TmuxNotifier notifier(options());
    QSignalSpy finished(&notifier, &TmuxNotifier::lastFinishedChanged);
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(30);
    foreground("zsh");
    ASSERT_TRUE(QTest::qWaitFor([&] { return finished.count() == 1; }, generousWait));
    EXPECT_EQ(notifier.lastFinished(), "«make» ha terminado tras 30 s.");
    EXPECT_EQ(notifier.running(), std::nullopt);
    ASSERT_EQ(m_centre->posted.size(), 1U);
    EXPECT_EQ(m_centre->posted[0],
              std::make_pair(std::string("nuvexa"), std::string("«make» ha terminado tras 30 s.")));
}

TEST_F(TmuxNotifierTest, ACommandOfTwentyNineSecondsIsNotAnnounced) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(29);
    foreground("zsh");
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    ASSERT_TRUE(waitForPolls(notifier, 2));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
    EXPECT_TRUE(m_centre->posted.empty());
}

TEST_F(TmuxNotifierTest, SwitchingStraightToAnotherCommandAnnouncesTheFirstAndTimesTheSecond) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(125);
    foreground("vim");
    ASSERT_TRUE(waitForRunning(notifier, "vim"));
    EXPECT_EQ(notifier.lastFinished(), "«make» ha terminado tras 2 min 5 s.");
}

TEST_F(TmuxNotifierTest, StoppingAndStartingAgainForgetsTheCommandBeingTimed) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    notifier.setEnabled(false);
    EXPECT_EQ(notifier.running(), std::nullopt);
    m_clock.advance(100);
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(10);
    foreground("zsh");
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
}

TEST_F(TmuxNotifierTest, StoppingKeepsTheLastAnnouncement) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(60);
    foreground("zsh");
    ASSERT_TRUE(QTest::qWaitFor([&] { return notifier.lastFinished().has_value(); }, generousWait));
    notifier.setEnabled(false);
    EXPECT_EQ(notifier.lastFinished(), "«make» ha terminado tras 1 min.");
}

TEST_F(TmuxNotifierTest, NoSessionWhileTimingAnnouncesNothingAndClearsRunning) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(100);
    m_runner->setResult(exited(1));
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    foreground("zsh");
    ASSERT_TRUE(waitForPolls(notifier, 2));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
    EXPECT_TRUE(m_centre->posted.empty());
}

TEST_F(TmuxNotifierTest, ATmuxThatDiesWhileTimingAnnouncesNothingAndClearsRunning) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(100);
    ProcessResult crashed;
    crashed.status = ProcessResult::Status::crashed;
    m_runner->setResult(crashed);
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    foreground("zsh");
    ASSERT_TRUE(waitForPolls(notifier, 2));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
    EXPECT_TRUE(m_centre->posted.empty());
    EXPECT_TRUE(notifier.enabled());
}

TEST_F(TmuxNotifierTest, AnEmptyAnswerCountsAsNoSessionRatherThanAShell) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(100);
    m_runner->setResult(exited(0, "\n"));
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
}

TEST_F(TmuxNotifierTest, ATmuxThatCannotLaunchChangesNothingAndPollingGoesOn) {
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    ProcessResult failed;
    failed.status = ProcessResult::Status::failedToStart;
    m_runner->setResult(failed);
    ASSERT_TRUE(waitForPolls(notifier, 3));
    EXPECT_EQ(notifier.running(), "make");
    EXPECT_TRUE(notifier.enabled());
}

TEST_F(TmuxNotifierTest, PermissionIsRequestedOncePerRunHoweverOftenItIsSwitched) {
    foreground("zsh");
    TmuxNotifier notifier(options());
    for (int cycle = 0; cycle < 3; ++cycle) {
        notifier.setEnabled(true);
        notifier.setEnabled(false);
    }
    EXPECT_EQ(m_centre->permissionRequests, 1);
}

TEST_F(TmuxNotifierTest, ARefusedPermissionIsShownAndAnnouncementsGoOn) {
    m_centre->grantsPermission = false;
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return notifier.notificationsRefused(); }, generousWait));
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(45);
    foreground("zsh");
    ASSERT_TRUE(QTest::qWaitFor([&] { return notifier.lastFinished().has_value(); }, generousWait));
    EXPECT_EQ(notifier.lastFinished(), "«make» ha terminado tras 45 s.");
    EXPECT_EQ(m_centre->posted.size(), 1U);
}

TEST_F(TmuxNotifierTest, AFailedPostIsShownAsRefused) {
    m_centre->deliveries = false;
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    EXPECT_FALSE(notifier.notificationsRefused());
    m_clock.advance(45);
    foreground("zsh");
    EXPECT_TRUE(QTest::qWaitFor([&] { return notifier.notificationsRefused(); }, generousWait));
}

TEST_F(TmuxNotifierTest, WithoutANotificationServiceNothingIsAskedOrPostedButTheLineIsKept) {
    m_centre->available = false;
    foreground("make");
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_clock.advance(45);
    foreground("zsh");
    ASSERT_TRUE(QTest::qWaitFor([&] { return notifier.lastFinished().has_value(); }, generousWait));
    EXPECT_EQ(m_centre->permissionRequests, 0);
    EXPECT_TRUE(m_centre->posted.empty());
    EXPECT_FALSE(notifier.notificationsRefused());
    EXPECT_TRUE(notifier.notificationsUnavailable());
}

TEST_F(TmuxNotifierTest, AServiceThatAppearsLaterIsUsedAndNoLongerShownAsMissing) {
    m_centre->available = false;
    foreground("make");
    TmuxNotifier notifier(options());
    QSignalSpy changes(&notifier, &TmuxNotifier::notificationsUnavailableChanged);
    notifier.setEnabled(true);
    EXPECT_TRUE(notifier.notificationsUnavailable());
    ASSERT_TRUE(waitForRunning(notifier, "make"));
    m_centre->available = true;
    m_clock.advance(45);
    foreground("zsh");
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_centre->posted.size() == 1; }, generousWait));
    EXPECT_FALSE(notifier.notificationsUnavailable());
    EXPECT_EQ(changes.count(), 2);
}

namespace {

/// Answers "make" to the first poll and holds every later one until it is asked to stop.
class HoldingRunner final : public Companion::ProcessRunner {
public:
    // The notifier starts no long-lived or detached child.
    std::unique_ptr<Companion::RunningProcess> start(const ProcessCommand&) override { return nullptr; }
    bool startDetached(const ProcessCommand&) override { return false; }

    /// Whether a poll is being held.
    bool holding() const {
        std::lock_guard lock(m_mutex);
        return m_holding;
    }
    /// Whether a held poll was asked to stop, and let go.
    bool stopped() const {
        std::lock_guard lock(m_mutex);
        return m_stopped;
    }
    int runs() const {
        std::lock_guard lock(m_mutex);
        return m_runs;
    }

protected:
    ProcessResult execute(const ProcessCommand&, std::stop_token stop) override {
        std::unique_lock lock(m_mutex);
        if (++m_runs == 1) {
            return exited(0, "make\n");
        }
        m_holding = true;
        std::condition_variable_any().wait(lock, stop, [] { return false; });
        m_stopped = stop.stop_requested();
        ProcessResult cancelled;
        cancelled.status = ProcessResult::Status::cancelled;
        return cancelled;
    }

private:
    mutable std::mutex m_mutex;
    int m_runs = 0;
    bool m_holding = false;
    bool m_stopped = false;
};

} // namespace

TEST_F(TmuxNotifierTest, DestroyingAPollingNotifierStopsItsPollAndPollsNoMore) {
    auto runner = std::make_shared<HoldingRunner>();
    auto holding = options();
    holding.runner = runner;
    auto notifier = std::make_unique<TmuxNotifier>(holding);
    notifier->setEnabled(true);
    ASSERT_TRUE(waitForRunning(*notifier, "make"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return runner->holding(); }, generousWait));
    notifier.reset();
    // The destructor returned, so the poll it was waiting for has ended: at its request.
    EXPECT_TRUE(runner->stopped());
    // The held poll's answer was queued for the notifier as it went: once what was queued after it
    // has run, that answer has been dropped, and tmux has not been asked again.
    bool later = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&later] { later = true; }, Qt::QueuedConnection);
    ASSERT_TRUE(QTest::qWaitFor([&] { return later; }, generousWait));
    EXPECT_EQ(runner->runs(), 2);
}

// The whole path to the desktop: the freedesktop service on a private session bus, owned by the test.
namespace {

/// Passes everything to the real centre and counts the posts answered, so a test can end only once
/// no call is still in flight on the bus it is about to close.
class AnsweredCalls : public Companion::NotificationCentre {
public:
    explicit AnsweredCalls(std::shared_ptr<Companion::NotificationCentre> centre)
        : m_centre(std::move(centre)) {}
    bool isAvailable() override { return m_centre->isAvailable(); }
    void requestPermission(std::function<void(bool)> done) override {
        m_centre->requestPermission(std::move(done));
    }
    void post(const std::string& title, const std::string& body, std::function<void(bool)> done) override {
        m_centre->post(title, body, [this, done = std::move(done)](bool delivered) {
            ++answeredPosts;
            done(delivered);
        });
    }
    int answeredPosts = 0;

private:
    std::shared_ptr<Companion::NotificationCentre> m_centre;
};

} // namespace

TEST_F(TmuxNotifierTest, AnAnnouncementReachesTheNotificationServiceOnTheSessionBus) {
    TestSupport::PrivateSessionBus bus;
    auto service = QDBusConnection::connectToBus(bus.address(), QStringLiteral("notifications"));
    TestSupport::NotificationsService daemon;
    ASSERT_TRUE(service.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &daemon,
                                       QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(service.registerService(QStringLiteral("org.freedesktop.Notifications")));
    {
        auto withBus = options();
        auto centre = std::make_shared<AnsweredCalls>(std::make_shared<Companion::DBusNotificationCentre>(
            QDBusConnection::connectToBus(bus.address(), QStringLiteral("companion"))));
        withBus.notifications = centre;
        foreground("make");
        TmuxNotifier notifier(withBus);
        notifier.setEnabled(true);
        ASSERT_TRUE(waitForRunning(notifier, "make"));
        m_clock.advance(42);
        foreground("bash");
        ASSERT_TRUE(QTest::qWaitFor([&] { return daemon.calls.size() == 1; }, generousWait));
        EXPECT_EQ(daemon.calls[0].summary, QStringLiteral("nuvexa"));
        EXPECT_EQ(daemon.calls[0].body, QStringLiteral("«make» ha terminado tras 42 s."));
        // A call still waiting for its answer when the bus closes would outlive the test.
        ASSERT_TRUE(QTest::qWaitFor([&] { return centre->answeredPosts == 1; }, generousWait));
        EXPECT_FALSE(notifier.notificationsRefused());
        EXPECT_FALSE(notifier.notificationsUnavailable());
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("companion"));
    QDBusConnection::disconnectFromBus(QStringLiteral("notifications"));
}

TEST_F(TmuxNotifierTest, WithNoNotificationServiceOnTheSessionBusTheMissingServiceIsShown) {
    TestSupport::PrivateSessionBus bus;
    {
        auto withBus = options();
        withBus.notifications = std::make_shared<Companion::DBusNotificationCentre>(
            QDBusConnection::connectToBus(bus.address(), QStringLiteral("companion")));
        foreground("make");
        TmuxNotifier notifier(withBus);
        notifier.setEnabled(true);
        EXPECT_TRUE(notifier.notificationsUnavailable());
        EXPECT_FALSE(notifier.notificationsRefused());
        ASSERT_TRUE(waitForRunning(notifier, "make"));
        m_clock.advance(42);
        foreground("bash");
        ASSERT_TRUE(QTest::qWaitFor([&] { return notifier.lastFinished().has_value(); }, generousWait));
        EXPECT_EQ(notifier.lastFinished(), "«make» ha terminado tras 42 s.");
        EXPECT_TRUE(notifier.notificationsUnavailable());
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("companion"));
}

namespace {

/// A real tmux server of the test's own (TMUX_TMPDIR in a temporary folder) with the session
/// "nuvexa" running sh, and a second session so the server outlives "nuvexa".
class TmuxSessionTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto tmux = CompanionCore::Tools::locate("tmux");
        if (!tmux) {
            GTEST_SKIP() << "tmux is not installed (scripts/setup.sh installs it)";
        }
        m_tmux = *tmux;
        ::unsetenv("TMUX");
        ::setenv("TMUX_TMPDIR", m_directory.path().c_str(), 1);
        ASSERT_TRUE(runTmux({"-f", "/dev/null", "new-session", "-d", "-s", "other", "/bin/sh"}));
        ASSERT_TRUE(runTmux({"new-session", "-d", "-s", "nuvexa", "-x", "80", "-y", "24", "/bin/sh"}));
    }

    void TearDown() override {
        if (!m_tmux.empty()) {
            runTmux({"kill-server"});
        }
    }

    bool runTmux(std::vector<std::string> arguments) {
        return Companion::QtProcessRunner().run(ProcessCommand{m_tmux, std::move(arguments)}).succeeded();
    }

    TmuxNotifier::Options options() {
        TmuxNotifier::Options options;
        options.clock = m_clock.function();
        options.pollInterval = std::chrono::milliseconds(20);
        options.notifications = m_centre;
        return options;
    }

    bool waitForRunning(TmuxNotifier& notifier, const std::optional<std::string>& command) {
        return QTest::qWaitFor([&] { return notifier.running() == command; }, generousWait);
    }

    TestSupport::TemporaryDirectory m_directory;
    std::string m_tmux;
    FakeClock m_clock;
    std::shared_ptr<FakeNotificationCentre> m_centre = std::make_shared<FakeNotificationCentre>();
};

} // namespace

TEST_F(TmuxSessionTest, ALongCommandIsAnnouncedWhenThePaneReturnsToTheShell) {
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(waitForPolls(notifier, 1));
    EXPECT_EQ(notifier.running(), std::nullopt);
    ASSERT_TRUE(runTmux({"send-keys", "-t", "nuvexa", "cat", "Enter"}));
    ASSERT_TRUE(waitForRunning(notifier, "cat"));
    m_clock.advance(42);
    ASSERT_TRUE(runTmux({"send-keys", "-t", "nuvexa", "C-c"}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return notifier.lastFinished().has_value(); }, generousWait));
    EXPECT_EQ(notifier.lastFinished(), "«cat» ha terminado tras 42 s.");
    EXPECT_EQ(notifier.running(), std::nullopt);
    ASSERT_EQ(m_centre->posted.size(), 1U);
    EXPECT_EQ(m_centre->posted[0].second, "«cat» ha terminado tras 42 s.");
}

TEST_F(TmuxSessionTest, KillingTheSessionWhileALongCommandIsTimedAnnouncesNothing) {
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(runTmux({"send-keys", "-t", "nuvexa", "cat", "Enter"}));
    ASSERT_TRUE(waitForRunning(notifier, "cat"));
    m_clock.advance(100);
    // The server lives on in the other session, so tmux answers for the lost target with empty
    // fields and exit status 0.
    ASSERT_TRUE(runTmux({"kill-session", "-t", "nuvexa"}));
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    ASSERT_TRUE(waitForPolls(notifier, 3));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
    EXPECT_TRUE(m_centre->posted.empty());
    EXPECT_TRUE(notifier.enabled());
}

TEST_F(TmuxSessionTest, KillingTheServerWhileALongCommandIsTimedAnnouncesNothing) {
    TmuxNotifier notifier(options());
    notifier.setEnabled(true);
    ASSERT_TRUE(runTmux({"send-keys", "-t", "nuvexa", "cat", "Enter"}));
    ASSERT_TRUE(waitForRunning(notifier, "cat"));
    m_clock.advance(100);
    ASSERT_TRUE(runTmux({"kill-server"}));
    ASSERT_TRUE(waitForRunning(notifier, std::nullopt));
    ASSERT_TRUE(waitForPolls(notifier, 3));
    EXPECT_EQ(notifier.lastFinished(), std::nullopt);
    EXPECT_TRUE(m_centre->posted.empty());
}
