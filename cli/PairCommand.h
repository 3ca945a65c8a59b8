#pragma once

#include "Companion/Host.h"

#include <QStringList>

namespace Cli {

/// `nuvexa-companion-cli pair [options]`: one pairing session in the terminal. Shows the code, the
/// port, the addresses the phone can be pointed at, whether the session is visible on the local
/// network and, when it cannot be, what to do; the log lines only with --verbose, on standard error.
/// With --json, one JSON object per line instead. Answers `Exit::done` once a phone has paired,
/// `Exit::refused` when the session expires or fails, `Exit::interrupted` after SIGINT or SIGTERM (the
/// session is stopped first) and `Exit::usage` for a usage error. `arguments` are those after "pair".
int runPair(const Companion::Host& host, const QStringList& arguments);

/// What keeps a phone from finding the session by itself on `actions`' system (no DNS-SD service, a
/// firewall in the way), each with its remedy in doctor's words; empty when nothing does.
QStringList pairingHindrances(Companion::SystemActions& actions, const std::string& user);

} // namespace Cli
