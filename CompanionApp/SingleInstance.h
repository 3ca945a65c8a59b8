#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

namespace CompanionApp {

/// One companion per user session. The first to start listens on a local socket in the session's
/// runtime folder; a later start finds it there, asks it to open its panel, and ends.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    /// `socketPath` is where the instances meet; `defaultSocketPath()` for the real program.
    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);

    /// The socket in the user's runtime folder (`$XDG_RUNTIME_DIR`, private to the session); empty
    /// when there is no such folder of the user's own.
    static QString defaultSocketPath();

    /// Becomes the session's instance, or, when another already is, asks it to open its panel.
    /// Answers false only when it handed over to a running instance and should end; with no socket
    /// to meet at (none given, or none that can be listened on) it answers true, so nothing another
    /// account does to a shared folder keeps the owner's companion from starting.
    bool claim();

signals:
    /// A later start asked this instance to open its panel.
    void openRequested();

private:
    bool handOver();
    bool listen();

    QString m_socketPath;
    QLocalServer m_server;
};

} // namespace CompanionApp
