#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace TestSupport {

/// Writes a file and makes it executable by its owner, for fake tools (small shell scripts).
inline std::filesystem::path writeExecutable(const std::filesystem::path& path, const std::string& text) {
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        if (!file) {
            throw std::runtime_error("cannot write " + path.string());
        }
        file << text;
    }
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

/// A shell script: "#!/bin/sh" followed by `body`.
inline std::filesystem::path writeScript(const std::filesystem::path& path, const std::string& body) {
    return writeExecutable(path, "#!/bin/sh\n" + body + "\n");
}

} // namespace TestSupport
