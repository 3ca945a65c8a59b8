#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace TestSupport {

/// The whole file, byte for byte; empty when it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Replaces the file's contents with `content`, byte for byte.
inline void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

} // namespace TestSupport
