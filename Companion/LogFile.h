#pragma once

#include <filesystem>

/// The pairing log as the user opens it from the panel.
namespace Companion::LogFile {

/// The log's permissions: it names devices and shows codes, so it is for this user's eyes only.
inline constexpr unsigned fileMode = 0600;
inline constexpr unsigned folderMode = 0700;

/// Makes sure `file` exists, so that the desktop's opener has something to show before the first
/// pairing has written a line: creates each missing folder (0700) and an empty file (0600). An
/// existing file is never opened for writing, let alone truncated. False when the file is still not
/// there.
bool ensureExists(const std::filesystem::path& file);

} // namespace Companion::LogFile
