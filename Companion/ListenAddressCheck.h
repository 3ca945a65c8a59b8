#pragma once

#include "Companion/Finding.h"
#include "CompanionCore/SshdSettings.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Whether the SSH server listens on the address the phone uses away from home.
namespace Companion::ListenAddressCheck {

/// The stable cause of the finding.
inline constexpr std::string_view sshdNotOnMeshAddress = "sshdNotListeningOnMeshAddress";

/// A finding that keeps the phone out when `settings` (`sshd -T`) restrict the server to listening
/// addresses of which none is `meshAddress` or the wildcard of its family, naming them and the fix;
/// none without settings, without a mesh address, or when the server listens on it.
std::vector<Finding> findings(const std::optional<CompanionCore::SshdSettings>& settings,
                              const std::optional<std::string>& meshAddress);

} // namespace Companion::ListenAddressCheck
