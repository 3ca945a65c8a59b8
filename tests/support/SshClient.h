#pragma once

#include <QString>
#include <QStringList>

namespace TestSupport {

/// The real ssh client logging in to `destination` ("user@host") on `port` with the private key
/// `key` alone, asking nothing and trusting any host key: only what the server decides counts.
/// `remote` is the command to run there.
inline QStringList sshClient(const QString& key, int port, const QString& destination,
                             const QStringList& remote = {}) {
    return QStringList{"/usr/bin/ssh",
                       "-F",
                       "/dev/null",
                       "-o",
                       "BatchMode=yes",
                       "-o",
                       "StrictHostKeyChecking=no",
                       "-o",
                       "UserKnownHostsFile=/dev/null",
                       "-o",
                       "IdentitiesOnly=yes",
                       "-o",
                       "LogLevel=ERROR",
                       "-i",
                       key,
                       "-p",
                       QString::number(port),
                       destination} +
           remote;
}

} // namespace TestSupport
