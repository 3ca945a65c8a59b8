#include "Companion/KeyDoctor.h"

#include "Companion/HostIdentity.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/PairedPhones.h"
#include "Companion/PlatformWords.h"
#include "Companion/SystemActions.h"
#include "CompanionCore/KeyFileSession.h"
#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/server/AnnouncementProbe.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <grp.h>
#include <pwd.h>
#include <system_error>
#include <unistd.h>

namespace Companion::KeyDoctor {

namespace {

using CompanionCore::Obstacle;

/// This file's texts, in the catalogue's "KeyDoctor" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(KeyDoctor)
};

/// Large enough for the user entries of any ordinary system.
constexpr std::size_t entryBufferSize = 16384;
/// More groups than any ordinary user belongs to.
constexpr int maximumGroups = 1024;
/// The key file's bound is told in MiB.
constexpr std::size_t bytesPerMebibyte = 1024 * 1024;

struct Account {
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<std::string> groups;
};

std::optional<Account> account(const std::string& user) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(entryBufferSize);
    if (::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return std::nullopt;
    }
    Account result{entry.pw_uid, entry.pw_gid, {}};
    std::vector<gid_t> ids(maximumGroups);
    int count = maximumGroups;
    if (::getgrouplist(user.c_str(), entry.pw_gid, ids.data(), &count) < 0) {
        count = 0;
    }
    for (int i = 0; i < count; ++i) {
        if (const group* named = ::getgrgid(ids[static_cast<std::size_t>(i)]); named != nullptr) {
            result.groups.emplace_back(named->gr_name);
        }
    }
    return result;
}

} // namespace

Options options(const Host& host) {
    Options options;
    options.user = host.userName();
    options.authorizedKeys = host.authorizedKeys;
    options.home = options.authorizedKeys.parent_path().parent_path();
    options.port = CompanionCore::WellKnown::sshPort;
    options.hosts = host.hosts(host.systemActions->ipv4Addresses());
    options.hostChecks = [actions = host.systemActions, user = options.user] {
        auto found = actions->accessObstacles(user);
        // With no daemon there is nothing to browse; otherwise only a browse shows what a phone can see.
        if (std::find(found.begin(), found.end(), Obstacle::noDnsSdDaemon) == found.end()) {
            if (const auto obstacle = announcementObstacle(CompanionCore::AnnouncementProbe::run())) {
                found.push_back(*obstacle);
            }
        }
        return found;
    };
    return options;
}

std::optional<CompanionCore::Obstacle> announcementObstacle(CompanionCore::AnnouncementProbe::Result result) {
    switch (result) {
    case CompanionCore::AnnouncementProbe::Result::seen:
        return std::nullopt;
    case CompanionCore::AnnouncementProbe::Result::notSeen:
        return Obstacle::announcementNotSeen;
    case CompanionCore::AnnouncementProbe::Result::noDaemon:
        return Obstacle::noDnsSdDaemon;
    }
    return std::nullopt;
}

std::optional<CompanionCore::SshdSettings>
serverSettings(ProcessRunner& runner, const std::string& user,
               const std::optional<std::filesystem::path>& config) {
    std::vector<std::string> arguments{"-T"};
    if (config) {
        arguments.insert(arguments.end(), {"-f", config->string()});
    }
    // sshd will not print its settings without a host key it can load, and the server's own keys are
    // readable by root only: a throwaway key of ours lets the user's own check read them too.
    const QTemporaryDir scratch;
    if (scratch.isValid()) {
        const std::string throwaway = (std::filesystem::path(scratch.path().toStdString()) / "host").string();
        ProcessCommand keygen(std::string(keygenProgram), {"-q", "-t", "ed25519", "-N", "", "-f", throwaway},
                              ProcessCommand::Output::capture);
        keygen.timeout = settingsBound;
        if (runner.run(keygen).succeeded()) {
            arguments.insert(arguments.end(), {"-h", throwaway});
        }
    }
    arguments.insert(arguments.end(), {"-C", "user=" + user + ",host=localhost,addr=127.0.0.1"});
    ProcessCommand command(std::string(CompanionCore::WellKnown::sshdProgram), arguments,
                           ProcessCommand::Output::capture);
    command.timeout = settingsBound;
    const auto result = runner.run(command);
    if (!result.succeeded()) {
        return std::nullopt;
    }
    return CompanionCore::SshdSettings::parse(result.output);
}

CompanionCore::KeyDiagnosis::Subject subject(const Options& options,
                                             const std::optional<CompanionCore::PairedDevice>& device) {
    CompanionCore::KeyDiagnosis::Subject subject;
    subject.user = options.user;
    if (const auto found = account(options.user)) {
        subject.uid = found->uid;
        subject.groups = found->groups;
    }
    subject.home = options.home;
    subject.keyFile = options.authorizedKeys;
    subject.port = options.port;
    if (device) {
        subject.keyType = device->keyType;
        subject.keyBase64 = device->blob;
    }
    return subject;
}

