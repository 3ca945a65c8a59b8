#include "Companion/linux/LinuxSystemActions.h"
#include "Companion/QtProcessRunner.h"

#include "Companion/KeepAwake.h"
#include "CompanionCore/WellKnown.h"
#include "support/Executable.h"
#include "support/FakeProcessRunner.h"
#include "support/Files.h"
#include "support/Patience.h"
#include "support/PortalInhibitService.h"
#include "support/PrivateSessionBus.h"
#include "support/TemporaryDirectory.h"

#include <QDBusConnection>
#include <QHostAddress>
#include <QTcpServer>
#include <QTest>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

using Companion::LinuxSystemActions;
using Companion::ProcessCommand;
using Companion::ProcessResult;
using TestSupport::exited;
using TestSupport::FakeProcessRunner;

namespace {

using TestSupport::writeFile;

const std::string tcpHeader =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  "
    "timeout inode\n";
const std::string listeningOn22 =
    "   0: 00000000:0016 00000000:0000 0A 00000000:00000000 00:00000000 00000000     "
    "0        0 18324 1 0000000000000000 100 0 0 10 0\n";
const std::string listeningOn2222 =
    "   1: 0100007F:08AE 00000000:0000 0A 00000000:00000000 00:00000000 00000000  "
    "   0        0 18325 1 0000000000000000 100 0 0 10 0\n";
const std::string connectedFrom22 =
    "   2: 0501A8C0:0016 0701A8C0:D431 01 00000000:00000000 02:0000A1B2 00000000  "
    "   0        0 18326 4 0000000000000000 20 4 30 10 -1\n";
const std::string tcp6ListeningOn22 =
    "   0: 00000000000000000000000000000000:0016 00000000000000000000000000000000:0000 0A 00000000:00000000 "
    "00:00000000 00000000     0        0 18330 1 0000000000000000 100 0 0 10 0\n";

const std::string script(LinuxSystemActions::terminalScript);

std::vector<std::string> runInTerminal(std::vector<std::string> prefix, const std::string& command) {
    prefix.insert(prefix.end(), {"/bin/sh", "-c", script, "sh", command});
    return prefix;
}

class LinuxSystemActionsTest : public ::testing::Test {
protected:
    LinuxSystemActionsTest()
        : m_runner(std::make_shared<FakeProcessRunner>()) {
        std::filesystem::create_directories(m_directory / "etc");
        std::filesystem::create_directories(m_directory / "lib");
        writeFile(m_directory / "tcp", tcpHeader);
        writeFile(m_directory / "tcp6", tcpHeader);
    }

    LinuxSystemActions actions() {
        LinuxSystemActions::Options options;
        options.isExecutable = [this](const std::string& path) { return m_executables.contains(path); };
        options.searchPaths = std::vector<std::string>{"/usr/local/bin", "/usr/bin", "/bin"};
        options.environment = [this](const std::string& name) -> std::optional<std::string> {
            const auto found = m_environment.find(name);
            if (found == m_environment.end()) {
                return std::nullopt;
            }
            return found->second;
        };
        options.socketTables = std::vector<std::filesystem::path>{m_directory / "tcp", m_directory / "tcp6"};
        options.unitDirectories =
            std::vector<std::filesystem::path>{m_directory / "etc", m_directory / "lib"};
        return LinuxSystemActions(m_runner, options);
    }

    std::optional<ProcessCommand> terminalFor(const std::string& command) {
        return actions().terminalCommand(command);
    }

    TestSupport::TemporaryDirectory m_directory;
    std::shared_ptr<FakeProcessRunner> m_runner;
    std::set<std::string> m_executables;
    std::map<std::string, std::string> m_environment;
};

} // namespace

TEST(LinuxSocketTableTest, FindsAListeningSocketOnTheSshPort) {
    EXPECT_TRUE(LinuxSystemActions::hasListeningSocket(tcpHeader + listeningOn2222 + listeningOn22, 22));
    EXPECT_TRUE(LinuxSystemActions::hasListeningSocket(tcpHeader + tcp6ListeningOn22, 22));
}

