#include "cli/DoctorCommand.h"

#include "cli/CommandLine.h"
#include "cli/LoginJson.h"
#include "cli/LoginRecordsOption.h"

#include "Companion/ActivityText.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Readiness.h"
#include "Companion/WayInDoctor.h"
#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/SshPublicKey.h"
#include "cli/StatusCommand.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>

namespace Cli {

namespace {

using Companion::KeyDoctor::Report;
using CompanionCore::Obstacle;
using CompanionCore::KeyCheck::Verdict;

/// This file's texts, in the catalogue's "DoctorCommand" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(DoctorCommand)
};

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

QString verdictName(Verdict verdict) {
    switch (verdict) {
    case Verdict::accepted:
        return QStringLiteral("accepted");
    case Verdict::refused:
        return QStringLiteral("refused");
    case Verdict::noServer:
        return QStringLiteral("noServer");
    case Verdict::unreachable:
        return QStringLiteral("unreachable");
    }
    return {};
}

QString obstacleName(Obstacle obstacle) {
    switch (obstacle) {
    case Obstacle::noSshServer:
        return QStringLiteral("noSshServer");
    case Obstacle::addressUnreachable:
        return QStringLiteral("addressUnreachable");
    case Obstacle::listensOnLoopbackOnly:
        return QStringLiteral("listensOnLoopbackOnly");
    case Obstacle::publicKeysDisabled:
        return QStringLiteral("publicKeysDisabled");
    case Obstacle::userNotAllowed:
        return QStringLiteral("userNotAllowed");
    case Obstacle::groupNotAllowed:
        return QStringLiteral("groupNotAllowed");
    case Obstacle::userDenied:
        return QStringLiteral("userDenied");
    case Obstacle::groupDenied:
        return QStringLiteral("groupDenied");
    case Obstacle::keyFileElsewhere:
        return QStringLiteral("keyFileElsewhere");
    case Obstacle::homeModes:
        return QStringLiteral("homeModes");
    case Obstacle::sshFolderModes:
        return QStringLiteral("sshFolderModes");
    case Obstacle::keyFileModes:
        return QStringLiteral("keyFileModes");
    case Obstacle::keyFileUnreadable:
        return QStringLiteral("keyFileUnreadable");
    case Obstacle::keyFileNotRegular:
        return QStringLiteral("keyFileNotRegular");
    case Obstacle::keyFileTooLarge:
        return QStringLiteral("keyFileTooLarge");
    case Obstacle::remoteLoginAccess:
        return QStringLiteral("remoteLoginAccess");
    case Obstacle::firewallBlocksSsh:
        return QStringLiteral("firewallBlocksSsh");
    case Obstacle::firewallBlocksPairing:
        return QStringLiteral("firewallBlocksPairing");
    case Obstacle::noDnsSdDaemon:
        return QStringLiteral("noDnsSdDaemon");
    case Obstacle::announcementNotSeen:
        return QStringLiteral("announcementNotSeen");
    case Obstacle::refusedForAnotherReason:
        return QStringLiteral("refusedForAnotherReason");
    }
    return {};
}

/// What the system said of a cause, where it said anything: the key file's error.
QString causeDetail(Obstacle obstacle, const Report& report) {
    const auto failure = report.result.failureBehind(obstacle);
    return failure ? text(failure->error.message()) : QString();
}

/// "Name (SHA256:…)", or a note that no phone is paired, or that the paired phones cannot be known.
QString subjectLine(const Report& report) {
    if (!report.device && report.result.keyFileFailure) {
        return Texts::tr("No se puede saber qué teléfonos están emparejados: comprobado lo que no necesita "
                         "llave.");
    }
    if (!report.device) {
        return Texts::tr("No hay ningún teléfono emparejado: comprobado lo que no necesita llave.");
    }
    const auto fingerprint =
        CompanionCore::SshPublicKey::fingerprint(report.device->keyType, report.device->blob);
    return text(report.device->name) + QStringLiteral(" (") +
           text(fingerprint.value_or(report.device->keyType)) + QStringLiteral(")");
}

/// With no key the server is only reached, so "La llave funciona" would claim too much.
QString verdictLine(const Report& report, Companion::Wording wording) {
    if (!report.device && report.result.works()) {
        return Texts::tr("El servidor SSH responde.");
    }
    return Companion::KeyDoctor::verdict(report.result, wording);
}

bool allWork(const std::vector<Report>& reports) {
    return std::all_of(reports.begin(), reports.end(),
                       [](const Report& report) { return report.result.works(); });
}

/// The activity of the phone of `reports[index]`, when it has a phone and the records were read.
const Companion::PhoneActivity* phoneActivity(const std::vector<Report>& reports, std::size_t index,
                                              const std::optional<DoctorActivity>& activity) {
    if (!activity || activity->reading.unreadable || !reports[index].device ||
        index >= activity->reading.phones.size()) {
        return nullptr;
    }
    return &activity->reading.phones[index];
}

/// What the records say of one phone, a sentence a line.
QStringList activityLines(const Companion::PhoneActivity& phone, std::chrono::system_clock::time_point now) {
    QStringList lines;
    if (phone.lastLogin) {
        lines << Companion::LocalizedFormat::fill(
            Texts::tr("Último acceso %@ desde %@."),
            {Companion::ActivityText::ago(phone.lastLogin->time, now), text(phone.lastLogin->address)});
    } else {
        lines << Texts::tr(
            "No ha iniciado sesión desde que se emparejó, según los registros del servidor SSH.");
    }
    if (phone.refusedLast) {
        lines << Companion::LocalizedFormat::fill(
            Texts::tr("Su último intento fue rechazado (%@, desde %@): el servidor SSH no aceptó la llave."),
            {Companion::ActivityText::ago(phone.refusedLast->time, now), text(phone.refusedLast->address)});
    }
    return lines;
}

/// The reports' phones in their order; a report without one stands as an empty phone, whose key
/// matches no record.
std::vector<CompanionCore::PairedDevice> phonesOf(const std::vector<Report>& reports) {
    std::vector<CompanionCore::PairedDevice> phones;
    for (const auto& report : reports) {
        phones.push_back(report.device.value_or(CompanionCore::PairedDevice{}));
    }
    return phones;
}

void write(const QString& output) {
    std::fputs(output.toUtf8().constData(), stdout);
    std::fflush(stdout);
}

} // namespace

