#pragma once

#include "Companion/Host.h"
#include "Companion/ProcessRunner.h"
#include "Companion/Wording.h"
#include "CompanionCore/KeyDiagnosis.h"
#include "CompanionCore/PairedDevice.h"
#include "CompanionCore/SshdSettings.h"
#include "CompanionCore/WellKnown.h"
#include "CompanionCore/server/AnnouncementProbe.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Checks, with the real SSH server, what a paired phone will meet when it logs in, and says what to
/// fix. It only reads: no server setting, mode or rule is changed.
namespace Companion::KeyDoctor {

/// Makes the throwaway host key `sshd -T` needs when the server's own are not readable.
inline constexpr std::string_view keygenProgram = "/usr/bin/ssh-keygen";
/// How long `sshd -T` may take.
inline constexpr std::chrono::seconds settingsBound{20};

struct Options {
    std::string user;
    std::filesystem::path home;
    std::filesystem::path authorizedKeys;
    int port = CompanionCore::WellKnown::sshPort;
    /// The identity's host list; its address literals are asked after loopback.
    std::vector<std::string> hosts;
    /// The server's configuration file; the server's own default when absent.
    std::optional<std::filesystem::path> sshdConfig;
    std::chrono::milliseconds bound = CompanionCore::KeyCheck::answerBound;
    /// What outside the SSH server keeps the phone out (firewalls, access groups, DNS-SD); nothing
    /// is looked at when empty.
    std::function<std::vector<CompanionCore::Obstacle>()> hostChecks;
};

/// The host's user, its authorized keys file, port 22, its host names and addresses, and as host
/// checks its `SystemActions::accessObstacles` and, where a DNS-SD daemon runs, an
/// `AnnouncementProbe`.
Options options(const Host& host);

/// What a probe's result means to a paired phone; nothing when the probe was seen.
std::optional<CompanionCore::Obstacle> announcementObstacle(CompanionCore::AnnouncementProbe::Result result);

/// What `sshd -T` prints for a connection of `user` over loopback, parsed; nothing when it cannot
/// run (not installed, the host keys unreadable without root) or prints something else.
std::optional<CompanionCore::SshdSettings> serverSettings(ProcessRunner& runner, const std::string& user,
                                                          const std::optional<std::filesystem::path>& config);

/// The check of one key (or, with no device, of everything that needs none).
struct Report {
    std::optional<CompanionCore::PairedDevice> device;
    CompanionCore::KeyDiagnosis::Result result;
};

/// The subject `options` describe, with `device`'s key (none for the checks without a key).
CompanionCore::KeyDiagnosis::Subject subject(const Options& options,
                                             const std::optional<CompanionCore::PairedDevice>& device);

/// Checks `device`'s key.
Report examine(const Options& options, const std::optional<CompanionCore::PairedDevice>& device,
               ProcessRunner& runner);

/// One report per paired phone's current key, or one without a key when none is paired or the key
/// file cannot be read (each report then names why).
std::vector<Report> examineAll(const Options& options, ProcessRunner& runner);

/// "La llave funciona: comprobado con el servidor SSH", or each reason that keeps the phone out with
/// its remedy in the words of `wording`'s system, one a line.
QString verdict(const CompanionCore::KeyDiagnosis::Result& result, Wording wording);

/// The findings that do not keep a paired phone out (they hinder pairing or finding the computer),
/// one a line, in the words of `wording`'s system; empty when there are none.
QString notes(const CompanionCore::KeyDiagnosis::Result& result, Wording wording);

/// The cause and what to do about it on `wording`'s system, translated.
QString describe(CompanionCore::Obstacle obstacle, Wording wording);

/// The cause and what to do about it on `wording`'s system, translated, with what `result` knows of
/// it: a key file that cannot be read is named with the system's own words when they say more than
/// the remedy.
QString describe(CompanionCore::Obstacle obstacle, const CompanionCore::KeyDiagnosis::Result& result,
                 Wording wording);

/// What keeps the key file from being read and what to do about it, translated.
QString describe(const CompanionCore::KeyFileFailure& failure);

/// What one address answered, in words: accepted, refused, no SSH server, unreachable; translated.
QString describe(CompanionCore::KeyCheck::Verdict verdict);

/// "Huella del servidor SSH: SHA256:…", translated: the line that shows the server's host key.
QString hostKeyLine(const QString& fingerprint);

/// "SHA256:…" of the server's host key, or nothing when no server answered.
std::optional<QString> hostKey(const CompanionCore::KeyDiagnosis::Result& result);

} // namespace Companion::KeyDoctor
