#include "CompanionCore/HttpResponse.h"

#include "CompanionCore/PairingResponse.h"

#include <gtest/gtest.h>

#include <string>

using namespace CompanionCore;

TEST(HttpResponseTest, AnEmptyBodyGivesTheFourHeaderLinesAndTheBlankLine) {
    EXPECT_EQ(HttpResponse::json(410, "Gone", ""), "HTTP/1.1 410 Gone\r\n"
                                                   "Content-Type: application/json; charset=utf-8\r\n"
                                                   "Content-Length: 0\r\n"
                                                   "Connection: close\r\n"
                                                   "\r\n");
}

TEST(HttpResponseTest, ATwoByteBodyIsCountedAndFollowsExactlyOneBlankLine) {
    const std::string response = HttpResponse::json(200, "OK", "{}");
    EXPECT_EQ(response, "HTTP/1.1 200 OK\r\n"
                        "Content-Type: application/json; charset=utf-8\r\n"
                        "Content-Length: 2\r\n"
                        "Connection: close\r\n"
                        "\r\n"
                        "{}");
    EXPECT_EQ(response.find("\r\n\r\n"), response.size() - 2 - 4);
}

TEST(HttpResponseTest, CountsBodyBytesNotCharacters) {
    const std::string response = HttpResponse::json(200, "OK", "\"\xC3\xA9\"");
    EXPECT_NE(response.find("Content-Length: 4\r\n"), std::string::npos);
}

TEST(HttpResponseTest, AppendsTheBodyBytesUnchanged) {
    const std::string body("a\0\xFF\r\n", 5);
    const std::string response = HttpResponse::json(500, "Error", body);
    EXPECT_EQ(response.substr(response.size() - body.size()), body);
    EXPECT_NE(response.find("Content-Length: 5\r\n"), std::string::npos);
}

TEST(HttpResponseTest, WritesTheReasonAsGiven) {
    EXPECT_EQ(HttpResponse::json(500, "Error", "").substr(0, 23), "HTTP/1.1 500 Error\r\nCon");
}

TEST(HttpResponseTest, OkEncodesTheRecordWithStatus200) {
    const PairingResponse record{"ana", "Studio", 22, {"Studio.local"}, true, false};
    const std::string body =
        R"({"user":"ana","name":"Studio","sshPort":22,"hosts":["Studio.local"],"mosh":true,"tmux":false})";
    EXPECT_EQ(HttpResponse::ok(record), "HTTP/1.1 200 OK\r\n"
                                        "Content-Type: application/json; charset=utf-8\r\n"
                                        "Content-Length: " +
                                            std::to_string(body.size()) +
                                            "\r\n"
                                            "Connection: close\r\n"
                                            "\r\n" +
                                            body);
}

TEST(HttpResponseTest, ErrorSendsAnErrorDocumentWithTheGivenStatusAndReason) {
    EXPECT_EQ(HttpResponse::error(403, "Forbidden", "wrong code"),
              "HTTP/1.1 403 Forbidden\r\n"
              "Content-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 22\r\n"
              "Connection: close\r\n"
              "\r\n"
              R"({"error":"wrong code"})");
}

TEST(HttpResponseTest, ErrorEscapesSlashesInTheMessage) {
    const std::string response = HttpResponse::error(500, "Error", "a/b");
    EXPECT_EQ(response.substr(response.find("\r\n\r\n") + 4), R"({"error":"a\/b"})");
}