TEST(LinuxSocketTableTest, IgnoresOtherPortsAndConnectionsThatAreNotListening) {
    EXPECT_FALSE(LinuxSystemActions::hasListeningSocket(tcpHeader + listeningOn2222 + connectedFrom22, 22));
    EXPECT_FALSE(LinuxSystemActions::hasListeningSocket(tcpHeader, 22));
    EXPECT_FALSE(LinuxSystemActions::hasListeningSocket("", 22));
    EXPECT_FALSE(LinuxSystemActions::hasListeningSocket(tcpHeader + "   0: garbage\n", 22));
}

TEST(LinuxSocketTableTest, ReadsTheKernelsOwnTables) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost, 0));
    std::ifstream file("/proc/net/tcp");
    std::ostringstream contents;
    contents << file.rdbuf();
    EXPECT_TRUE(LinuxSystemActions::hasListeningSocket(contents.str(), server.serverPort()));
}

TEST_F(LinuxSystemActionsTest, RemoteLoginIsOnWhenSomethingListensOnPort22) {
    EXPECT_FALSE(actions().remoteLoginEnabled());
    writeFile(m_directory / "tcp6", tcpHeader + tcp6ListeningOn22);
    EXPECT_TRUE(actions().remoteLoginEnabled());
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(LinuxSystemActionsTest, RemoteLoginIsOffWhenOnlyOtherPortsListenOrTheTablesAreMissing) {
    writeFile(m_directory / "tcp", tcpHeader + listeningOn2222 + connectedFrom22);
    EXPECT_FALSE(actions().remoteLoginEnabled());
    std::filesystem::remove(m_directory / "tcp");
    std::filesystem::remove(m_directory / "tcp6");
    EXPECT_FALSE(actions().remoteLoginEnabled());
}

TEST_F(LinuxSystemActionsTest, TheSshUnitIsTheOneWhoseUnitFileExistsDebiansFirst) {
    EXPECT_EQ(actions().sshUnit(), std::nullopt);
    writeFile(m_directory / "lib" / "sshd.service", "");
    EXPECT_EQ(actions().sshUnit(), "sshd.service");
    writeFile(m_directory / "lib" / "ssh.service", "");
    EXPECT_EQ(actions().sshUnit(), "ssh.service");
}

TEST_F(LinuxSystemActionsTest, TurningRemoteLoginOnEnablesAndStartsTheUnitThroughPkexec) {
    m_executables = {"/usr/bin/pkexec", "/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    EXPECT_EQ(actions().setRemoteLogin(true, {}), std::nullopt);
    EXPECT_EQ(m_runner->runs(),
              (std::vector<ProcessCommand>{ProcessCommand{
                  "/usr/bin/pkexec",
                  {"--disable-internal-agent", "/bin/systemctl", "enable", "--now", "ssh.service"},
                  ProcessCommand::Output::captureMerged}}));
}

TEST_F(LinuxSystemActionsTest, TurningRemoteLoginOffDisablesAndStopsTheUnit) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    writeFile(m_directory / "etc" / "sshd.service", "");
    EXPECT_EQ(actions().setRemoteLogin(false, {}), std::nullopt);
    EXPECT_EQ(m_runner->runs(),
              (std::vector<ProcessCommand>{ProcessCommand{
                  "/usr/bin/pkexec",
                  {"--disable-internal-agent", "/usr/bin/systemctl", "disable", "--now", "sshd.service"},
                  ProcessCommand::Output::captureMerged}}));
}

TEST_F(LinuxSystemActionsTest, ADismissedAdministratorDialogIsSaidInWordsWithTheCommand) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    m_runner->setResult(exited(126, "Error executing command as another user: Request dismissed\n"));
    EXPECT_EQ(actions().setRemoteLogin(true, {}),
              "No se ha dado permiso de administrador y el servidor SSH sigue como estaba. También puedes "
              "escribir «sudo systemctl enable --now ssh.service» en una terminal.");
}

