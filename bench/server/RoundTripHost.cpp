// The pairing server alone in a process, as the desktop app runs it (its log file included), so a
// script can pin it to a CPU and measure it beside another HTTP server. Listens on 127.0.0.1:PORT,
// announces nothing, and starts a new session whenever one ends, so wrong codes never stop it.
//
//   pairing-server-host PORT FOLDER      (FOLDER receives the log and the key file)

#include "CompanionCore/server/PairingServer.h"
#include "server/support/EndlessSessions.h"

#include <QCoreApplication>

#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>

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
    PairingServer server(Bench::identity, folder / ".ssh" / "authorized_keys", options);
    // Ready once the first session listens; each later session is on the same port.
    bool announcedReady = false;
    Bench::keepStarting(server, [&announcedReady](const std::string&) {
        if (!std::exchange(announcedReady, true)) {
            std::printf("ready\n");
            std::fflush(stdout);
        }
    });
    server.start();
    return QCoreApplication::exec();
}
