#pragma once

#include "Companion/Host.h"

#include <QStringList>

namespace Cli {

/// `nuvexa-companion-cli pair [options]`: one pairing session in the terminal. Shows the code, the
/// port, whether the session is visible on the local network and every log line; with --json, one
/// JSON object per line instead. Answers `Exit::done` once a phone has paired, `Exit::refused` when the
/// session expires or fails, `Exit::interrupted` after SIGINT or SIGTERM (the session is stopped
/// first) and `Exit::usage` for a usage error.
/// `arguments` are those after "pair".
int runPair(const Companion::Host& host, const QStringList& arguments);

} // namespace Cli