TEST_F(LinuxSystemActionsTest, AnUnreachablePolkitIsSaidInWordsWithTheCommand) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    m_runner->setResult(exited(127,
                               "Error getting authority: Error initializing authority: Could not connect: "
                               "Connection refused\n"));
    EXPECT_EQ(actions().setRemoteLogin(false, {}),
              "No se puede pedir permiso de administrador: polkit no responde. Escribe «sudo systemctl "
              "disable --now ssh.service» en una terminal.");
}

TEST_F(LinuxSystemActionsTest, ASystemctlFailureKeepsItsWordsAndGivesTheCommand) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    m_runner->setResult(exited(1, "Failed to enable unit: Unit ssh.service is masked.\n"));
    EXPECT_EQ(actions().setRemoteLogin(true, {}),
              "No se ha podido cambiar el servidor SSH (Failed to enable unit: Unit ssh.service is masked.). "
              "Escribe «sudo systemctl enable --now ssh.service» en una terminal para ver por qué.");
}

TEST_F(LinuxSystemActionsTest, WithoutAPolkitAgentTheMessageSaysSoAndGivesTheCommand) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    m_runner->setResult(
        exited(127, "Error executing command as another user: No authentication agent found.\n"));
    EXPECT_EQ(actions().setRemoteLogin(true, {}),
              "Ningún agente de polkit puede pedir la contraseña de administrador en este escritorio. "
              "Escribe «sudo systemctl enable --now ssh.service» en una terminal.");
}

TEST_F(LinuxSystemActionsTest, ASilentFailureStillGivesAMessage) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    m_runner->setResult(exited(1));
    EXPECT_EQ(actions().setRemoteLogin(true, {}),
              "No se ha podido cambiar el servidor SSH (código 1). Escribe «sudo systemctl enable --now "
              "ssh.service» en una terminal para ver por qué.");
}

