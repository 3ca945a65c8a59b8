#pragma once

#include "support/Patience.h"
#include "support/Programs.h"

#include <QProcess>
#include <QStringList>

#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace TestSupport {

/// A free TCP port on loopback, as the kernel hands it out for port 0.
inline int freeLoopbackPort() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 0;
    if (::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
    }
    ::close(descriptor);
    return port;
}

/// An OpenSSH server in the foreground with a configuration and host key of its own, ended with the
/// object. `start` answers once it listens (it says so on its error output) or has failed.
class SshdInstance {
public:
    /// `settings` are appended to the fixed lines; `wrapper` runs before sshd (for `ip netns exec`).
    SshdInstance(const std::filesystem::path& folder, int port, const std::string& settings,
                 QStringList wrapper = {})
        : m_folder(folder)
        , m_port(port)
        , m_wrapper(std::move(wrapper)) {
        std::filesystem::create_directories("/run/sshd");
        runProgram("/usr/bin/ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-f", hostKeyPath()});
        std::ofstream config(configPath().toStdString());
        config << "Port " << port << "\nListenAddress 127.0.0.1\nHostKey " << hostKeyPath().toStdString()
               << "\nPidFile none\nPasswordAuthentication no\nKbdInteractiveAuthentication no\nUsePAM no\n"
               << settings;
    }
    SshdInstance(const SshdInstance&) = delete;
    SshdInstance& operator=(const SshdInstance&) = delete;
    ~SshdInstance() {
        m_process.terminate();
        m_process.waitForFinished(generousMilliseconds);
    }

    bool start() {
        const QStringList command = m_wrapper + QStringList{"/usr/sbin/sshd", "-D", "-e", "-f", configPath()};
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(command.first(), command.mid(1));
        if (!m_process.waitForStarted(generousMilliseconds)) {
            return false;
        }
        const QByteArray ready = "Server listening on";
        while (!m_log.contains(ready)) {
            if (!m_process.waitForReadyRead(generousMilliseconds)) {
                return false;
            }
            m_log += m_process.readAll();
        }
        return true;
    }

    /// Waits until the server's output holds `text` `times` times; false when the server ends first.
    bool waitForLog(const QByteArray& text, qsizetype times = 1) {
        m_log += m_process.readAll();
        while (m_log.count(text) < times) {
            if (!m_process.waitForReadyRead(generousMilliseconds)) {
                return false;
            }
            m_log += m_process.readAll();
        }
        return true;
    }

    /// How often the server's output holds `text` so far.
    qsizetype logCount(const QByteArray& text) {
        m_log += m_process.readAll();
        return m_log.count(text);
    }

    int port() const { return m_port; }
    long long processId() const { return m_process.processId(); }
    QString configPath() const { return QString::fromStdString((m_folder / "sshd_config").string()); }
    QString hostKeyPath() const { return QString::fromStdString((m_folder / "host_ed25519").string()); }
    std::string log() { return (m_log + m_process.readAll()).toStdString(); }

private:
    std::filesystem::path m_folder;
    int m_port;
    QStringList m_wrapper;
    QProcess m_process;
    QByteArray m_log;
};

} // namespace TestSupport
