#pragma once

#include "Companion/Finding.h"
#include "Companion/Host.h"
#include "Companion/LoginShell.h"
#include "Companion/ProcessRunner.h"
#include "Companion/ReadinessFacts.h"
#include "Companion/SshLogin.h"
#include "Companion/SystemActions.h"
#include "CompanionCore/LoginReport.h"
#include "CompanionCore/MoshConnect.h"
#include "CompanionCore/SshdSettings.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The deeper look at the phone's ways in that only the doctor takes: what a login of the user meets
/// on mosh's way (mosh-server on its PATH, its locale, mosh-server really starting). Every check
/// answers findings; the doctor shows them all. Nothing is changed, and every mosh-server started is
/// ended.
namespace Companion::WayInDoctor {

/// Lists the installed locales.
inline constexpr std::string_view localeProgram = "/usr/bin/locale";
/// Tells whose and which process a pid is, on Linux and macOS alike.
inline constexpr std::string_view psProgram = "/bin/ps";
/// What the doctor's mosh-server is started with: loopback only, so no phone can reach it meanwhile.
inline constexpr std::string_view moshServerCommand = "mosh-server new -i 127.0.0.1";

struct Options {
    /// The user whose login is looked at.
    std::string user;
    /// How the SSH server starts that login's commands.
    SshLogin login;
    /// The SSH server's settings (for AcceptEnv); nothing when they cannot be read.
    std::optional<CompanionCore::SshdSettings> sshdSettings;
    /// Whether to start a mosh-server through the login.
    bool startServer = true;
    /// Where mosh's UDP range is proven by a datagram (loopback first, then these home addresses),
    /// and that the firewalls' rules are read; neither is done when absent.
    std::optional<std::vector<std::string>> udpAddresses;
};

/// The host's user, its system's `sshLogin`, `sshd -T`'s settings for that user (from `sshdConfig`
/// when given), and its home addresses for the datagram proof.
Options options(const Host& host, const std::optional<std::filesystem::path>& sshdConfig = std::nullopt);

/// How a mosh-server started through the login went.
struct ServerStart {
    /// Its "MOSH CONNECT" line; nothing when it did not start.
    std::optional<CompanionCore::MoshConnect> connect;
    /// The pid of the server it detached, when it said one.
    std::optional<long long> pid;
    /// Its first paragraph of output when it did not start ("mosh-server needs a UTF-8 native locale
    /// to run."), or the system's words when the shell could not run.
    std::string error;
    /// The detached server was found to be this user's mosh-server and was sent the terminate signal.
    bool ended = false;
};

/// Runs `moshServerCommand` through `account`'s login shell as sshd would, reads its answer and ends
/// the server it detached, after checking that the pid is a mosh-server of this process's user.
ServerStart startServer(const LoginShell::Account& account, const SshLogin& login, ProcessRunner& runner);

/// What keeps the login's locale from being a UTF-8 one mosh-server can use: `report`'s locale
/// against `available` (`locale -a`; not judged when empty), with the system default of
/// `login.localeFiles` named and the phone's own locale considered when the server passes it.
std::vector<Finding> localeFindings(const CompanionCore::LoginReport& report,
                                    const std::vector<std::string>& available, const SshLogin& login,
                                    const std::optional<CompanionCore::SshdSettings>& settings,
                                    Wording wording);

/// What a server start that failed means, with the remedy that fits its error.
std::vector<Finding> serverFindings(const ServerStart& start, const std::vector<Finding>& localeFound);

/// Every finding on the way in: mosh-server on the login's PATH, the firewalls' rules for mosh's UDP
/// and a datagram that proves them, the mesh address in sshd's ListenAddress, the login's locale and
/// a real start of mosh-server through the login. `facts` gives where mosh-server is installed and the
/// login's report, which is looked at afresh when it has none.
std::vector<Finding> findings(const Options& options, const ReadinessFacts& facts, SystemActions& actions,
                              ProcessRunner& runner);

/// `findings` with the host's options, runner and system actions.
std::vector<Finding> findings(const Host& host, const ReadinessFacts& facts);

} // namespace Companion::WayInDoctor