TEST_F(LinuxSystemActionsTest, WithoutAnSshServerNothingRunsAndTheMessageSaysWhatToInstall) {
    m_executables = {"/usr/bin/pkexec", "/usr/bin/systemctl"};
    EXPECT_EQ(actions().setRemoteLogin(true, {}),
              "No encuentro el servidor SSH. Instala el servidor OpenSSH y vuelve a pulsar.");
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(LinuxSystemActionsTest, WithoutPkexecNothingRuns) {
    m_executables = {"/usr/bin/systemctl"};
    writeFile(m_directory / "lib" / "ssh.service", "");
    EXPECT_EQ(actions().setRemoteLogin(true, {}),
              "No encuentro pkexec y systemctl para pedir permiso de administrador.");
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(LinuxSystemActionsTest, AnAbsoluteTerminalVariableWinsWithItsOwnArgumentForm) {
    m_executables = {"/opt/kitty/bin/kitty", "/usr/bin/x-terminal-emulator"};
    m_environment["TERMINAL"] = "/opt/kitty/bin/kitty";
    EXPECT_EQ(terminalFor("tmux"), (ProcessCommand{"/opt/kitty/bin/kitty", runInTerminal({}, "tmux")}));
}

TEST_F(LinuxSystemActionsTest, ATerminalVariableWithABareNameIsLocatedAndAnUnknownOneGetsDashE) {
    m_executables = {"/usr/local/bin/st", "/usr/bin/x-terminal-emulator"};
    m_environment["TERMINAL"] = "st";
    EXPECT_EQ(terminalFor("tmux"), (ProcessCommand{"/usr/local/bin/st", runInTerminal({"-e"}, "tmux")}));
}

TEST_F(LinuxSystemActionsTest, ATerminalVariableThatCannotBeFoundIsPassedOver) {
    m_executables = {"/usr/bin/x-terminal-emulator"};
    m_environment["TERMINAL"] = "nowhere-term";
    EXPECT_EQ(terminalFor("tmux"),
              (ProcessCommand{"/usr/bin/x-terminal-emulator", runInTerminal({"-e"}, "tmux")}));
    m_environment["TERMINAL"] = "relative/kitty";
    EXPECT_EQ(terminalFor("tmux")->program, "/usr/bin/x-terminal-emulator");
}

TEST_F(LinuxSystemActionsTest, TheSystemsTerminalComesBeforeTheDesktopsOwn) {
    m_executables = {"/usr/bin/x-terminal-emulator", "/usr/bin/konsole"};
    m_environment["XDG_CURRENT_DESKTOP"] = "KDE";
    EXPECT_EQ(terminalFor("tmux")->program, "/usr/bin/x-terminal-emulator");
}

TEST_F(LinuxSystemActionsTest, TheRunningDesktopsTerminalComesBeforeTheOthers) {
    m_executables = {"/usr/bin/gnome-terminal", "/usr/bin/konsole", "/usr/bin/xfce4-terminal"};
    m_environment["XDG_CURRENT_DESKTOP"] = "KDE";
    EXPECT_EQ(terminalFor("tmux"), (ProcessCommand{"/usr/bin/konsole", runInTerminal({"-e"}, "tmux")}));
    m_environment["XDG_CURRENT_DESKTOP"] = "XFCE";
    EXPECT_EQ(terminalFor("tmux"),
              (ProcessCommand{"/usr/bin/xfce4-terminal", runInTerminal({"-x"}, "tmux")}));
    m_environment["XDG_CURRENT_DESKTOP"] = "ubuntu:GNOME";
    EXPECT_EQ(terminalFor("tmux"),
              (ProcessCommand{"/usr/bin/gnome-terminal", runInTerminal({"--"}, "tmux")}));
}

TEST_F(LinuxSystemActionsTest, WithoutADesktopTheCommonTerminalsAreTriedInOrder) {
    m_executables = {"/usr/bin/konsole", "/usr/bin/xterm"};
    EXPECT_EQ(terminalFor("tmux")->program, "/usr/bin/konsole");
    m_executables = {"/usr/bin/xterm"};
    EXPECT_EQ(terminalFor("tmux"), (ProcessCommand{"/usr/bin/xterm", runInTerminal({"-e"}, "tmux")}));
}

TEST_F(LinuxSystemActionsTest, EachKnownTerminalGetsItsOwnFormToRunACommand) {
    // One terminal of each form rather than the table again: an end-of-options marker, a window of its
    // own first, a flag taking the rest, the command as it is, and a subcommand.
    const std::map<std::string, std::vector<std::string>> forms = {
        {"gnome-terminal", {"--"}},   {"ptyxis", {"--new-window", "--"}},
        {"xfce4-terminal", {"-x"}},   {"kitty", {}},
        {"wezterm", {"start", "--"}},
    };
    for (const auto& [name, prefix] : forms) {
        m_executables = {"/usr/bin/" + name};
        EXPECT_EQ(terminalFor("tmux"), (ProcessCommand{"/usr/bin/" + name, runInTerminal(prefix, "tmux")}))
            << name;
    }
}

TEST_F(LinuxSystemActionsTest, TheTerminalScriptRunsTheCommandThenTheUsersShell) {
    // The same argument list a terminal would run, here without a terminal.
    const auto marker = m_directory / "marker";
    const auto shell =
        TestSupport::writeScript(m_directory / "shell", "echo shell >> '" + marker.string() + "'");
    const std::string command = "echo \"it's \\\"done\\\"\" >> '" + marker.string() + "'";
    ProcessCommand run{"/bin/sh", {"-c", script, "sh", command}, ProcessCommand::Output::capture};
    run.input = "";
    const auto previousShell = std::getenv("SHELL");
    const std::string saved = previousShell == nullptr ? "" : previousShell;
    ::setenv("SHELL", shell.c_str(), 1);
    const auto result = Companion::QtProcessRunner().run(run);
    ::setenv("SHELL", saved.c_str(), 1);
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.output, "$ " + command + "\n");
    std::ifstream file(marker);
    std::ostringstream contents;
    contents << file.rdbuf();
    EXPECT_EQ(contents.str(), "it's \"done\"\nshell\n");
}

TEST_F(LinuxSystemActionsTest, OpeningATerminalStartsItDetached) {
    m_executables = {"/usr/bin/gnome-terminal"};
    EXPECT_EQ(actions().openTerminal("sudo apt install tmux"), std::nullopt);
    EXPECT_EQ(m_runner->detached(),
              (std::vector<ProcessCommand>{ProcessCommand{"/usr/bin/gnome-terminal",
                                                          runInTerminal({"--"}, "sudo apt install tmux")}}));
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(LinuxSystemActionsTest, WithoutATerminalTheCommandGoesToTheGuiClipboardWithTheInstruction) {
    auto backend = actions();
    std::vector<std::string> copied;
    backend.setCopyText([&copied](const std::string& text) {
        copied.push_back(text);
        return true;
    });
    EXPECT_EQ(backend.openTerminal("sudo apt install \"mosh\""),
              "No he podido abrir una terminal. He copiado «sudo apt install \"mosh\"»: pégalo en una "
              "terminal y pulsa Intro.");
    EXPECT_EQ(copied, (std::vector<std::string>{"sudo apt install \"mosh\""}));
    EXPECT_TRUE(m_runner->detached().empty());
}

TEST_F(LinuxSystemActionsTest, WhenNothingCouldBeCopiedTheMessageSaysToTypeTheCommand) {
    auto backend = actions();
    backend.setCopyText([](const std::string&) { return false; });
    EXPECT_EQ(backend.openTerminal("sudo apt install tmux"),
              "No he podido abrir una terminal ni copiar la orden. Escribe «sudo apt install tmux» en una "
              "terminal y pulsa Intro.");
    // Without a display there is no clipboard helper to try either.
    EXPECT_EQ(actions().openTerminal("sudo apt install tmux"),
              "No he podido abrir una terminal ni copiar la orden. Escribe «sudo apt install tmux» en una "
              "terminal y pulsa Intro.");
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(LinuxSystemActionsTest, AClipboardHelperThatFailsCountsAsNothingCopied) {
    m_executables = {"/usr/bin/xclip"};
    m_environment["DISPLAY"] = ":0";
    m_runner->setResult(TestSupport::exited(1));
    EXPECT_NE(actions().openTerminal("sudo apt install tmux").value_or("").find("ni copiar la orden"),
              std::string::npos);
}

TEST_F(LinuxSystemActionsTest, TheSshServerIsInstalledWhenItsUnitOrItsDaemonIsThere) {
    EXPECT_FALSE(actions().sshServerInstalled());
    m_executables = {std::string(CompanionCore::WellKnown::sshdProgram)};
    EXPECT_TRUE(actions().sshServerInstalled());
    m_executables = {};
    writeFile(m_directory / "lib" / "sshd.service", "");
    EXPECT_TRUE(actions().sshServerInstalled());
}

TEST_F(LinuxSystemActionsTest, TheSshServerPackageIsTheDistributionsOwn) {
    const std::map<std::string, std::string> packages = {
        {"apt", "openssh-server"}, {"dnf", "openssh-server"}, {"pacman", "openssh"}, {"zypper", "openssh"}};
    for (const auto& [manager, package] : packages) {
        m_executables = {"/usr/bin/" + manager};
        EXPECT_EQ(actions().sshServerPackage(), package) << manager;
    }
    m_executables = {};
    EXPECT_EQ(actions().sshServerPackage(), std::nullopt);
}

TEST_F(LinuxSystemActionsTest, ThePackageManagerIsNamedAsFound) {
    m_executables = {"/usr/bin/dnf"};
    EXPECT_EQ(actions().packageManagerName(), "dnf");
    m_executables = {};
    EXPECT_EQ(actions().packageManagerName(), std::nullopt);
    EXPECT_EQ(actions().wording(), Companion::Wording::linuxSystem);
}

TEST_F(LinuxSystemActionsTest, ATerminalThatFailsToLaunchFallsBackToXclipUnderX) {
    m_executables = {"/usr/bin/xterm", "/usr/bin/xclip", "/usr/bin/wl-copy"};
    m_environment["DISPLAY"] = ":0";
    m_runner->setDetachedLaunches(false);
    EXPECT_TRUE(actions().openTerminal("sudo dnf install tmux").has_value());
    ProcessCommand copy{"/usr/bin/xclip", {"-selection", "clipboard"}};
    copy.input = "sudo dnf install tmux";
    copy.timeout = LinuxSystemActions::clipboardTimeout;
    EXPECT_EQ(m_runner->runs(), (std::vector<ProcessCommand>{copy}));
}

TEST_F(LinuxSystemActionsTest, UnderWaylandTheFallbackUsesWlCopy) {
    m_executables = {"/usr/bin/xclip", "/usr/bin/wl-copy"};
    m_environment["DISPLAY"] = ":0";
    m_environment["WAYLAND_DISPLAY"] = "wayland-0";
    EXPECT_EQ(actions().clipboardCommand("x")->program, "/usr/bin/wl-copy");
    m_executables = {"/usr/bin/xsel"};
    m_environment.erase("WAYLAND_DISPLAY");
    EXPECT_EQ(actions().clipboardCommand("x")->arguments,
              (std::vector<std::string>{"--clipboard", "--input"}));
    m_environment.erase("DISPLAY");
    EXPECT_EQ(actions().clipboardCommand("x"), std::nullopt);
}

TEST_F(LinuxSystemActionsTest, InstallsWithTheDistributionsOwnPackageManager) {
    const std::map<std::string, std::string> commands = {
        {"apt", "sudo apt install mosh tmux"},
        {"dnf", "sudo dnf install mosh tmux"},
        {"pacman", "sudo pacman -S mosh tmux"},
        {"zypper", "sudo zypper install mosh tmux"},
    };
    for (const auto& [manager, command] : commands) {
        m_executables = {"/usr/bin/" + manager};
        EXPECT_EQ((actions().installCommandLine({"mosh", "tmux"})), command) << manager;
    }
    m_executables = {"/usr/bin/apt"};
    EXPECT_EQ((actions().installCommandLine({"tmux"})), "sudo apt install tmux");
}

TEST_F(LinuxSystemActionsTest, PackageManagersAreFoundAsRealFiles) {
    TestSupport::TemporaryDirectory tools;
    LinuxSystemActions::Options options;
    options.searchPaths = std::vector<std::string>{tools.path().string()};
    LinuxSystemActions backend(m_runner, options);
    EXPECT_EQ((backend.installCommandLine({"mosh"})), std::nullopt);
    TestSupport::writeScript(tools / "pacman", "exit 0");
    EXPECT_EQ((backend.installCommandLine({"mosh"})), "sudo pacman -S mosh");
}

TEST_F(LinuxSystemActionsTest, WithoutAPackageManagerTheMessageSaysSoInTheSameWay) {
    EXPECT_EQ((actions().installCommandLine({"mosh", "tmux"})), std::nullopt);
    EXPECT_EQ(actions().packageManagerMissingMessage(), "No encuentro apt, dnf, pacman ni zypper. Instala "
                                                        "mosh y tmux con el gestor de paquetes de tu sistema "
                                                        "y vuelve a pulsar.");
}

TEST_F(LinuxSystemActionsTest, KeepsAwakeThroughThePortalOnTheSessionBusItIsGiven) {
    TestSupport::PrivateSessionBus session;
    auto service = QDBusConnection::connectToBus(session.address(), QStringLiteral("portal-service"));
    auto client = QDBusConnection::connectToBus(session.address(), QStringLiteral("portal-client"));
    TestSupport::PortalInhibitService portal;
    ASSERT_TRUE(portal.serveOn(service));
    LinuxSystemActions::Options options;
    options.sessionBus = [client] { return client; };
    options.systemBus = [client] { return client; };
    LinuxSystemActions backend(m_runner, options);
    {
        Companion::KeepAwake keepAwake(backend.sleepInhibitor());
        keepAwake.setEnabled(true);
        EXPECT_TRUE(QTest::qWaitFor([&] { return keepAwake.enabled(); }, TestSupport::generousMilliseconds));
        ASSERT_EQ(portal.calls.size(), 1);
        EXPECT_EQ(portal.calls.first().options.value(QStringLiteral("reason")).toString(),
                  QStringLiteral("Mantener el ordenador despierto para usarlo desde el iPhone"));
        // No helper child is involved any more.
        EXPECT_TRUE(m_runner->started().empty());
    }
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return portal.request.closes == 1; }, TestSupport::generousMilliseconds));
    QDBusConnection::disconnectFromBus(QStringLiteral("portal-service"));
    QDBusConnection::disconnectFromBus(QStringLiteral("portal-client"));
}

