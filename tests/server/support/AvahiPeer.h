#pragma once

#include "support/Programs.h"

#include <QStringList>

#include <cstdlib>

namespace TestSupport {

/// Runs the Avahi peer's script with `action` ("daemon-stop", "daemon-start") on the peer's folder;
/// "daemon-start" takes the interfaces the daemon publishes on ("lo" unless told), then the
/// publishing settings to turn on.
inline bool avahiDaemon(const char* action, const QStringList& settings = {}) {
    const char* peer = std::getenv("NUVEXA_AVAHI_PEER");
    if (peer == nullptr) {
        return false;
    }
    QStringList arguments{QString::fromLatin1(action), QString::fromLocal8Bit(peer)};
    arguments.append(settings);
    const auto result = runProgram(QStringLiteral(NUVEXA_AVAHI_SCRIPT), arguments);
    return result.finished && result.exitCode == 0;
}

/// Starts the peer's daemon again, as the other tests expect it, when the scope ends while it is
/// still needed (a failed assertion on the way); a test that restarts it itself clears `needed`.
struct AvahiRestart {
    bool needed = true;
    AvahiRestart() = default;
    AvahiRestart(const AvahiRestart&) = delete;
    AvahiRestart& operator=(const AvahiRestart&) = delete;
    ~AvahiRestart() {
        if (needed) {
            avahiDaemon("daemon-stop");
            avahiDaemon("daemon-start");
        }
    }
};

} // namespace TestSupport
