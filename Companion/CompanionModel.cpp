#include "Companion/CompanionModel.h"

#include "Companion/HostIdentity.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Text.h"
#include "CompanionCore/Addresses.h"
#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/PairedDevices.h"

#include <QString>
#include <QStringList>

#include <algorithm>
#include <system_error>

namespace Companion {

namespace {

constexpr Text::TranslationContext translate{"CompanionModel"};

/// What the red line says while `holding` still lets `phone` in; nothing once no line does.
std::optional<std::string> stillLetIn(const CompanionCore::PairedDevice& phone,
                                      const std::vector<CompanionCore::KeyLine>& holding) {
    if (holding.empty()) {
        return std::nullopt;
    }
    const QString name = QString::fromStdString(phone.name);
    if (holding.size() == 1) {
        return LocalizedFormat::fill(
                   translate("«%@» aún puede iniciar sesión: su llave sigue en la línea %d."),
                   {name, QString::number(holding.front().lineNumber)})
            .toStdString();
    }
    QStringList numbers;
    for (const auto& line : holding) {
        numbers << QString::number(line.lineNumber);
    }
    return LocalizedFormat::fill(translate("«%@» aún puede iniciar sesión: su llave sigue en las líneas %@."),
                                 {name, numbers.join(QStringLiteral(", "))})
        .toStdString();
}

} // namespace

CompanionModel::CompanionModel(QObject* parent)
    : CompanionModel(Environment{}, parent) {}

CompanionModel::CompanionModel(Environment environment, QObject* parent)
    : QObject(parent)
    , m_environment(std::move(environment)) {
    if (!m_environment.systemActions) {
        m_environment.systemActions = makeSystemActions();
    }
    m_systemActions = m_environment.systemActions;
    if (!m_environment.isExecutable) {
        m_environment.isExecutable = CompanionCore::Tools::isExecutableFile;
    }
    if (!m_environment.searchPaths) {
        m_environment.searchPaths = CompanionCore::Tools::searchPaths();
    }
    if (!m_environment.hostName) {
        m_environment.hostName = [] { return HostIdentity::hostName(); };
    }
    if (!m_environment.userName) {
        m_environment.userName = [] { return HostIdentity::userName(); };
    }
    if (!m_environment.computerName) {
        m_environment.computerName = [] { return HostIdentity::computerName(); };
    }
    if (!m_environment.openUrl) {
        m_environment.openUrl = [actions = m_systemActions](const std::string& url) {
            return actions->openUrl(url);
        };
    }
    if (!m_environment.authorizedKeys) {
        m_environment.authorizedKeys = HostIdentity::authorizedKeysFile();
    }

    m_keepAwake = std::make_unique<KeepAwake>(m_systemActions->sleepInhibitor());
    // The switch cannot stay on when nothing holds the computer: the red line says why.
    connect(m_keepAwake.get(), &KeepAwake::refused, this,
            [this](const QString& message) { setLastError(message.toStdString()); });
    // Like every other action, a switch that did take clears the red line.
    connect(m_keepAwake.get(), &KeepAwake::enabledChanged, this, [this](bool on) {
        if (on) {
            setLastError(std::nullopt);
        }
    });
    m_tmuxNotifier = std::make_unique<TmuxNotifier>(m_environment.notifier);
    m_pairingExpiry = m_environment.serverOptions.expiry;
    // The model owns the server and so outlives it: the provider may hold the model plainly.
    m_pairing = std::make_unique<CompanionCore::PairingServer>(
        [this] { return identity(); }, *m_environment.authorizedKeys, m_environment.serverOptions);
    if (!m_environment.checkKey) {
        m_environment.checkKey = [actions = m_systemActions, runner = m_systemActions->sharedRunner(),
                                  keys = *m_environment.authorizedKeys](
                                     const CompanionCore::PairedDevice& device) {
            auto options = KeyDoctor::systemOptions();
            options.authorizedKeys = keys;
            options.hostChecks = [actions, user = options.user] { return actions->accessObstacles(user); };
            return KeyDoctor::examine(options, device, *runner);
        };
    }
    connect(m_pairing.get(), &CompanionCore::PairingServer::stateChanged, this,
            &CompanionModel::followPairing);
    refresh();
}

CompanionModel::~CompanionModel() {
    // A job still running (a slow tool) is asked to stop; none may outlive the model it reports to.
    m_connectWorker.shutDown();
    m_worker.shutDown();
}

void CompanionModel::setKeyCheck(std::optional<KeyCheckState> state) {
    if (state == m_keyCheck) {
        return;
    }
    m_keyCheck = std::move(state);
    emit keyCheckChanged();
}

void CompanionModel::followPairing() {
    const auto* paired = std::get_if<CompanionCore::Pairing::Paired>(&m_pairing->state());
    if (paired == nullptr) {
        setKeyCheck(std::nullopt);
        return;
    }
    const auto listing = CompanionCore::PairedDevices::list(paired->keyLine + "\n");
    // A pairing adds a phone to the file: the list follows it.
    refreshPairedPhones();
    if (listing.devices.empty() || m_keyCheck) {
        return;
    }
    setKeyCheck(KeyCheckState{KeyCheckState::Stage::checking, {}, std::nullopt});
    enqueue([this, check = m_environment.checkKey, device = listing.devices.front()](std::stop_token) {
        const auto report = check(device);
        KeyCheckState state{report.result.works() ? KeyCheckState::Stage::works
                                                  : KeyCheckState::Stage::refused,
                            KeyDoctor::verdict(report.result), KeyDoctor::hostKey(report.result)};
        publish([state = std::move(state)](CompanionModel& model) {
            // A new session may have begun meanwhile; its section shows no old verdict.
            if (model.m_keyCheck) {
                model.setKeyCheck(state);
            }
        });
    });
}

void CompanionModel::setLastError(std::optional<std::string> message) {
    if (message == m_lastError) {
        return;
    }
    m_lastError = std::move(message);
    emit lastErrorChanged();
}

std::optional<std::string> CompanionModel::meshAddress() const {
    if (m_drozakStatus && m_drozakStatus->connected && m_drozakStatus->ip && !m_drozakStatus->ip->empty()) {
        return m_drozakStatus->ip;
    }
    const auto listed = firstMeshAddress();
    if (listed == m_addresses.end()) {
        return std::nullopt;
    }
    return *listed;
}

bool CompanionModel::hasMeshAddress() const {
    return firstMeshAddress() != m_addresses.end();
}

std::vector<std::string>::const_iterator CompanionModel::firstMeshAddress() const {
    return std::find_if(m_addresses.begin(), m_addresses.end(), [](const std::string& address) {
        return CompanionCore::Addresses::classify(address) == CompanionCore::Addresses::Kind::mesh;
    });
}

void CompanionModel::refresh() {
    refreshPairedPhones();
    enqueueRefresh();
}

void CompanionModel::refreshPairedPhones() {
    std::vector<CompanionCore::PairedDevice> phones;
    if (const auto content = CompanionCore::AuthorizedKeys::read(*m_environment.authorizedKeys)) {
        phones = CompanionCore::PairedDevices::list(*content).devices;
    } else {
        setLastError(KeyDoctor::describe(content.failure()).toStdString());
    }
    if (phones != m_pairedPhones) {
        m_pairedPhones = std::move(phones);
        emit pairedPhonesChanged();
    }
}

std::vector<CompanionCore::KeyLine>
CompanionModel::otherLinesHolding(const CompanionCore::PairedDevice& phone) const {
    const auto content = CompanionCore::AuthorizedKeys::read(*m_environment.authorizedKeys);
    if (!content) {
        return {};
    }
    return CompanionCore::PairedDevices::otherLinesHolding(*content, phone.keyType, phone.blob);
}

void CompanionModel::revoke(const CompanionCore::PairedDevice& phone, RevokeScope scope) {
    // On the worker: the key file's lock may be held for a while by another writer of ours, and the
    // panel must stay responsive (and quit at once) meanwhile.
    enqueue([this, keys = *m_environment.authorizedKeys, phone, scope](std::stop_token stop) {
        std::optional<std::string> verdict;
        try {
            // Judged on the text written, which another writer may have changed since the question.
            std::string after;
            CompanionCore::AuthorizedKeys::rewrite(
                keys,
                [&](std::string_view text) {
                    switch (scope) {
                    case RevokeScope::phoneLines:
                        after = CompanionCore::PairedDevices::withoutDevice(text, phone.keyType, phone.blob);
                        break;
                    case RevokeScope::everyLine:
                        after = CompanionCore::PairedDevices::withoutKey(text, phone.keyType, phone.blob);
                        break;
                    }
                    return after;
                },
                stop);
            verdict = stillLetIn(
                phone, CompanionCore::PairedDevices::linesHolding(after, phone.keyType, phone.blob));
        } catch (const std::system_error& error) {
            verdict = std::string(error.what());
        }
        publish([verdict](CompanionModel& model) {
            model.setLastError(verdict);
            model.refreshPairedPhones();
            emit model.revoked();
        });
    });
}

void CompanionModel::enqueueRefresh() {
    enqueue([this](std::stop_token stop) {
        const bool remoteLogin = m_systemActions->remoteLoginEnabled();
        publish([remoteLogin](CompanionModel& model) { model.setRemoteLogin(remoteLogin); });
        const bool sshServerInstalled = remoteLogin || m_systemActions->sshServerInstalled();
        publish(
            [sshServerInstalled](CompanionModel& model) { model.setSshServerInstalled(sshServerInstalled); });
        auto mosh = locate("mosh-server");
        publish([mosh](CompanionModel& model) { model.setMoshPath(mosh); });
        auto tmux = locate("tmux");
        publish([tmux](CompanionModel& model) { model.setTmuxPath(tmux); });
        auto drozak = locate("drozak");
        publish([drozak](CompanionModel& model) { model.setDrozakPath(drozak); });
        if (stop.stop_requested()) {
            return;
        }
        // Cleared when the tool has gone.
        std::optional<CompanionCore::DrozakStatus> status;
        if (drozak) {
            status = m_systemActions->drozakStatus(*drozak);
        }
        publish([status](CompanionModel& model) { model.setDrozakStatus(status); });
        auto addresses = hostList(m_systemActions->ipv4Addresses());
        publish([addresses = std::move(addresses)](CompanionModel& model) mutable {
            model.setAddresses(std::move(addresses));
            emit model.refreshed();
        });
    });
}

void CompanionModel::connectDrozak() {
    if (!m_drozakPath) {
        m_environment.openUrl(std::string(CompanionCore::Tools::drozakDownload));
        return;
    }
    if (m_drozakConnectPending) {
        return;
    }
    m_drozakConnectPending = true;
    emit pendingChanged();
    m_connectWorker.enqueue([this, path = *m_drozakPath](std::stop_token stop) {
        const auto result = m_systemActions->runner().run(
            ProcessCommand{path, {"connect"}, ProcessCommand::Output::captureMerged}, stop);
        std::optional<std::string> error;
        switch (result.status) {
        case ProcessResult::Status::cancelled:
            return;
        case ProcessResult::Status::failedToStart:
            error = "drozak connect: " + result.error;
            break;
        case ProcessResult::Status::finished:
        case ProcessResult::Status::crashed:
        case ProcessResult::Status::timedOut:
            if (!result.succeeded()) {
                error = "drozak connect: " + Text::trimmed(result.output);
            }
            break;
        }
        publish([error](CompanionModel& model) {
            model.setLastError(error);
            model.m_drozakConnectPending = false;
            emit model.pendingChanged();
            model.enqueueRefresh();
        });
    });
}

void CompanionModel::installWithHomebrew() {
    std::vector<std::string> missing;
    if (!m_moshPath) {
        missing.emplace_back("mosh");
    }
    if (!m_tmuxPath) {
        missing.emplace_back("tmux");
    }
    if (missing.empty()) {
        return;
    }
    const auto commandLine = m_systemActions->installCommandLine(missing);
    if (!commandLine) {
        setLastError(m_systemActions->packageManagerMissingMessage());
        return;
    }
    // The installation runs in the terminal after this returns; the user refreshes by hand.
    setLastError(m_systemActions->openTerminal(*commandLine));
}

void CompanionModel::installSshServer() {
    const auto package = m_systemActions->sshServerPackage();
    const auto commandLine = package ? m_systemActions->installCommandLine({*package}) : std::nullopt;
    if (!commandLine) {
        setLastError(m_systemActions->packageManagerMissingMessage());
        return;
    }
    // The installation runs in the terminal after this returns; the user refreshes by hand.
    setLastError(m_systemActions->openTerminal(*commandLine));
}

void CompanionModel::enableRemoteLogin() {
    // Quitting stops the job, which ends a pending administrator dialog instead of waiting for it.
    if (m_remoteLoginPending) {
        return;
    }
    m_remoteLoginPending = true;
    emit pendingChanged();
    enqueue([this](std::stop_token stop) {
        auto error = m_systemActions->setRemoteLogin(true, stop);
        if (stop.stop_requested()) {
            return;
        }
        publish([error = std::move(error)](CompanionModel& model) {
            model.setLastError(error);
            model.m_remoteLoginPending = false;
            emit model.pendingChanged();
        });
    });
    enqueueRefresh();
}

CompanionCore::PairingHandler::Identity CompanionModel::identity() const {
    return HostIdentity::identity(m_environment.userName(), m_environment.computerName(),
                                  m_environment.hostName(), m_systemActions->ipv4Addresses(),
                                  m_environment.isExecutable);
}

std::optional<std::string> CompanionModel::locate(const char* name) const {
    return CompanionCore::Tools::locate(name, m_environment.isExecutable, *m_environment.searchPaths);
}

std::vector<std::string> CompanionModel::hostList(const std::vector<std::string>& interfaceAddresses) const {
    return HostIdentity::hosts(m_environment.hostName(), interfaceAddresses);
}

void CompanionModel::enqueue(std::function<void(std::stop_token)> job) {
    m_worker.enqueue(std::move(job));
}

void CompanionModel::publish(std::function<void(CompanionModel&)> change) {
    m_worker.publish([this, change = std::move(change)] { change(*this); });
}

void CompanionModel::setRemoteLogin(bool on) {
    if (on == m_remoteLogin) {
        return;
    }
    m_remoteLogin = on;
    emit remoteLoginChanged(on);
}

void CompanionModel::setSshServerInstalled(bool installed) {
    if (installed == m_sshServerInstalled) {
        return;
    }
    m_sshServerInstalled = installed;
    emit sshServerInstalledChanged(installed);
}

void CompanionModel::setMoshPath(std::optional<std::string> path) {
    if (path == m_moshPath) {
        return;
    }
    m_moshPath = std::move(path);
    emit moshPathChanged();
}

void CompanionModel::setTmuxPath(std::optional<std::string> path) {
    if (path == m_tmuxPath) {
        return;
    }
    m_tmuxPath = std::move(path);
    emit tmuxPathChanged();
}

void CompanionModel::setDrozakPath(std::optional<std::string> path) {
    if (path == m_drozakPath) {
        return;
    }
    m_drozakPath = std::move(path);
    emit drozakPathChanged();
}

void CompanionModel::setDrozakStatus(std::optional<CompanionCore::DrozakStatus> status) {
    if (status == m_drozakStatus) {
        return;
    }
    m_drozakStatus = std::move(status);
    emit drozakStatusChanged();
}

void CompanionModel::setAddresses(std::vector<std::string> addresses) {
    if (addresses == m_addresses) {
        return;
    }
    m_addresses = std::move(addresses);
    emit addressesChanged();
}

} // namespace Companion
