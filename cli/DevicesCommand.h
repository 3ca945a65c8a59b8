#pragma once

#include "Companion/Host.h"

#include <QStringList>

namespace Cli {

/// `nuvexa-companion-cli devices [--json]`: the phones that can log in, read from the authorized
/// keys file: name, key type, SHA-256 fingerprint and line number, the older of two keys under one
/// name marked. Other keys are only counted. `arguments` are those after "devices".
int runDevices(const Companion::Host& host, const QStringList& arguments);

/// `nuvexa-companion-cli revoke NAME|FINGERPRINT [--yes] [--every-line]`: removes exactly that
/// phone's lines from the authorized keys file, and with --every-line (or a yes to the question) the
/// other lines that hold its key too. A name held by more than one key is refused with the matches
/// listed. Without --yes it asks on a terminal, and refuses where it cannot ask; with --yes alone it
/// changes nothing when other lines hold the key. Exits `Exit::done` only when, afterwards, no line of
/// the file holds the key; otherwise it names the lines that do and exits `Exit::refused`, as it does
/// when nothing matched, the user said no or the key file could not be read or written.
int runRevoke(const Companion::Host& host, const QStringList& arguments);

} // namespace Cli
