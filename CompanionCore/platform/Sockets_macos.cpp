#include "CompanionCore/Sockets.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace CompanionCore::Sockets {

namespace {

bool makeNonBlockingAndPrivate(int descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFL);
    return flags >= 0 && ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0 &&
           ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0;
}

void closeKeepingErrno(int descriptor) {
    const int saved = errno;
    ::close(descriptor);
    errno = saved;
}

} // namespace

int openNonBlocking(int family, int type, int protocol) {
    const int descriptor = ::socket(family, type, protocol);
    if (descriptor < 0) {
        return -1;
    }
    if (!makeNonBlockingAndPrivate(descriptor)) {
        closeKeepingErrno(descriptor);
        return -1;
    }
    return descriptor;
}

bool openNonBlockingPair(int ends[2]) {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        return false;
    }
    if (!makeNonBlockingAndPrivate(ends[0]) || !makeNonBlockingAndPrivate(ends[1])) {
        closeKeepingErrno(ends[0]);
        closeKeepingErrno(ends[1]);
        ends[0] = ends[1] = -1;
        return false;
    }
    return true;
}

} // namespace CompanionCore::Sockets
