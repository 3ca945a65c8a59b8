#pragma once

#include "Companion/Finding.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Proves with a real datagram whether mosh's UDP gets into this computer: a free port of mosh's
/// range is bound on every address, as mosh-server does, and one datagram is sent to it over
/// loopback and to each of the computer's own addresses. One that does not arrive was dropped by a
/// firewall on this computer, whatever its rules seemed to say. Needs no privilege.
///
/// A datagram to one of the computer's own addresses never leaves it and enters over the loopback
/// interface, so a rule that lets everything from loopback in lets the proof through even where it
/// keeps a phone out; a lost datagram, though, is always a real drop.
namespace Companion::DatagramProof {

/// How long the datagrams may take to arrive; on one computer they take microseconds.
inline constexpr std::chrono::milliseconds defaultBound{1500};
/// Always tried first.
inline constexpr std::string_view loopback = "127.0.0.1";

/// The stable causes of the findings.
inline constexpr std::string_view datagramsDropped = "firewallDropsMoshDatagrams";
inline constexpr std::string_view noFreeMoshPort = "noFreeMoshPort";

/// What became of the datagram sent to one address.
struct Delivery {
    enum class Fate {
        arrived,
        /// Not there within the bound, or refused on the way out by a firewall.
        lost,
        /// It could not be sent (not an address of this kind, no route): it proves nothing.
        notSent,
    };
    std::string address;
    Fate fate = Fate::lost;
    /// The system's words when sending failed.
    std::string error;

    bool operator==(const Delivery&) const = default;
};

struct Result {
    /// The port the datagrams were sent to; nothing when every port of the range was taken.
    std::optional<int> port;
    /// Loopback first, then `addresses` in order (host names and repeats left out).
    std::vector<Delivery> deliveries;

    bool operator==(const Result&) const = default;
};

/// Sends the datagrams to loopback and each IP literal of `addresses` and waits at most `bound` for
/// them.
Result run(const std::vector<std::string>& addresses, std::chrono::milliseconds bound = defaultBound);

/// One finding that keeps the phone out naming every address whose datagram was lost (or that no
/// port of the range was free); none when all that were sent arrived.
std::vector<Finding> findings(const Result& result, std::chrono::milliseconds bound = defaultBound);

/// `findings(run(addresses, bound), bound)`.
std::vector<Finding> check(const std::vector<std::string>& addresses,
                           std::chrono::milliseconds bound = defaultBound);

} // namespace Companion::DatagramProof
