#include "CompanionCore/ProcessArguments.h"

#include <cstring>

namespace CompanionCore {

namespace {

/// The NUL-terminated text at `at`, which moves past its NUL; nothing when no NUL ends it.
std::optional<std::string_view> takeText(std::string_view buffer, std::size_t& at) {
    const auto end = buffer.find('\0', at);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const auto text = buffer.substr(at, end - at);
    at = end + 1;
    return text;
}

} // namespace

std::optional<ProcessArguments> ProcessArguments::fromProcArgs2(std::string_view buffer) {
    int count = 0;
    if (buffer.size() < sizeof count) {
        return std::nullopt;
    }
    std::memcpy(&count, buffer.data(), sizeof count);
    if (count < 0) {
        return std::nullopt;
    }
    std::size_t at = sizeof count;
    const auto executable = takeText(buffer, at);
    if (!executable) {
        return std::nullopt;
    }
    ProcessArguments parsed;
    parsed.executable = std::string(*executable);
    while (at < buffer.size() && buffer[at] == '\0') {
        ++at;
    }
    for (int index = 0; index < count; ++index) {
        const auto argument = takeText(buffer, at);
        if (!argument) {
            return std::nullopt;
        }
        parsed.arguments.emplace_back(*argument);
    }
    // The environment ends at an empty text or at the end of what the kernel copied.
    while (at < buffer.size()) {
        const auto variable = takeText(buffer, at);
        if (!variable || variable->empty()) {
            break;
        }
        parsed.environment.emplace_back(*variable);
    }
    return parsed;
}

std::vector<std::string> ProcessArguments::environmentBlock(std::string_view block) {
    std::vector<std::string> environment;
    std::size_t at = 0;
    while (at < block.size()) {
        auto end = block.find('\0', at);
        if (end == std::string_view::npos) {
            end = block.size();
        }
        if (end > at) {
            environment.emplace_back(block.substr(at, end - at));
        }
        at = end + 1;
    }
    return environment;
}

std::optional<std::string> ProcessArguments::variable(const std::vector<std::string>& environment,
                                                      std::string_view name) {
    for (const auto& entry : environment) {
        if (entry.size() > name.size() && entry.starts_with(name) && entry[name.size()] == '=') {
            return entry.substr(name.size() + 1);
        }
    }
    return std::nullopt;
}

} // namespace CompanionCore
