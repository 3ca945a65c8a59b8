#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace CompanionCore::JsonText {

/// Compact JSON with keys in insertion order, invalid UTF-8 replaced, and every "/" written as "\/",
/// the form the phone has always been sent.
std::string encode(const nlohmann::ordered_json& value);

} // namespace CompanionCore::JsonText
