#pragma once

#include "Companion/ProcessRunner.h"
#include "CompanionCore/PairingHandler.h"
#include "CompanionCore/Tools.h"

#include <filesystem>
#include <string>
#include <vector>

/// Who and where this computer is, as a pairing tells the phone: the login name, the computer's name
/// for people, the host names and addresses to try, and whether mosh and tmux are installed.
namespace Companion::HostIdentity {

/// The login name of the effective user.
std::string userName();

/// The current user's authorized keys file: ".ssh/authorized_keys" in the home directory.
std::filesystem::path authorizedKeysFile();

/// The host name as the system reports it (gethostname).
std::string hostName();

/// The computer's name for people, by this platform's rule (macOS asks `runner`); the host name as
/// announced when it has none.
std::string computerName(const std::string& hostName, ProcessRunner& runner);

/// The host name's first label ("box" of "box.example.org").
std::string firstLabel(const std::string& hostName);

/// What the platform's DNS-SD daemon announces for `hostName`, before ".local": Avahi keeps only the
/// first label of a fully qualified name; macOS's daemon takes the host name as it is.
std::string announcedLabel(const std::string& hostName);
/// Whether this platform's daemon keeps only the first label (Avahi's rule).
bool announcesFirstLabelOnly();

/// The host name that the platform's DNS-SD daemon really announces ("box.local" for
/// "box.example.org" under Avahi).
std::string announcedHostName(const std::string& hostName);

/// Linux: PRETTY_HOSTNAME from the machine-info file (systemd's hostnamectl writes it there), else
/// `fallback`.
std::string linuxComputerName(const std::filesystem::path& machineInfo, const std::string& fallback);

/// macOS: the computer name of the Sharing settings, from scutil, else `fallback`.
std::string macosComputerName(ProcessRunner& runner, const std::string& fallback);

/// The host name with ".local" appended unless it already ends in exactly ".local".
std::string localHostName(const std::string& hostName);

/// The announced host name followed by `addresses`, in the order the phone should try.
std::vector<std::string> hosts(const std::string& hostName, const std::vector<std::string>& addresses);

/// The record from given parts; mosh-server and tmux are looked up with `isExecutable`. Without a
/// computer name, the host name's announced label names the computer.
CompanionCore::PairingHandler::Identity identity(const std::string& userName, const std::string& computerName,
                                                 const std::string& hostName,
                                                 const std::vector<std::string>& addresses,
                                                 const CompanionCore::Tools::ExecutableTest& isExecutable);

} // namespace Companion::HostIdentity
