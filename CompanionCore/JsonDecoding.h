#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>

/// Strict decoding of JSON records: a key of the wrong JSON type is a failure, never a conversion.
namespace CompanionCore::JsonDecoding {

/// The top-level JSON object in `text`, or nothing when it is not exactly one object.
std::optional<nlohmann::json> object(std::string_view text);

template <typename T>
bool holds(const nlohmann::json& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value.is_boolean();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return value.is_string();
    } else if constexpr (std::is_integral_v<T>) {
        // A number that does not fit is a failure, never silently cut short.
        if (value.is_number_unsigned()) {
            return value.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<T>::max());
        }
        if (value.is_number_integer()) {
            const auto number = value.get<std::int64_t>();
            return number >= static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
                   number <= static_cast<std::int64_t>(std::numeric_limits<T>::max());
        }
        return false;
    } else {
        static_assert(!sizeof(T), "no strict JSON check for this type");
    }
}

/// The value under `key`; nothing when missing, null or of another type.
template <typename T>
std::optional<T> required(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !holds<T>(*found)) {
        return std::nullopt;
    }
    return found->template get<T>();
}

/// An optional key's outcome: absent (missing or null), present, or of the wrong type.
template <typename T>
struct Optional {
    bool wrongType = false;
    std::optional<T> value;
};

template <typename T>
Optional<T> optional(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return {};
    }
    if (!holds<T>(*found)) {
        return {true, std::nullopt};
    }
    return {false, found->template get<T>()};
}

} // namespace CompanionCore::JsonDecoding