TEST_F(LinuxSystemActionsTest, OpensWebAddressesWithXdgOpen) {
    m_executables = {"/usr/bin/xdg-open"};
    EXPECT_TRUE(actions().openUrl("https://drozak.net/downloads"));
    EXPECT_EQ(
        m_runner->detached(),
        (std::vector<ProcessCommand>{ProcessCommand{"/usr/bin/xdg-open", {"https://drozak.net/downloads"}}}));
    m_executables.clear();
    EXPECT_FALSE(actions().openUrl("https://drozak.net/downloads"));
}

TEST_F(LinuxSystemActionsTest, AFirewallBlockingSshAndNoDnsSdDaemonAreNamed) {
    m_executables = {"/usr/sbin/ufw", "/usr/sbin/avahi-daemon"};
    m_runner->setAnswer([](const ProcessCommand& command) {
        if (command.program == "/usr/sbin/ufw") {
            return TestSupport::exited(0, "Status: active\nDefault: deny (incoming), allow (outgoing)\n\n"
                                          "To   Action   From\n--   ------   ----\n"
                                          "52901:52904/tcp   ALLOW IN   Anywhere\n");
        }
        return TestSupport::exited(1);
    });
    EXPECT_EQ(actions().accessObstacles("ana"),
              (std::vector<CompanionCore::Obstacle>{CompanionCore::Obstacle::firewallBlocksSsh,
                                                    CompanionCore::Obstacle::noDnsSdDaemon}));
    const auto timeout = LinuxSystemActions::accessCheckTimeout;
    auto ufw = ProcessCommand{"/usr/sbin/ufw", {"status", "verbose"}, ProcessCommand::Output::capture};
    ufw.timeout = timeout;
    auto avahi = ProcessCommand{"/usr/sbin/avahi-daemon", {"--check"}, ProcessCommand::Output::capture};
    avahi.timeout = timeout;
    EXPECT_EQ(m_runner->runs(), (std::vector<ProcessCommand>{ufw, avahi}));
}

TEST_F(LinuxSystemActionsTest, AFirewallThatCannotBeReadWithoutAPasswordIsNotReported) {
    m_executables = {"/usr/sbin/ufw", "/usr/bin/firewall-cmd", "/usr/sbin/avahi-daemon"};
    m_runner->setAnswer([](const ProcessCommand& command) {
        if (command.program == "/usr/sbin/ufw") {
            return TestSupport::exited(1, "ERROR: You need to be root to run this script\n");
        }
        if (command.program == "/usr/bin/firewall-cmd") {
            return TestSupport::exited(0, "public (active)\n  target: default\n  services: ssh\n  ports: \n");
        }
        return TestSupport::exited(0);
    });
    EXPECT_EQ(actions().accessObstacles("ana"),
              std::vector<CompanionCore::Obstacle>{CompanionCore::Obstacle::firewallBlocksPairing});
}