QString doctorText(const std::vector<Report>& reports, Companion::Wording wording,
                   const std::optional<DoctorActivity>& activity) {
    QString output;
    for (std::size_t index = 0; index < reports.size(); ++index) {
        const auto& report = reports[index];
        output += subjectLine(report) + QStringLiteral("\n");
        for (const auto& line : verdictLine(report, wording).split(QLatin1Char('\n'))) {
            output += QStringLiteral("  ") + line + QStringLiteral("\n");
        }
        if (const auto notes = Companion::KeyDoctor::notes(report.result, wording); !notes.isEmpty()) {
            for (const auto& line : notes.split(QLatin1Char('\n'))) {
                output += QStringLiteral("  ") + line + QStringLiteral("\n");
            }
        }
        for (const auto& [address, answer] : report.result.answers) {
            output += QStringLiteral("  ") + text(address.host) + QStringLiteral(": ") +
                      Companion::KeyDoctor::describe(answer.verdict);
            if (!answer.detail.empty() && answer.verdict != Verdict::accepted) {
                output += QStringLiteral(" (") + text(answer.detail) + QStringLiteral(")");
            }
            output += QStringLiteral("\n");
        }
        if (const auto hostKey = Companion::KeyDoctor::hostKey(report.result)) {
            output +=
                QStringLiteral("  ") + Companion::KeyDoctor::hostKeyLine(*hostKey) + QStringLiteral("\n");
        }
        if (const auto* phone = phoneActivity(reports, index, activity)) {
            for (const auto& line : activityLines(*phone, activity->now)) {
                output += QStringLiteral("  ") + line + QStringLiteral("\n");
            }
        }
    }
    // Once for all phones.
    if (activity && activity->reading.unreadable && !activity->reading.phones.empty()) {
        output += *activity->reading.unreadable + QStringLiteral("\n");
    }
    return output;
}

QString wayInText(const std::vector<Companion::Finding>& findings) {
    if (findings.empty()) {
        return {};
    }
    QString output = Texts::tr("Otros caminos de entrada (mosh):") + QStringLiteral("\n");
    for (const auto& finding : findings) {
        output += QStringLiteral("  ") + finding.text + QStringLiteral("\n");
        if (!finding.remedy.isEmpty()) {
            output += QStringLiteral("  ") + finding.remedy + QStringLiteral("\n");
        }
    }
    return output;
}

