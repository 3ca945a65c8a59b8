// The pairing server alone in a process, as the desktop app runs it (its log file included), so a
// script can pin it to a CPU and measure it beside another HTTP server. Listens on 127.0.0.1:PORT,
// announces nothing, and starts a new session whenever one ends, so wrong codes never stop it.
//
//   pairing-server-host PORT FOLDER      (FOLDER receives the log and the key file)

#include "CompanionCore/server/PairingServer.h"

#include <QCoreApplication>

#include <cstdio>
#include <filesystem>
#include <string>

using CompanionCore::PairingHandler;
using CompanionCore::PairingServer;

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: pairing-server-host PORT FOLDER\n");
        return 2;
    }
    const auto port = static_cast<std::uint16_t>(std::stoi(argv[1]));
    const std::filesystem::path folder = argv[2];

    PairingServer::Options options;
    options.ports = {port};
    options.expiry = std::chrono::hours(24);
    options.announcer = nullptr;
    options.logFile = folder / "nuvexa-companion.log";
    options.listenAddress = QHostAddress::LocalHost;
    PairingServer server(
        [] { return PairingHandler::Identity{"ana", "Studio", 22, {"Studio.local"}, true, true}; },
        folder / ".ssh" / "authorized_keys", options);
    bool announcedReady = false;
    QObject::connect(&server, &PairingServer::stateChanged, &server, [&] {
        switch (server.state().kind) {
        case PairingServer::State::Kind::waiting:
            if (!announcedReady) {
                announcedReady = true;
                std::printf("ready\n");
                std::fflush(stdout);
            }
            return;
        case PairingServer::State::Kind::paired:
        case PairingServer::State::Kind::failed:
            server.start();
            return;
        case PairingServer::State::Kind::idle:
        case PairingServer::State::Kind::starting:
            return;
        }
    });
    server.start();
    return QCoreApplication::exec();
}
