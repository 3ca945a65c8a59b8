#pragma once

#include "Companion/LoginRecords.h"
#include "CompanionCore/Timestamp.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Companion {

/// The records a syslog daemon writes for sshd into a file: /var/log/auth.log on Debian and Ubuntu,
/// /var/log/secure on Fedora. The file is read backwards from its end, so the newest records cost
/// the least, and never more than a bound of bytes.
class AuthLogLoginRecords final : public LoginRecords {
public:
    /// How much of the end of the file is read at most.
    static constexpr std::size_t defaultByteBound = std::size_t{32} << 20;
    /// How much is read at a time.
    static constexpr std::size_t chunkBytes = std::size_t{256} << 10;

    /// /var/log/auth.log, then /var/log/secure.
    static std::vector<std::filesystem::path> systemFiles();

    /// Reads the first of `candidates` that exists; `userName` names the account in the advice when
    /// the file cannot be read, `clock` gives the year the traditional syslog dates leave out.
    explicit AuthLogLoginRecords(std::vector<std::filesystem::path> candidates = systemFiles(),
                                 CompanionCore::Clock clock = CompanionCore::systemNow,
                                 std::function<std::string()> userName = {},
                                 std::size_t byteBound = defaultByteBound);

    Reading newest(const Query& query) override;

private:
    std::vector<std::filesystem::path> m_candidates;
    CompanionCore::Clock m_clock;
    std::function<std::string()> m_userName;
    std::size_t m_byteBound;
};

} // namespace Companion
