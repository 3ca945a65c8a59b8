#include "CompanionCore/KeyFileOwnership.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace CompanionCore {

namespace {

std::string accountName(uid_t uid) {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_name != nullptr) {
        return found->pw_name;
    }
    return "uid " + std::to_string(uid);
}

} // namespace

uid_t KeyFileOwnership::accountOf(const std::string& user) {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
        return found->pw_uid;
    }
    return ::geteuid();
}

std::optional<KeyFileOwnership::Mismatch> KeyFileOwnership::check(const std::filesystem::path& keyFile,
                                                                  uid_t account) {
    std::vector<std::filesystem::path> paths{keyFile};
    const std::filesystem::path folder = keyFile.parent_path();
    if (!folder.empty()) {
        paths.push_back(folder);
        if (folder.filename() == ".ssh" && folder.has_parent_path() && folder.parent_path() != folder) {
            paths.push_back(folder.parent_path());
        }
    }
    for (const auto& path : paths) {
        struct stat info {};
        // Followed: what counts is the file or folder the SSH server and the installer reach.
        if (::stat(path.c_str(), &info) == 0 && info.st_uid != account) {
            return Mismatch{path, info.st_uid};
        }
    }
    return std::nullopt;
}

KeyFileOwnership::Named KeyFileOwnership::named(const Mismatch& mismatch, uid_t account) {
    return {mismatch.path, accountName(mismatch.owner), accountName(account)};
}

std::string KeyFileOwnership::describe(const Named& named) {
    return named.path.string() + " belongs to " + named.owner + ", not to " + named.account +
           ", the account the phone would log in to";
}

} // namespace CompanionCore
