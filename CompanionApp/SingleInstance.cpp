#include "CompanionApp/SingleInstance.h"

#include <QLocalSocket>
#include <QStandardPaths>

#include <chrono>

namespace CompanionApp {

namespace {

/// The request a later start sends.
constexpr char openRequest[] = "open\n";
/// How long a later start waits for the running instance to take its request; it answers at once
/// unless it hangs, in which case this start becomes the instance instead.
constexpr std::chrono::milliseconds handOverPatience{2000};

} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent)
    , m_socketPath(std::move(socketPath)) {
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = m_server.nextPendingConnection()) {
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                if (client->canReadLine() && client->readLine() == openRequest) {
                    emit openRequested();
                }
            });
        }
    });
}

QString SingleInstance::defaultSocketPath() {
    // Qt answers nothing for a runtime folder that is not the user's own and private.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? QString() : runtime + QStringLiteral("/nuvexa-companion.socket");
}

bool SingleInstance::claim() {
    if (m_socketPath.isEmpty()) {
        return true;
    }
    // Listening first: a socket another instance is serving is never removed.
    if (listen()) {
        return true;
    }
    if (handOver()) {
        return false;
    }
    if (m_socketPath.isEmpty()) {
        return true;
    }
    // Left behind by an instance that ended without closing it.
    QLocalServer::removeServer(m_socketPath);
    // Where no socket can be had there is no safe place to meet: this start runs anyway, since a
    // second icon is better than no companion at all.
    listen();
    return true;
}

bool SingleInstance::listen() {
    // No socket options: with them Qt renames its socket over whatever is at the path, a running
    // instance's included. The runtime folder is the user's own (0700), which keeps others out.
    return m_server.listen(m_socketPath);
}

bool SingleInstance::handOver() {
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    const int patience = static_cast<int>(handOverPatience.count());
    if (!socket.waitForConnected(patience)) {
        return false;
    }
    socket.write(openRequest);
    const bool sent = socket.waitForBytesWritten(patience);
    socket.disconnectFromServer();
    return sent;
}

} // namespace CompanionApp
