#include "CompanionCore/HttpRequestBuffer.h"

namespace CompanionCore {

std::optional<HttpRequest> HttpRequestBuffer::append(std::string_view bytes) {
    m_bytes.append(bytes);
    if (m_hopeless) {
        return std::nullopt;
    }
    if (!m_head) {
        // The terminator may straddle the previous search's end: step back by its length less one.
        const std::size_t overlap = headTerminator.size() - 1;
        const std::size_t from = m_searchedUpTo > overlap ? m_searchedUpTo - overlap : 0;
        const std::size_t headEnd = std::string_view(m_bytes).find(headTerminator, from);
        m_searchedUpTo = m_bytes.size();
        if (headEnd == std::string_view::npos) {
            return std::nullopt;
        }
        m_head = HttpRequest::parseHead(std::string_view(m_bytes).substr(0, headEnd));
        const auto length = m_head ? HttpRequest::declaredBodyLength(*m_head) : std::nullopt;
        if (!length) {
            // A malformed head or a negative length never becomes a request, whatever follows.
            m_hopeless = true;
            return std::nullopt;
        }
        m_bodyStart = headEnd + headTerminator.size();
        m_bodyLength = static_cast<std::size_t>(*length);
    }
    if (m_bytes.size() - m_bodyStart < m_bodyLength) {
        return std::nullopt;
    }
    HttpRequest request = *m_head;
    request.body = m_bytes.substr(m_bodyStart, m_bodyLength);
    return request;
}

} // namespace CompanionCore
