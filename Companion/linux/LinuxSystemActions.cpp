#include "Companion/linux/LinuxSystemActions.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/MoshFirewall.h"
#include "Companion/Text.h"
#include "CompanionCore/HostAccess.h"
#include "CompanionCore/WellKnown.h"

#include <QCoreApplication>
#include <QString>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace Companion {

namespace {

/// The TCP state the kernel writes for a listening socket.
constexpr std::string_view listenState = "0A";

struct PackageManager {
    std::string_view name;
    /// What precedes the package names in the command a user types.
    std::string_view install;
    /// The distribution's package of the OpenSSH server.
    std::string_view sshServer;
};

/// Tried in this order; the first one present is the distribution's own.
constexpr PackageManager packageManagers[] = {
    {"apt", "sudo apt install", "openssh-server"},
    {"dnf", "sudo dnf install", "openssh-server"},
    {"pacman", "sudo pacman -S", "openssh"},
    {"zypper", "sudo zypper install", "openssh"},
};

struct DesktopTerminals {
    /// A name as it appears in XDG_CURRENT_DESKTOP.
    std::string_view desktop;
    std::vector<std::string_view> terminals;
};

const std::vector<DesktopTerminals>& desktopTerminals() {
    static const std::vector<DesktopTerminals> table = {
        {"GNOME", {"gnome-terminal", "ptyxis"}},
        {"KDE", {"konsole"}},
        {"XFCE", {"xfce4-terminal"}},
        {"MATE", {"mate-terminal"}},
        {"X-Cinnamon", {"gnome-terminal"}},
    };
    return table;
}

/// This file's texts, in the catalogue's "SystemActions" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(SystemActions)
};

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    std::string piece;
    for (const char character : text) {
        if (character == separator) {
            pieces.push_back(piece);
            piece.clear();
        } else {
            piece += character;
        }
    }
    pieces.push_back(piece);
    return pieces;
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
}

std::string baseName(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

LinuxSystemActions::LinuxSystemActions(std::shared_ptr<ProcessRunner> runner)
    : LinuxSystemActions(std::move(runner), Options{}) {}

LinuxSystemActions::LinuxSystemActions(std::shared_ptr<ProcessRunner> runner, Options options)
    : SystemActions(std::move(runner))
    , m_options(std::move(options)) {
    if (!m_options.environment) {
        m_options.environment = [](const std::string& name) -> std::optional<std::string> {
            const char* value = std::getenv(name.c_str());
            if (value == nullptr) {
                return std::nullopt;
            }
            return std::string(value);
        };
    }
    if (!m_options.sessionBus) {
        m_options.sessionBus = [] { return QDBusConnection::sessionBus(); };
    }
    if (!m_options.systemBus) {
        m_options.systemBus = [] { return QDBusConnection::systemBus(); };
    }
    if (!m_options.socketTables) {
        m_options.socketTables = std::vector<std::filesystem::path>{"/proc/net/tcp", "/proc/net/tcp6"};
    }
    if (!m_options.unitDirectories) {
        m_options.unitDirectories = std::vector<std::filesystem::path>{
            "/etc/systemd/system", "/run/systemd/system", "/usr/lib/systemd/system", "/lib/systemd/system"};
    }
}

const std::vector<LinuxSystemActions::Terminal>& LinuxSystemActions::terminals() {
    static const std::vector<Terminal> table = {
        {"gnome-terminal", {"--"}},
        {"ptyxis", {"--new-window", "--"}},
        {"konsole", {"-e"}},
        {"xfce4-terminal", {"-x"}},
        {"mate-terminal", {"-x"}},
        {"terminator", {"-x"}},
        {"kitty", {}},
        {"alacritty", {"-e"}},
        {"foot", {}},
        {"wezterm", {"start", "--"}},
        {"xterm", {"-e"}},
    };
    return table;
}

bool LinuxSystemActions::hasListeningSocket(std::string_view table, int port) {
    std::istringstream lines{std::string(table)};
    std::string line;
    std::getline(lines, line); // the column titles
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string slot;
        std::string local;
        std::string remote;
        std::string state;
        if (!(fields >> slot >> local >> remote >> state)) {
            continue;
        }
        const auto colon = local.rfind(':');
        if (colon == std::string::npos || state != listenState) {
            continue;
        }
        char* end = nullptr;
        const std::string portText = local.substr(colon + 1);
        const long value = std::strtol(portText.c_str(), &end, 16);
        if (!portText.empty() && *end == '\0' && value == port) {
            return true;
        }
    }
    return false;
}

