#include "Companion/macos/SysctlLiveSessions.h"

#include "CompanionCore/ProcessArguments.h"
#include "CompanionCore/SshConnection.h"

#include <filesystem>

namespace Companion {

std::optional<LiveSession> SysctlLiveSessions::fromProcArgs2(int pid, std::string_view buffer) {
    const auto arguments = CompanionCore::ProcessArguments::fromProcArgs2(buffer);
    if (!arguments) {
        return std::nullopt;
    }
    const auto value = CompanionCore::ProcessArguments::variable(arguments->environment, "SSH_CONNECTION");
    const auto connection = value ? CompanionCore::SshConnection::parse(*value) : std::nullopt;
    if (!connection) {
        return std::nullopt;
    }
    const bool mosh = std::filesystem::path(arguments->executable).filename() == "mosh-server";
    return LiveSession{pid, connection->clientAddress, connection->clientPort, mosh};
}

} // namespace Companion
