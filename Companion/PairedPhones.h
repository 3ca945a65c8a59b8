#pragma once

#include "Companion/RevokeScope.h"
#include "CompanionCore/Expected.h"
#include "CompanionCore/KeyFileFailure.h"
#include "CompanionCore/KeyLine.h"
#include "CompanionCore/PairedDevice.h"
#include "CompanionCore/PairedDevices.h"

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace Companion {

/// The phones that can log in to this account, as the panel and the terminal both list, find and
/// revoke them. The authorized keys file is the only record: every call reads it afresh, so what is
/// shown is what the SSH server reads.
class PairedPhones {
public:
    template <typename T>
    using Read = CompanionCore::Expected<T, CompanionCore::KeyFileFailure>;

    explicit PairedPhones(std::filesystem::path authorizedKeys);

    const std::filesystem::path& file() const { return m_file; }

    /// The phones' lines in file order and how many other keys the file holds, or why it cannot be
    /// read. A file that does not exist holds no phone.
    Read<CompanionCore::PairedDevices::Listing> list() const;

    /// The phones `query` names, by name exactly or by key fingerprint ("SHA256:…", the prefix may be
    /// left out).
    Read<std::vector<CompanionCore::PairedDevice>> find(std::string_view query) const;

    /// The lines that hold `phone`'s key but are not its own, in file order: revoking only the phone's
    /// lines leaves it able to log in through them.
    Read<std::vector<CompanionCore::KeyLine>>
    otherLinesHolding(const CompanionCore::PairedDevice& phone) const;

    /// Removes `phone`'s lines, or with `RevokeScope::everyLine` every line holding its key, and
    /// answers the lines of the file as written that still hold the key: empty exactly when the phone
    /// can no longer log in. The file may change between a question and the edit, so this is judged
    /// on the text written. Throws std::system_error as `AuthorizedKeys::rewrite` does.
    std::vector<CompanionCore::KeyLine> revoke(const CompanionCore::PairedDevice& phone, RevokeScope scope,
                                               const std::stop_token& stop = {}) const;

    /// The key's fingerprint as `ssh-keygen -l` prints it ("SHA256:…"), or nothing for a key the SSH
    /// server could not use.
    static std::optional<std::string> fingerprint(const CompanionCore::PairedDevice& phone);

private:
    std::filesystem::path m_file;
};

} // namespace Companion
