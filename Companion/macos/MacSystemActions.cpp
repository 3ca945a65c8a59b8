#include "Companion/macos/MacSystemActions.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/MoshFirewall.h"
#include "Companion/Text.h"
#include "CompanionCore/HostAccess.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QString>

namespace Companion {

namespace {

/// This file's texts, in the catalogue's "SystemActions" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(SystemActions)
};

} // namespace

MacSystemActions::MacSystemActions(std::shared_ptr<ProcessRunner> runner)
    : MacSystemActions(std::move(runner), Options{}) {}

MacSystemActions::MacSystemActions(std::shared_ptr<ProcessRunner> runner, Options options)
    : SystemActions(std::move(runner))
    , m_options(std::move(options)) {}

std::string MacSystemActions::remoteLoginScript(bool on) {
    return std::string("do shell script \"/usr/sbin/systemsetup -setremotelogin ") + (on ? "on" : "off") +
           "\" with administrator privileges";
}

std::string MacSystemActions::terminalScript(const std::string& command) {
    std::string escaped;
    for (const char character : command) {
        if (character == '"') {
            escaped += '\\';
        }
        escaped += character;
    }
    return "tell application \"Terminal\"\nactivate\ndo script \"" + escaped + "\"\nend tell";
}

ProcessCommand MacSystemActions::scriptCommand(const std::string& script) {
    return ProcessCommand{std::string(osascript), {"-e", script}, ProcessCommand::Output::captureMerged};
}

std::string MacSystemActions::scriptErrorMessage(const std::string& output) {
    const auto text = QString::fromUtf8(output).trimmed();
    static const QRegularExpression form(QStringLiteral(R"(^\d+:\d+: execution error: (.*) \(-?\d+\)$)"),
                                         QRegularExpression::DotMatchesEverythingOption);
    const auto match = form.match(text);
    return (match.hasMatch() ? match.captured(1) : text).toStdString();
}

bool MacSystemActions::remoteLoginEnabled() {
    return runner().run(ProcessCommand{"/bin/launchctl", {"print", "system/com.openssh.sshd"}}).succeeded();
}

std::optional<std::string> MacSystemActions::setRemoteLogin(bool on, std::stop_token stop) {
    const auto result = runner().run(scriptCommand(remoteLoginScript(on)), stop);
    if (result.succeeded() || result.status == ProcessResult::Status::cancelled) {
        return std::nullopt;
    }
    if (result.status == ProcessResult::Status::failedToStart) {
        return "osascript: " + result.error;
    }
    // Covers a cancelled password dialog: the system's own message is shown as it stands.
    auto message = scriptErrorMessage(result.output);
    if (message.empty()) {
        message = Texts::tr("No se ha podido cambiar el inicio de sesión remoto.").toStdString();
    }
    return message;
}

std::optional<std::string> MacSystemActions::openTerminal(const std::string& command) {
    if (runner().run(scriptCommand(terminalScript(command))).succeeded()) {
        return std::nullopt;
    }
    // Typically this app may not control Terminal: hand the command over by the pasteboard.
    if (copyText()) {
        copyText()(command);
    } else {
        ProcessCommand copy{"/usr/bin/pbcopy", {}};
        copy.input = command;
        runner().run(copy);
    }
    runner().run(ProcessCommand{"/usr/bin/open", {std::string(terminalApplication)}});
    return LocalizedFormat::fill(Texts::tr("No puedo escribir en Terminal (permiso de Automatización). He "
                                           "copiado «%@»: pégalo en Terminal y pulsa Intro."),
                                 {QString::fromStdString(command)})
        .toStdString();
}

SshLogin MacSystemActions::sshLogin() const {
    return {"/usr/bin:/bin:/usr/sbin:/sbin", {}, {}};
}

std::optional<std::string> MacSystemActions::installCommandLine(const std::vector<std::string>& packages) {
    if (!m_options.locate("brew")) {
        return std::nullopt;
    }
    // The bare word: Terminal's shell finds brew on its own search path.
    std::vector<std::string> words{"brew", "install"};
    words.insert(words.end(), packages.begin(), packages.end());
    return Text::joined(words, " ");
}

std::optional<std::string> MacSystemActions::packageManagerName() const {
    return std::string("Homebrew");
}

std::string MacSystemActions::packageManagerMissingMessage() const {
    return Texts::tr("Homebrew no está instalado. Instálalo desde brew.sh y vuelve a pulsar.").toStdString();
}

std::optional<ProcessCommand> MacSystemActions::keepAwakeCommand() {
    return ProcessCommand{"/usr/bin/caffeinate", {"-i"}, ProcessCommand::Output::inherit};
}

bool MacSystemActions::openUrl(const std::string& url) {
    return runner().startDetached(ProcessCommand{"/usr/bin/open", {url}});
}

std::vector<Finding> MacSystemActions::moshFirewallFindings(const std::string& moshServer) {
    return MoshFirewall::fromApplicationFirewall(runner(), moshServer);
}

std::vector<CompanionCore::Obstacle> MacSystemActions::accessObstacles(const std::string& user) {
    std::vector<CompanionCore::Obstacle> found;
    const auto ask = [this](std::string_view program, std::vector<std::string> arguments) {
        ProcessCommand command(std::string(program), std::move(arguments),
                               ProcessCommand::Output::captureMerged);
        command.timeout = accessCheckTimeout;
        return runner().run(command);
    };
    // Answers "no" (and exits non-zero) when Remote Login is limited to a group without the user.
    if (const auto result = ask(dseditgroup, {"-o", "checkmember", "-m", user, "com.apple.access_ssh"});
        result.status == ProcessResult::Status::finished &&
        CompanionCore::HostAccess::accessGroupExcludes(result.output)) {
        found.push_back(CompanionCore::Obstacle::remoteLoginAccess);
    }
    // The application firewall lets signed system services such as sshd in, unless it blocks all.
    if (const auto result = ask(socketfilterfw, {"--getblockall"});
        result.succeeded() && CompanionCore::HostAccess::blocksAllIncoming(result.output)) {
        found.push_back(CompanionCore::Obstacle::firewallBlocksSsh);
        found.push_back(CompanionCore::Obstacle::firewallBlocksPairing);
    }
    return found;
}

} // namespace Companion
