#pragma once

/// One thing that keeps a paired phone out (or may), each named with its own remedy to the user.
namespace CompanionCore {

enum class Obstacle {
    /// Nothing listens on the SSH port of this address.
    noSshServer,
    /// The address does not answer at all (filtered or unreachable).
    addressUnreachable,
    /// The server answers on loopback but not on the home network's addresses.
    listensOnLoopbackOnly,
    /// `PubkeyAuthentication no`.
    publicKeysDisabled,
    /// The user is not named by `AllowUsers`.
    userNotAllowed,
    /// The user is in none of the groups of `AllowGroups`.
    groupNotAllowed,
    /// The user is named by `DenyUsers`.
    userDenied,
    /// The user is in a group of `DenyGroups`.
    groupDenied,
    /// `AuthorizedKeysFile` does not name the file pairing writes.
    keyFileElsewhere,
    /// The home directory can be written by others, which StrictModes refuses.
    homeModes,
    /// `~/.ssh` can be written by others or belongs to someone else.
    sshFolderModes,
    /// The key file can be written by others or belongs to someone else.
    keyFileModes,
    /// The key file cannot be read: its mode, a folder on its way, an I/O error. Like the two
    /// below, no phone can pair and no paired phone's key can be checked while it lasts.
    keyFileUnreadable,
    /// A folder, a FIFO or a device stands where the key file should be.
    keyFileNotRegular,
    /// The key file is larger than any file of keys written by hand, which pairing refuses to touch.
    keyFileTooLarge,
    /// On macOS, Remote Login is limited to users this one is not among.
    remoteLoginAccess,
    /// A firewall that is on lets nothing in on the SSH port.
    firewallBlocksSsh,
    /// A firewall that is on lets nothing in on the pairing ports.
    firewallBlocksPairing,
    /// No DNS-SD daemon runs, so the phone cannot find the computer by itself.
    noDnsSdDaemon,
    /// The DNS-SD daemon runs, but what this computer announces does not show when it browses.
    announcementNotSeen,
    /// The server refused the key and no cause could be found.
    refusedForAnotherReason,
};

/// Whether the obstacle keeps a paired phone from logging in (the others make pairing or finding
/// the computer harder, not the login).
constexpr bool keepsPhoneOut(Obstacle obstacle) {
    switch (obstacle) {
    case Obstacle::firewallBlocksPairing:
    case Obstacle::noDnsSdDaemon:
    case Obstacle::announcementNotSeen:
        return false;
    case Obstacle::noSshServer:
    case Obstacle::addressUnreachable:
    case Obstacle::listensOnLoopbackOnly:
    case Obstacle::publicKeysDisabled:
    case Obstacle::userNotAllowed:
    case Obstacle::groupNotAllowed:
    case Obstacle::userDenied:
    case Obstacle::groupDenied:
    case Obstacle::keyFileElsewhere:
    case Obstacle::homeModes:
    case Obstacle::sshFolderModes:
    case Obstacle::keyFileModes:
    case Obstacle::keyFileUnreadable:
    case Obstacle::keyFileNotRegular:
    case Obstacle::keyFileTooLarge:
    case Obstacle::remoteLoginAccess:
    case Obstacle::firewallBlocksSsh:
    case Obstacle::refusedForAnotherReason:
        return true;
    }
    return true;
}

} // namespace CompanionCore
