#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Classifies host texts and puts host lists in the order the phone should try them.
namespace CompanionCore::Addresses {

/// In rank order: a ".local" name, a private LAN address, a mesh address (100.64.0.0/10), the rest.
enum class Kind { bonjour, lan, mesh, other };

/// Lenient on purpose: only the first two of exactly four numeric pieces are looked at.
Kind classify(std::string_view host);

/// Drops repeats (first occurrence wins) and sorts stably by kind.
std::vector<std::string> ordered(const std::vector<std::string>& hosts);

/// True for IPv4 link-local (self-assigned) addresses, which the phone can never use.
bool isLinkLocal(std::string_view address);

} // namespace CompanionCore::Addresses
