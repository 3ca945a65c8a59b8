#pragma once

#include "CompanionCore/HttpRequest.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace CompanionCore {

/// Gathers one connection's bytes and answers exactly what `HttpRequest::parse` would answer over
/// everything gathered so far, but looks for the end of the head only in bytes not searched before,
/// so a peer that sends one byte at a time costs linear work.
class HttpRequestBuffer {
public:
    /// Appends bytes and answers the request once one is complete.
    std::optional<HttpRequest> append(std::string_view bytes);

    /// Bytes gathered so far.
    std::size_t size() const { return m_bytes.size(); }

    /// Whether the head (request line and headers, up to the blank line) has arrived.
    bool headComplete() const { return m_head.has_value(); }

private:
    std::string m_bytes;
    std::size_t m_searchedUpTo = 0;
    std::optional<HttpRequest> m_head;
    std::size_t m_bodyStart = 0;
    std::size_t m_bodyLength = 0;
    bool m_hopeless = false;
};

} // namespace CompanionCore
