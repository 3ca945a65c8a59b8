#pragma once

// A pairing server that never stops for the benchmarks: every session that ends (paired, or failed on
// wrong codes) is followed by the next on the same port, and each new code is handed to the client
// threads.

#include "CompanionCore/Overloaded.h"
#include "CompanionCore/server/PairingServer.h"

#include <QTcpServer>

#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>

namespace Bench {

/// The identity every benchmark's server pairs with.
inline CompanionCore::PairingHandler::Identity identity() {
    return CompanionCore::PairingHandler::Identity{"ana", "Studio", 22, {"Studio.local"}, true, true};
}

/// A fresh folder for the server's log and key file, left behind for a look afterwards.
inline std::filesystem::path temporaryFolder(const std::string& prefix) {
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
    return ::mkdtemp(pattern.data());
}

/// A loopback port that was free a moment ago.
inline std::uint16_t freeLoopbackPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

/// The current session's code, handed from the server's thread to the clients'.
class SessionCodes {
public:
    void publish(const std::string& digits) {
        std::lock_guard lock(m_mutex);
        m_digits = digits;
        ++m_generation;
        m_changed.notify_all();
    }
    /// Waits for a session newer than `seen` and answers its code.
    std::string codeAfter(std::uint64_t& seen) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_generation > seen; });
        seen = m_generation;
        return m_digits;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint64_t m_generation = 0;
    std::string m_digits;
};

/// Starts the next session whenever one ends, and tells `waiting` each new code.
inline void keepStarting(CompanionCore::PairingServer& server,
                         std::function<void(const std::string&)> waiting) {
    namespace Pairing = CompanionCore::Pairing;
    QObject::connect(&server, &CompanionCore::PairingServer::stateChanged, &server,
                     [&server, waiting = std::move(waiting)] {
                         std::visit(CompanionCore::Overloaded{
                                        [&](const Pairing::Waiting& state) { waiting(state.digits); },
                                        [&](const Pairing::Paired&) { server.start(); },
                                        [&](const Pairing::Failed&) { server.start(); },
                                        [](const Pairing::Idle&) {},
                                        [](const Pairing::Starting&) {},
                                    },
                                    server.state());
                     });
}

} // namespace Bench
