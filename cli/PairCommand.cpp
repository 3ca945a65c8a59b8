#include "cli/PairCommand.h"

#include "Companion/ActivityText.h"
#include "Companion/KeyDoctor.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/NotificationCentre.h"
#include "Companion/PairingFailureText.h"
#include "Companion/PairingSession.h"
#include "Companion/PlatformWords.h"
#include "CompanionCore/Overloaded.h"
#include "CompanionCore/PairedDevice.h"
#include "CompanionCore/Timestamp.h"
#include "CompanionCore/server/PairingServer.h"
#include "cli/CommandLine.h"
#include "cli/KeyFingerprint.h"
#include "cli/LoginRecordsOption.h"
#include "cli/SignalNotifier.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <limits>
#include <variant>

namespace Cli {

namespace {

using CompanionCore::PairingServer;
namespace Pairing = CompanionCore::Pairing;

/// This file's texts, in the catalogue's "PairCommand" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(PairCommand)
};

/// A translated format with its placeholders filled, for the terminal.
std::string filled(const QString& format, const QStringList& arguments) {
    return Companion::LocalizedFormat::fill(format, arguments).toStdString();
}

/// How long `pair` waits for the phone's first login after it has paired.
constexpr std::chrono::minutes loginWaitBound{10};

/// "123456" as people read it: "123 456".
std::string spacedCode(const std::string& digits) {
    return digits.size() > 3 ? digits.substr(0, 3) + " " + digits.substr(3) : digits;
}

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

/// Writes either lines for people or one JSON object per line, flushed at once so a reader on a
/// pipe sees each change as it happens.
class Report {
public:
    /// Where the phone can be pointed by hand, and what keeps the session from being found.
    struct Reach {
        std::vector<std::string> hosts;
        /// The remedies of what keeps the phone from finding the session by itself.
        QStringList hindrances;
    };

    Report(bool json, bool verbose, Companion::Wording wording, Reach reach)
        : m_json(json)
        , m_verbose(verbose)
        , m_wording(wording)
        , m_reach(std::move(reach)) {}

    void warning(const std::string& message) const {
        if (m_json) {
            object({{"type", "warning"}, {"message", text(message)}});
        } else {
            const QString warning = Companion::LocalizedFormat::fill(Texts::tr("aviso: %@"), {text(message)});
            for (const QString& line : wrapped(warning, terminalColumns - 1)) {
                std::fprintf(stderr, "%s\n", line.toUtf8().constData());
            }
            std::fflush(stderr);
        }
    }

    void event(const std::string& line) const {
        if (m_json) {
            object({{"type", "event"}, {"line", text(line)}});
        } else if (m_verbose) {
            // The log's own lines, which people only read when they ask for them.
            std::fprintf(stderr, "%s\n", line.c_str());
            std::fflush(stderr);
        }
    }

    void announced(bool visible) const {
        if (m_json) {
            object({{"type", "announced"}, {"announced", visible}});
        } else {
            say((visible ? Companion::PlatformWords::announcerVisible(m_wording)
                         : Companion::PlatformWords::announcerNotVisible(m_wording))
                    .toStdString());
        }
    }

    void state(const PairingServer& server) const {
        std::visit(CompanionCore::Overloaded{
                       [&](const Pairing::Waiting& waiting) { this->waiting(waiting, server.announced()); },
                       [&](const Pairing::Paired& paired) { this->paired(paired); },
                       [&](const Pairing::Failed& failed) { this->failed(failed); },
                       [&](const Pairing::Idle&) {
                           if (m_json) {
                               object({{"type", "state"}, {"state", "idle"}});
                           }
                       },
                       [&](const Pairing::Starting&) {
                           if (m_json) {
                               object({{"type", "state"}, {"state", "starting"}});
                           }
                       },
                   },
                   server.state());
    }

    void ended(const std::string& why) const {
        if (!m_json) {
            say(why);
        }
    }

