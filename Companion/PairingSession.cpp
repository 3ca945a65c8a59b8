#include "Companion/PairingSession.h"

#include "Companion/PairedPhones.h"
#include "CompanionCore/PairedDevices.h"

#include <variant>

namespace Companion {

PairingSession::PairingSession(const Host& host, CompanionCore::PairingServer::Options options,
                               CheckKey checkKey, Checking checking, QObject* parent)
    : QObject(parent)
    , m_host(host)
    , m_checkKey(std::move(checkKey))
    , m_checking(checking) {
    if (!m_checkKey) {
        m_checkKey = [options = KeyDoctor::options(m_host),
                      runner = m_host.runner](const CompanionCore::PairedDevice& device) {
            return KeyDoctor::examine(options, device, *runner);
        };
    }
    // The session owns the server and so outlives it: the provider may hold the session plainly.
    m_server = std::make_unique<CompanionCore::PairingServer>([this] { return m_host.identity(); },
                                                              m_host.authorizedKeys, std::move(options));
    connect(m_server.get(), &CompanionCore::PairingServer::stateChanged, this, &PairingSession::followServer);
    m_loginWatch.setInterval(loginWatchInterval);
    connect(&m_loginWatch, &QTimer::timeout, this, &PairingSession::lookForLogin);
}

PairingSession::~PairingSession() {
    // A check still asking the SSH server is stopped; none may outlive the session it reports to.
    m_worker.shutDown();
}

void PairingSession::followServer() {
    const auto* paired = std::get_if<CompanionCore::Pairing::Paired>(&m_server->state());
    if (paired == nullptr) {
        setKeyCheck(std::nullopt);
        setLoginProof(std::nullopt);
        return;
    }
    if (m_keyCheck) {
        return;
    }
    const auto listing = CompanionCore::PairedDevices::list(paired->keyLine + "\n");
    if (listing.devices.empty()) {
        return;
    }
    const auto& device = listing.devices.front();
    awaitLogin(device);
    setKeyCheck(KeyCheck{device, std::nullopt});
    if (m_checking == Checking::onCallingThread) {
        setKeyCheck(KeyCheck{device, m_checkKey(device).result});
        return;
    }
    const std::uint64_t check = ++m_checks;
    m_worker.enqueue([this, check, device](std::stop_token) {
        auto result = m_checkKey(device).result;
        m_worker.publish([this, check, result = std::move(result)] {
            if (check == m_checks && m_keyCheck) {
                setKeyCheck(KeyCheck{m_keyCheck->device, result});
            }
        });
    });
}

void PairingSession::setKeyCheck(std::optional<KeyCheck> check) {
    if (!check) {
        // A check under way belongs to the session that is gone.
        ++m_checks;
    }
    if (!check && !m_keyCheck) {
        return;
    }
    m_keyCheck = std::move(check);
    emit keyCheckChanged();
}

void PairingSession::awaitLogin(const CompanionCore::PairedDevice& device) {
    const auto fingerprint = PairedPhones::fingerprint(device);
    if (!m_host.loginRecords || !fingerprint) {
        return;
    }
    m_awaitedFingerprint = *fingerprint;
    // Syslog's traditional lines keep whole seconds: a login in the second of the pairing counts.
    m_pairedAt = std::chrono::floor<std::chrono::seconds>(m_host.clock());
    setLoginProof(LoginProof{device, std::nullopt, std::nullopt});
    m_loginWatch.start();
    lookForLogin();
}

void PairingSession::lookForLogin() {
    if (m_looking || !m_loginProof) {
        return;
    }
    m_looking = true;
    const std::uint64_t proof = m_proofs;
    LoginRecords::Query query;
    query.fingerprints = {m_awaitedFingerprint};
    query.user = m_host.userName();
    query.since = m_pairedAt;
    query.acceptedPerKey = 1;
    m_worker.enqueue([this, proof, records = m_host.loginRecords, user = m_host.userName(),
                      query = std::move(query)](std::stop_token) {
        auto reading = records->newest(query);
        std::optional<LoginAttempt> login;
        std::optional<QString> unreadable;
        if (!reading) {
            unreadable = reading.failure().howToAllow;
        } else {
            // Any login of the key since the pairing proves it.
            for (const auto& attempt : *reading) {
                if (attempt.accepted && attempt.user == user && attempt.time >= query.since) {
                    login = attempt;
                    break;
                }
            }
        }
        m_worker.publish([this, proof, login = std::move(login), unreadable = std::move(unreadable)] {
            m_looking = false;
            if (proof != m_proofs || !m_loginProof) {
                return;
            }
            if (!login && !unreadable) {
                return;
            }
            m_loginWatch.stop();
            setLoginProof(LoginProof{m_loginProof->device, login, unreadable});
        });
    });
}

void PairingSession::setLoginProof(std::optional<LoginProof> proof) {
    if (!proof || proof->login || proof->unreadable) {
        m_loginWatch.stop();
    }
    if (!proof) {
        // A look under way belongs to the pairing that is gone.
        ++m_proofs;
    }
    if (proof == m_loginProof) {
        return;
    }
    m_loginProof = std::move(proof);
    emit loginProofChanged();
}

} // namespace Companion
