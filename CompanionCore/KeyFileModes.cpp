#include "CompanionCore/KeyFileModes.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace CompanionCore::KeyFileModes {

namespace {

/// Large enough for the group and user entries of any ordinary system.
constexpr std::size_t entryBufferSize = 16384;

bool isPrivateGroup(gid_t gid, uid_t uid) {
    passwd user{};
    passwd* userFound = nullptr;
    std::vector<char> userBuffer(entryBufferSize);
    if (::getpwuid_r(uid, &user, userBuffer.data(), userBuffer.size(), &userFound) != 0 ||
        userFound == nullptr || user.pw_gid != gid) {
        return false;
    }
    group entry{};
    group* found = nullptr;
    std::vector<char> buffer(entryBufferSize);
    if (::getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return false;
    }
    if (std::string(entry.gr_name) != user.pw_name) {
        return false;
    }
    for (char** member = entry.gr_mem; *member != nullptr; ++member) {
        if (std::string(*member) != user.pw_name) {
            return false;
        }
    }
    return true;
}

bool refused(const struct stat& info, uid_t uid) {
    if (info.st_uid != 0 && info.st_uid != uid) {
        return true;
    }
    if ((info.st_mode & S_IWOTH) != 0) {
        return true;
    }
    return (info.st_mode & S_IWGRP) != 0 && !isPrivateGroup(info.st_gid, uid);
}

} // namespace

std::vector<Obstacle> obstacles(const std::filesystem::path& home, const std::filesystem::path& keyFile,
                                uid_t uid) {
    std::vector<Obstacle> found;
    struct stat info {};
    if (::stat(keyFile.c_str(), &info) != 0) {
        return found;
    }
    if (refused(info, uid)) {
        found.push_back(Obstacle::keyFileModes);
    }
    const auto top = home.lexically_normal();
    bool folderRefused = false;
    for (auto folder = keyFile.lexically_normal().parent_path(); !folder.empty();
         folder = folder.parent_path()) {
        if (::stat(folder.c_str(), &info) != 0) {
            break;
        }
        if (folder == top) {
            if (refused(info, uid)) {
                found.push_back(Obstacle::homeModes);
            }
            break;
        }
        if (refused(info, uid)) {
            folderRefused = true;
        }
        if (folder == folder.root_path()) {
            break;
        }
    }
    if (folderRefused) {
        found.push_back(Obstacle::sshFolderModes);
    }
    return found;
}

} // namespace CompanionCore::KeyFileModes