bool LinuxSystemActions::remoteLoginEnabled() {
    for (const auto& path : *m_options.socketTables) {
        std::ifstream file(path);
        if (!file) {
            continue;
        }
        std::ostringstream contents;
        contents << file.rdbuf();
        if (hasListeningSocket(contents.str(), CompanionCore::WellKnown::sshPort)) {
            return true;
        }
    }
    return false;
}

std::optional<std::string> LinuxSystemActions::sshUnit() const {
    for (const auto unit : sshUnits) {
        for (const auto& directory : *m_options.unitDirectories) {
            std::error_code error;
            if (std::filesystem::exists(directory / unit, error)) {
                return std::string(unit);
            }
        }
    }
    return std::nullopt;
}

std::optional<std::string> LinuxSystemActions::setRemoteLogin(bool on, std::stop_token stop) {
    const auto unit = sshUnit();
    if (!unit) {
        return Texts::tr("No encuentro el servidor SSH. Instala el servidor OpenSSH y vuelve a pulsar.")
            .toStdString();
    }
    const auto pkexec = locate("pkexec");
    const auto systemctl = locate("systemctl");
    if (!pkexec || !systemctl) {
        return Texts::tr("No encuentro pkexec y systemctl para pedir permiso de administrador.")
            .toStdString();
    }
    const std::vector<std::string> change{*systemctl, on ? "enable" : "disable", "--now", *unit};
    // Without a desktop agent pkexec would ask for the password on its own terminal, which nobody
    // sees from a tray: it must fail and say so instead.
    std::vector<std::string> arguments{std::string(pkexecWithoutTextAgent)};
    arguments.insert(arguments.end(), change.begin(), change.end());
    const auto result =
        runner().run(ProcessCommand{*pkexec, arguments, ProcessCommand::Output::captureMerged}, stop);
    if (result.succeeded() || result.status == ProcessResult::Status::cancelled) {
        return std::nullopt;
    }
    if (result.status == ProcessResult::Status::failedToStart) {
        return "pkexec: " + result.error;
    }
    const auto output = Text::trimmed(result.output);
    // pkexec speaks English and of itself: each failure is said in the user's words, and the command
    // that makes the change without polkit goes with it.
    const QString command =
        QString::fromStdString("sudo " + Text::joined({"systemctl", change[1], "--now", *unit}, " "));
    if (output.find(noAgentMessage) != std::string::npos) {
        return LocalizedFormat::fill(Texts::tr("Ningún agente de polkit puede pedir la contraseña de "
                                               "administrador en este escritorio. Escribe «%@» en una "
                                               "terminal."),
                                     {command})
            .toStdString();
    }
    if (result.exitCode == pkexecNotAuthorized) {
        return LocalizedFormat::fill(Texts::tr("No se ha dado permiso de administrador y el servidor SSH "
                                               "sigue como estaba. También puedes escribir «%@» en una "
                                               "terminal."),
                                     {command})
            .toStdString();
    }
    if (result.exitCode == pkexecCannotAuthenticate) {
        return LocalizedFormat::fill(Texts::tr("No se puede pedir permiso de administrador: polkit no "
                                               "responde. Escribe «%@» en una terminal."),
                                     {command})
            .toStdString();
    }
    // systemctl's own failure: its words name what went wrong with the unit.
    if (!output.empty()) {
        return LocalizedFormat::fill(Texts::tr("No se ha podido cambiar el servidor SSH (%@). Escribe «%@» "
                                               "en una terminal para ver por qué."),
                                     {QString::fromStdString(output), command})
            .toStdString();
    }
    return LocalizedFormat::fill(
               Texts::tr("No se ha podido cambiar el servidor SSH (código %d). Escribe «%@» "
                         "en una terminal para ver por qué."),
               {QString::number(result.exitCode), command})
        .toStdString();
}

