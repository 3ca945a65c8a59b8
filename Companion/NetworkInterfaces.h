#pragma once

#include <string>
#include <vector>

struct ifaddrs;

/// The computer's own IPv4 addresses, as the phone may use them to reach it.
namespace Companion::NetworkInterfaces {

/// Dotted quads of every interface that is up and not loopback, in the order the system lists them,
/// self-assigned link-local addresses (169.254/16) left out. Empty when the list cannot be read.
std::vector<std::string> ipv4Addresses();

/// The same selection over an interface list the caller provides.
std::vector<std::string> ipv4Addresses(const ifaddrs* interfaces);

} // namespace Companion::NetworkInterfaces
