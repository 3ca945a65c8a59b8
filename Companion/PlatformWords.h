#pragma once

#include "Companion/Wording.h"

#include <QString>

#include <optional>
#include <string>

/// Every text that names the computer or its facilities, in the words of the system `wording`
/// names: the one place that decides between them, so that no text of one system reaches the user
/// of the other. Each answers the translated text.
namespace Companion::PlatformWords {

/// The title of the SSH server's readiness row: Remote Login on macOS, the SSH server on Linux.
QString sshServerTitle(Wording wording);

/// The button that installs what is missing: with Homebrew on macOS; on Linux with
/// `packageManager`, or without a name when none was found.
QString installTitle(Wording wording, const std::optional<std::string>& packageManager);

/// The switch that keeps the computer awake.
QString keepAwakeTitle(Wording wording);

/// The note shown while only home addresses reach the computer.
QString homeOnlyNote(Wording wording);

/// What to do on the phone to pair with this computer.
QString pairingExplanation(Wording wording);

/// The panel's line while the pairing session is visible on the local network, naming what
/// announces it: Bonjour on macOS, Avahi on Linux.
QString sessionVisible(Wording wording);

/// The terminal's line when the announcement is visible on the local network.
QString announcerVisible(Wording wording);

/// The terminal's line when the announcement has stopped being visible.
QString announcerNotVisible(Wording wording);

/// The terminal's line when the session waits and its announcement is not visible yet.
QString announcerNotYetVisible(Wording wording);

/// No SSH server answers: how to turn one on.
QString noSshServer(Wording wording);

/// No DNS-SD service runs: how to get one.
QString noDnsSdDaemon(Wording wording);

/// The DNS-SD service does not show what the computer announces: what to look at.
QString announcementNotSeen(Wording wording);

/// The SSH server refuses the key for a reason it only writes to its log: where that log is.
QString refusedForAnotherReason(Wording wording);

/// How to let an SSH session find the mosh-server installed at `path`: on macOS a line in
/// ~/.zshenv that puts its folder on the PATH; on Linux a link in /usr/local/bin or, when
/// `installCommand` is known, the distribution's package.
QString moshServerNotInLoginPath(Wording wording, const QString& path,
                                 const std::optional<std::string>& installCommand);

/// How to give SSH sessions a UTF-8 locale.
QString loginLocaleNotUtf8(Wording wording);

/// How to install the locale `name` that SSH sessions ask for.
QString loginLocaleNotInstalled(Wording wording, const QString& name);

} // namespace Companion::PlatformWords
