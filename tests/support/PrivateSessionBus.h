#pragma once

#include "TemporaryDirectory.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <sys/types.h>

namespace TestSupport {

/// A D-Bus daemon of the test's own, with a configuration that starts no services on demand, so a
/// name on it is owned only when a test owns it. Ended at the end of the scope.
class PrivateSessionBus {
public:
    PrivateSessionBus() {
        const auto config = m_directory / "bus.conf";
        std::ofstream(config)
            << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>session</type>\n"
               "  <listen>unix:dir="
            << m_directory.path().string()
            << "</listen>\n"
               "  <policy context=\"default\">\n"
               "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
               "    <allow eavesdrop=\"true\"/>\n"
               "    <allow own=\"*\"/>\n"
               "  </policy>\n"
               "</busconfig>\n";
        QProcess daemon;
        daemon.start(QStringLiteral("/usr/bin/dbus-daemon"),
                     {QStringLiteral("--config-file=") + QString::fromStdString(config.string()),
                      QStringLiteral("--fork"), QStringLiteral("--print-address=1"),
                      QStringLiteral("--print-pid=1")});
        if (!daemon.waitForFinished(10000) || daemon.exitCode() != 0) {
            throw std::runtime_error("cannot start a private D-Bus daemon");
        }
        const auto lines = QString::fromUtf8(daemon.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        if (lines.size() < 2) {
            throw std::runtime_error("the D-Bus daemon gave no address");
        }
        m_address = lines.at(0).trimmed();
        m_pid = lines.at(1).trimmed().toLongLong();
    }
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;
    ~PrivateSessionBus() {
        if (m_pid > 0) {
            ::kill(static_cast<pid_t>(m_pid), SIGTERM);
        }
    }

    const QString& address() const { return m_address; }

private:
    TemporaryDirectory m_directory;
    QString m_address;
    long long m_pid = 0;
};

} // namespace TestSupport