ProcessCommand LinuxSystemActions::terminalNamed(const std::string& path, std::string_view name,
                                                 const std::string& command) const {
    std::vector<std::string_view> prefix = {"-e"}; // the common form: xterm, urxvt, st, alacritty
    for (const auto& terminal : terminals()) {
        if (terminal.name == name) {
            prefix = terminal.prefix;
        }
    }
    if (name == "x-terminal-emulator") {
        prefix = {"-e"}; // what Debian asks of every alternative
    }
    ProcessCommand result{path, {}, ProcessCommand::Output::discard};
    result.arguments.assign(prefix.begin(), prefix.end());
    result.arguments.insert(result.arguments.end(),
                            {"/bin/sh", "-c", std::string(terminalScript), "sh", command});
    return result;
}

std::optional<ProcessCommand> LinuxSystemActions::terminalCommand(const std::string& command) const {
    if (const auto chosen = environment("TERMINAL"); chosen && !chosen->empty()) {
        std::optional<std::string> path;
        if (chosen->front() == '/') {
            if (m_options.executable(*chosen)) {
                path = *chosen;
            }
        } else if (chosen->find('/') == std::string::npos) {
            path = locate(*chosen);
        }
        if (path) {
            return terminalNamed(*path, baseName(*path), command);
        }
    }
    std::vector<std::string_view> names = {"x-terminal-emulator"};
    if (const auto desktops = environment("XDG_CURRENT_DESKTOP")) {
        for (const auto& desktop : split(*desktops, ':')) {
            for (const auto& entry : desktopTerminals()) {
                if (equalsIgnoringCase(desktop, entry.desktop)) {
                    names.insert(names.end(), entry.terminals.begin(), entry.terminals.end());
                }
            }
        }
    }
    for (const auto& terminal : terminals()) {
        names.push_back(terminal.name);
    }
    for (const auto name : names) {
        if (const auto path = locate(name)) {
            return terminalNamed(*path, name, command);
        }
    }
    return std::nullopt;
}

std::optional<ProcessCommand> LinuxSystemActions::clipboardCommand(const std::string& text) const {
    std::optional<ProcessCommand> command;
    const auto wayland = environment("WAYLAND_DISPLAY");
    const auto display = environment("DISPLAY");
    if (wayland && !wayland->empty()) {
        if (const auto wlCopy = locate("wl-copy")) {
            command = ProcessCommand{*wlCopy, {}};
        }
    }
    if (!command && display && !display->empty()) {
        if (const auto xclip = locate("xclip")) {
            command = ProcessCommand{*xclip, {"-selection", "clipboard"}};
        } else if (const auto xsel = locate("xsel")) {
            command = ProcessCommand{*xsel, {"--clipboard", "--input"}};
        }
    }
    if (command) {
        command->input = text;
        command->timeout = clipboardTimeout;
    }
    return command;
}

std::optional<std::string> LinuxSystemActions::openTerminal(const std::string& command) {
    if (const auto terminal = terminalCommand(command); terminal && runner().startDetached(*terminal)) {
        return std::nullopt;
    }
    bool copied = false;
    if (copyText()) {
        copied = copyText()(command);
    } else if (const auto clipboard = clipboardCommand(command)) {
        copied = runner().run(*clipboard).succeeded();
    }
    const QString shown = QString::fromStdString(command);
    if (copied) {
        return LocalizedFormat::fill(Texts::tr("No he podido abrir una terminal. He copiado «%@»: pégalo en "
                                               "una terminal y pulsa Intro."),
                                     {shown})
            .toStdString();
    }
    return LocalizedFormat::fill(Texts::tr("No he podido abrir una terminal ni copiar la orden. Escribe «%@» "
                                           "en una terminal y pulsa Intro."),
                                 {shown})
        .toStdString();
}

bool LinuxSystemActions::sshServerInstalled() const {
    return sshUnit().has_value() || m_options.executable(std::string(CompanionCore::WellKnown::sshdProgram));
}

