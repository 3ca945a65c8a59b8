#include "cli/DevicesCommand.h"

#include "cli/CommandLine.h"
#include "cli/LoginJson.h"
#include "cli/LoginRecordsOption.h"

#include "Companion/ActivityText.h"
#include "Companion/Host.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/PairedPhones.h"
#include "Companion/PhoneActivity.h"
#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/SshPublicKey.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
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

/// "línea 3", in the run's language.
QString lineLabel(int number) {
    return Companion::LocalizedFormat::fill(Texts::tr("línea %d"), {QString::number(number)});
}

QCommandLineOption keysOption() {
    return QCommandLineOption("authorized-keys",
                              Texts::tr("Lee <archivo> en lugar de ~/.ssh/authorized_keys."),
                              Texts::tr("archivo"));
}

/// The key file named on the command line, when it does not exist: the user meant a file that is
/// not there, which is not the same as having no phones.
std::optional<QString> missingNamedFile(const CommandLine& commandLine, const QCommandLineOption& keys) {
    if (!commandLine.isSet(keys)) {
        return std::nullopt;
    }
    std::error_code error;
    const std::filesystem::path file(commandLine.value(keys).toStdString());
    if (std::filesystem::exists(std::filesystem::symlink_status(file, error)) || error.value() != ENOENT) {
        return std::nullopt;
    }
    return Companion::LocalizedFormat::fill(Texts::tr("%@ no existe"), {commandLine.value(keys)});
}

/// The listing for people: a header, then each phone on a line with its key type and where it is in
/// the file, its fingerprint on the next and what it has done on the one after, so that it fits the
/// terminal.
QString deviceTable(const std::vector<PairedDevice>& devices, const Companion::ActivityReading& activity = {},
                    std::chrono::system_clock::time_point now = {}) {
    struct Row {
        QString name;
        QString type;
        QString place;
        QString fingerprint;
        QString activity;
    };
    std::vector<Row> rows{
        {Texts::tr("Teléfono"), Texts::tr("Tipo de llave"), Texts::tr("En el archivo"), {}, {}}};
    for (std::size_t index = 0; index < devices.size(); ++index) {
        const auto& device = devices[index];
        const auto fingerprint = Companion::PairedPhones::fingerprint(device);
        QString place = lineLabel(device.lineNumber);
        if (device.older) {
            place += QStringLiteral(" ") + Texts::tr("(anterior)");
        }
        const QStringList done =
            index < activity.phones.size()
                ? Companion::ActivityText::pieces(activity.phones[index], !activity.unreadable, now)
                : QStringList();
        rows.push_back({text(device.name), text(device.keyType), place,
                        fingerprint ? text(*fingerprint) : Texts::tr("(llave inutilizable)"),
                        done.join(QStringLiteral(" · "))});
    }
    qsizetype nameWidth = 0;
    qsizetype typeWidth = 0;
    for (const auto& row : rows) {
        nameWidth = std::max(nameWidth, row.name.size());
        typeWidth = std::max(typeWidth, row.type.size());
    }
    const QString gap = QStringLiteral("  ");
    QString table;
    for (const auto& row : rows) {
        table += row.name.leftJustified(nameWidth) + gap + row.type.leftJustified(typeWidth) + gap +
                 row.place + QStringLiteral("\n");
        if (!row.fingerprint.isEmpty()) {
            table += gap + row.fingerprint + QStringLiteral("\n");
        }
        if (!row.activity.isEmpty()) {
            table += gap + row.activity + QStringLiteral("\n");
        }
    }
    return table;
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
    CommandLine commandLine(QStringLiteral("devices"),
                            Texts::tr("Lista los teléfonos que pueden iniciar sesión en esta cuenta."));
    const QCommandLineOption json("json", Texts::tr("Escribe un objeto JSON en lugar de texto."));
    const QCommandLineOption keys = keysOption();
    // For the shell completions: what revoke takes, one a line.
    QCommandLineOption names("names", QStringLiteral("Print each phone's name and fingerprint, one a line."));
    names.setFlags(QCommandLineOption::HiddenFromHelp);
    const QCommandLineOption records = loginRecordsOption();
    commandLine.addOptions({json, keys, names, records});
    commandLine.setHelpEpilogue(
        Texts::tr("Estado de salida: 0 listado, también cuando no hay ningún teléfono (sin "
                  "--authorized-keys, un archivo de llaves que no existe no tiene ninguno); 1 el archivo "
                  "no existe o no se puede leer; 2 error de uso."));
    if (const auto ended = commandLine.parse(arguments)) {
        return *ended;
    }
    if (const auto missing = missingNamedFile(commandLine, keys)) {
        return commandLine.fail(*missing, Exit::refused);
    }
    const auto read = Companion::PairedPhones(keysFile(commandLine, keys, host)).list();
    if (!read) {
        return commandLine.fail(text(read.failure().message()), Exit::refused);
    }
    const auto& listing = *read;
    if (commandLine.isSet(names)) {
        for (const auto& device : listing.devices) {
            say(device.name);
            if (const auto fingerprint = Companion::PairedPhones::fingerprint(device)) {
                say(*fingerprint);
            }
        }
        return Exit::done;
    }
    const auto activity =
        Companion::PhoneActivities::read(withLoginRecords(host, commandLine, records), listing.devices);
    if (commandLine.isSet(json)) {
        QJsonArray devices;
        for (std::size_t index = 0; index < listing.devices.size(); ++index) {
            const auto& device = listing.devices[index];
            const auto fingerprint = Companion::PairedPhones::fingerprint(device);
            const Companion::PhoneActivity done =
                index < activity.phones.size() ? activity.phones[index] : Companion::PhoneActivity{};
            devices.append(
                QJsonObject{{"name", QString::fromStdString(device.name)},
                            {"type", QString::fromStdString(device.keyType)},
                            {"fingerprint", fingerprint ? QJsonValue(QString::fromStdString(*fingerprint))
                                                        : QJsonValue(QJsonValue::Null)},
                            {"line", static_cast<qint64>(device.lineNumber)},
                            {"older", device.older},
                            {"lastLogin", loginJson(done.lastLogin)},
                            {"lastRefused", loginJson(done.refusedLast)},
                            {"connectedNow", done.connectedNow},
                            {"moshSessions", done.moshSessions}});
        }
        say(QJsonDocument(
                QJsonObject{{"devices", devices},
                            {"otherKeys", static_cast<qint64>(listing.otherKeys)},
                            {"loginRecordsUnreadable", activity.unreadable ? QJsonValue(*activity.unreadable)
                                                                           : QJsonValue(QJsonValue::Null)}})
                .toJson(QJsonDocument::Compact)
                .toStdString());
        return Exit::done;
    }
    if (listing.devices.empty()) {
        say(Texts::tr("No hay ningún teléfono emparejado.").toStdString());
    } else {
        std::fputs(deviceTable(listing.devices, activity, host.clock()).toUtf8().constData(), stdout);
        // Once for all phones: why no last login is shown, and how to allow it.
        if (activity.unreadable) {
            say(activity.unreadable->toStdString());
        }
    }
    if (listing.otherKeys > 0) {
        say(filled(listing.otherKeys == 1 ? Texts::tr("%d llave más en el archivo.")
                                          : Texts::tr("%d llaves más en el archivo."),
                   {QString::number(listing.otherKeys)}));
    }
    return Exit::done;
}

