#pragma once

#include "CompanionCore/Obstacle.h"

#include <filesystem>
#include <sys/types.h>
#include <vector>

/// The owners and modes that the SSH server's StrictModes refuses, read without changing anything.
namespace CompanionCore::KeyFileModes {

/// What StrictModes would refuse on the way from `keyFile` up to `home` (both included): the key
/// file, any folder between (`~/.ssh`) or the home directory belonging to someone other than the
/// user `uid` or root, or writable by the group or by others. A group write bit is tolerated when
/// the group is the user's private group (named after the user, its primary group, no other
/// members), as Debian's sshd does. A file that cannot be read is no obstacle of this kind.
std::vector<Obstacle> obstacles(const std::filesystem::path& home, const std::filesystem::path& keyFile,
                                uid_t uid);

} // namespace CompanionCore::KeyFileModes
