#pragma once

#include <QHostAddress>

#include <string>

namespace CompanionCore {

/// The share of the pairing server's connections a peer counts against: an IPv4 address (an
/// IPv4-mapped IPv6 address counts as that IPv4 address), or the /64 of an IPv6 address, since one
/// host is routinely given a whole /64 and could otherwise take a share per address.
std::string peerGroup(const QHostAddress& address);

} // namespace CompanionCore