    /// What the SSH server said of the key just installed.
    void keyCheck(const CompanionCore::KeyDiagnosis::Result& result) const {
        const QString verdict = Companion::KeyDoctor::verdict(result, m_wording);
        const auto hostKey = Companion::KeyDoctor::hostKey(result);
        if (m_json) {
            object({{"type", "keyCheck"},
                    {"works", result.works()},
                    {"verdict", verdict},
                    {"hostKey", hostKey ? QJsonValue(*hostKey) : QJsonValue(QJsonValue::Null)}});
            return;
        }
        sayWrapped(verdict);
        if (const auto notes = Companion::KeyDoctor::notes(result, m_wording); !notes.isEmpty()) {
            sayWrapped(notes);
        }
        if (hostKey) {
            say(Companion::KeyDoctor::hostKeyLine(*hostKey).toStdString());
        }
    }

    /// The phone has paired; its first login is awaited.
    void awaitingLogin() const {
        if (m_json) {
            object({{"type", "login"}, {"state", "waiting"}});
        } else {
            sayWrapped(Companion::ActivityText::waitingForLogin());
        }
    }

    void loggedIn(const Companion::LoginAttempt& login) const {
        if (m_json) {
            object({{"type", "login"},
                    {"state", "loggedIn"},
                    {"address", text(login.address)},
                    {"time", text(CompanionCore::iso8601Utc(login.time))}});
        } else {
            sayWrapped(Companion::ActivityText::loggedInFrom(login));
        }
    }

    /// The records that would show the login cannot be read; `howToAllow` says how to change that.
    void loginUnknowable(const QString& howToAllow) const {
        if (m_json) {
            object({{"type", "login"}, {"state", "unreadable"}, {"message", howToAllow}});
        } else {
            sayWrapped(howToAllow);
        }
    }

    /// The wait ended without a login.
    void noLoginYet() const {
        if (m_json) {
            object({{"type", "login"}, {"state", "notYet"}});
        } else {
            sayWrapped(Texts::tr("El teléfono aún no ha iniciado sesión; nuvexa-companion-cli devices lo "
                                 "mostrará cuando lo haga."));
        }
    }

private:
    void waiting(const Pairing::Waiting& waiting, bool announced) const {
        QStringList hosts;
        for (const auto& host : m_reach.hosts) {
            hosts.append(text(host));
        }
        if (m_json) {
            object({{"type", "state"},
                    {"state", "waiting"},
                    {"code", text(waiting.digits)},
                    {"port", waiting.port},
                    {"announced", announced},
                    {"hosts", QJsonArray::fromStringList(hosts)}});
            return;
        }
        say("");
        say(filled(Texts::tr("Código de emparejamiento: %@"), {text(spacedCode(waiting.digits))}));
        say(filled(Texts::tr("Puerto: %d"), {QString::number(waiting.port)}));
        if (!hosts.isEmpty()) {
            sayWrapped(Companion::LocalizedFormat::fill(Texts::tr("Direcciones: %@"),
                                                        {hosts.join(QStringLiteral(", "))}));
        }
        say((announced ? Companion::PlatformWords::announcerVisible(m_wording)
                       : Companion::PlatformWords::announcerNotYetVisible(m_wording))
                .toStdString());
        if (!announced) {
            for (const QString& hindrance : m_reach.hindrances) {
                sayWrapped(hindrance);
            }
        }
        sayWrapped(Texts::tr("Escribe el código en la app nuvexa del teléfono; si no encuentra este "
                             "ordenador, escribe en ella una de las direcciones y el puerto."));
        say("");
    }

    void paired(const Pairing::Paired& paired) const {
        const std::optional<KeyFingerprint> key = KeyFingerprint::of(paired.keyLine);
        if (m_json) {
            QJsonObject json{{"type", "state"}, {"state", "paired"}, {"device", text(paired.device)}};
            if (key) {
                json.insert("key", text(key->text()));
                json.insert("fingerprint", text(key->key.fingerprint));
            }
            object(json);
            return;
        }
        say(filled(Texts::tr("Emparejado con %@."), {text(paired.device)}));
        if (key) {
            say(filled(Texts::tr("Llave instalada: %@"), {text(key->text())}));
        }
    }

