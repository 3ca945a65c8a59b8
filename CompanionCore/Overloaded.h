#pragma once

namespace CompanionCore {

/// One visitor made of several lambdas, one per alternative of a `std::variant`: `std::visit` then
/// refuses to compile when an alternative has no case.
template <typename... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace CompanionCore
