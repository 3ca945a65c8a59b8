#include "CompanionCore/PairingHandler.h"

#include "CompanionCore/PairingError.h"
#include "CompanionCore/PairingRequest.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace CompanionCore;
namespace fs = std::filesystem;

namespace {

using TestSupport::readFile;
using TestSupport::writeFile;

using Paired = PairingHandler::Paired;
using Rejected = PairingHandler::Rejected;
using Exhausted = PairingHandler::Exhausted;
using Outcome = PairingHandler::Outcome;

const Timestamp issued{std::chrono::seconds{1'700'000'000}};
const std::string rightCode = "024680";
const std::string blob = "AAAAC3NzaC1lZDI1NTE5AAAAIK8ukunMc8/xzR/VDl2xjxFCKCqTJ2/etdEaiQhjPRJB";
const std::string phoneKey = "ssh-ed25519 " + blob + " ana@iphone";
const std::string httpHead = "Content-Type: application/json; charset=utf-8\r\n";

PairingHandler::Identity studio() {
    return {"ana", "Studio", 22, {"Studio.local", "192.168.1.20"}, true, false};
}

PairingResponse studioResponse() {
    return {"ana", "Studio", 22, {"Studio.local", "192.168.1.20"}, true, false};
}

HttpRequest request(const std::string& body, const std::string& method = "POST",
                    const std::string& path = "/pair") {
    return HttpRequest{method, path, {{"content-length", std::to_string(body.size())}}, body};
}

HttpRequest pairing(const std::string& code, const std::string& key = phoneKey,
                    const std::string& device = "iPhone") {
    return request(PairingRequest{code, key, device}.encode());
}

std::string bodyOf(const std::string& response) {
    return response.substr(response.find("\r\n\r\n") + 4);
}

/// A clock that stands still and counts how often it is read.
struct FakeClock {
    Timestamp now;
    int reads = 0;
    Clock function() {
        return [this] {
            ++reads;
            return now;
        };
    }
};

class PairingHandlerTest : public ::testing::Test {
protected:
    TestSupport::TemporaryDirectory home;
    fs::path keys = home / ".ssh/authorized_keys";
    FakeClock clock{addingSeconds(issued, 10)};
    PairingHandler handler{PairingCode(rightCode, issued), studio(), keys, clock.function()};
};

} // namespace

TEST_F(PairingHandlerTest, AGetToPairIsNotFoundAndSpendsNoAttempt) {
    EXPECT_EQ(handler.handle(request(PairingRequest{rightCode, phoneKey, "iPhone"}.encode(), "GET")),
              Outcome(Rejected{404, "not found"}));
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, APostToPairWithTrailingSlashIsNotFoundAndSpendsNoAttempt) {
    EXPECT_EQ(
        handler.handle(request(PairingRequest{rightCode, phoneKey, "iPhone"}.encode(), "POST", "/pair/")),
        Outcome(Rejected{404, "not found"}));
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, APostToPairWithQueryStringIsNotFoundAndSpendsNoAttempt) {
    EXPECT_EQ(
        handler.handle(request(PairingRequest{rightCode, phoneKey, "iPhone"}.encode(), "POST", "/pair?x=1")),
        Outcome(Rejected{404, "not found"}));
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, TheMethodIsComparedCaseSensitively) {
    EXPECT_EQ(handler.handle(request(PairingRequest{rightCode, phoneKey, "iPhone"}.encode(), "post")),
              Outcome(Rejected{404, "not found"}));
}

TEST_F(PairingHandlerTest, AnEmptyBodyIsABadRequestAndSpendsNoAttempt) {
    EXPECT_EQ(handler.handle(request("")), Outcome(Rejected{400, "bad request"}));
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, ACodeWrittenAsANumberIsABadRequestNotAWrongCode) {
    EXPECT_EQ(handler.handle(request(R"({"code":24680,"publicKey":"k","device":"d"})")),
              Outcome(Rejected{400, "bad request"}));
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, ABodyWithAnExtraKeyIsDecoded) {
    const auto outcome = handler.handle(request(R"({"version":1,"code":")" + rightCode +
                                                R"(","publicKey":")" + phoneKey + R"(","device":"iPhone"})"));
    EXPECT_TRUE(std::holds_alternative<Paired>(outcome));
}

TEST_F(PairingHandlerTest, TheClockIsNotReadForRequestsThatNeverReachTheCode) {
    handler.handle(request("", "GET", "/"));
    handler.handle(request("not json"));
    EXPECT_EQ(clock.reads, 0);
}

TEST_F(PairingHandlerTest, TheClockIsReadOncePerRequestThatReachesTheCode) {
    handler.handle(pairing("000000"));
    EXPECT_EQ(clock.reads, 1);
    handler.handle(pairing(rightCode));
    EXPECT_EQ(clock.reads, 2);
}

TEST_F(PairingHandlerTest, AWrongCodeIsForbidden) {
    EXPECT_EQ(handler.handle(pairing("000000")), Outcome(Rejected{403, "wrong code"}));
    EXPECT_EQ(handler.code().attempts(), 1);
}

TEST_F(PairingHandlerTest, ThreeWrongCodesExpireTheCodeEvenForTheRightOne) {
    EXPECT_EQ(handler.handle(pairing("000000")), Outcome(Rejected{403, "wrong code"}));
    EXPECT_EQ(handler.handle(pairing("111111")), Outcome(Rejected{403, "wrong code"}));
    EXPECT_EQ(handler.handle(pairing("222222")), Outcome(Exhausted{}));
    EXPECT_EQ(handler.handle(pairing(rightCode)), Outcome(Exhausted{}));
    EXPECT_FALSE(fs::exists(keys));
}

TEST_F(PairingHandlerTest, TheRightCodeInstallsTheKeyAndAnswersWithTheIdentity) {
    EXPECT_EQ(handler.handle(pairing(rightCode)),
              Outcome(Paired{studioResponse(), true, "iPhone", "ssh-ed25519 " + blob + " nuvexa:iPhone"}));
    EXPECT_EQ(readFile(keys), "ssh-ed25519 " + blob + " nuvexa:iPhone\n");
    EXPECT_TRUE(handler.code().used());
}

TEST_F(PairingHandlerTest, APairedHandlerAnswersLaterRequestsWithExpired) {
    handler.handle(pairing(rightCode));
    EXPECT_EQ(handler.handle(pairing(rightCode)), Outcome(Exhausted{}));
}

TEST_F(PairingHandlerTest, TheRightCodeWithAnUnknownKeyTypeIsNotAPublicKeyAndUsesTheCode) {
    const HttpRequest dsa = pairing(rightCode, "ssh-dss " + blob);
    EXPECT_EQ(handler.handle(dsa), Outcome(Rejected{400, "not a public key"}));
    EXPECT_EQ(handler.handle(dsa), Outcome(Exhausted{}));
    EXPECT_FALSE(fs::exists(keys));
}

TEST_F(PairingHandlerTest, TheRightCodeWithAKeyTheServerCannotUseIsNotAPublicKeyAndWritesNothing) {
    const HttpRequest empty = pairing(rightCode, "ssh-ed25519 AAAA");
    EXPECT_EQ(handler.handle(empty), Outcome(Rejected{400, "not a public key"}));
    EXPECT_EQ(handler.handle(empty), Outcome(Exhausted{}));
    EXPECT_FALSE(fs::exists(keys));
}

TEST_F(PairingHandlerTest, AFifoInPlaceOfTheKeyFileIsAClear500NotAHang) {
    fs::create_directory(home / ".ssh");
    ASSERT_EQ(::mkfifo(keys.c_str(), 0600), 0);
    const auto outcome = handler.handle(pairing(rightCode));
    ASSERT_TRUE(std::holds_alternative<Rejected>(outcome));
    EXPECT_EQ(std::get<Rejected>(outcome).status, 500);
    EXPECT_EQ(std::get<Rejected>(outcome).message, "could not write authorized_keys: " + keys.string() +
                                                       " is not a regular file: Invalid argument");
}

TEST_F(PairingHandlerTest, TheRightCodeWithAKeyAlreadyInTheFileLeavesItUnchanged) {
    fs::create_directory(home / ".ssh");
    const std::string existing = "ssh-ed25519 " + blob + " nuvexa:Old name\n";
    writeFile(keys, existing);
    EXPECT_EQ(handler.handle(pairing(rightCode)),
              Outcome(Paired{studioResponse(), false, "iPhone", "ssh-ed25519 " + blob + " nuvexa:iPhone"}));
    EXPECT_EQ(readFile(keys), existing);
}

TEST_F(PairingHandlerTest, TheRightCodeAfterTheLifetimeIsExpiredAndCountsNoAttempt) {
    clock.now = addingSeconds(issued, 301);
    EXPECT_EQ(handler.handle(pairing(rightCode)), Outcome(Exhausted{}));
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, AnUnwritableFileIsAServerErrorNamingTheFailure) {
    writeFile(home / ".ssh", "a plain file where the directory should be");
    const auto outcome = handler.handle(pairing(rightCode));
    ASSERT_TRUE(std::holds_alternative<Rejected>(outcome));
    EXPECT_EQ(std::get<Rejected>(outcome).status, 500);
    EXPECT_TRUE(std::get<Rejected>(outcome).message.starts_with("could not write authorized_keys: "))
        << std::get<Rejected>(outcome).message;
}

TEST_F(PairingHandlerTest, AFailedInstallStillUsesTheCode) {
    writeFile(home / ".ssh", "a plain file where the directory should be");
    handler.handle(pairing(rightCode));
    EXPECT_EQ(handler.handle(pairing(rightCode)), Outcome(Exhausted{}));
}

TEST_F(PairingHandlerTest, TheServerErrorReplyEscapesTheSlashesOfThePath) {
    writeFile(home / ".ssh", "a plain file where the directory should be");
    const std::string response = PairingHandler::reply(handler.handle(pairing(rightCode)));
    EXPECT_TRUE(response.starts_with("HTTP/1.1 500 Error\r\n" + httpHead)) << response;
    const std::string body = bodyOf(response);
    EXPECT_TRUE(body.starts_with(R"({"error":"could not write authorized_keys: )")) << body;
    std::string escapedHome;
    for (const char c : home.path().string()) {
        escapedHome += c == '/' ? std::string("\\/") : std::string(1, c);
    }
    EXPECT_NE(body.find(escapedHome), std::string::npos) << body;
    const auto decoded = PairingError::decode(body);
    ASSERT_TRUE(decoded);
    EXPECT_NE(decoded->error.find(home.path().string()), std::string::npos);
}

TEST_F(PairingHandlerTest, ALineFeedInTheDeviceNameIsWrittenAsABlank) {
    handler.handle(pairing(rightCode, phoneKey, "Ana\nPhone"));
    EXPECT_EQ(readFile(keys), "ssh-ed25519 " + blob + " nuvexa:Ana Phone\n");
}

TEST_F(PairingHandlerTest, ATerminalSequenceInTheDeviceNameReachesNeitherTheFileNorTheOutcome) {
    const auto outcome = handler.handle(pairing(rightCode, phoneKey, "\x1B]0;X\x07\x1B[2JAna\xE2\x80\xAE"));
    const std::string shown = "\xEF\xBF\xBD]0;X\xEF\xBF\xBD\xEF\xBF\xBD[2JAna\xEF\xBF\xBD";
    ASSERT_TRUE(std::holds_alternative<Paired>(outcome));
    EXPECT_EQ(std::get<Paired>(outcome).device, shown);
    EXPECT_EQ(readFile(keys), "ssh-ed25519 " + blob + " nuvexa:" + shown + "\n");
}

TEST_F(PairingHandlerTest, TheDeviceNameIsWrittenUnchangedAfterThePrefix) {
    handler.handle(pairing(rightCode, phoneKey, "iPhone de Ana \xC3\xA9"));
    EXPECT_EQ(readFile(keys), "ssh-ed25519 " + blob + " nuvexa:iPhone de Ana \xC3\xA9\n");
}

TEST_F(PairingHandlerTest, AFreshlyGeneratedKeyLeavesAFileSshKeygenAccepts) {
    const fs::path keygen = "/usr/bin/ssh-keygen";
    if (!fs::exists(keygen)) {
        GTEST_SKIP() << "ssh-keygen is not installed at " << keygen;
    }
    const fs::path key = home / "k";
    const std::string generate = keygen.string() + " -q -t ed25519 -N '' -C generated -f '" + key.string() +
                                 "' </dev/null >/dev/null 2>&1";
    ASSERT_EQ(std::system(generate.c_str()), 0);
    const std::string body = PairingRequest{rightCode, readFile(home / "k.pub"), "iPhone de Ana"}.encode();
    const auto parsed = HttpRequest::parse("POST /pair HTTP/1.1\r\nHost: studio.local:52901\r\n"
                                           "Content-Type: application/json\r\nContent-Length: " +
                                           std::to_string(body.size()) + "\r\n\r\n" + body);
    ASSERT_TRUE(parsed);
    const std::string response = PairingHandler::reply(handler.handle(*parsed));
    ASSERT_TRUE(response.starts_with("HTTP/1.1 200 OK\r\n")) << response;
    const std::string list = keygen.string() + " -l -f '" + keys.string() + "' </dev/null >/dev/null 2>&1";
    const int status = std::system(list.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << readFile(keys);
}

TEST_F(PairingHandlerTest, RepliesToAPairingWithTheFullIdentity) {
    const PairingResponse response{"ana", "Ana's Mac/Studio", 2222, {"Studio.local", "192.168.1.20"}, true,
                                   false};
    EXPECT_EQ(
        PairingHandler::reply(Paired{response, true, {}, {}}),
        "HTTP/1.1 200 OK\r\n"
        "Content-Type: application/json; charset=utf-8\r\n"
        "Content-Length: 121\r\n"
        "Connection: close\r\n"
        "\r\n"
        R"({"user":"ana","name":"Ana's Mac\/Studio","sshPort":2222,"hosts":["Studio.local","192.168.1.20"],"mosh":true,"tmux":false})");
}

TEST_F(PairingHandlerTest, RepliesTheSameWhetherOrNotTheKeyWasNew) {
    EXPECT_EQ(PairingHandler::reply(Paired{studioResponse(), false, {}, {}}),
              PairingHandler::reply(Paired{studioResponse(), true, {}, {}}));
}

TEST_F(PairingHandlerTest, RepliesToASuccessfulHandleWithTheIdentityDocument) {
    EXPECT_EQ(
        PairingHandler::reply(handler.handle(pairing(rightCode))),
        "HTTP/1.1 200 OK\r\n"
        "Content-Type: application/json; charset=utf-8\r\n"
        "Content-Length: 108\r\n"
        "Connection: close\r\n"
        "\r\n"
        R"({"user":"ana","name":"Studio","sshPort":22,"hosts":["Studio.local","192.168.1.20"],"mosh":true,"tmux":false})");
}

TEST_F(PairingHandlerTest, RepliesToABadRequest) {
    EXPECT_EQ(PairingHandler::reply(handler.handle(request("{}"))),
              "HTTP/1.1 400 Bad Request\r\n"
              "Content-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 23\r\n"
              "Connection: close\r\n"
              "\r\n"
              R"({"error":"bad request"})");
}

TEST_F(PairingHandlerTest, RepliesToAKeyThatIsNotAPublicKey) {
    EXPECT_EQ(PairingHandler::reply(handler.handle(pairing(rightCode, "not a key"))),
              "HTTP/1.1 400 Bad Request\r\n"
              "Content-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 28\r\n"
              "Connection: close\r\n"
              "\r\n"
              R"({"error":"not a public key"})");
}

TEST_F(PairingHandlerTest, RepliesToAWrongCode) {
    EXPECT_EQ(PairingHandler::reply(handler.handle(pairing("999999"))),
              "HTTP/1.1 403 Forbidden\r\n"
              "Content-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 22\r\n"
              "Connection: close\r\n"
              "\r\n"
              R"({"error":"wrong code"})");
}

TEST_F(PairingHandlerTest, RepliesToAnUnknownPath) {
    EXPECT_EQ(PairingHandler::reply(handler.handle(request("", "GET", "/"))),
              "HTTP/1.1 404 Not Found\r\n"
              "Content-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 21\r\n"
              "Connection: close\r\n"
              "\r\n"
              R"({"error":"not found"})");
}

TEST_F(PairingHandlerTest, RepliesToAnExhaustedCode) {
    clock.now = addingSeconds(issued, 301);
    EXPECT_EQ(PairingHandler::reply(handler.handle(pairing(rightCode))),
              "HTTP/1.1 410 Gone\r\n"
              "Content-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 24\r\n"
              "Connection: close\r\n"
              "\r\n"
              R"({"error":"code expired"})");
}

TEST_F(PairingHandlerTest, RepliesToAWriteFailureWithStatus500AndReasonError) {
    const Rejected failure{
        500, "could not write authorized_keys: /home/ana/.ssh/authorized_keys: Not a directory"};
    EXPECT_EQ(
        PairingHandler::reply(failure),
        "HTTP/1.1 500 Error\r\n"
        "Content-Type: application/json; charset=utf-8\r\n"
        "Content-Length: 96\r\n"
        "Connection: close\r\n"
        "\r\n"
        R"({"error":"could not write authorized_keys: \/home\/ana\/.ssh\/authorized_keys: Not a directory"})");
}

TEST_F(PairingHandlerTest, RepliesToAnyOtherStatusWithReasonError) {
    EXPECT_TRUE(PairingHandler::reply(Rejected{418, "x"}).starts_with("HTTP/1.1 418 Error\r\n"));
}

TEST_F(PairingHandlerTest, DescribesAWrongCode) {
    EXPECT_EQ(describe(Rejected{403, "wrong code"}), R"(rejected(status: 403, message: "wrong code"))");
}

TEST_F(PairingHandlerTest, DescribesAnExhaustedCodeByItsName) {
    EXPECT_EQ(describe(Exhausted{}), "exhausted");
}

TEST_F(PairingHandlerTest, DescribesAPairingWithTheQualifiedResponse) {
    EXPECT_EQ(describe(Paired{studioResponse(), true, {}, {}}),
              R"(paired(CompanionCore.PairingResponse(user: "ana", name: "Studio", sshPort: 22, )"
              R"(hosts: ["Studio.local", "192.168.1.20"], mosh: true, tmux: false), keyInstalled: true))");
}

TEST_F(PairingHandlerTest, DescribesAnEmptyHostListAsEmptyBrackets) {
    EXPECT_EQ(describe(Paired{PairingResponse{"u", "n", 2222, {}, false, true}, false, {}, {}}),
              R"(paired(CompanionCore.PairingResponse(user: "u", name: "n", sshPort: 2222, )"
              R"(hosts: [], mosh: false, tmux: true), keyInstalled: false))");
}

TEST_F(PairingHandlerTest, DescribesAMessageWithItsSpecialCharactersEscaped) {
    const std::string message("say \"hi\" \\ it's\n\r\t\0\x1B\x7F \xC3\xA9", 24);
    EXPECT_EQ(describe(Rejected{500, message}),
              R"(rejected(status: 500, message: "say \"hi\" \\ it\'s\n\r\t\0\u{1B}\u{7F} )"
              "\xC3\xA9\")");
}

TEST_F(PairingHandlerTest, DescribesTextsInsideTheResponseEscaped) {
    EXPECT_EQ(describe(Paired{PairingResponse{"a\"b", "c\nd", 22, {"e\\f"}, false, false}, true, {}, {}}),
              R"(paired(CompanionCore.PairingResponse(user: "a\"b", name: "c\nd", sshPort: 22, )"
              R"(hosts: ["e\\f"], mosh: false, tmux: false), keyInstalled: true))");
}

TEST_F(PairingHandlerTest, ARequestWithAnOriginIsRefusedBeforeItsCodeIsLookedAt) {
    HttpRequest fromPage = pairing(rightCode);
    fromPage.headers["origin"] = "http://attacker.example";
    EXPECT_EQ(handler.handle(fromPage), Outcome(Rejected{403, "requests from a browser are refused"}));
    EXPECT_EQ(handler.code().attempts(), 0);
    EXPECT_EQ(clock.reads, 0);
    EXPECT_FALSE(fs::exists(keys));
    EXPECT_EQ(handler.handle(pairing(rightCode)),
              Outcome(Paired{studioResponse(), true, "iPhone", "ssh-ed25519 " + blob + " nuvexa:iPhone"}));
}

TEST_F(PairingHandlerTest, ARequestWithFetchMetadataIsRefusedWhateverItsPath) {
    for (const std::string header :
         {"sec-fetch-site", "sec-fetch-mode", "sec-fetch-dest", "sec-fetch-user"}) {
        HttpRequest fromPage = request("", "GET", "/");
        fromPage.headers[header] = "cross-site";
        EXPECT_EQ(handler.handle(fromPage), Outcome(Rejected{403, "requests from a browser are refused"}))
            << header;
    }
    EXPECT_EQ(handler.code().attempts(), 0);
}

TEST_F(PairingHandlerTest, TheBrowsersRefusalHasAnErrorBodyOfItsOwn) {
    EXPECT_EQ(bodyOf(PairingHandler::reply(Rejected{403, "requests from a browser are refused"})),
              R"({"error":"requests from a browser are refused"})");
}

TEST_F(PairingHandlerTest, AHeaderThatOnlyLooksLikeFetchMetadataIsNoBrowsersMark) {
    HttpRequest fromPhone = pairing("000000");
    fromPhone.headers["sec-fetcher"] = "x";
    fromPhone.headers["x-origin"] = "y";
    EXPECT_EQ(handler.handle(fromPhone), Outcome(Rejected{403, "wrong code"}));
    EXPECT_EQ(handler.code().attempts(), 1);
}
