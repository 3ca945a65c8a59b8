#include "CompanionCore/Sockets.h"

#include <sys/socket.h>

namespace CompanionCore::Sockets {

int openNonBlocking(int family, int type, int protocol) {
    return ::socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol);
}

bool openNonBlockingPair(int ends[2]) {
    return ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) == 0;
}

} // namespace CompanionCore::Sockets
