#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Texts as the event log writes them. Much of what the log shows comes from the network (a phone's
/// name, a request's path), so every text is escaped until no character in it can start a line of
/// its own or steer the terminal that shows the log.
namespace CompanionCore::LogText {

/// In double quotes, with backslash escapes for quotes, backslashes and control characters.
std::string quoted(std::string_view text);

/// `text` with its control characters escaped as `quoted` does, without the quotes.
std::string escapedControls(std::string_view text);

/// ["a", "b"]: each text quoted.
std::string quotedList(const std::vector<std::string>& texts);

/// [52901, 52902]
std::string numberList(const std::vector<std::uint16_t>& numbers);

/// `text` escaped as `escapedControls` does and cut at a character boundary to at most `maxBytes`,
/// followed by "… (N bytes)" with the length it had when it was cut.
std::string bounded(std::string_view text, std::size_t maxBytes);

} // namespace CompanionCore::LogText
