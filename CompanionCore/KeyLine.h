#pragma once

#include <cstddef>
#include <string>

namespace CompanionCore {

/// A line of the authorized keys file that holds a given key, as people are shown it.
struct KeyLine {
    /// Where the line is in the file, counting from 1.
    std::size_t lineNumber = 0;
    /// The line with its base64 blob written "…": options, key type and comment, each display-safe
    /// and cut short when long, so a hostile line can neither steer a terminal nor flood it.
    std::string excerpt;

    bool operator==(const KeyLine&) const = default;
};

} // namespace CompanionCore
