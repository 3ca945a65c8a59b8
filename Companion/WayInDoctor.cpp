#include "Companion/WayInDoctor.h"

#include "Companion/DatagramProof.h"
#include "Companion/KeyDoctor.h"
#include "Companion/ListenAddressCheck.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/PlatformWords.h"
#include "Companion/Readiness.h"
#include "Companion/Text.h"
#include "CompanionCore/EnvironmentFile.h"
#include "CompanionCore/LocaleName.h"

#include <QCoreApplication>

#include <csignal>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace Companion::WayInDoctor {

namespace {

namespace LocaleName = CompanionCore::LocaleName;

/// This file's texts, in the catalogue's "WayInDoctor" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(WayInDoctor)
};

/// The variables that carry a phone's locale, any of which the server may pass on.
constexpr std::string_view localeVariables[] = {"LANG", "LC_ALL", "LC_CTYPE"};

QString fromStd(const std::string& text) {
    return QString::fromStdString(text);
}

std::string fileText(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// The locale the first of `files` that names one gives, with that file.
struct SystemDefault {
    std::string locale;
    std::filesystem::path file;
};

std::optional<SystemDefault> systemDefault(const std::vector<std::filesystem::path>& files) {
    for (const auto& file : files) {
        std::optional<std::string> lang;
        std::optional<std::string> lcAll;
        std::optional<std::string> lcCtype;
        for (const auto& [name, value] : CompanionCore::EnvironmentFile::parse(fileText(file))) {
            if (name == "LANG") {
                lang = value;
            } else if (name == "LC_ALL") {
                lcAll = value;
            } else if (name == "LC_CTYPE") {
                lcCtype = value;
            }
        }
        if (const auto locale = LocaleName::effective(lcAll, lcCtype, lang)) {
            return SystemDefault{*locale, file};
        }
    }
    return std::nullopt;
}

bool passesPhoneLocale(const std::optional<CompanionCore::SshdSettings>& settings) {
    if (!settings) {
        return false;
    }
    for (const auto name : localeVariables) {
        if (settings->acceptsEnvironment(name)) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> availableLocales(ProcessRunner& runner) {
    ProcessCommand command(std::string(localeProgram), {"-a"}, ProcessCommand::Output::capture);
    command.timeout = LoginShell::bound;
    const auto result = runner.run(command);
    return result.succeeded() ? LocaleName::parseList(result.output) : std::vector<std::string>{};
}

/// Up to the first blank line, the lines joined by blanks: mosh's messages are paragraphs.
std::string firstParagraph(const std::string& output) {
    std::istringstream stream(output);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        const std::string trimmed = Text::trimmed(line);
        if (trimmed.empty()) {
            if (!lines.empty()) {
                break;
            }
            continue;
        }
        lines.push_back(trimmed);
    }
    return Text::joined(lines, " ");
}

/// Whether `pid` is a mosh-server that runs as this process's user.
bool isOwnMoshServer(long long pid, ProcessRunner& runner) {
    ProcessCommand command(std::string(psProgram), {"-o", "uid=,comm=", "-p", std::to_string(pid)},
                           ProcessCommand::Output::capture);
    command.timeout = LoginShell::bound;
    const auto result = runner.run(command);
    if (!result.succeeded()) {
        return false;
    }
    std::istringstream stream(result.output);
    long long uid = -1;
    std::string name;
    stream >> uid >> name;
    // macOS's ps names the whole path, Linux's the command alone.
    return uid == static_cast<long long>(::getuid()) &&
           std::filesystem::path(name).filename() == "mosh-server";
}

} // namespace

Options options(const Host& host, const std::optional<std::filesystem::path>& sshdConfig) {
    Options options;
    options.user = host.userName();
    options.login = host.systemActions->sshLogin();
    options.sshdSettings = KeyDoctor::serverSettings(*host.runner, options.user, sshdConfig);
    options.udpAddresses = host.systemActions->ipv4Addresses();
    return options;
}

ServerStart startServer(const LoginShell::Account& account, const SshLogin& login, ProcessRunner& runner) {
    ServerStart start;
    const auto result = runner.run(LoginShell::command(account, login, std::string(moshServerCommand)));
    if (result.status == ProcessResult::Status::failedToStart) {
        start.error = result.error;
        return start;
    }
    start.connect = CompanionCore::MoshConnect::parse(result.output);
    start.pid = CompanionCore::MoshConnect::detachedPid(result.output);
    if (!start.connect) {
        start.error = firstParagraph(result.output);
    }
    if (start.pid && isOwnMoshServer(*start.pid, runner)) {
        start.ended = ::kill(static_cast<pid_t>(*start.pid), SIGTERM) == 0;
    }
    return start;
}

std::vector<Finding> localeFindings(const CompanionCore::LoginReport& report,
                                    const std::vector<std::string>& available, const SshLogin& login,
                                    const std::optional<CompanionCore::SshdSettings>& settings,
                                    Wording wording) {
    const auto locale = LocaleName::effective(report.lcAll, report.lcCtype, report.lang);
    const bool phoneLocalePasses = passesPhoneLocale(settings);
    const QString phoneNote =
        phoneLocalePasses ? Texts::tr(" El servidor SSH deja pasar el idioma del teléfono (AcceptEnv), que "
                                      "puede bastar si es UTF-8 y está instalado aquí.")
                          : QString();
    if (!locale || !LocaleName::isUtf8(*locale)) {
        //: the locale an SSH session starts with
        QString text = LocalizedFormat::fill(
            Texts::tr("Una sesión SSH arranca con el idioma %@, que no es UTF-8: mosh-server no arrancará."),
            {fromStd(locale.value_or("C"))});
        if (const auto fallback = systemDefault(login.localeFiles)) {
            //: the system's default locale, then the file that names it
            text += LocalizedFormat::fill(Texts::tr(" El idioma por defecto del sistema es %@ (en %@)."),
                                          {fromStd(fallback->locale), fromStd(fallback->file.string())});
        } else if (!login.localeFiles.empty()) {
            text += Texts::tr(" El sistema no tiene idioma por defecto.");
        }
        return {Finding{"loginLocaleNotUtf8", !phoneLocalePasses, text + phoneNote,
                        PlatformWords::loginLocaleNotUtf8(wording)}};
    }
    if (!available.empty() && !LocaleName::isAvailable(*locale, available)) {
        //: the locale an SSH session asks for
        return {Finding{
            "loginLocaleNotInstalled", true,
            LocalizedFormat::fill(Texts::tr("Una sesión SSH pide el idioma %@, que no está instalado: "
                                            "mosh-server no arrancará."),
                                  {fromStd(*locale)}),
            PlatformWords::loginLocaleNotInstalled(wording, fromStd(*locale))}};
    }
    return {};
}

std::vector<Finding> serverFindings(const ServerStart& start, const std::vector<Finding>& localeFound) {
    if (start.connect) {
        return {};
    }
    // A start that failed for the locale alone is the locale finding's to judge.
    const bool forLocale = start.error.find("UTF-8") != std::string::npos && !localeFound.empty();
    const bool keepsOut = forLocale ? localeFound.front().keepsPhoneOut : true;
    //: what mosh-server said when it did not start
    return {Finding{
        "moshServerDoesNotStart", keepsOut,
        LocalizedFormat::fill(Texts::tr("mosh-server no arranca en una sesión SSH: «%@»"),
                              {fromStd(start.error)}),
        forLocale ? localeFound.front().remedy
                  : Texts::tr("Escribe mosh-server new en una sesión SSH y mira su mensaje completo.")}};
}

std::vector<Finding> findings(const Options& options, const ReadinessFacts& facts, SystemActions& actions,
                              ProcessRunner& runner) {
    const auto account = LoginShell::account(options.user);
    if (!account) {
        return {};
    }
    ReadinessFacts looked = facts;
    if (!looked.login) {
        looked.login = LoginShell::look(*account, options.login, runner);
    }
    std::vector<Finding> found = Readiness::moshPathFindings(looked, actions);
    const auto add = [&found](const std::vector<Finding>& more) {
        found.insert(found.end(), more.begin(), more.end());
    };
    if (looked.moshPath && options.udpAddresses) {
        // The rules say which firewall and how to open it; the datagram says whether it really drops.
        add(actions.moshFirewallFindings(*looked.moshPath));
        add(DatagramProof::check(*options.udpAddresses));
    }
    add(ListenAddressCheck::findings(options.sshdSettings, looked.meshAddress()));
    const auto& report = looked.login;
    if (!report || !looked.moshPath) {
        return found;
    }
    const auto localeFound = localeFindings(*report, availableLocales(runner), options.login,
                                            options.sshdSettings, actions.wording());
    add(localeFound);
    if (options.startServer && report->moshServer) {
        add(serverFindings(startServer(*account, options.login, runner), localeFound));
    }
    return found;
}

std::vector<Finding> findings(const Host& host, const ReadinessFacts& facts) {
    return findings(options(host), facts, *host.systemActions, *host.runner);
}

} // namespace Companion::WayInDoctor