namespace {

/// What is the same for every key: the server's settings and what keeps phones out outside it.
struct HostFindings {
    std::optional<CompanionCore::SshdSettings> settings;
    std::vector<Obstacle> obstacles;
};

HostFindings hostFindings(const Options& options, ProcessRunner& runner) {
    return {serverSettings(runner, options.user, options.sshdConfig),
            options.hostChecks ? options.hostChecks() : std::vector<Obstacle>{}};
}

Report examineWith(const Options& options, const std::optional<CompanionCore::PairedDevice>& device,
                   const HostFindings& host) {
    Report report{device, CompanionCore::KeyDiagnosis::diagnose(
                              subject(options, device), CompanionCore::KeyDiagnosis::addresses(options.hosts),
                              host.settings, options.bound)};
    auto& found = report.result.obstacles;
    for (const auto obstacle : host.obstacles) {
        if (std::find(found.begin(), found.end(), obstacle) == found.end()) {
            found.push_back(obstacle);
        }
    }
    return report;
}

} // namespace

Report examine(const Options& options, const std::optional<CompanionCore::PairedDevice>& device,
               ProcessRunner& runner) {
    return examineWith(options, device, hostFindings(options, runner));
}

std::vector<Report> examineAll(const Options& options, ProcessRunner& runner) {
    // A file that cannot be read lists no phone; the diagnosis of each report names why.
    const auto read = PairedPhones(options.authorizedKeys).list();
    const auto listing = read ? *read : CompanionCore::PairedDevices::Listing{};
    // The server's settings and the host checks (a DNS-SD probe among them) are asked once for all keys.
    const auto host = hostFindings(options, runner);
    std::vector<Report> reports;
    for (const auto& device : listing.devices) {
        if (!device.older) {
            reports.push_back(examineWith(options, device, host));
        }
    }
    if (reports.empty()) {
        reports.push_back(examineWith(options, std::nullopt, host));
    }
    return reports;
}

namespace {

QString unreadableKeyFile() {
    return Texts::tr("No puedes leer ~/.ssh/authorized_keys: hazlo legible para ti con chmod 600 "
                     "~/.ssh/authorized_keys");
}

QString irregularKeyFile() {
    return Texts::tr("~/.ssh/authorized_keys no es un archivo normal: debe serlo; apártalo (mv "
                     "~/.ssh/authorized_keys ~/.ssh/authorized_keys.aparte) y vuelve a emparejar el "
                     "teléfono");
}

QString oversizedKeyFile() {
    //: the largest key file read, in MiB
    return LocalizedFormat::fill(
        Texts::tr("~/.ssh/authorized_keys ocupa más de %d MiB: ningún archivo de llaves escrito a mano es "
                  "tan grande; mira qué lo ha llenado y deja en él solo tus llaves"),
        {QString::number(CompanionCore::KeyFileSession::maximumSize / bytesPerMebibyte)});
}

} // namespace

