#pragma once

#include "Companion/Host.h"
#include "Companion/LoginRecords.h"
#include "CompanionCore/PairedDevice.h"

#include <QString>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Companion {

/// What the SSH server's records and the process table say of one paired phone.
struct PhoneActivity {
    /// Its newest accepted login.
    std::optional<LoginAttempt> lastLogin;
    /// Its newest attempt, when that was refused.
    std::optional<LoginAttempt> refusedLast;
    /// A process of the user belongs to one of its logins (other than a mosh-server).
    bool connectedNow = false;
    /// The mosh-servers started from its logins that still run.
    int moshSessions = 0;

    bool operator==(const PhoneActivity&) const = default;
};

/// The activity of several phones at once.
struct ActivityReading {
    /// In the order of the phones asked about.
    std::vector<PhoneActivity> phones;
    /// No record could be read, and how to allow it; the phones' `lastLogin` are then absent.
    std::optional<QString> unreadable;
};

namespace PhoneActivities {

/// How far back the records are read.
inline constexpr std::chrono::hours lookBack{24 * 400};

/// Reads `host`'s login records and live sessions for `phones`. Blocks on the disk.
ActivityReading read(const Host& host, const std::vector<CompanionCore::PairedDevice>& phones);

/// The first accepted login with `fingerprint` at or after `since`, if the records show one; only
/// `user`'s when it is given.
std::optional<LoginAttempt> firstLoginSince(LoginRecords& records, const std::string& fingerprint,
                                            std::chrono::system_clock::time_point since,
                                            const std::string& user = {});

} // namespace PhoneActivities

} // namespace Companion
