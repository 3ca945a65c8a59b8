#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CompanionCore {

/// A process's executable, arguments and environment, as the kernel hands them to a process of the
/// same user.
struct ProcessArguments {
    std::string executable;
    std::vector<std::string> arguments;
    /// "NAME=value" texts.
    std::vector<std::string> environment;

    bool operator==(const ProcessArguments&) const = default;

    /// macOS's KERN_PROCARGS2 buffer: the argument count as a native int, the executable path, the
    /// padding NULs after it, the arguments and then the environment, each NUL-terminated. Nothing
    /// when the buffer is cut short before the arguments end.
    static std::optional<ProcessArguments> fromProcArgs2(std::string_view buffer);

    /// NUL-separated "NAME=value" texts, as Linux's /proc/PID/environ holds them.
    static std::vector<std::string> environmentBlock(std::string_view block);

    /// The value of `name` in `environment`, if it is set.
    static std::optional<std::string> variable(const std::vector<std::string>& environment,
                                               std::string_view name);
};

} // namespace CompanionCore