int runRevoke(const Companion::Host& host, const QStringList& arguments) {
    CommandLine commandLine(
        QStringLiteral("revoke"),
        Texts::tr("Quita la llave de un teléfono emparejado, para que ya no pueda iniciar sesión."));
    commandLine.addPositionalArgument(
        Texts::tr("teléfono"), Texts::tr("El nombre del teléfono, o la huella de su llave (SHA256:…)."));
    const QCommandLineOption yes("yes", Texts::tr("No pide confirmación."));
    const QCommandLineOption everyLineOption(
        "every-line",
        Texts::tr("Quita también las otras líneas del archivo que tienen la llave del teléfono, sean cuales "
                  "sean sus opciones o su comentario. Sin ella, revoke se niega cuando hay tales líneas y "
                  "se da --yes, y pregunta por ellas si no."));
    const QCommandLineOption keys = keysOption();
    commandLine.addOptions({yes, everyLineOption, keys});
    commandLine.setHelpEpilogue(
        Texts::tr("Estado de salida: 0 revocado, la llave del teléfono ya no está en ninguna línea del "
                  "archivo; 1 nada coincide, negado, fallido, o la llave sigue en alguna línea del archivo "
                  "(se nombran las líneas); 2 error de uso."));
    if (const auto ended = commandLine.parse(arguments, 1)) {
        return *ended;
    }
    if (commandLine.positionalArguments().size() != 1) {
        return commandLine.usageError(Texts::tr("nombra un teléfono, por su nombre o su huella"));
    }
    if (const auto missing = missingNamedFile(commandLine, keys)) {
        return commandLine.fail(*missing, Exit::refused);
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
            for (const QString& line : deviceTable(found).split(u'\n', Qt::SkipEmptyParts)) {
                std::fprintf(stderr, "  %s\n", line.toUtf8().constData());
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
