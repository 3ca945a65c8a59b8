#include "cli/DevicesCommand.h"

#include "cli/CommandLine.h"

#include "Companion/Host.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/PairedPhones.h"
#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/SshPublicKey.h"

#include <QCoreApplication>
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

/// This file's texts, in the catalogue's "DevicesCommand" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(DevicesCommand)
};

/// A translated format with its placeholders filled, for the terminal.
std::string filled(const QString& format, const QStringList& arguments) {
    return Companion::LocalizedFormat::fill(format, arguments).toStdString();
}

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

void say(const std::string& line) {
    std::fputs(line.c_str(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

/// The key file the command line names, or the host's.
std::filesystem::path keysFile(const CommandLine& commandLine, const QCommandLineOption& keys,
                               const Companion::Host& host) {
    return commandLine.isSet(keys) ? std::filesystem::path(commandLine.value(keys).toStdString())
                                   : host.authorizedKeys;
}

QCommandLineOption keysOption() {
    return QCommandLineOption("authorized-keys", "Read <file> instead of ~/.ssh/authorized_keys.", "file");
}

/// "línea 3", in the run's language.
QString lineLabel(int number) {
    return Companion::LocalizedFormat::fill(Texts::tr("línea %d"), {QString::number(number)});
}

/// "SHA256:…  línea 3  (anterior)": what follows a phone's name and key type.
QString keyDetails(const PairedDevice& device) {
    const auto fingerprint = Companion::PairedPhones::fingerprint(device);
    QString details = (fingerprint ? text(*fingerprint) : Texts::tr("(llave inutilizable)")) + "  " +
                      lineLabel(device.lineNumber);
    if (device.older) {
        details += "  " + Texts::tr("(anterior)");
    }
    return details;
}

/// "iPhone de Ana  ED25519  SHA256:…  línea 3  (anterior)"; the name as the file has it, byte for byte.
std::string describe(const PairedDevice& device) {
    return device.name + "  " + device.keyType + "  " + keyDetails(device).toStdString();
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
    const QStringList yes = Texts::tr("s,sí,si").split(u',');
    return yes.contains(QString::fromStdString(answer).trimmed().toLower());
}

/// "línea 2: restrict ssh-ed25519 … backup"
std::string describe(const CompanionCore::KeyLine& line) {
    return lineLabel(line.lineNumber).toStdString() + ": " + line.excerpt;
}

} // namespace

int runDevices(const Companion::Host& host, const QStringList& arguments) {
    CommandLine commandLine(QStringLiteral("devices"), "Lists the phones that can log in to this account.");
    const QCommandLineOption json("json", "Write one JSON object instead of text.");
    const QCommandLineOption keys = keysOption();
    commandLine.addOptions({json, keys});
    if (const auto ended = commandLine.parse(arguments)) {
        return *ended;
    }
    const auto read = Companion::PairedPhones(keysFile(commandLine, keys, host)).list();
    if (!read) {
        return commandLine.fail(text(read.failure().message()), Exit::refused);
    }
    const auto& listing = *read;
    if (commandLine.isSet(json)) {
        QJsonArray devices;
        for (const auto& device : listing.devices) {
            const auto fingerprint = Companion::PairedPhones::fingerprint(device);
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
        return Exit::done;
    }
    if (listing.devices.empty()) {
        say(Texts::tr("No hay ningún teléfono emparejado.").toStdString());
    }
    for (const auto& device : listing.devices) {
        say(describe(device));
    }
    if (listing.otherKeys > 0) {
        say(filled(listing.otherKeys == 1 ? Texts::tr("%d llave más en el archivo.")
                                          : Texts::tr("%d llaves más en el archivo."),
                   {QString::number(listing.otherKeys)}));
    }
    return Exit::done;
}

int runRevoke(const Companion::Host& host, const QStringList& arguments) {
    CommandLine commandLine(QStringLiteral("revoke"),
                            "Removes a paired phone's key, so the phone can no longer log in.");
    commandLine.addPositionalArgument("phone", "The phone's name, or its key's fingerprint (SHA256:…).");
    const QCommandLineOption yes("yes", "Do not ask for confirmation.");
    const QCommandLineOption everyLineOption(
        "every-line", "Also remove the file's other lines that hold the phone's key, whatever their options "
                      "or comment. Without it, revoke refuses when such lines exist and --yes is given, "
                      "and asks about them otherwise.");
    const QCommandLineOption keys = keysOption();
    commandLine.addOptions({yes, everyLineOption, keys});
    commandLine.setHelpEpilogue(
        "Exit status: 0 revoked, the phone's key is on no line of the file any more; 1 nothing matched,\n"
        "refused, failed, or the key is still on some line of the file (the lines are named); 2 usage "
        "error.\n");
    if (const auto ended = commandLine.parse(arguments, 1)) {
        return *ended;
    }
    if (commandLine.positionalArguments().size() != 1) {
        return commandLine.usageError(Texts::tr("nombra un teléfono, por su nombre o su huella"));
    }
    const std::string query = commandLine.positionalArguments().first().toStdString();
    const Companion::PairedPhones phones(keysFile(commandLine, keys, host));
    const auto refuse = [&](const std::string& message) {
        return commandLine.fail(text(message), Exit::refused);
    };
    try {
        const auto read = phones.find(query);
        if (!read) {
            return refuse(read.failure().message());
        }
        const auto& found = *read;
        if (found.empty()) {
            return refuse(filled(Texts::tr("ningún teléfono emparejado se llama %@ ni tiene esa huella"),
                                 {text(query)}));
        }
        if (found.size() > 1) {
            refuse(filled(Texts::tr("%@ nombra %d llaves; revoca una por su huella:"),
                          {text(query), QString::number(found.size())}));
            for (const auto& device : found) {
                std::fprintf(stderr, "  %s\n", describe(device).c_str());
            }
            return Exit::refused;
        }
        const PairedDevice& device = found.front();
        const QString fingerprint =
            text(Companion::PairedPhones::fingerprint(device).value_or(device.keyType));
        const auto holding = phones.otherLinesHolding(device);
        if (!holding) {
            return refuse(holding.failure().message());
        }
        const auto& others = *holding;
        bool everyLine = commandLine.isSet(everyLineOption);
        if (!others.empty() && !everyLine && commandLine.isSet(yes)) {
            // Removing only the phone's line would leave it able to log in, and would take away the
            // name a second run with --every-line needs: a script gets all or nothing.
            refuse(filled(Texts::tr("la llave de %@ también está en estas otras líneas del archivo; no se ha "
                                    "revocado nada:"),
                          {text(device.name)}));
            for (const auto& line : others) {
                std::fprintf(stderr, "  %s\n", describe(line).c_str());
            }
            return refuse(filled(Texts::tr("añade --every-line para quitarlas también y revocar %@"),
                                 {text(device.name)}));
        }
        if (!commandLine.isSet(yes)) {
            if (::isatty(STDIN_FILENO) == 0) {
                return refuse(
                    filled(Texts::tr("no hay terminal donde preguntar; añade --yes para revocar %@"),
                           {text(device.name)}));
            }
            if (!others.empty()) {
                say(filled(Texts::tr("La llave de %@ también está en estas otras líneas del archivo:"),
                           {text(device.name)}));
                for (const auto& line : others) {
                    say("  " + describe(line));
                }
            }
            std::string question;
            if (others.empty()) {
                question = filled(Texts::tr("¿Revocar %@ (%@)? Ya no podrá iniciar sesión. [s/N] "),
                                  {text(device.name), fingerprint});
            } else if (everyLine) {
                question =
                    filled(Texts::tr("¿Revocar %@ (%@) y quitar también esas líneas? Ya no podrá iniciar "
                                     "sesión. [s/N] "),
                           {text(device.name), fingerprint});
            } else {
                question = filled(Texts::tr("¿Revocar %@ (%@)? [s/N] "), {text(device.name), fingerprint});
            }
            if (!confirmed(question)) {
                say(Texts::tr("No se ha revocado nada.").toStdString());
                return Exit::refused;
            }
            if (!others.empty() && !everyLine) {
                everyLine = confirmed(filled(
                    Texts::tr("¿Quitar también esas líneas? Si no, %@ podrá seguir iniciando sesión. [s/N] "),
                    {text(device.name)}));
            }
        }
        const auto left = phones.revoke(device, everyLine ? Companion::RevokeScope::everyLine
                                                          : Companion::RevokeScope::phoneLines);
        if (!left.empty()) {
            refuse(
                filled(Texts::tr("%@ aún puede iniciar sesión: su llave sigue en estas líneas del archivo:"),
                       {text(device.name)}));
            for (const auto& line : left) {
                std::fprintf(stderr, "  %s\n", describe(line).c_str());
            }
            return Exit::refused;
        }
        say(filled(Texts::tr("%@ revocado: ya no puede iniciar sesión."), {text(device.name)}));
        return Exit::done;
    } catch (const std::system_error& error) {
        return refuse(error.what());
    }
}

} // namespace Cli
