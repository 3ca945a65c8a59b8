#pragma once

#include "Companion/NotificationCentre.h"
#include "Companion/ProcessRunner.h"
#include "Companion/SerialWorker.h"
#include "CompanionCore/CommandWatch.h"
#include "CompanionCore/Timestamp.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace Companion {

/// Announces, with a desktop notification, each long command that finishes in the tmux session the
/// phone works in. While switched on it asks tmux for the session's foreground command, feeds each
/// answer to a `CommandWatch` and announces what it reports. Each poll runs tmux off the main thread;
/// every published field changes on the main thread.
class TmuxNotifier : public QObject {
    Q_OBJECT

public:
    /// The session the phone app attaches to.
    static constexpr const char* sessionName = "nuvexa";
    /// Shorter commands are not announced.
    static constexpr double minimumDuration = 30;
    static constexpr std::chrono::milliseconds defaultPollInterval{3000};
    /// A tmux that does not answer within this time counts as a poll that could not run.
    static constexpr std::chrono::milliseconds tmuxTimeout{5000};

    /// The full path of tmux, or nothing when it is not installed.
    using LocateTmux = std::function<std::optional<std::string>()>;

    struct Options {
        /// Stamps each poll; the system's wall clock when empty.
        CompanionCore::Clock clock;
        /// `Tools::locate("tmux")` in the fixed search directories when empty.
        LocateTmux locateTmux;
        std::chrono::milliseconds pollInterval = defaultPollInterval;
        /// The real runner when empty.
        std::shared_ptr<ProcessRunner> runner;
        /// The platform's notification service when empty.
        std::shared_ptr<NotificationCentre> notifications;
    };

    explicit TmuxNotifier(QObject* parent = nullptr);
    explicit TmuxNotifier(Options options, QObject* parent = nullptr);
    ~TmuxNotifier() override;

    /// The user's switch, off at every start of the app.
    bool enabled() const { return m_enabled; }
    /// Acts only on a change: on starts polling afresh (the first poll follows at once), off stops it
    /// and forgets the command being timed. Turns itself off when a poll finds no tmux.
    void setEnabled(bool enabled);

    /// The command being timed, if any.
    const std::optional<std::string>& running() const { return m_running; }
    /// The text of the most recent announcement; stopping keeps it.
    const std::optional<std::string>& lastFinished() const { return m_lastFinished; }
    /// The user refused notifications or posting one failed; announcements still reach `lastFinished`.
    bool notificationsRefused() const { return m_notificationsRefused; }
    /// No notification service answered when watching started or when the last announcement was
    /// posted; announcements still reach `lastFinished`.
    bool notificationsUnavailable() const { return m_notificationsUnavailable; }

    /// The exact tmux invocation of each poll.
    static ProcessCommand pollCommand(const std::string& tmux);

signals:
    void enabledChanged(bool enabled);
    void runningChanged();
    void lastFinishedChanged();
    void notificationsRefusedChanged(bool refused);
    void notificationsUnavailableChanged(bool unavailable);
    /// After each poll's answer has been handled.
    void polled();

private:
    void start();
    void stop();
    void poll();
    void handlePoll(unsigned generation, const ProcessResult& result);
    void announce(const CompanionCore::CommandWatch::Finished& finished);
    void post(const std::string& title, const std::string& body);
    NotificationCentre& notifications();
    void requestPermissionOnce();
    void setRunning(std::optional<std::string> running);
    void setNotificationsRefused(bool refused);
    /// Asks the notification centre whether it is usable and publishes the answer.
    bool checkNotificationsAvailable();

    Options m_options;
    bool m_enabled = false;
    std::optional<std::string> m_running;
    std::optional<std::string> m_lastFinished;
    bool m_notificationsRefused = false;
    bool m_notificationsUnavailable = false;
    CompanionCore::CommandWatch m_watch{minimumDuration};
    bool m_askedForPermission = false;
    /// Bumped by every stop, so that an answer for an earlier loop is dropped.
    unsigned m_generation = 0;
    bool m_pollInFlight = false;
    QTimer m_timer;
    SerialWorker m_worker{*this};
};

} // namespace Companion
