#pragma once

#include "Companion/Host.h"
#include "Companion/ReadinessCheck.h"
#include "Companion/ReadinessFacts.h"
#include "Companion/SystemActions.h"
#include "cli/TerminalStyle.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <vector>

namespace Cli {

/// `nuvexa-companion-cli status [--json]`: the readiness the panel shows (SSH server, mosh-server,
/// tmux, the relay tool and its state, the addresses, the mesh address), as a short table or, with
/// --json, as one JSON object. Answers `Exit::done` when the computer is ready to pair (its SSH server
/// is on), `Exit::refused` otherwise, and `Exit::usage` for a usage error. `arguments` are those after
/// "status".
int runStatus(const Companion::Host& host, const QStringList& arguments);

/// Findings as JSON: an array of objects with "cause", "keepsPhoneOut", "text" and "remedy".
QJsonArray findingsJson(const std::vector<Companion::Finding>& findings);

/// The table: one line per readiness row, each failed row followed by its remedy (the panel's button
/// and how to do it by hand on `actions`' system) and each row by its findings with their remedies,
/// then the addresses and the mesh address, labels
/// aligned; the marks drawn in `style`.
QString statusTable(const std::vector<Companion::ReadinessCheck>& checks,
                    const Companion::ReadinessFacts& facts, Companion::SystemActions& actions,
                    const TerminalStyle& style);

/// The same readiness as JSON: "ready", "remoteLogin", "moshPath", "tmuxPath", "drozakPath",
/// "drozakStatus" (with the relay tool's own keys), "addresses", "meshAddress", "hasMeshAddress", and
/// "checks": the rows, each with "key", "ok", "title", "detail" and "findings" (see `findingsJson`).
QJsonObject statusJson(const std::vector<Companion::ReadinessCheck>& checks,
                       const Companion::ReadinessFacts& facts);

/// `Exit::done` when the SSH server is on, else `Exit::refused`.
int statusExit(const Companion::ReadinessFacts& facts);

} // namespace Cli