QString describe(Obstacle obstacle, Wording wording) {
    switch (obstacle) {
    case Obstacle::noSshServer:
        return PlatformWords::noSshServer(wording);
    case Obstacle::addressUnreachable:
        return Texts::tr("Esta dirección no responde: un cortafuegos o la red bloquea el puerto SSH.");
    case Obstacle::listensOnLoopbackOnly:
        return Texts::tr(
            "El servidor SSH solo escucha en este ordenador: quita ListenAddress de sshd_config o "
            "añade la dirección de casa (como administrador).");
    case Obstacle::publicKeysDisabled:
        return Texts::tr(
            "El servidor SSH no acepta llaves (PubkeyAuthentication no): pon PubkeyAuthentication "
            "yes en sshd_config (como administrador).");
    case Obstacle::userNotAllowed:
        return Texts::tr("Tu usuario no está en AllowUsers: añádelo en sshd_config (como administrador).");
    case Obstacle::groupNotAllowed:
        return Texts::tr(
            "Tu usuario no está en ningún grupo de AllowGroups: añádelo a uno o cambia sshd_config "
            "(como administrador).");
    case Obstacle::userDenied:
        return Texts::tr("Tu usuario está en DenyUsers: quítalo de sshd_config (como administrador).");
    case Obstacle::groupDenied:
        return Texts::tr(
            "Un grupo de tu usuario está en DenyGroups: cámbialo en sshd_config (como administrador).");
    case Obstacle::keyFileElsewhere:
        return Texts::tr("El servidor SSH lee las llaves de otro archivo (AuthorizedKeysFile): incluye "
                         ".ssh/authorized_keys en sshd_config (como administrador).");
    case Obstacle::homeModes:
        return Texts::tr("Otros pueden escribir en tu carpeta personal y StrictModes la rechaza: ejecuta "
                         "chmod go-w ~");
    case Obstacle::sshFolderModes:
        return Texts::tr("Otros pueden escribir en ~/.ssh o no es tuya: ejecuta chmod 700 ~/.ssh");
    case Obstacle::keyFileModes:
        return Texts::tr("Otros pueden escribir en ~/.ssh/authorized_keys o no es tuyo: ejecuta chmod 600 "
                         "~/.ssh/authorized_keys");
    case Obstacle::keyFileUnreadable:
        return unreadableKeyFile();
    case Obstacle::keyFileNotRegular:
        return irregularKeyFile();
    case Obstacle::keyFileTooLarge:
        return oversizedKeyFile();
    case Obstacle::remoteLoginAccess:
        return Texts::tr("La sesión remota está limitada a otros usuarios: permite el tuyo en Ajustes del "
                         "Sistema > General > Compartir > Sesión remota.");
    case Obstacle::firewallBlocksSsh:
        return Texts::tr("Un cortafuegos bloquea el puerto 22 (SSH): permítelo (como administrador).");
    case Obstacle::firewallBlocksPairing:
        return Texts::tr("Un cortafuegos bloquea los puertos de emparejamiento 52901–52904: permítelos (como "
                         "administrador).");
    case Obstacle::noDnsSdDaemon:
        return PlatformWords::noDnsSdDaemon(wording);
    case Obstacle::announcementNotSeen:
        return PlatformWords::announcementNotSeen(wording);
    case Obstacle::refusedForAnotherReason:
        return PlatformWords::refusedForAnotherReason(wording);
    }
    return {};
}

QString describe(const CompanionCore::KeyFileFailure& failure) {
    switch (failure.kind) {
    case CompanionCore::KeyFileFailure::Kind::unreadable:
        // A refused permission is what the remedy fixes; any other error only the system can name.
        if (failure.error == std::errc::permission_denied ||
            failure.error == std::errc::operation_not_permitted) {
            return unreadableKeyFile();
        }
        //: the system's own message, such as "Not a directory"
        return LocalizedFormat::fill(
            Texts::tr(
                "No se puede leer ~/.ssh/authorized_keys (%@): arregla eso en el archivo o en la carpeta "
                "~/.ssh"),
            {QString::fromStdString(failure.error.message())});
    case CompanionCore::KeyFileFailure::Kind::notRegularFile:
        return irregularKeyFile();
    case CompanionCore::KeyFileFailure::Kind::tooLarge:
        return oversizedKeyFile();
    }
    return unreadableKeyFile();
}

QString describe(Obstacle obstacle, const CompanionCore::KeyDiagnosis::Result& result, Wording wording) {
    if (const auto failure = result.failureBehind(obstacle)) {
        return describe(*failure);
    }
    return describe(obstacle, wording);
}

QString describe(CompanionCore::KeyCheck::Verdict verdict) {
    switch (verdict) {
    case CompanionCore::KeyCheck::Verdict::accepted:
        return Texts::tr("aceptada");
    case CompanionCore::KeyCheck::Verdict::refused:
        return Texts::tr("rechazada");
    case CompanionCore::KeyCheck::Verdict::noServer:
        return Texts::tr("ningún servidor SSH");
    case CompanionCore::KeyCheck::Verdict::unreachable:
        return Texts::tr("inalcanzable");
    }
    return {};
}

QString hostKeyLine(const QString& fingerprint) {
    return LocalizedFormat::fill(Texts::tr("Huella del servidor SSH: %@"), {fingerprint});
}

QString verdict(const CompanionCore::KeyDiagnosis::Result& result, Wording wording) {
    if (result.works()) {
        return Texts::tr("La llave funciona: comprobado con el servidor SSH");
    }
    QStringList reasons;
    for (const auto obstacle : result.obstacles) {
        if (CompanionCore::keepsPhoneOut(obstacle)) {
            reasons.append(describe(obstacle, result, wording));
        }
    }
    return reasons.join(QStringLiteral("\n"));
}

QString notes(const CompanionCore::KeyDiagnosis::Result& result, Wording wording) {
    QStringList found;
    for (const auto obstacle : result.obstacles) {
        if (!CompanionCore::keepsPhoneOut(obstacle)) {
            found.append(describe(obstacle, result, wording));
        }
    }
    return found.join(QStringLiteral("\n"));
}

std::optional<QString> hostKey(const CompanionCore::KeyDiagnosis::Result& result) {
    if (!result.hostKeyFingerprint) {
        return std::nullopt;
    }
    return QString::fromStdString(*result.hostKeyFingerprint);
}

} // namespace Companion::KeyDoctor
