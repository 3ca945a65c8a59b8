#pragma once

/// Descriptors that a program started later never inherits and that never block: the key check's
/// connection attempts and the terminal front end's signal pipe. Linux sets both flags as the
/// descriptors are made; macOS has no such flags, so they are set right after.
namespace CompanionCore::Sockets {

/// A socket as ::socket(family, type, protocol) makes it, close-on-exec and non-blocking; -1 with
/// errno set when it cannot be made.
int openNonBlocking(int family, int type, int protocol);

/// A connected pair of local stream sockets into `ends`, both close-on-exec and non-blocking; false
/// with errno set when they cannot be made.
bool openNonBlockingPair(int ends[2]);

} // namespace CompanionCore::Sockets
