// HttpRequest::parse on arbitrary bytes, and HttpRequestBuffer fed the same bytes in several splits:
// every answer of the buffer must be what parse answers over the bytes gathered so far.

#include "CompanionCore/HttpRequest.h"
#include "CompanionCore/HttpRequestBuffer.h"
#include "Invariant.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

using CompanionCore::headTerminator;
using CompanionCore::HttpRequest;
using CompanionCore::HttpRequestBuffer;
using CompanionFuzz::require;

namespace {

/// Inputs up to this size are also parsed prefix by prefix, which costs quadratic time.
constexpr std::size_t prefixParseLimit = 256;
/// Inputs up to this size are also fed to the buffer one byte at a time.
constexpr std::size_t dribbleLimit = 4096;
/// How many leading input bytes choose the chunk sizes of the irregular split.
constexpr std::size_t chunkSeedLength = 8;

/// What parse answers over the first `length` bytes, known from the whole input: nothing until the
/// request is complete, then the same request however many bytes follow.
class Expectation {
public:
    explicit Expectation(std::string_view data)
        : m_whole(HttpRequest::parse(data)) {
        if (m_whole) {
            m_completeAt = data.find(headTerminator) + headTerminator.size() + m_whole->body.size();
        }
    }

    const std::optional<HttpRequest>& whole() const { return m_whole; }
    std::size_t completeAt() const { return m_completeAt; }

    bool matches(const std::optional<HttpRequest>& answer, std::size_t length) const {
        if (m_whole && length >= m_completeAt) {
            return answer && *answer == *m_whole;
        }
        return !answer;
    }

private:
    std::optional<HttpRequest> m_whole;
    std::size_t m_completeAt = 0;
};

/// Feeds `data` to a fresh buffer in chunks of the sizes `nextSize` gives and checks every answer.
template <typename NextSize>
void feedInChunks(std::string_view data, const Expectation& expected, NextSize nextSize) {
    HttpRequestBuffer buffer;
    std::size_t fed = 0;
    while (fed < data.size()) {
        const std::size_t chunk = std::min(nextSize(), data.size() - fed);
        const auto answer = buffer.append(data.substr(fed, chunk));
        fed += chunk;
        require(buffer.size() == fed, "the buffer holds every byte appended");
        require(expected.matches(answer, fed), "the buffer answers what parse answers over the same bytes");
    }
    require(expected.matches(buffer.append({}), fed), "appending nothing changes no answer");
}

void checkParsedRequest(std::string_view data, const HttpRequest& request) {
    require(!request.method.empty() && request.method.find(' ') == std::string::npos,
            "the method is one non-empty token");
    require(!request.path.empty() && request.path.find(' ') == std::string::npos,
            "the path is one non-empty token");
    for (const auto& [name, value] : request.headers) {
        require(name.find(':') == std::string::npos, "a header name stops at the first colon");
        require(name.find("\r\n") == std::string::npos && value.find("\r\n") == std::string::npos,
                "a header stays on its line");
    }
    const std::size_t bodyStart = data.find(headTerminator) + headTerminator.size();
    require(data.substr(bodyStart, request.body.size()) == request.body,
            "the body is the bytes right after the blank line");
    const auto declared = HttpRequest::declaredBodyLength(request);
    require(declared && static_cast<unsigned long long>(*declared) == request.body.size(),
            "the body is exactly as long as declared");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view data(reinterpret_cast<const char*>(bytes), size);
    const Expectation expected(data);

    if (expected.whole()) {
        checkParsedRequest(data, *expected.whole());
        // The expectation assumes parse is monotonic; check its edge directly.
        require(!HttpRequest::parse(data.substr(0, expected.completeAt() - 1)),
                "one byte short of complete yields nothing");
        require(HttpRequest::parse(data.substr(0, expected.completeAt())) == expected.whole(),
                "a complete request yields what the whole input yields");
    }
    if (size <= prefixParseLimit) {
        for (std::size_t length = 0; length <= size; ++length) {
            require(expected.matches(HttpRequest::parse(data.substr(0, length)), length),
                    "parse yields nothing until the request is complete, then always the same request");
        }
    }

    feedInChunks(data, expected, [&] { return size; });

    const std::size_t firstPiece =
        size == 0 ? 0 : (bytes[0] | (std::size_t{bytes[size - 1]} << 8)) % (size + 1);
    bool first = true;
    feedInChunks(data, expected, [&] {
        const std::size_t chunk = first ? firstPiece : size;
        first = false;
        return chunk;
    });

    const std::size_t seedLength = std::min(size, chunkSeedLength);
    std::size_t seedIndex = 0;
    feedInChunks(data, expected, [&] { return std::size_t{1} + bytes[seedIndex++ % seedLength]; });
    feedInChunks(data, expected, [&] { return std::size_t{1} + bytes[seedIndex++ % seedLength] % 7; });

    if (size <= dribbleLimit) {
        feedInChunks(data, expected, [] { return std::size_t{1}; });
    }
    return 0;
}
