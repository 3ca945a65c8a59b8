#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The fixed numbers and names the companion shares with the phone, the SSH server and the
/// firewall. Each is defined here once; per-instance options take these as their defaults.
namespace CompanionCore::WellKnown {

/// The SSH server's TCP port: the one the phone is told and the checks ask. The server's
/// configuration is not read for it.
inline constexpr int sshPort = 22;

/// The pairing server's TCP ports, tried in this order; a firewall rule must let the first one in.
inline constexpr std::array<std::uint16_t, 4> pairingPorts = {52901, 52902, 52903, 52904};

/// The UDP ports mosh-server chooses from; a firewall must let the whole range in.
inline constexpr int moshFirstPort = 60000;
inline constexpr int moshLastPort = 61000;
/// The port mosh-server tries first: while it is blocked no mosh session gets through.
inline constexpr int moshFirstTriedPort = 60001;

/// Where every Linux distribution, and macOS, installs the SSH server.
inline constexpr std::string_view sshdProgram = "/usr/sbin/sshd";

/// What the comment of a paired phone's authorized_keys line starts with; the phone's name follows.
inline constexpr std::string_view phoneCommentPrefix = "nuvexa:";

} // namespace CompanionCore::WellKnown
