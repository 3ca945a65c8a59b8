#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

/// Pairing codes known in advance, for a server's code source: hands out `codes` in order and then
/// from the first again. Copies of the source share one position.
class CodeSequence {
public:
    explicit CodeSequence(std::vector<std::string> codes = {"123456", "234567", "345678"})
        : m_state(std::make_shared<State>(State{std::move(codes), 0})) {}

    /// The source to give the server.
    std::function<std::string()> source() const {
        return [state = m_state] {
            const std::string& code = state->codes[state->next % state->codes.size()];
            ++state->next;
            return code;
        };
    }
    /// The `index`th code handed out, counting from 0.
    const std::string& operator[](std::size_t index) const {
        return m_state->codes[index % m_state->codes.size()];
    }
    /// How many codes have been handed out.
    std::size_t drawn() const { return m_state->next; }

private:
    struct State {
        std::vector<std::string> codes;
        std::size_t next = 0;
    };
    std::shared_ptr<State> m_state;
};

/// A guess that is none of `sequence`'s codes.
inline constexpr const char* wrongCode = "000000";

} // namespace TestSupport