    void failed(const Pairing::Failed& failed) const {
        if (m_json) {
            // "message" stays in the log's English, which scripts read; "reason" names the case.
            object({{"type", "state"},
                    {"state", "failed"},
                    {"reason", QString::fromLatin1(reasonWord(failed.reason))},
                    {"message", text(Pairing::describe(failed))}});
            return;
        }
        sayWrapped(Companion::LocalizedFormat::fill(Texts::tr("El emparejamiento ha fallado: %@"),
                                                    {Companion::PairingFailureText::describe(failed)}));
        if (failed.reason == CompanionCore::PairingFailure::keyNotInstalled) {
            // The code is spent, so waiting on is pointless until the cause is fixed.
            sayWrapped(Texts::tr(
                "El código ya está gastado. Arregla lo que dice el mensaje (el archivo de llaves o su "
                "carpeta) y vuelve a ejecutar nuvexa-companion-cli pair para obtener un código nuevo."));
        }
    }

    /// The stable word of the JSON's "reason".
    static const char* reasonWord(CompanionCore::PairingFailure reason) {
        switch (reason) {
        case CompanionCore::PairingFailure::keyFileNotTheUsers:
            return "ownership";
        case CompanionCore::PairingFailure::noFreePort:
            return "ports";
        case CompanionCore::PairingFailure::listenerFailed:
            return "listener";
        case CompanionCore::PairingFailure::tooManyWrongCodes:
            return "guesses";
        case CompanionCore::PairingFailure::keyNotInstalled:
            return "install";
        }
        return "unknown";
    }

