#pragma once

#include "CompanionCore/KeyCheck.h"
#include "CompanionCore/KeyFileFailure.h"
#include "CompanionCore/Obstacle.h"
#include "CompanionCore/SshdSettings.h"
#include "CompanionCore/WellKnown.h"

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

/// Asks the SSH server about one key on every address the phone may use, and when it says no,
/// looks for the reasons. Reads only: nothing it checks is changed.
namespace CompanionCore::KeyDiagnosis {

/// One address the phone may try.
struct Address {
    std::string host;
    /// Loopback is asked first: it tells whether the server works at all.
    bool loopback = false;
};

struct AddressAnswer {
    Address address;
    KeyCheck::Answer answer;

    bool operator==(const AddressAnswer&) const = default;
};

/// Who the phone logs in as, where its key lives and which key it is.
struct Subject {
    std::string user;
    uid_t uid = 0;
    std::vector<std::string> groups;
    std::filesystem::path home;
    std::filesystem::path keyFile;
    int port = WellKnown::sshPort;
    /// Empty for the checks that need no key (nothing is paired yet).
    std::string keyType;
    std::string keyBase64;
};

struct Result {
    /// Per address, in the order asked.
    std::vector<AddressAnswer> answers;
    /// Empty when the key works everywhere it was asked.
    std::vector<Obstacle> obstacles;
    /// The first host key fingerprint any address gave.
    std::optional<std::string> hostKeyFingerprint;
    /// Why the key file cannot be read as pairing reads it, when it cannot; its obstacle is among
    /// `obstacles`.
    std::optional<KeyFileFailure> keyFileFailure;

    /// True when the server accepted the key (or, without a key, answered) on every address and
    /// nothing found keeps the phone out.
    bool works() const;

    /// `keyFileFailure` when `obstacle` is the one it stands for; nothing otherwise.
    std::optional<KeyFileFailure> failureBehind(Obstacle obstacle) const;
};

/// The addresses to ask: 127.0.0.1 first, then each host of `hosts` that is an IPv4 or IPv6
/// literal and not loopback (names need the phone's resolver, not ours).
std::vector<Address> addresses(const std::vector<std::string>& hosts);

/// Asks on every address of `addresses` and, where the answer is no, gathers the causes from
/// `settings` (what `sshd -T` printed, when it could run) and from the modes of the key's way. A key
/// file that cannot be read as pairing reads it is named whatever the server answered.
Result diagnose(const Subject& subject, const std::vector<Address>& addresses,
                const std::optional<SshdSettings>& settings,
                std::chrono::milliseconds bound = KeyCheck::answerBound);

/// The causes for answers already in hand (exposed so the reasoning can be checked on its own).
std::vector<Obstacle> causes(const Subject& subject, const std::vector<AddressAnswer>& answers,
                             const std::optional<SshdSettings>& settings);

} // namespace CompanionCore::KeyDiagnosis
