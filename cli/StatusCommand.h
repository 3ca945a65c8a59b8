#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Companion {
class CompanionModel;
}

namespace Cli {

/// Exit statuses of `status`.
inline constexpr int readyExit = 0;
inline constexpr int notReadyExit = 1;
inline constexpr int statusUsageExit = 2;

/// `nuvexa-companion-cli status [--json]`: the readiness the panel shows (SSH server, mosh-server,
/// tmux, the relay tool and its state, the addresses, the mesh address), as a short table or, with
/// --json, as one JSON object. Answers 0 when the computer is ready to pair (its SSH server is on),
/// 1 otherwise, and 2 for a usage error. `arguments` are those after "status".
int runStatus(const QStringList& arguments);

/// The table, one line per check, labels aligned.
QString statusTable(const Companion::CompanionModel& model);

/// The same readiness as JSON: "ready", "remoteLogin", "moshPath", "tmuxPath", "drozakPath",
/// "drozakStatus" (with the relay tool's own keys), "addresses", "meshAddress", "hasMeshAddress".
QJsonObject statusJson(const Companion::CompanionModel& model);

/// `readyExit` when the SSH server is on, else `notReadyExit`.
int statusExit(const Companion::CompanionModel& model);

} // namespace Cli
