#pragma once

#include "Companion/Finding.h"

#include <QString>

#include <optional>
#include <string_view>
#include <vector>

namespace Companion {

/// One row of the computer's readiness for the phone, decided once and shown alike by the panel and
/// the terminal front end.
struct ReadinessCheck {
    /// What the row checks; also its stable key in machine-readable output.
    enum class Item { sshServer, moshServer, tmux, drozak };

    /// What the row's repair button asks of the model.
    enum class Action { none, enableRemoteLogin, installSshServer, installTools, connectDrozak };

    Item item = Item::sshServer;
    /// The check passed.
    bool ok = false;
    /// Name of the thing checked.
    QString title;
    /// One line of state.
    QString detail;
    /// Label of the repair button; absent when the row offers none.
    std::optional<QString> actionTitle;
    Action action = Action::none;
    /// The repair is running: the button shows it and does nothing until it ends.
    bool busy = false;
    /// What a deeper look found on this row's way in, such as a mosh-server that a login cannot find;
    /// `ok` is false while one of them keeps the phone out.
    std::vector<Finding> findings{};

    bool operator==(const ReadinessCheck&) const = default;

    /// The item's stable key in machine-readable output.
    static constexpr std::string_view key(Item item) {
        switch (item) {
        case Item::sshServer:
            return "sshServer";
        case Item::moshServer:
            return "moshServer";
        case Item::tmux:
            return "tmux";
        case Item::drozak:
            return "drozak";
        }
        return {};
    }
};

} // namespace Companion
