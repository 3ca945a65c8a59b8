#include "Companion/CompanionModel.h"

#include "Companion/ActivityText.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Readiness.h"
#include "Companion/Text.h"
#include "CompanionCore/PairedDevices.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <system_error>
#include <utility>

namespace Companion {

namespace {

/// This file's texts, in the catalogue's "CompanionModel" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(CompanionModel)
};

/// What the red line says while `holding` still lets `phone` in; nothing once no line does.
std::optional<std::string> stillLetIn(const CompanionCore::PairedDevice& phone,
                                      const std::vector<CompanionCore::KeyLine>& holding) {
    if (holding.empty()) {
        return std::nullopt;
    }
    const QString name = QString::fromStdString(phone.name);
    if (holding.size() == 1) {
        return LocalizedFormat::fill(
                   Texts::tr("«%@» aún puede iniciar sesión: su llave sigue en la línea %d."),
                   {name, QString::number(holding.front().lineNumber)})
            .toStdString();
    }
    QStringList numbers;
    for (const auto& line : holding) {
        numbers << QString::number(line.lineNumber);
    }
    return LocalizedFormat::fill(Texts::tr("«%@» aún puede iniciar sesión: su llave sigue en las líneas %@."),
                                 {name, numbers.join(QStringLiteral(", "))})
        .toStdString();
}

} // namespace

CompanionModel::CompanionModel(QObject* parent)
    : CompanionModel(Host::system(), Settings{}, parent) {}

CompanionModel::CompanionModel(Host host, Settings settings, QObject* parent)
    : QObject(parent)
    , m_host(std::move(host).completed())
    , m_settings(std::move(settings))
    , m_phones(m_host.authorizedKeys) {
    if (!m_settings.notifier.runner) {
        m_settings.notifier.runner = m_host.runner;
    }
    if (!m_settings.notifier.locateTmux) {
        m_settings.notifier.locateTmux = [host = m_host] { return host.locate("tmux"); };
    }
    m_keepAwake = std::make_unique<KeepAwake>(m_host.systemActions->sleepInhibitor());
    // The switch cannot stay on when nothing holds the computer: the red line says why.
    connect(m_keepAwake.get(), &KeepAwake::refused, this,
            [this](const QString& message) { setLastError(message.toStdString()); });
    // Like every other action, a switch that did take clears the red line.
    connect(m_keepAwake.get(), &KeepAwake::enabledChanged, this, [this](bool on) {
        if (on) {
            setLastError(std::nullopt);
        }
    });
    m_connectedKeepAwake =
        std::make_unique<ConnectedKeepAwake>(m_host, m_host.systemActions->sleepInhibitor());
    m_connectedKeepAwake->setWatchInterval(
        m_settings.connectionWatchInterval.value_or(ConnectedKeepAwake::watchInterval));
    connect(m_connectedKeepAwake.get(), &ConnectedKeepAwake::refused, this,
            [this](const QString& message) { setLastError(message.toStdString()); });
    connect(m_connectedKeepAwake.get(), &ConnectedKeepAwake::enabledChanged, this, [this](bool on) {
        if (on) {
            setLastError(std::nullopt);
        }
    });
    m_tmuxNotifier = std::make_unique<TmuxNotifier>(m_settings.notifier);
    m_pairingExpiry = m_settings.server.expiry;
    m_session = std::make_unique<PairingSession>(m_host, m_settings.server, m_settings.checkKey);
    m_session->setLoginWatchInterval(
        m_settings.loginWatchInterval.value_or(PairingSession::loginWatchInterval));
    connect(&m_session->server(), &CompanionCore::PairingServer::stateChanged, this,
            &CompanionModel::followPairing);
    connect(m_session.get(), &PairingSession::keyCheckChanged, this, &CompanionModel::followKeyCheck);
    connect(m_session.get(), &PairingSession::loginProofChanged, this, &CompanionModel::followLoginProof);
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
    // A pairing adds a phone to the file: the list follows it.
    if (std::holds_alternative<CompanionCore::Pairing::Paired>(m_session->server().state())) {
        refreshPairedPhones();
    }
}

