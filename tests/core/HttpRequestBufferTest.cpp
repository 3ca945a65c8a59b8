#include "CompanionCore/HttpRequestBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace CompanionCore;

namespace {

/// Inputs the buffer must answer exactly like a parse of everything gathered so far.
const std::vector<std::string>& samples() {
    static const std::vector<std::string> inputs = {
        "POST /pair HTTP/1.1\r\nContent-Length: 5\r\n\r\nabcde",
        "POST /pair HTTP/1.1\r\nContent-Length: 5\r\n\r\nab",
        "POST /pair HTTP/1.1\r\nHost: x\r\n\r\nignored body",
        "GET /pair HTTP/1.1\r\n\r\n",
        "POST /pair HTTP/1.1\r\nContent-Length: abc\r\n\r\nxyz",
        "POST /pair HTTP/1.1\r\nContent-Length: +3\r\n\r\nxyzw",
        "POST /pair HTTP/1.1\r\nContent-Length: -1\r\n\r\nplenty of bytes",
        "POST /pair HTTP/1.1\r\nContent-Length: -9223372036854775808\r\n\r\n",
        "POST /pair HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\nab",
        "POST /pair HTTP/1.1\r\nContent-Length: 1000\r\n\r\nshort",
        "POST\r\nContent-Length: 0\r\n\r\n",
        "\r\n\r\nbody",
        "POST /pair HTTP/1.1\r\nX-Name: \xFF\xFE\r\nContent-Length: 2\r\n\r\n{}",
        "POST /pair HTTP/1.1\nContent-Length: 0\n\n{}\n\n",
        "POST /pair HTTP/1.1\r\nX-A: 1\r\n\r\r\n\r\n",
        "POST /pair HTTP/1.1\r\nX-A: 1\r\n\r\nX\r\n\r\n",
        "POST /pair HTTP/1.1\r\r\n\n\r\n\r\n",
        "POST /pair HTTP/1.1\r\nContent-Length: 6\r\n\r\na\r\n\r\nb",
        "POST /pair HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}GET / HTTP/1.1\r\n\r\n",
        "POST /pair HTTP/1.1\r\nX-Note: a:b\r\nno colon\r\ncontent-LENGTH: 1\r\nCONTENT-length: "
        "3\r\n\r\nabcdef",
        "get  /pair?x=1   HTTP/1.0\r\n\r\n",
        "POST /pair HTTP/1.1\r\nContent-Length: 0",
        "",
    };
    return inputs;
}

std::string shown(const std::string& bytes) {
    std::string out;
    for (const char c : bytes) {
        if (c == '\r') {
            out += "\\r";
        } else if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

TEST(HttpRequestBufferTest, OneByteChunksAnswerLikeAParseOfEachPrefix) {
    for (const auto& input : samples()) {
        HttpRequestBuffer buffer;
        for (std::size_t i = 0; i < input.size(); ++i) {
            const auto answer = buffer.append(std::string_view(input).substr(i, 1));
            ASSERT_EQ(answer, HttpRequest::parse(std::string_view(input).substr(0, i + 1)))
                << shown(input) << " after " << i + 1 << " bytes";
        }
    }
}

TEST(HttpRequestBufferTest, EveryTwoWaySplitAnswersLikeAParseOfTheWhole) {
    for (const auto& input : samples()) {
        for (std::size_t split = 0; split <= input.size(); ++split) {
            HttpRequestBuffer buffer;
            const auto first = buffer.append(std::string_view(input).substr(0, split));
            ASSERT_EQ(first, HttpRequest::parse(std::string_view(input).substr(0, split)))
                << shown(input) << " split at " << split;
            const auto second = buffer.append(std::string_view(input).substr(split));
            ASSERT_EQ(second, HttpRequest::parse(input)) << shown(input) << " split at " << split;
        }
    }
}

TEST(HttpRequestBufferTest, ATerminatorSplitOverThreeChunksIsFound) {
    HttpRequestBuffer buffer;
    EXPECT_FALSE(buffer.append("GET /pair HTTP/1.1\r"));
    EXPECT_FALSE(buffer.append("\n\r"));
    const auto request = buffer.append("\n");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "GET");
}

TEST(HttpRequestBufferTest, AMalformedHeadStaysUnansweredWhateverFollows) {
    HttpRequestBuffer buffer;
    EXPECT_FALSE(buffer.append("POST\r\n\r\n"));
    EXPECT_FALSE(buffer.append("POST /pair HTTP/1.1\r\n\r\n"));
}

TEST(HttpRequestBufferTest, ANegativeLengthStaysUnansweredWhateverFollows) {
    HttpRequestBuffer buffer;
    EXPECT_FALSE(buffer.append("POST /pair HTTP/1.1\r\nContent-Length: -4\r\n\r\n"));
    EXPECT_FALSE(buffer.append(std::string(64, 'x')));
}

TEST(HttpRequestBufferTest, KeepsAnsweringTheRequestOnceComplete) {
    HttpRequestBuffer buffer;
    const auto first = buffer.append("POST /pair HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}");
    ASSERT_TRUE(first);
    EXPECT_EQ(buffer.append("trailing"), first);
}

TEST(HttpRequestBufferTest, CountsEveryByteGathered) {
    HttpRequestBuffer buffer;
    buffer.append("abc");
    buffer.append("");
    buffer.append("de");
    EXPECT_EQ(buffer.size(), 5u);
}
