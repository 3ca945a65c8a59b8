#include "cli/DevicesCommand.h"

#include "cli/CommandHelp.h"

#include "Companion/HostIdentity.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Text.h"
#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/PairedDevices.h"

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
    const auto fingerprint = PairedDevices::fingerprintOf(device);
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

/// Asks on the terminal; only a yes in the prompt's language is a yes.
bool confirmed(const PairedDevice& device) {
    std::fputs(
        filled("¿Revocar %@ (%@)? Ya no podrá iniciar sesión. [s/N] ",
               {text(device.name), text(PairedDevices::fingerprintOf(device).value_or(device.keyType))})
            .c_str(),
        stdout);
    std::fflush(stdout);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        return false;
    }
    //: the answers that mean yes to the [s/N] question, separated by commas
    const QStringList yes = translate("s,sí,si").split(u',');
    return yes.contains(QString::fromStdString(answer).trimmed().toLower());
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
            const auto fingerprint = PairedDevices::fingerprintOf(device);
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
    if (!parse(parser, "revoke", arguments)) {
        return devicesUsageExit;
    }
    if (parser.isSet("help")) {
        printCommandHelp(parser, QStringLiteral("revoke"));
        std::fputs("\nExit status: 0 revoked, 1 nothing matched, refused or failed, 2 usage error.\n",
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
        const auto found = PairedDevices::matching(PairedDevices::list(*content), query);
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
        if (!parser.isSet(yes)) {
            if (::isatty(STDIN_FILENO) == 0) {
                return complain("revoke",
                                filled("no hay terminal donde preguntar; añade --yes para revocar %@",
                                       {text(device.name)}),
                                devicesRefusedExit);
            }
            if (!confirmed(device)) {
                say(translate("No se ha revocado nada.").toStdString());
                return devicesRefusedExit;
            }
        }
        CompanionCore::AuthorizedKeys::rewrite(keys, [&](std::string_view text) {
            return PairedDevices::withoutDevice(text, device.keyType, device.blob);
        });
        say(filled("%@ revocado: ya no puede iniciar sesión.", {text(device.name)}));
        return devicesDoneExit;
    } catch (const std::system_error& error) {
        return complain("revoke", error.what(), devicesRefusedExit);
    }
}

} // namespace Cli