void CompanionModel::followLoginProof() {
    emit loginProofChanged();
    const auto& proof = m_session->loginProof();
    if (!proof || !proof->login) {
        return;
    }
    // The phone's own login is news: the list's last login and live session follow it.
    refreshPhoneActivity();
    const QString body = LocalizedFormat::fill(
        Texts::tr("«%@» ha iniciado sesión desde %@."),
        {QString::fromStdString(proof->device.name), QString::fromStdString(proof->login->address)});
    auto& centre = notifications();
    if (centre.isAvailable()) {
        centre.post(Texts::tr("nuvexa").toStdString(), body.toStdString(), [](bool) {});
    }
}

NotificationCentre& CompanionModel::notifications() {
    // Made on first use, so that a model whose phone never logs in never touches the desktop's services.
    if (!m_settings.notifier.notifications) {
        m_settings.notifier.notifications = makeNotificationCentre();
    }
    return *m_settings.notifier.notifications;
}

void CompanionModel::followKeyCheck() {
    const auto& check = m_session->keyCheck();
    if (!check) {
        setKeyCheck(std::nullopt);
    } else if (!check->result) {
        setKeyCheck(KeyCheckState{KeyCheckState::Stage::checking, {}, std::nullopt});
    } else {
        setKeyCheck(KeyCheckState{check->result->works() ? KeyCheckState::Stage::works
                                                         : KeyCheckState::Stage::refused,
                                  KeyDoctor::verdict(*check->result, m_host.systemActions->wording()),
                                  KeyDoctor::hostKey(*check->result)});
    }
}

void CompanionModel::setLastError(std::optional<std::string> message) {
    if (message == m_lastError) {
        return;
    }
    m_lastError = std::move(message);
    emit lastErrorChanged();
}

std::vector<ReadinessCheck> CompanionModel::checks() const {
    return Readiness::checks(m_facts, {m_remoteLoginPending, m_drozakConnectPending}, *m_host.systemActions);
}

void CompanionModel::perform(ReadinessCheck::Action action) {
    switch (action) {
    case ReadinessCheck::Action::none:
        return;
    case ReadinessCheck::Action::enableRemoteLogin:
        enableRemoteLogin();
        return;
    case ReadinessCheck::Action::installSshServer:
        installSshServer();
        return;
    case ReadinessCheck::Action::installTools:
        installWithHomebrew();
        return;
    case ReadinessCheck::Action::connectDrozak:
        connectDrozak();
        return;
    }
}

void CompanionModel::refresh() {
    refreshPairedPhones();
    enqueueRefresh();
}

void CompanionModel::refreshPairedPhones() {
    std::vector<CompanionCore::PairedDevice> phones;
    if (const auto listing = m_phones.list()) {
        phones = listing->devices;
    } else {
        setLastError(KeyDoctor::describe(listing.failure()).toStdString());
    }
    if (phones != m_pairedPhones) {
        m_pairedPhones = std::move(phones);
        m_phoneActivity.reset();
        emit pairedPhonesChanged();
    }
    refreshPhoneActivity();
}

void CompanionModel::refreshPhoneActivity() {
    if (m_pairedPhones.empty()) {
        if (m_phoneActivity) {
            m_phoneActivity.reset();
            emit phoneActivityChanged();
        }
        return;
    }
    const std::uint64_t look = ++m_activityLooks;
    enqueue([this, look, phones = m_pairedPhones](std::stop_token stop) {
        auto reading = PhoneActivities::read(m_host, phones);
        if (stop.stop_requested()) {
            return;
        }
        publish([look, phones, reading = std::move(reading)](CompanionModel& model) {
            // A newer look, or a list changed meanwhile, makes this one stale.
            if (look != model.m_activityLooks || phones != model.m_pairedPhones) {
                return;
            }
            model.m_phoneActivity = reading;
            emit model.phoneActivityChanged();
        });
    });
}

std::vector<CompanionCore::KeyLine>
CompanionModel::otherLinesHolding(const CompanionCore::PairedDevice& phone) const {
    const auto lines = m_phones.otherLinesHolding(phone);
    return lines ? *lines : std::vector<CompanionCore::KeyLine>{};
}

