#pragma once

#include "CompanionCore/DrozakStatus.h"
#include "CompanionCore/LoginReport.h"

#include <optional>
#include <string>
#include <vector>

namespace Companion {

/// What this computer offers the phone, as one look at it found: the SSH server, the tools and the
/// addresses. The readiness rows are decided from it.
struct ReadinessFacts {
    /// The SSH server ("Remote Login") is on.
    bool remoteLogin = false;
    /// An SSH server is installed, on or off (assumed until a look says otherwise).
    bool sshServerInstalled = true;
    /// Full path of `mosh-server` (the server half is what this computer needs).
    std::optional<std::string> moshPath;
    /// What a non-interactive SSH login of the user finds (mosh-server on its PATH, its locale);
    /// absent until looked at, or when the login shell could not tell.
    std::optional<CompanionCore::LoginReport> login;
    std::optional<std::string> tmuxPath;
    /// Full path of the relay tool's `drozak`.
    std::optional<std::string> drozakPath;
    /// The relay tool's last status; absent when it is not installed or gave none.
    std::optional<CompanionCore::DrozakStatus> drozakStatus;
    /// The host names and addresses in the order the phone should try them.
    std::vector<std::string> addresses;

    /// The address the phone can use away from home: the relay tool's own address while it is
    /// connected and reports a non-empty one, else the first mesh-range address in `addresses`.
    std::optional<std::string> meshAddress() const;
    /// Whether `addresses` holds a mesh-range address. Deliberately ignores the relay status, so with
    /// the relay connected but no mesh-range address this is false while `meshAddress` is present.
    bool hasMeshAddress() const;

    bool operator==(const ReadinessFacts&) const = default;
};

} // namespace Companion
