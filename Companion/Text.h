#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The small text operations the companion layer shares.
namespace Companion::Text {

/// `text` without white space at either end.
std::string trimmed(std::string_view text);

/// The pieces with `separator` between each two.
std::string joined(const std::vector<std::string>& pieces, std::string_view separator);

} // namespace Companion::Text
