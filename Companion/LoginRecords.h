#pragma once

#include "Companion/ProcessRunner.h"
#include "CompanionCore/Expected.h"
#include "CompanionCore/SshdRecord.h"

#include <QString>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Companion {

/// One attempt to log in with a key, as the SSH server recorded it: who, from which address and
/// source port (as `SSH_CONNECTION` names them), with which key, and whether it was let in.
using LoginAttempt = CompanionCore::SshdRecord;

/// Where the SSH server keeps its records of logins, read newest first. Only records the server
/// itself wrote count: a line another program forges in its name is skipped.
class LoginRecords {
public:
    struct Query {
        /// The keys asked about ("SHA256:…"); attempts with other keys are skipped.
        std::vector<std::string> fingerprints;
        /// The account asked about; attempts for other accounts are skipped. Empty: every account.
        std::string user;
        /// Nothing older is read.
        std::chrono::system_clock::time_point since;
        /// Reading stops once every key has this many accepted logins (live sessions are matched
        /// against them) or the source's own bound in bytes is reached.
        std::size_t acceptedPerKey = 16;
    };

    /// No record can be read here, and how the user can allow it (said once, not once per phone).
    struct Unreadable {
        QString howToAllow;
        bool operator==(const Unreadable&) const = default;
    };

    using Reading = CompanionCore::Expected<std::vector<LoginAttempt>, Unreadable>;

    virtual ~LoginRecords() = default;

    /// The attempts with the asked keys, newest first. Blocks on the disk or the system's log tool.
    virtual Reading newest(const Query& query) = 0;
};

/// The system's records: on Linux the journal where journald keeps one, else /var/log/auth.log or
/// /var/log/secure; on macOS the unified log, through `runner`.
std::shared_ptr<LoginRecords> systemLoginRecords(std::shared_ptr<ProcessRunner> runner);

} // namespace Companion