QJsonObject doctorJson(const std::vector<Report>& reports, Companion::Wording wording,
                       const std::vector<Companion::Finding>& wayIn,
                       const std::optional<DoctorActivity>& activity) {
    QJsonArray keys;
    for (std::size_t index = 0; index < reports.size(); ++index) {
        const auto& report = reports[index];
        QJsonArray addresses;
        for (const auto& [address, answer] : report.result.answers) {
            addresses.append(QJsonObject{{"host", text(address.host)},
                                         {"verdict", verdictName(answer.verdict)},
                                         {"detail", text(answer.detail)}});
        }
        QJsonArray causes;
        for (const auto obstacle : report.result.obstacles) {
            causes.append(
                QJsonObject{{"cause", obstacleName(obstacle)},
                            {"keepsPhoneOut", CompanionCore::keepsPhoneOut(obstacle)},
                            {"text", Companion::KeyDoctor::describe(obstacle, report.result, wording)},
                            {"detail", causeDetail(obstacle, report)}});
        }
        const auto fingerprint =
            report.device
                ? CompanionCore::SshPublicKey::fingerprint(report.device->keyType, report.device->blob)
                : std::nullopt;
        const auto hostKey = Companion::KeyDoctor::hostKey(report.result);
        QJsonObject key{
            {"device", report.device ? QJsonValue(text(report.device->name)) : QJsonValue(QJsonValue::Null)},
            {"fingerprint", fingerprint ? QJsonValue(text(*fingerprint)) : QJsonValue(QJsonValue::Null)},
            {"works", report.result.works()},
            {"verdict", verdictLine(report, wording)},
            {"hostKey", hostKey ? QJsonValue(*hostKey) : QJsonValue(QJsonValue::Null)},
            {"addresses", addresses},
            {"causes", causes},
        };
        if (const auto* phone = phoneActivity(reports, index, activity)) {
            key.insert("lastLogin", loginJson(phone->lastLogin));
            key.insert("lastRefused", loginJson(phone->refusedLast));
            key.insert("neverLoggedIn", !phone->lastLogin.has_value());
            key.insert("refusedAtLastAttempt", phone->refusedLast.has_value());
        }
        keys.append(key);
    }
    QJsonObject json{{"works", allWork(reports)}, {"keys", keys}, {"wayIn", findingsJson(wayIn)}};
    if (activity) {
        json.insert("loginRecordsUnreadable", activity->reading.unreadable
                                                  ? QJsonValue(*activity->reading.unreadable)
                                                  : QJsonValue(QJsonValue::Null));
    }
    return json;
}

int runDoctor(const Companion::Host& host, const QStringList& arguments) {
    CommandLine commandLine(
        QStringLiteral("doctor"),
        Texts::tr("Pregunta al servidor SSH si acepta la llave de cada teléfono emparejado y nombra qué "
                  "arreglar; luego mira si una sesión SSH encuentra mosh-server, su idioma y si mosh-server "
                  "arranca en ella. No cambia nada."));
    const QCommandLineOption json("json", Texts::tr("Escribe un objeto JSON en lugar de texto."));
    const QCommandLineOption keys("authorized-keys",
                                  Texts::tr("Lee <archivo> en lugar de ~/.ssh/authorized_keys."),
                                  Texts::tr("archivo"));
    const QCommandLineOption port("port", Texts::tr("Pregunta al servidor SSH en <puerto> en lugar del 22."),
                                  Texts::tr("puerto"));
    const QCommandLineOption config("sshd-config", Texts::tr("Lee los ajustes del servidor de <archivo>."),
                                    Texts::tr("archivo"));
    QCommandLineOption hostOption(
        "host", "Ask on <host> after loopback (repeatable) instead of this computer's addresses.", "host");
    hostOption.setFlags(QCommandLineOption::HiddenFromHelp);
    const QCommandLineOption records = loginRecordsOption();
    commandLine.addOptions({json, keys, port, config, hostOption, records});
    commandLine.setHelpEpilogue(
        Texts::tr("Estado de salida: 0 nada de lo encontrado deja fuera a un teléfono emparejado; 1 algo "
                  "lo deja fuera (entre ello un archivo de llaves que no se puede leer); 2 error de uso."));
    if (const auto ended = commandLine.parse(arguments)) {
        return *ended;
    }
    auto options = Companion::KeyDoctor::options(host);
    if (commandLine.isSet(keys)) {
        options.authorizedKeys = commandLine.value(keys).toStdString();
    }
    if (commandLine.isSet(port)) {
        bool number = false;
        options.port = commandLine.value(port).toInt(&number);
        if (!number || options.port <= 0 || options.port > 65535) {
            return commandLine.usageError(Companion::LocalizedFormat::fill(Texts::tr("no es un puerto: %@"),
                                                                           {commandLine.value(port)}));
        }
    }
    if (commandLine.isSet(hostOption)) {
        options.hosts.clear();
        for (const auto& value : commandLine.values(hostOption)) {
            options.hosts.push_back(value.toStdString());
        }
    }
    if (commandLine.isSet(config)) {
        options.sshdConfig = commandLine.value(config).toStdString();
    }
    const auto reports = Companion::KeyDoctor::examineAll(options, *host.runner);
    const DoctorActivity activity{
        Companion::PhoneActivities::read(withLoginRecords(host, commandLine, records), phonesOf(reports)),
        host.clock()};
    const auto wayIn = Companion::WayInDoctor::findings(
        Companion::WayInDoctor::options(host, options.sshdConfig), Companion::Readiness::probe(host),
        *host.systemActions, *host.runner);
    if (commandLine.isSet(json)) {
        write(QString::fromUtf8(
                  QJsonDocument(doctorJson(reports, host.systemActions->wording(), wayIn, activity))
                      .toJson(QJsonDocument::Compact)) +
              QStringLiteral("\n"));
    } else {
        write(fitted(doctorText(reports, host.systemActions->wording(), activity) + wayInText(wayIn)));
    }
    return allWork(reports) ? Exit::done : Exit::refused;
}

} // namespace Cli
