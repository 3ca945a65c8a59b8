#include "Companion/PairingSession.h"

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
}

PairingSession::~PairingSession() {
    // A check still asking the SSH server is stopped; none may outlive the session it reports to.
    m_worker.shutDown();
}

void PairingSession::followServer() {
    const auto* paired = std::get_if<CompanionCore::Pairing::Paired>(&m_server->state());
    if (paired == nullptr) {
        setKeyCheck(std::nullopt);
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

} // namespace Companion
