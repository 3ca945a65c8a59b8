#include "CompanionCore/HttpRequest.h"

#include <gtest/gtest.h>

#include <string>

using namespace CompanionCore;

namespace {

std::string post(const std::string& headers, const std::string& after = "") {
    return "POST /pair HTTP/1.1\r\n" + headers + "\r\n" + after;
}

} // namespace

TEST(HttpRequestTest, YieldsNothingUntilAllBodyBytesArrive) {
    std::string data = post("Content-Length: 5\r\n", "ab");
    EXPECT_FALSE(HttpRequest::parse(data));
    data += "cde";
    const auto request = HttpRequest::parse(data);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "abcde");
}

TEST(HttpRequestTest, ReadsMethodPathAndHeaders) {
    const auto request = HttpRequest::parse(post("Host: studio.local:52901\r\nContent-Length: 2\r\n", "{}"));
    ASSERT_TRUE(request);
    const HttpRequest expected{
        "POST", "/pair", {{"host", "studio.local:52901"}, {"content-length", "2"}}, "{}"};
    EXPECT_EQ(*request, expected);
}

TEST(HttpRequestTest, IgnoresBytesAfterTheBlankLineWithoutContentLength) {
    const auto request = HttpRequest::parse(post("Host: x\r\n", "{\"code\":\"123456\"}"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "");
}

TEST(HttpRequestTest, UnparsableContentLengthMeansAnEmptyBody) {
    const auto request = HttpRequest::parse(post("Content-Length: abc\r\n", "xyz"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "");
}

TEST(HttpRequestTest, ReadsAPlusSignedContentLength) {
    const auto request = HttpRequest::parse(post("Content-Length: +3\r\n", "xyzw"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "xyz");
}

TEST(HttpRequestTest, ReadsAContentLengthSurroundedByBlanks) {
    const auto request = HttpRequest::parse(post("Content-Length:   7 \t\r\n", "1234567"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "1234567");
}

TEST(HttpRequestTest, ContentLengthWithInnerBlankMeansAnEmptyBody) {
    const auto request = HttpRequest::parse(post("Content-Length: 1 2\r\n", "123456789012"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "");
}

TEST(HttpRequestTest, OverflowingContentLengthMeansAnEmptyBody) {
    const auto request = HttpRequest::parse(post("Content-Length: 99999999999999999999\r\n", "abc"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "");
}

TEST(HttpRequestTest, NegativeContentLengthYieldsNothing) {
    EXPECT_FALSE(HttpRequest::parse(post("Content-Length: -1\r\n", "plenty of bytes after the head")));
}

TEST(HttpRequestTest, MostNegativeContentLengthYieldsNothing) {
    EXPECT_FALSE(HttpRequest::parse(post("Content-Length: -9223372036854775808\r\n", "abc")));
}

TEST(HttpRequestTest, NegativeZeroContentLengthIsAnEmptyBody) {
    const auto request = HttpRequest::parse(post("Content-Length: -0\r\n", "abc"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "");
}

TEST(HttpRequestTest, HeaderNamesInCapitalsAndLowerCaseAreOneHeader) {
    const auto request = HttpRequest::parse(post("X-DEVICE: first\r\nx-device: second\r\n"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->headers.size(), 1u);
    EXPECT_EQ(request->headers.at("x-device"), "second");
}

TEST(HttpRequestTest, LowercasesNonAsciiHeaderNames) {
    const auto request = HttpRequest::parse(post("X-\xC3\x89tat: ok\r\n"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->headers.count("x-\xC3\xA9tat"), 1u);
}

TEST(HttpRequestTest, KeepsFurtherColonsInAHeaderValue) {
    const auto request = HttpRequest::parse(post("X-Note: a:b\r\n"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->headers.at("x-note"), "a:b");
}

TEST(HttpRequestTest, TrimsBlanksAroundHeaderNamesAndValuesButKeepsInnerOnes) {
    const auto request = HttpRequest::parse(post(" X-Note \t:\xC2\xA0 two  words\t\r\n"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->headers.at("x-note"), "two  words");
}

TEST(HttpRequestTest, SkipsAHeaderLineWithoutColon) {
    const auto request = HttpRequest::parse(post("no colon here\r\nX-Note: kept\r\n"));
    ASSERT_TRUE(request);
    const std::map<std::string, std::string> expected = {{"x-note", "kept"}};
    EXPECT_EQ(request->headers, expected);
}

TEST(HttpRequestTest, YieldsNothingForARequestLineOfOneToken) {
    EXPECT_FALSE(HttpRequest::parse("POST\r\nContent-Length: 0\r\n\r\n"));
}

TEST(HttpRequestTest, YieldsNothingForAnEmptyHead) {
    EXPECT_FALSE(HttpRequest::parse("\r\n\r\nbody"));
}

TEST(HttpRequestTest, KeepsTheCaseOfTheMethod) {
    const auto request = HttpRequest::parse("get /pair\r\n\r\n");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "get");
    EXPECT_EQ(request->path, "/pair");
}

TEST(HttpRequestTest, TreatsRunsOfSpacesInTheRequestLineAsOneSeparator) {
    const auto request = HttpRequest::parse("  POST   /pair    HTTP/9.9 extra\r\n\r\n");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "POST");
    EXPECT_EQ(request->path, "/pair");
}

TEST(HttpRequestTest, KeepsThePathAsReceived) {
    const auto request = HttpRequest::parse("POST /pair%20x?code=1#f HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->path, "/pair%20x?code=1#f");
}

TEST(HttpRequestTest, YieldsNothingForAHeadThatIsNotUtf8) {
    std::string data = "POST /pair HTTP/1.1\r\nX-Name: \xFF\xFE\r\nContent-Length: 2\r\n\r\n{}";
    EXPECT_FALSE(HttpRequest::parse(data));
    data += std::string(4096, 'x');
    EXPECT_FALSE(HttpRequest::parse(data));
}

TEST(HttpRequestTest, AcceptsABodyThatIsNotUtf8) {
    const auto request = HttpRequest::parse(post("Content-Length: 2\r\n", "\xFF\xFE"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "\xFF\xFE");
}

TEST(HttpRequestTest, NeverRecognisesAHeadEndedByBareLineFeeds) {
    std::string data = "POST /pair HTTP/1.1\nContent-Length: 0\n\n";
    EXPECT_FALSE(HttpRequest::parse(data));
    data += "\n\n{}\n\n";
    EXPECT_FALSE(HttpRequest::parse(data));
}

TEST(HttpRequestTest, ABareLineFeedDoesNotSplitHeaderLines) {
    const auto request = HttpRequest::parse(post("X-A: 1\nX-B: 2\r\n"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->headers.at("x-a"), "1\nX-B: 2");
    EXPECT_EQ(request->headers.count("x-b"), 0u);
}

TEST(HttpRequestTest, UsesTheFirstBlankLineAndKeepsLaterOnesInTheBody) {
    const auto request = HttpRequest::parse(post("Content-Length: 6\r\n", "a\r\n\r\nb"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "a\r\n\r\nb");
}

TEST(HttpRequestTest, DropsAPipelinedSecondRequest) {
    const auto request = HttpRequest::parse(
        post("Content-Length: 2\r\n", "{}GET /other HTTP/1.1\r\nContent-Length: 0\r\n\r\n"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "{}");
    EXPECT_EQ(request->path, "/pair");
}

TEST(HttpRequestTest, YieldsNothingWithoutTheBlankLine) {
    EXPECT_FALSE(HttpRequest::parse("POST /pair HTTP/1.1\r\nContent-Length: 0\r\n"));
}

TEST(HttpRequestTest, ParseHeadLeavesTheBodyEmpty) {
    const auto head = HttpRequest::parseHead("POST /pair HTTP/1.1\r\nContent-Length: 3");
    ASSERT_TRUE(head);
    const HttpRequest expected{"POST", "/pair", {{"content-length", "3"}}, ""};
    EXPECT_EQ(*head, expected);
}

TEST(HttpRequestTest, DeclaredBodyLengthIsZeroWithoutContentLength) {
    EXPECT_EQ(HttpRequest::declaredBodyLength(HttpRequest{"POST", "/pair", {}, ""}), 0);
}

TEST(HttpRequestTest, DeclaredBodyLengthIsZeroForAnUnconvertibleValue) {
    EXPECT_EQ(HttpRequest::declaredBodyLength(HttpRequest{"POST", "/pair", {{"content-length", "0x10"}}, ""}),
              0);
    EXPECT_EQ(HttpRequest::declaredBodyLength(HttpRequest{"POST", "/pair", {{"content-length", "+-3"}}, ""}),
              0);
    EXPECT_EQ(HttpRequest::declaredBodyLength(HttpRequest{"POST", "/pair", {{"content-length", ""}}, ""}), 0);
}

TEST(HttpRequestTest, DeclaredBodyLengthIsNothingForANegativeValue) {
    EXPECT_EQ(HttpRequest::declaredBodyLength(HttpRequest{"POST", "/pair", {{"content-length", "-5"}}, ""}),
              std::nullopt);
}
