#include "Companion/TmuxNotifier.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/QtProcessRunner.h"
#include "CompanionCore/Tools.h"

#include <QCoreApplication>
#include <QPointer>
#include <QString>

namespace Companion {

TmuxNotifier::TmuxNotifier(QObject* parent)
    : TmuxNotifier(Options{}, parent) {}

TmuxNotifier::TmuxNotifier(Options options, QObject* parent)
    : QObject(parent)
    , m_options(std::move(options)) {
    if (!m_options.clock) {
        m_options.clock = CompanionCore::systemNow;
    }
    if (!m_options.locateTmux) {
        m_options.locateTmux = [] { return CompanionCore::Tools::locate("tmux"); };
    }
    if (!m_options.runner) {
        m_options.runner = std::make_shared<QtProcessRunner>();
    }
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &TmuxNotifier::poll);
}

TmuxNotifier::~TmuxNotifier() {
    m_worker.shutDown();
}

ProcessCommand TmuxNotifier::pollCommand(const std::string& tmux) {
    ProcessCommand command{tmux,
                           {"display-message", "-p", "-t", sessionName, "#{pane_current_command}"},
                           ProcessCommand::Output::capture};
    command.timeout = tmuxTimeout;
    return command;
}

void TmuxNotifier::setEnabled(bool enabled) {
    if (enabled == m_enabled) {
        return;
    }
    m_enabled = enabled;
    emit enabledChanged(enabled);
    if (enabled) {
        start();
    } else {
        stop();
    }
}

void TmuxNotifier::start() {
    stop();
    m_watch = CompanionCore::CommandWatch(minimumDuration);
    requestPermissionOnce();
    // The first poll follows at once, yet after the switch has finished moving.
    m_timer.start(0);
}

void TmuxNotifier::stop() {
    ++m_generation;
    m_timer.stop();
    m_watch.reset();
    setRunning(std::nullopt);
}

void TmuxNotifier::poll() {
    if (!m_enabled || m_pollInFlight) {
        return;
    }
    const auto tmux = m_options.locateTmux();
    if (!tmux) {
        setEnabled(false);
        return;
    }
    m_pollInFlight = true;
    m_worker.enqueue([this, runner = m_options.runner, command = pollCommand(*tmux),
                      generation = m_generation](std::stop_token stop) {
        auto result = runner->run(command, stop);
        m_worker.publish([this, generation, result = std::move(result)] { handlePoll(generation, result); });
    });
}

void TmuxNotifier::handlePoll(unsigned generation, const ProcessResult& result) {
    m_pollInFlight = false;
    if (generation != m_generation) {
        // Stopped (and maybe started again) while tmux ran: this answer belongs to the old loop.
        if (m_enabled && !m_timer.isActive()) {
            m_timer.start(0);
        }
        return;
    }
    bool exited = false;
    switch (result.status) {
    case ProcessResult::Status::finished:
    case ProcessResult::Status::crashed:
        exited = true;
        break;
    case ProcessResult::Status::failedToStart:
    case ProcessResult::Status::timedOut:
    case ProcessResult::Status::cancelled:
        break;
    }
    if (!exited) {
        // A poll that could not run changes nothing; the next one follows as usual.
        emit polled();
        m_timer.start(m_options.pollInterval);
        return;
    }
    const auto command = QString::fromUtf8(result.output).trimmed();
    if (!result.succeeded() || command.isEmpty()) {
        // No server or no session "nuvexa" (tmux answers a missing target with empty fields), or tmux
        // died: a command that was being timed did not finish, it went away.
        m_watch.reset();
        setRunning(std::nullopt);
    } else {
        if (const auto finished = m_watch.sample(command.toStdString(), m_options.clock())) {
            announce(*finished);
        }
        setRunning(m_watch.currentCommand());
    }
    emit polled();
    if (m_enabled && generation == m_generation) {
        m_timer.start(m_options.pollInterval);
    }
}

void TmuxNotifier::announce(const CompanionCore::CommandWatch::Finished& finished) {
    const auto body =
        LocalizedFormat::fill(
            QCoreApplication::translate("TmuxNotifier", "«%@» ha terminado tras %@."),
            {QString::fromStdString(finished.command),
             QString::fromStdString(CompanionCore::CommandWatch::humanDuration(finished.duration))})
            .toStdString();
    m_lastFinished = body;
    emit lastFinishedChanged();
    post(QCoreApplication::translate("TmuxNotifier", "nuvexa").toStdString(), body);
}

NotificationCentre& TmuxNotifier::notifications() {
    // Made on first use, so that a notifier that never runs never touches the desktop's services.
    if (!m_options.notifications) {
        m_options.notifications = makeNotificationCentre();
    }
    return *m_options.notifications;
}

void TmuxNotifier::post(const std::string& title, const std::string& body) {
    if (!checkNotificationsAvailable()) {
        return;
    }
    const QPointer<TmuxNotifier> self(this);
    notifications().post(title, body, [self](bool delivered) {
        if (self && !delivered) {
            self->setNotificationsRefused(true);
        }
    });
}

void TmuxNotifier::requestPermissionOnce() {
    if (!checkNotificationsAvailable() || m_askedForPermission) {
        return;
    }
    m_askedForPermission = true;
    const QPointer<TmuxNotifier> self(this);
    notifications().requestPermission([self](bool granted) {
        if (self) {
            self->setNotificationsRefused(!granted);
        }
    });
}

bool TmuxNotifier::checkNotificationsAvailable() {
    const bool available = notifications().isAvailable();
    if (available == m_notificationsUnavailable) {
        m_notificationsUnavailable = !available;
        emit notificationsUnavailableChanged(m_notificationsUnavailable);
    }
    return available;
}

void TmuxNotifier::setRunning(std::optional<std::string> running) {
    if (running == m_running) {
        return;
    }
    m_running = std::move(running);
    emit runningChanged();
}

void TmuxNotifier::setNotificationsRefused(bool refused) {
    if (refused == m_notificationsRefused) {
        return;
    }
    m_notificationsRefused = refused;
    emit notificationsRefusedChanged(refused);
}

} // namespace Companion
