#include "cli/DevicesCommand.h"

#include "cli/CommandHelp.h"

#include "Companion/HostIdentity.h"
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

/// "iPhone de Ana  ED25519  SHA256:…  line 3  (older)"
std::string describe(const PairedDevice& device) {
    std::string text = device.name + "  " + device.keyType + "  " +
                       PairedDevices::fingerprintOf(device).value_or("(unusable key)") + "  line " +
                       std::to_string(device.lineNumber);
    if (device.older) {
        text += "  (older)";
    }
    return text;
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

/// Asks on the terminal; only a "y" or "yes" is a yes.
bool confirmed(const PairedDevice& device) {
    std::fprintf(stdout, "Revoke %s (%s)? It will no longer be able to log in. [y/N] ", device.name.c_str(),
                 PairedDevices::fingerprintOf(device).value_or(device.keyType).c_str());
    std::fflush(stdout);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        return false;
    }
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
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
        return complain("devices",
                        "unexpected argument " + parser.positionalArguments().first().toStdString(),
                        devicesUsageExit);
    }
    PairedDevices::Listing listing;
    try {
        listing = PairedDevices::list(CompanionCore::AuthorizedKeys::read(keysFile(parser)));
    } catch (const std::system_error& error) {
        return complain("devices", error.what(), devicesRefusedExit);
    }
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
        say("No phone is paired.");
    }
    for (const auto& device : listing.devices) {
        say(describe(device));
    }
    if (listing.otherKeys > 0) {
        say(std::to_string(listing.otherKeys) + (listing.otherKeys == 1 ? " other key" : " other keys") +
            " in the file.");
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
        return complain("revoke", "name one phone, by name or fingerprint", devicesUsageExit);
    }
    const std::string query = parser.positionalArguments().first().toStdString();
    const auto keys = keysFile(parser);
    try {
        const auto found =
            PairedDevices::matching(PairedDevices::list(CompanionCore::AuthorizedKeys::read(keys)), query);
        if (found.empty()) {
            return complain("revoke", "no paired phone is called or has the fingerprint " + query,
                            devicesRefusedExit);
        }
        if (found.size() > 1) {
            complain("revoke",
                     query + " names " + std::to_string(found.size()) +
                         " keys; revoke one by its fingerprint:",
                     devicesRefusedExit);
            for (const auto& device : found) {
                std::fprintf(stderr, "  %s\n", describe(device).c_str());
            }
            return devicesRefusedExit;
        }
        const PairedDevice& device = found.front();
        if (!parser.isSet(yes)) {
            if (::isatty(STDIN_FILENO) == 0) {
                return complain("revoke", "not a terminal to ask on; add --yes to revoke " + device.name,
                                devicesRefusedExit);
            }
            if (!confirmed(device)) {
                say("Nothing revoked.");
                return devicesRefusedExit;
            }
        }
        CompanionCore::AuthorizedKeys::rewrite(keys, [&](std::string_view text) {
            return PairedDevices::withoutDevice(text, device.keyType, device.blob);
        });
        say("Revoked " + device.name + ": it can no longer log in.");
        return devicesDoneExit;
    } catch (const std::system_error& error) {
        return complain("revoke", error.what(), devicesRefusedExit);
    }
}

} // namespace Cli
