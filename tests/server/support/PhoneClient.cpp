#include "server/support/PhoneClient.h"

#include "server/support/EventLoop.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace TestSupport {

PhoneClient::PhoneClient(quint16 port, const QHostAddress& from) {
    QObject::connect(&m_socket, &QTcpSocket::readyRead, [this] { m_received += m_socket.readAll(); });
    if (!from.isNull()) {
        m_socket.bind(from);
    }
    // An IPv6 source reaches the server over IPv6 loopback.
    const bool ipv6 = from.protocol() == QAbstractSocket::IPv6Protocol;
    m_socket.connectToHost(QHostAddress(ipv6 ? QHostAddress::LocalHostIPv6 : QHostAddress::LocalHost), port);
}

bool PhoneClient::waitConnected() {
    waitUntil(&m_socket, &QAbstractSocket::stateChanged, [this] {
        return m_socket.state() == QAbstractSocket::ConnectedState ||
               m_socket.state() == QAbstractSocket::UnconnectedState;
    });
    return m_socket.state() == QAbstractSocket::ConnectedState;
}

void PhoneClient::send(const QByteArray& bytes) {
    // Before the connection is up, Qt keeps the bytes and sends them once it is.
    m_socket.write(bytes);
    if (m_socket.state() == QAbstractSocket::ConnectedState) {
        m_socket.flush();
    }
}

QByteArray PhoneClient::waitClosed() {
    waitUntil(&m_socket, &QAbstractSocket::stateChanged, [this] { return isClosed(); });
    m_received += m_socket.readAll();
    return m_received;
}

QByteArray exchange(quint16 port, const QByteArray& request, const QHostAddress& from) {
    PhoneClient client(port, from);
    client.send(request);
    return client.waitClosed();
}

QByteArray pairingRequest(const std::string& code, const std::string& publicKey, const std::string& device) {
    const QByteArray body = QJsonDocument(QJsonObject{{"code", QString::fromStdString(code)},
                                                      {"publicKey", QString::fromStdString(publicKey)},
                                                      {"device", QString::fromStdString(device)}})
                                .toJson(QJsonDocument::Compact);
    return "POST /pair HTTP/1.1\r\nHost: companion\r\nContent-Type: application/json\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

std::optional<int> statusOf(const QByteArray& response) {
    if (!response.startsWith("HTTP/1.1 ") || response.size() < 12) {
        return std::nullopt;
    }
    bool ok = false;
    const int status = response.mid(9, 3).toInt(&ok);
    return ok ? std::optional<int>(status) : std::nullopt;
}

std::optional<QByteArray> bodyOf(const QByteArray& response) {
    const qsizetype headEnd = response.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        return std::nullopt;
    }
    const QByteArray head = response.left(headEnd).toLower();
    const qsizetype lengthAt = head.indexOf("content-length:");
    if (lengthAt < 0) {
        return std::nullopt;
    }
    const qsizetype lineEnd = head.indexOf("\r\n", lengthAt);
    bool ok = false;
    const qsizetype length =
        head.mid(lengthAt + 15, lineEnd < 0 ? -1 : lineEnd - lengthAt - 15).trimmed().toLongLong(&ok);
    const QByteArray body = response.mid(headEnd + 4);
    if (!ok || body.size() != length) {
        return std::nullopt;
    }
    return body;
}

} // namespace TestSupport