std::optional<std::string> LinuxSystemActions::sshServerPackage() const {
    for (const auto& manager : packageManagers) {
        if (locate(manager.name)) {
            return std::string(manager.sshServer);
        }
    }
    return std::nullopt;
}

std::optional<std::string> LinuxSystemActions::packageManagerName() const {
    for (const auto& manager : packageManagers) {
        if (locate(manager.name)) {
            return std::string(manager.name);
        }
    }
    return std::nullopt;
}

std::optional<std::string> LinuxSystemActions::installCommandLine(const std::vector<std::string>& packages) {
    for (const auto& manager : packageManagers) {
        if (!locate(manager.name)) {
            continue;
        }
        std::vector<std::string> words{std::string(manager.install)};
        words.insert(words.end(), packages.begin(), packages.end());
        return Text::joined(words, " ");
    }
    return std::nullopt;
}

std::string LinuxSystemActions::packageManagerMissingMessage() const {
    return Texts::tr(
               "No encuentro apt, dnf, pacman ni zypper. Instala mosh y tmux con el gestor de paquetes de tu "
               "sistema y vuelve a pulsar.")
        .toStdString();
}

std::unique_ptr<SleepInhibitor> LinuxSystemActions::sleepInhibitor() {
    const auto why = Texts::tr("Mantener el ordenador despierto para usarlo desde el iPhone").toStdString();
    return std::make_unique<DBusSleepInhibitor>(m_options.sessionBus, m_options.systemBus, "nuvexa Companion",
                                                why);
}

bool LinuxSystemActions::openUrl(const std::string& url) {
    const auto opener = locate("xdg-open");
    return opener && runner().startDetached(ProcessCommand{*opener, {url}});
}

std::optional<std::string> LinuxSystemActions::locate(std::string_view name) const {
    return m_options.locate(name);
}

std::optional<std::string> LinuxSystemActions::environment(const std::string& name) const {
    return m_options.environment(name);
}

std::vector<Finding> LinuxSystemActions::moshFirewallFindings(const std::string&) {
    // nftables and ufw answer root only; firewalld answers anyone on the system bus.
    auto found = MoshFirewall::fromRules(
        runner(), [this](const std::string& path) { return m_options.executable(path); });
    const auto zones = MoshFirewall::fromFirewalld(m_options.systemBus());
    found.insert(found.end(), zones.begin(), zones.end());
    return found;
}

std::vector<CompanionCore::Obstacle> LinuxSystemActions::accessObstacles(const std::string&) {
    std::vector<CompanionCore::Obstacle> found;
    const auto ask = [this](std::string_view program, std::vector<std::string> arguments) {
        ProcessCommand command(std::string(program), std::move(arguments), ProcessCommand::Output::capture);
        command.timeout = accessCheckTimeout;
        return runner().run(command);
    };
    const auto note = [&found](const std::optional<CompanionCore::HostAccess::Blocked>& blocked) {
        if (blocked && blocked->ssh) {
            found.push_back(CompanionCore::Obstacle::firewallBlocksSsh);
        }
        if (blocked && blocked->pairing) {
            found.push_back(CompanionCore::Obstacle::firewallBlocksPairing);
        }
    };
    // Each firewall answers only where it is installed and readable without a password (ufw wants
    // root; firewalld lets users read).
    if (m_options.executable(std::string(ufw))) {
        if (const auto result = ask(ufw, {"status", "verbose"}); result.succeeded()) {
            note(CompanionCore::HostAccess::fromUfw(result.output));
        }
    }
    if (m_options.executable(std::string(firewallCmd))) {
        if (const auto result = ask(firewallCmd, {"--list-all"}); result.succeeded()) {
            note(CompanionCore::HostAccess::fromFirewalld(result.output));
        }
    }
    // "--check" exits 0 exactly when a daemon runs.
    if (!m_options.executable(std::string(avahiDaemon)) || !ask(avahiDaemon, {"--check"}).succeeded()) {
        found.push_back(CompanionCore::Obstacle::noDnsSdDaemon);
    }
    return found;
}

} // namespace Companion
