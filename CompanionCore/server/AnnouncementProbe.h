#pragma once

#include <chrono>
#include <string_view>

namespace CompanionCore {

/// Whether what this computer announces through its DNS-SD daemon comes back when it browses for it:
/// a daemon can run and still show nothing (publishing turned off, `allow-interfaces` naming no
/// interface the computer has). The probe registers a service of a type of its own, so no phone lists
/// it, and withdraws it at once. It blocks for at most `bound`; run it off the user's thread.
class AnnouncementProbe {
public:
    enum class Result {
        /// The probe service showed up in the browse.
        seen,
        /// The daemon answers, but refused the probe or never showed it.
        notSeen,
        /// No DNS-SD daemon can be reached.
        noDaemon,
    };

    /// The probe's service type: the pairing service's own would put the probe in the phone's list.
    static constexpr std::string_view serviceType = "_nuvexa-probe._tcp";
    /// Ample for a daemon that probes the name on every interface before it shows the service.
    static constexpr std::chrono::milliseconds defaultBound{5000};

    static Result run(std::chrono::milliseconds bound = defaultBound);
};

} // namespace CompanionCore
