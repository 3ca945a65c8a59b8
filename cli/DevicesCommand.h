#pragma once

#include <QStringList>

namespace Cli {

/// Exit statuses of `devices` and `revoke`.
inline constexpr int devicesDoneExit = 0;
/// Nothing matched, the user said no, the key file could not be read or written, or the phone's key
/// is still on some line of the file.
inline constexpr int devicesRefusedExit = 1;
inline constexpr int devicesUsageExit = 2;

/// `nuvexa-companion-cli devices [--json]`: the phones that can log in, read from the authorized
/// keys file: name, key type, SHA-256 fingerprint and line number, the older of two keys under one
/// name marked. Other keys are only counted. `arguments` are those after "devices".
int runDevices(const QStringList& arguments);

/// `nuvexa-companion-cli revoke NAME|FINGERPRINT [--yes] [--every-line]`: removes exactly that
/// phone's lines from the authorized keys file, and with --every-line (or a yes to the question) the
/// other lines that hold its key too. A name held by more than one key is refused with the matches
/// listed. Without --yes it asks on a terminal, and refuses where it cannot ask; with --yes alone it
/// changes nothing when other lines hold the key. Exits `devicesDoneExit` only when, afterwards, no
/// line of the file holds the key; otherwise it names the lines that do.
int runRevoke(const QStringList& arguments);

} // namespace Cli
