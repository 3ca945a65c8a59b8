#pragma once

#include "Companion/LoginRecords.h"
#include "Companion/ProcessRunner.h"
#include "CompanionCore/Timestamp.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace Companion {

/// macOS's unified log, read with `log show` through the runner. The tool prints the oldest entry
/// first, so its output is read from the end.
class UnifiedLogLoginRecords final : public LoginRecords {
public:
    static constexpr const char* logTool = "/usr/bin/log";
    /// The entries of sshd and of its per-session process, and only those that name a key.
    static constexpr const char* predicate =
        "(processImagePath == \"/usr/sbin/sshd\" OR processImagePath == \"/usr/libexec/sshd-session\") "
        "AND eventMessage CONTAINS \"publickey for\"";
    /// `log show` over a long window can take a while on a busy Mac.
    static constexpr std::chrono::seconds timeout{60};
    /// Only this much of the end of the output is kept and read (the newest entries).
    static constexpr std::size_t outputBound = std::size_t{32} << 20;

    explicit UnifiedLogLoginRecords(std::shared_ptr<ProcessRunner> runner,
                                    CompanionCore::Clock clock = CompanionCore::systemNow);

    Reading newest(const Query& query) override;

    /// The command that lists the entries from `since` to `now`.
    static ProcessCommand command(std::chrono::system_clock::time_point since,
                                  std::chrono::system_clock::time_point now);

private:
    std::shared_ptr<ProcessRunner> m_runner;
    CompanionCore::Clock m_clock;
};

} // namespace Companion
