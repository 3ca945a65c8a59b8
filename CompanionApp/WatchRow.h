#pragma once

#include <QWidget>

#include <optional>
#include <string>

class QLabel;

namespace CompanionApp {

class Switch;

/// The long-command watch row: the switch that turns the tmux notifier on and off, a line that says
/// what it is watching (or what it needs), a note when notifications are not allowed or no service
/// answers, and the last
/// finished command. It holds no state of its own: `render` draws it from the values given.
class WatchRow : public QWidget {
    Q_OBJECT

public:
    /// What the row shows, read from the notifier and a fresh lookup of tmux.
    struct Facts {
        /// tmux is installed right now.
        bool tmuxFound = false;
        /// The notifier's switch.
        bool enabled = false;
        /// The command being watched.
        std::optional<std::string> running;
        /// The last finished-command line.
        std::optional<std::string> lastFinished;
        /// Notifications are not allowed, so an announcement is only seen here.
        bool notificationsRefused = false;
        /// No notification service answers, so an announcement is only seen here.
        bool notificationsUnavailable = false;
    };

    explicit WatchRow(QWidget* parent = nullptr);

    void render(const Facts& facts);

    Switch& toggle() const { return *m_switch; }
    QLabel& stateLine() const { return *m_state; }
    QLabel& refusedNote() const { return *m_refused; }
    QLabel& lastFinished() const { return *m_lastFinished; }

signals:
    /// The user flipped the switch.
    void enabledToggled(bool enabled);

private:
    Switch* m_switch;
    QLabel* m_state;
    QLabel* m_refused;
    QLabel* m_lastFinished;
};

} // namespace CompanionApp
