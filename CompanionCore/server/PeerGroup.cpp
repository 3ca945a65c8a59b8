#include "CompanionCore/server/PeerGroup.h"

namespace CompanionCore {

std::string peerGroup(const QHostAddress& address) {
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    if (isIpv4) {
        return QHostAddress(ipv4).toString().toStdString();
    }
    Q_IPV6ADDR bytes = address.toIPv6Address();
    for (int i = 8; i < 16; ++i) {
        bytes[i] = 0;
    }
    return QHostAddress(bytes).toString().toStdString() + "/64";
}

} // namespace CompanionCore
