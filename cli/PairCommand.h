#pragma once

#include <QStringList>

namespace Cli {

/// Exit statuses of `pair`.
inline constexpr int pairedExit = 0;
inline constexpr int notPairedExit = 1;
inline constexpr int usageExit = 2;
/// 128 + SIGINT, as shells report a program ended by Ctrl-C.
inline constexpr int interruptedExit = 130;

/// `nuvexa-companion-cli pair [options]`: one pairing session in the terminal. Shows the code, the
/// port, whether the session is visible on the local network and every log line; with --json, one
/// JSON object per line instead. Answers 0 once a phone has paired, 1 when the session expires or
/// fails, 130 after SIGINT or SIGTERM (the session is stopped first) and 2 for a usage error.
/// `arguments` are those after "pair".
int runPair(const QStringList& arguments);

} // namespace Cli
