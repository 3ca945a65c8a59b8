#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QTcpSocket>

#include <optional>
#include <string>

namespace TestSupport {

/// The phone's side of one connection, driven on the test's event loop (the server runs there too).
class PhoneClient {
public:
    /// Connects to `port` on 127.0.0.1, from `from` when given (any 127.x address works on Linux); to
    /// ::1 when `from` is an IPv6 address.
    explicit PhoneClient(quint16 port, const QHostAddress& from = {});

    /// Waits until connected; false when refused or closed first.
    bool waitConnected();
    void send(const QByteArray& bytes);
    /// Waits until the server has closed the connection; answers every byte received.
    QByteArray waitClosed();
    bool isClosed() const { return m_socket.state() == QAbstractSocket::UnconnectedState; }
    const QByteArray& received() const { return m_received; }
    QTcpSocket& socket() { return m_socket; }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

/// Sends one request and answers the complete response once the server has closed.
QByteArray exchange(quint16 port, const QByteArray& request, const QHostAddress& from = {});

/// POST /pair with the JSON body a phone sends.
QByteArray pairingRequest(const std::string& code, const std::string& publicKey, const std::string& device);

/// The status code of a response; nothing when there is no status line.
std::optional<int> statusOf(const QByteArray& response);

/// The body after the blank line, checked against Content-Length; nothing when they disagree.
std::optional<QByteArray> bodyOf(const QByteArray& response);

/// A syntactically valid ed25519 public key line, for tests that need no matching private key.
inline constexpr const char* sampleEd25519Key =
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINran2uo1OJXgP8LDadnVR/no2X3xg2Y3BqV+G9J4s7B phone@example";
/// `ssh-keygen -l` of that key.
inline constexpr const char* sampleEd25519Fingerprint = "SHA256:UtfFZHfyWmzdCJM9a4Pvyh+mGSoUYyVMaQmhx0N5DAA";

} // namespace TestSupport
