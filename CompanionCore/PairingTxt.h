#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The DNS-SD service type and TXT record the phone looks for.
namespace CompanionCore::PairingTxt {

inline constexpr std::string_view serviceType = "_nuvexa._tcp";

/// The seven entries v, name, user, port, hosts, mosh and tmux. `port` is the pairing port, not the
/// SSH port; hosts are joined with "," and booleans written "1" or "0". Values are copied as given.
std::map<std::string, std::string> record(const std::string& name, const std::string& user, int port,
                                          const std::vector<std::string>& hosts, bool mosh, bool tmux);

} // namespace CompanionCore::PairingTxt