    static void say(const std::string& line) {
        std::fputs(line.c_str(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);
    }

    /// A long line for people, broken to fit the terminal.
    static void sayWrapped(const QString& text) { say(fitted(text).toStdString()); }

    static void object(const QJsonObject& json) {
        say(QJsonDocument(json).toJson(QJsonDocument::Compact).toStdString());
    }

    bool m_json;
    bool m_verbose;
    Companion::Wording m_wording;
    Reach m_reach;
};

/// The value of a repeatable port option; nothing when one is not a port number.
std::optional<std::vector<std::uint16_t>> portsFrom(const QStringList& values) {
    std::vector<std::uint16_t> ports;
    for (const QString& value : values) {
        bool ok = false;
        const uint port = value.toUInt(&ok);
        if (!ok || port > std::numeric_limits<std::uint16_t>::max()) {
            return std::nullopt;
        }
        ports.push_back(static_cast<std::uint16_t>(port));
    }
    return ports;
}

/// What the command line asks of one pairing session.
struct PairSettings {
    bool json = false;
    /// The event log's lines also go to standard error.
    bool verbose = false;
    /// Ends once the phone has paired, without awaiting its first login.
    bool noWait = false;
    PairingServer::Options server;
    std::filesystem::path authorizedKeys;
    Companion::KeyDoctor::Options keyCheck;
    /// Where the phone's first login is looked for: the host's records unless the command line names a file.
    std::shared_ptr<Companion::LoginRecords> loginRecords;
};

/// The settings, or the exit status when the command ends here (help, or a usage error).
std::variant<PairSettings, int> parseArguments(const Companion::Host& host, const QStringList& arguments) {
    CommandLine parser(
        QStringLiteral("pair"),
        Texts::tr("Hace una sesión de emparejamiento: muestra un código de un solo uso, espera a "
                  "que la app nuvexa del teléfono lo envíe con su llave SSH e instala esa llave "
                  "para este usuario."));
    const QCommandLineOption json(
        "json", Texts::tr("Escribe un objeto JSON por línea para cada cambio, en lugar de texto."));
    const QCommandLineOption noAnnounce(
        "no-announce", Texts::tr("No anuncia la sesión en la red local; el teléfono necesita entonces "
                                 "que se le escriba la dirección de este ordenador."));
    const QCommandLineOption authorizedKeys(
        "authorized-keys", Texts::tr("Instala la llave en <archivo> en lugar de ~/.ssh/authorized_keys."),
        Texts::tr("archivo"));
    const QCommandLineOption logFile(
        "log-file", Texts::tr("Añade el registro a <archivo> en lugar de al sitio de siempre."),
        Texts::tr("archivo"));
    const QCommandLineOption verbose(
        "verbose", Texts::tr("Escribe también las líneas del registro en la salida de errores."));
    const QCommandLineOption noWait(
        "no-wait", Texts::tr("Termina en cuanto el teléfono se empareja, sin esperar a que inicie sesión."));
    QCommandLineOption port("port", "Listen on <port> (repeatable, tried in order; 0 picks a free one).",
                            "port");
    port.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption expiry("expiry", "End the session <seconds> after it starts listening.", "seconds");
    expiry.setFlags(QCommandLineOption::HiddenFromHelp);
    // Where the key check after pairing asks, for tests with a server of their own.
    QCommandLineOption sshPort("ssh-port", "Check the key with the SSH server on <port>.", "port");
    sshPort.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption sshdConfig("sshd-config", "Read the SSH server's settings from <file>.", "file");
    sshdConfig.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption checkHost("check-host", "Check the key on <host> after loopback (repeatable).",
                                 "host");
    checkHost.setFlags(QCommandLineOption::HiddenFromHelp);
    const QCommandLineOption records = loginRecordsOption();
    parser.addOptions({json, noAnnounce, authorizedKeys, logFile, verbose, noWait, port, expiry, sshPort,
                       sshdConfig, checkHost, records});
    parser.setHelpEpilogue(
        Texts::tr("Estado de salida: 0 emparejado; 1 la sesión terminó sin teléfono o falló; "
                  "2 error de uso; 130 interrumpida con Ctrl-C."));
    if (const auto ended = parser.parse(arguments)) {
        return *ended;
    }

    PairSettings settings;
    settings.json = parser.isSet(json);
    settings.verbose = parser.isSet(verbose);
    settings.noWait = parser.isSet(noWait);
    settings.loginRecords = withLoginRecords(host, parser, records).loginRecords;
    if (parser.isSet(port)) {
        const auto ports = portsFrom(parser.values(port));
        if (!ports) {
            return parser.usageError(Texts::tr("--port necesita un número de 0 a 65535"));
        }
        settings.server.ports = *ports;
    }
    if (parser.isSet(expiry)) {
        bool ok = false;
        const double seconds = parser.value(expiry).toDouble(&ok);
        if (!ok || !(seconds > 0) || seconds > 86400) {
            return parser.usageError(Texts::tr("--expiry necesita un número de segundos"));
        }
        settings.server.expiry = std::chrono::milliseconds(static_cast<long long>(std::ceil(seconds * 1000)));
    }
    if (parser.isSet(noAnnounce)) {
        settings.server.announcer = nullptr;
    }
    if (parser.isSet(logFile)) {
        settings.server.logFile = parser.value(logFile).toStdString();
    }
    settings.authorizedKeys = parser.isSet(authorizedKeys)
                                  ? std::filesystem::path(parser.value(authorizedKeys).toStdString())
                                  : host.authorizedKeys;

    settings.keyCheck = Companion::KeyDoctor::options(host);
    settings.keyCheck.authorizedKeys = settings.authorizedKeys;
    if (parser.isSet(sshPort)) {
        const auto ports = portsFrom({parser.value(sshPort)});
        if (!ports || ports->front() == 0) {
            return parser.usageError(Texts::tr("--ssh-port necesita un número de 1 a 65535"));
        }
        settings.keyCheck.port = ports->front();
    }
    if (parser.isSet(sshdConfig)) {
        settings.keyCheck.sshdConfig = parser.value(sshdConfig).toStdString();
    }
    if (parser.isSet(checkHost)) {
        settings.keyCheck.hosts.clear();
        for (const auto& value : parser.values(checkHost)) {
            settings.keyCheck.hosts.push_back(value.toStdString());
        }
    }
    return settings;
}

/// Why the log file is not written, in the run's language; %@ is the file.
QString logRefusalText(CompanionCore::EventLog::Refusal refusal) {
    using Refusal = CompanionCore::EventLog::Refusal;
    switch (refusal) {
    case Refusal::symbolicLink:
        return Texts::tr("no se escribe ningún registro: %@ es un enlace simbólico; elige otro archivo");
    case Refusal::notRegularFile:
        return Texts::tr("no se escribe ningún registro: %@ no es un archivo normal; elige otro archivo");
    case Refusal::otherOwner:
        return Texts::tr("no se escribe ningún registro: %@ es de otra cuenta; elige otro archivo");
    case Refusal::otherNames:
        return Texts::tr(
            "no se escribe ningún registro: %@ tiene otro nombre (un enlace duro); elige otro archivo");
    case Refusal::unprotectable:
        return Texts::tr(
            "no se escribe ningún registro: otros pueden leer %@ y no se pueden cambiar sus permisos");
    }
    return {};
}

QString pathText(const std::filesystem::path& path) {
    return QString::fromStdString(path.string());
}

/// Tells the desktop, where there is one, that the phone has logged in.
void notifyLogin(const CompanionCore::PairedDevice& device, const Companion::LoginAttempt& login) {
    const auto centre = Companion::makeNotificationCentre();
    if (!centre->isAvailable()) {
        return;
    }
    QEventLoop posted;
    centre->post(
        Texts::tr("nuvexa").toStdString(),
        filled(Texts::tr("«%@» ha iniciado sesión desde %@."), {text(device.name), text(login.address)}),
        [&posted](bool) { posted.quit(); });
    posted.exec();
}

/// Runs the session until a phone pairs, it fails or ends, or the user interrupts it, and with
/// `awaitLogin` on after a pairing until the phone's first login shows in the SSH server's records (at
/// most `loginWaitBound`); answers the exit status.
int runSession(Companion::PairingSession& session, const Report& report, bool awaitLogin) {
    PairingServer& server = session.server();
    QEventLoop loop;
    int result = -1;
    const auto finish = [&](int code, const std::string& why) {
        if (result < 0) {
            result = code;
            report.ended(why);
            loop.exit(code);
        }
    };
    bool awaiting = false;
    // Reports the phone's first login, or that the records cannot tell, and ends the run.
    const auto loginSettled = [&] {
        const auto& proof = session.loginProof();
        if (!awaiting || !proof) {
            return;
        }
        if (proof->unreadable) {
            report.loginUnknowable(*proof->unreadable);
            finish(Exit::done, "");
        } else if (proof->login) {
            report.loggedIn(*proof->login);
            notifyLogin(proof->device, *proof->login);
            finish(Exit::done, "");
        }
    };
    const auto followLogin = [&] {
        awaiting = true;
        const auto& proof = session.loginProof();
        if (!proof->login && !proof->unreadable) {
            report.awaitingLogin();
        }
        QObject::connect(&session, &Companion::PairingSession::loginProofChanged, &loop, loginSettled);
        QTimer::singleShot(loginWaitBound, &loop, [&] {
            report.noLoginYet();
            finish(Exit::done, "");
        });
        loginSettled();
    };

    SignalNotifier interruptions({SIGINT, SIGTERM});
    QObject::connect(&server, &PairingServer::logRefused, &loop, [&] {
        if (const auto refusal = server.logRefusal()) {
            report.warning(
                Companion::LocalizedFormat::fill(logRefusalText(*refusal), {pathText(server.logFile())})
                    .toStdString());
        }
    });
    QObject::connect(&server, &PairingServer::eventAdded, &loop,
                     [&](const std::string& line) { report.event(line); });
    QObject::connect(&server, &PairingServer::announcedChanged, &loop,
                     [&] { report.announced(server.announced()); });
    QObject::connect(&server, &PairingServer::stateChanged, &loop, [&] {
        report.state(server);
        std::visit(CompanionCore::Overloaded{
                       [&](const Pairing::Paired&) {
                           // The session asked the SSH server about the key before this hears of it.
                           bool works = false;
                           if (const auto& check = session.keyCheck(); check && check->result) {
                               report.keyCheck(*check->result);
                               works = check->result->works();
                           }
                           // A key the server refuses will not log in: nothing to wait for.
                           if (!awaitLogin || !works || !session.loginProof()) {
                               finish(Exit::done, "");
                               return;
                           }
                           followLogin();
                       },
                       [&](const Pairing::Failed&) { finish(Exit::refused, ""); },
                       [&](const Pairing::Idle&) {
                           // A new code passes through idle on its way back to waiting: only an idle
                           // that lasts means the session has ended.
                           QTimer::singleShot(0, &loop, [&] {
                               if (std::holds_alternative<Pairing::Idle>(server.state())) {
                                   finish(Exit::refused,
                                          Texts::tr("La sesión de emparejamiento ha terminado sin ningún "
                                                    "teléfono.")
                                              .toStdString());
                               }
                           });
                       },
                       [](const Pairing::Waiting&) {},
                       [](const Pairing::Starting&) {},
                   },
                   server.state());
    });
    QObject::connect(&interruptions, &SignalNotifier::received, &loop, [&] {
        // Once paired, Ctrl-C only ends the wait for the login: the pairing itself has succeeded.
        if (awaiting) {
            finish(Exit::done, "");
            return;
        }
        finish(Exit::interrupted, Texts::tr("Emparejamiento cancelado.").toStdString());
        server.stop();
    });

    QTimer::singleShot(0, &loop, [&] { server.start(); });
    loop.exec();
    server.stop();
    return result;
}

} // namespace

QStringList pairingHindrances(Companion::SystemActions& actions, const std::string& user) {
    QStringList hindrances;
    for (const auto obstacle : actions.accessObstacles(user)) {
        if (obstacle == CompanionCore::Obstacle::noDnsSdDaemon ||
            obstacle == CompanionCore::Obstacle::firewallBlocksPairing) {
            hindrances.append(Companion::KeyDoctor::describe(obstacle, actions.wording()));
        }
    }
    return hindrances;
}

int runPair(const Companion::Host& host, const QStringList& arguments) {
    auto parsed = parseArguments(host, arguments);
    if (const int* exitStatus = std::get_if<int>(&parsed)) {
        return *exitStatus;
    }
    PairSettings& settings = std::get<PairSettings>(parsed);

    Report::Reach reach;
    reach.hosts = host.identity().hosts;
    if (settings.server.announcer) {
        // What doctor would name of the announcement, said up front, so nobody waits for a phone that
        // cannot find this computer.
        reach.hindrances = pairingHindrances(*host.systemActions, host.userName());
    }
    const Report report(settings.json, settings.verbose, host.systemActions->wording(), std::move(reach));
    // The same test as the readiness row, so the two front ends never disagree.
    if (!host.systemActions->remoteLoginEnabled()) {
        report.warning(
            Texts::tr("nada responde en el puerto 22 de este ordenador: el teléfono puede "
                      "emparejarse, pero no podrá iniciar sesión hasta que funcione un servidor SSH")
                .toStdString());
    }

    // The key goes where the command line says; everything else is the program's host.
    Companion::Host sessionHost = host;
    sessionHost.authorizedKeys = settings.authorizedKeys;
    sessionHost.loginRecords = settings.loginRecords;
    Companion::PairingSession session(
        sessionHost, std::move(settings.server),
        [options = settings.keyCheck, runner = host.runner](const CompanionCore::PairedDevice& device) {
            return Companion::KeyDoctor::examine(options, device, *runner);
        },
        Companion::PairingSession::Checking::onCallingThread);
    const int result = runSession(session, report, !settings.noWait);
    return result;
}

} // namespace Cli