void CompanionModel::revoke(const CompanionCore::PairedDevice& phone, RevokeScope scope) {
    // On the worker: the key file's lock may be held for a while by another writer of ours, and the
    // panel must stay responsive (and quit at once) meanwhile.
    enqueue([this, phone, scope](std::stop_token stop) {
        std::optional<std::string> verdict;
        try {
            verdict = stillLetIn(phone, m_phones.revoke(phone, scope, stop));
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
    enqueue([this, earlier = m_facts](std::stop_token stop) {
        Readiness::probe(
            m_host, stop,
            [this](const ReadinessFacts& facts) {
                publish([facts](CompanionModel& model) { model.setFacts(facts); });
            },
            earlier);
        if (!stop.stop_requested()) {
            publish([](CompanionModel& model) { emit model.refreshed(); });
        }
    });
}
void CompanionModel::connectDrozak() {
    if (!m_facts.drozakPath) {
        m_host.openUrl(std::string(CompanionCore::Tools::drozakDownload));
        return;
    }
    if (m_drozakConnectPending) {
        return;
    }
    m_drozakConnectPending = true;
    emit pendingChanged();
    m_connectWorker.enqueue([this, path = *m_facts.drozakPath](std::stop_token stop) {
        const auto result = m_host.runner->run(
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
    if (!m_facts.moshPath) {
        missing.emplace_back("mosh");
    }
    if (!m_facts.tmuxPath) {
        missing.emplace_back("tmux");
    }
    if (missing.empty()) {
        return;
    }
    const auto commandLine = m_host.systemActions->installCommandLine(missing);
    if (!commandLine) {
        setLastError(m_host.systemActions->packageManagerMissingMessage());
        return;
    }
    // The installation runs in the terminal after this returns; the user refreshes by hand.
    setLastError(m_host.systemActions->openTerminal(*commandLine));
}

void CompanionModel::installSshServer() {
    const auto package = m_host.systemActions->sshServerPackage();
    const auto commandLine = package ? m_host.systemActions->installCommandLine({*package}) : std::nullopt;
    if (!commandLine) {
        setLastError(m_host.systemActions->packageManagerMissingMessage());
        return;
    }
    // The installation runs in the terminal after this returns; the user refreshes by hand.
    setLastError(m_host.systemActions->openTerminal(*commandLine));
}

void CompanionModel::enableRemoteLogin() {
    // Quitting stops the job, which ends a pending administrator dialog instead of waiting for it.
    if (m_remoteLoginPending) {
        return;
    }
    m_remoteLoginPending = true;
    emit pendingChanged();
    enqueue([this](std::stop_token stop) {
        auto error = m_host.systemActions->setRemoteLogin(true, stop);
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

void CompanionModel::enqueue(std::function<void(std::stop_token)> job) {
    m_worker.enqueue(std::move(job));
}

void CompanionModel::publish(std::function<void(CompanionModel&)> change) {
    m_worker.publish([this, change = std::move(change)] { change(*this); });
}

void CompanionModel::setFacts(ReadinessFacts facts) {
    if (facts == m_facts) {
        return;
    }
    ReadinessFacts before = std::exchange(m_facts, std::move(facts));
    emit readinessChanged();
    if (m_facts.remoteLogin != before.remoteLogin) {
        emit remoteLoginChanged(m_facts.remoteLogin);
    }
    if (m_facts.sshServerInstalled != before.sshServerInstalled) {
        emit sshServerInstalledChanged(m_facts.sshServerInstalled);
    }
    if (m_facts.moshPath != before.moshPath) {
        emit moshPathChanged();
    }
    if (m_facts.login != before.login) {
        emit sshLoginChanged();
    }
    if (m_facts.tmuxPath != before.tmuxPath) {
        emit tmuxPathChanged();
    }
    if (m_facts.drozakPath != before.drozakPath) {
        emit drozakPathChanged();
    }
    if (m_facts.drozakStatus != before.drozakStatus) {
        emit drozakStatusChanged();
    }
    if (m_facts.addresses != before.addresses) {
        emit addressesChanged();
    }
}

} // namespace Companion
