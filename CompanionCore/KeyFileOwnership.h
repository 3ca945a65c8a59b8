#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

namespace CompanionCore {

/// Whether the key file a pairing writes belongs to the account the phone is told to log in to. Run
/// as one account with the home folder of another (as `sudo -E` does), a pairing would name the first
/// to the phone and write the second's files: the phone could never log in, and the owner would find
/// her `~/.ssh` taken over.
class KeyFileOwnership {
public:
    /// A file or folder that belongs to another account.
    struct Mismatch {
        std::filesystem::path path;
        uid_t owner = 0;
        bool operator==(const Mismatch&) const = default;
    };

    /// A mismatch as people are told it: both accounts by name, "uid N" for one without a name.
    struct Named {
        std::filesystem::path path;
        std::string owner;
        /// The account the phone would log in to.
        std::string account;
        bool operator==(const Named&) const = default;
    };

    /// The account called `user`; this process's own when no account has that name.
    static uid_t accountOf(const std::string& user);

    /// The first of the key file (its link followed), its folder and, when that folder is a `.ssh`,
    /// the home folder above it that exists and is not `account`'s; nothing when all that exist are.
    static std::optional<Mismatch> check(const std::filesystem::path& keyFile, uid_t account);

    /// The mismatch with both accounts looked up by name.
    static Named named(const Mismatch& mismatch, uid_t account);

    /// "/home/ana/.ssh belongs to ana, not to root, the account the phone would log in to".
    static std::string describe(const Named& named);
};

} // namespace CompanionCore
