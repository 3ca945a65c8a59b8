#include "cli/DevicesCommand.h"

#include "cli/CommandHelp.h"

#include "Companion/HostIdentity.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Text.h"
#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/SshPublicKey.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <unistd.h>

namespace Cli {

namespace {

using CompanionCore::PairedDevice;
namespace PairedDevices = CompanionCore::PairedDevices;
namespace SshPublicKey = CompanionCore::SshPublicKey;

constexpr Companion::Text::TranslationContext translate{"DevicesCommand"};

/// A translated format with its placeholders filled, for the terminal.
std::string filled(const char* format, const QStringList& arguments) {
    return Companion::LocalizedFormat::fill(translate(format), arguments).toStdString();
}

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

void say(const std::string& line) {
    std::fputs(line.c_str(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int complain(const std::string& command, const std::string& message, int status) {
    std::fprintf(stderr, "nuvexa-companion-cli %s: %s\n", command.c_str(), message.c_str());
    return status;
}

QCommandLineOption keysOption() {
    return QCommandLineOption("authorized-keys", "Read <file> instead of ~/.ssh/authorized_keys.", "file");
}

std::filesystem::path keysFile(const QCommandLineParser& parser) {
    return parser.isSet("authorized-keys")
               ? std::filesystem::path(parser.value("authorized-keys").toStdString())
               : Companion::HostIdentity::authorizedKeysFile();
}

/// "iPhone de Ana  ED25519  SHA256:…  línea 3  (anterior)"
std::string describe(const PairedDevice& device) {
    const auto fingerprint = SshPublicKey::fingerprint(device.keyType, device.blob);
    std::string line = device.name + "  " + device.keyType + "  " +
                       (fingerprint ? *fingerprint : translate("(llave inutilizable)").toStdString()) + "  " +
                       filled("línea %d", {QString::number(device.lineNumber)});
    if (device.older) {
        line += "  " + translate("(anterior)").toStdString();
    }
    return line;
}

/// Parses the command's own options; a usage message (and nothing) when they are wrong.
bool parse(QCommandLineParser& parser, const QString& command, const QStringList& arguments) {
    const QCommandLineOption help({"h", "help"}, "Show this help.");
    parser.addOption(help);
    parser.addOption(keysOption());
    if (!parser.parse(QStringList{"nuvexa-companion-cli " + command} + arguments)) {
        complain(command.toStdString(), parser.errorText().toStdString(), devicesUsageExit);
        return false;
    }
    return true;
}

/// Asks `question` on the terminal; only a yes in the prompt's language is a yes, so an empty answer
/// is a no.
bool confirmed(const std::string& question) {
    std::fputs(question.c_str(), stdout);
    std::fflush(stdout);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        return false;
    }
    //: the answers that mean yes to the [s/N] question, separated by commas
    const QStringList yes = translate("s,sí,si").split(u',');
    return yes.contains(QString::fromStdString(answer).trimmed().toLower());
}

/// "línea 2: restrict ssh-ed25519 … backup"
std::string describe(const CompanionCore::KeyLine& line) {
    return filled("línea %d", {QString::number(line.lineNumber)}) + ": " + line.excerpt;
}

} // namespace

int runDevices(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription("Lists the phones that can log in to this account.");
    const QCommandLineOption json("json", "Write one JSON object instead of text.");
    parser.addOption(json);
    if (!parse(parser, "devices", arguments)) {
        return devicesUsageExit;
    }
    if (parser.isSet("help")) {
        printCommandHelp(parser, QStringLiteral("devices"));
        return devicesDoneExit;
    }
    if (!parser.positionalArguments().isEmpty()) {
        return complain("devices", filled("argumento inesperado %@", {parser.positionalArguments().first()}),
                        devicesUsageExit);
    }
    const auto content = CompanionCore::AuthorizedKeys::read(keysFile(parser));
    if (!content) {
        return complain("devices", content.failure().message(), devicesRefusedExit);
    }
    const auto listing = PairedDevices::list(*content);
    if (parser.isSet(json)) {
        QJsonArray devices;
        for (const auto& device : listing.devices) {
            const auto fingerprint = SshPublicKey::fingerprint(device.keyType, device.blob);
            devices.append(
                QJsonObject{{"name", QString::fromStdString(device.name)},
                            {"type", QString::fromStdString(device.keyType)},
                            {"fingerprint", fingerprint ? QJsonValue(QString::fromStdString(*fingerprint))
                                                        : QJsonValue(QJsonValue::Null)},
                            {"line", static_cast<qint64>(device.lineNumber)},
                            {"older", device.older}});
        }
        say(QJsonDocument(
                QJsonObject{{"devices", devices}, {"otherKeys", static_cast<qint64>(listing.otherKeys)}})
                .toJson(QJsonDocument::Compact)
                .toStdString());
        return devicesDoneExit;
    }
    if (listing.devices.empty()) {
        say(translate("No hay ningún teléfono emparejado.").toStdString());
    }
    for (const auto& device : listing.devices) {
        say(describe(device));
    }
    if (listing.otherKeys > 0) {
        say(filled(listing.otherKeys == 1 ? "%d llave más en el archivo." : "%d llaves más en el archivo.",
                   {QString::number(listing.otherKeys)}));
    }
    return devicesDoneExit;
}

int runRevoke(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription("Removes a paired phone's key, so the phone can no longer log in.");
    parser.addPositionalArgument("phone", "The phone's name, or its key's fingerprint (SHA256:…).");
    const QCommandLineOption yes("yes", "Do not ask for confirmation.");
    parser.addOption(yes);
    const QCommandLineOption everyLineOption(
        "every-line", "Also remove the file's other lines that hold the phone's key, whatever their options "
                      "or comment. Without it, revoke refuses when such lines exist and --yes is given, "
                      "and asks about them otherwise.");
    parser.addOption(everyLineOption);
    if (!parse(parser, "revoke", arguments)) {
        return devicesUsageExit;
    }
    if (parser.isSet("help")) {
        printCommandHelp(parser, QStringLiteral("revoke"));
        std::fputs("\nExit status: 0 revoked, the phone's key is on no line of the file any more; 1 nothing "
                   "matched,\nrefused, failed, or the key is still on some line of the file (the lines are "
                   "named); 2 usage error.\n",
                   stdout);
        return devicesDoneExit;
    }
    if (parser.positionalArguments().size() != 1) {
        return complain("revoke", translate("nombra un teléfono, por su nombre o su huella").toStdString(),
                        devicesUsageExit);
    }
    const std::string query = parser.positionalArguments().first().toStdString();
    const auto keys = keysFile(parser);
    try {
        const auto content = CompanionCore::AuthorizedKeys::read(keys);
        if (!content) {
            return complain("revoke", content.failure().message(), devicesRefusedExit);
        }
        const std::string& before = *content;
        const auto found = PairedDevices::matching(PairedDevices::list(before), query);
        if (found.empty()) {
            return complain(
                "revoke", filled("ningún teléfono emparejado se llama %@ ni tiene esa huella", {text(query)}),
                devicesRefusedExit);
        }
        if (found.size() > 1) {
            complain("revoke",
                     filled("%@ nombra %d llaves; revoca una por su huella:",
                            {text(query), QString::number(found.size())}),
                     devicesRefusedExit);
            for (const auto& device : found) {
                std::fprintf(stderr, "  %s\n", describe(device).c_str());
            }
            return devicesRefusedExit;
        }
        const PairedDevice& device = found.front();
        const QString fingerprint =
            text(SshPublicKey::fingerprint(device.keyType, device.blob).value_or(device.keyType));
        const auto others = PairedDevices::otherLinesHolding(before, device.keyType, device.blob);
        bool everyLine = parser.isSet(everyLineOption);
        if (!others.empty() && !everyLine && parser.isSet(yes)) {
            // Removing only the phone's line would leave it able to log in, and would take away the
            // name a second run with --every-line needs: a script gets all or nothing.
            complain("revoke",
                     filled("la llave de %@ también está en estas otras líneas del archivo; no se ha "
                            "revocado nada:",
                            {text(device.name)}),
                     devicesRefusedExit);
            for (const auto& line : others) {
                std::fprintf(stderr, "  %s\n", describe(line).c_str());
            }
            return complain(
                "revoke",
                filled("añade --every-line para quitarlas también y revocar %@", {text(device.name)}),
                devicesRefusedExit);
        }
        if (!parser.isSet(yes)) {
            if (::isatty(STDIN_FILENO) == 0) {
                return complain("revoke",
                                filled("no hay terminal donde preguntar; añade --yes para revocar %@",
                                       {text(device.name)}),
                                devicesRefusedExit);
            }
            if (!others.empty()) {
                say(filled("La llave de %@ también está en estas otras líneas del archivo:",
                           {text(device.name)}));
                for (const auto& line : others) {
                    say("  " + describe(line));
                }
            }
            std::string question;
            if (others.empty()) {
                question = filled("¿Revocar %@ (%@)? Ya no podrá iniciar sesión. [s/N] ",
                                  {text(device.name), fingerprint});
            } else if (everyLine) {
                question = filled("¿Revocar %@ (%@) y quitar también esas líneas? Ya no podrá iniciar "
                                  "sesión. [s/N] ",
                                  {text(device.name), fingerprint});
            } else {
                question = filled("¿Revocar %@ (%@)? [s/N] ", {text(device.name), fingerprint});
            }
            if (!confirmed(question)) {
                say(translate("No se ha revocado nada.").toStdString());
                return devicesRefusedExit;
            }
            if (!others.empty() && !everyLine) {
                everyLine = confirmed(
                    filled("¿Quitar también esas líneas? Si no, %@ podrá seguir iniciando sesión. [s/N] ",
                           {text(device.name)}));
            }
        }
        // The file may change between the question and the edit: what is left is judged on the text
        // actually written, never on the one the question was asked about.
        std::string after;
        CompanionCore::AuthorizedKeys::rewrite(keys, [&](std::string_view current) {
            after = everyLine ? PairedDevices::withoutKey(current, device.keyType, device.blob)
                              : PairedDevices::withoutDevice(current, device.keyType, device.blob);
            return after;
        });
        const auto left = PairedDevices::linesHolding(after, device.keyType, device.blob);
        if (!left.empty()) {
            complain("revoke",
                     filled("%@ aún puede iniciar sesión: su llave sigue en estas líneas del archivo:",
                            {text(device.name)}),
                     devicesRefusedExit);
            for (const auto& line : left) {
                std::fprintf(stderr, "  %s\n", describe(line).c_str());
            }
            return devicesRefusedExit;
        }
        say(filled("%@ revocado: ya no puede iniciar sesión.", {text(device.name)}));
        return devicesDoneExit;
    } catch (const std::system_error& error) {
        return complain("revoke", error.what(), devicesRefusedExit);
    }
}

} // namespace Cli
