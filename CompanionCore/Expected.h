#pragma once

#include <utility>
#include <variant>

namespace CompanionCore {

/// A value or the core's own small failure enumeration.
template <typename T, typename E>
class Expected {
public:
    Expected(T value)
        : m_content(std::in_place_index<0>, std::move(value)) {}
    Expected(E failure)
        : m_content(std::in_place_index<1>, failure) {}

    bool hasValue() const { return m_content.index() == 0; }
    explicit operator bool() const { return hasValue(); }

    const T& value() const { return std::get<0>(m_content); }
    const T& operator*() const { return value(); }
    const T* operator->() const { return &value(); }
    E failure() const { return std::get<1>(m_content); }

    bool operator==(const Expected&) const = default;

private:
    std::variant<T, E> m_content;
};

} // namespace CompanionCore
