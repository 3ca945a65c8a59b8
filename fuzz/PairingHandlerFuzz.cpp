// The whole pairing path on arbitrary bytes: HttpRequest::parse, PairingHandler::handle against an
// authorized_keys file in a private temporary directory, then reply. The code and the clock are
// fixed so every input replays the same way; the file goes back to its starting content after each.

#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/HttpRequest.h"
#include "CompanionCore/PairingCode.h"
#include "CompanionCore/PairingError.h"
#include "CompanionCore/PairingHandler.h"
#include "CompanionCore/PairingRequest.h"
#include "CompanionCore/PairingResponse.h"
#include "CompanionCore/Unicode.h"
#include "Invariant.h"
#include <algorithm>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <variant>

using CompanionCore::HttpRequest;
using CompanionCore::PairingCode;
using CompanionCore::PairingError;
using CompanionCore::PairingHandler;
using CompanionCore::PairingRequest;
using CompanionCore::PairingResponse;
using CompanionCore::Timestamp;
using CompanionFuzz::require;
namespace AuthorizedKeys = CompanionCore::AuthorizedKeys;

namespace {

constexpr std::string_view codeDigits = "123456";
constexpr std::string_view commentPrefix = "nuvexa:";
constexpr std::string_view responseHeadEnd = "Connection: close\r\n\r\n";
constexpr auto secondsSinceIssue = std::chrono::seconds(42);

/// A comment, a blank line, a key restricted by options and a plain key: what a lived-in file holds.
constexpr std::string_view startingKeys =
    "# keys of this account\n"
    "\n"
    "command=\"/usr/bin/true\" ssh-ed25519 "
    "AAAAC3NzaC1lZDI1NTE5AAAAIHoNkVk9+Sk6iUL3Q4y4j3qxqONU2kkfVn+ZObEwOSD1 "
    "backup\n"
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIK+vsWrEe5s9qYJXh841SJb843aubLG1oVf6aCoSIBGh laptop\n";

Timestamp issuedAt() {
    return Timestamp{} + std::chrono::seconds(1'700'000'000);
}

PairingHandler::Identity identity() {
    return {"fuzz", "Studio/Mac", 22, {"studio.local", "192.168.1.20", "100.64.0.7"}, true, false};
}

/// A directory of its own for the process's whole life, holding .ssh/authorized_keys.
class Sandbox {
public:
    Sandbox() {
        std::string pattern = (baseDirectory() / "nuvexa-fuzz-XXXXXX").string();
        require(::mkdtemp(pattern.data()) != nullptr, "a temporary directory can be made");
        m_directory = pattern;
        std::filesystem::create_directory(m_directory / ".ssh");
        std::filesystem::permissions(m_directory / ".ssh", std::filesystem::perms::owner_all);
        m_keys = m_directory / ".ssh" / "authorized_keys";
        restore();
    }
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;
    ~Sandbox() {
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }

    const std::filesystem::path& keys() const { return m_keys; }

    void restore() const {
        std::ofstream file(m_keys, std::ios::binary | std::ios::trunc);
        file << startingKeys;
        require(file.flush().good(), "the starting keys can be written");
    }

    std::string contents() const {
        std::ifstream file(m_keys, std::ios::binary);
        require(file.good(), "the authorized keys file is still there");
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    /// Every accepted pairing syncs the file and its directory; memory-backed storage keeps that
    /// cheap when nobody asked for another place.
    static std::filesystem::path baseDirectory() {
        if (std::getenv("TMPDIR") == nullptr && std::filesystem::is_directory("/dev/shm")) {
            return "/dev/shm";
        }
        return std::filesystem::temp_directory_path();
    }

    std::filesystem::path m_directory;
    std::filesystem::path m_keys;
};

Sandbox& sandbox() {
    static Sandbox instance;
    return instance;
}

bool startsWithKey(std::string_view identityOfLine) {
    std::size_t start = 0;
    while (start < startingKeys.size()) {
        const std::size_t end = startingKeys.find('\n', start);
        const std::string_view line = startingKeys.substr(start, end - start);
        if (!line.empty() && AuthorizedKeys::keyIdentity(line) == identityOfLine) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

int statusOf(const PairingHandler::Outcome& outcome) {
    if (std::holds_alternative<PairingHandler::Paired>(outcome)) {
        return 200;
    }
    if (const auto* rejected = std::get_if<PairingHandler::Rejected>(&outcome)) {
        return rejected->status;
    }
    return 410;
}

void checkReply(const PairingHandler::Outcome& outcome) {
    const std::string reply = PairingHandler::reply(outcome);
    require(reply.starts_with("HTTP/1.1 "), "a reply starts with the status line");
    require(reply.starts_with("HTTP/1.1 " + std::to_string(statusOf(outcome)) + " "),
            "the status line carries the outcome's status");
    const std::size_t headEnd = reply.find(responseHeadEnd);
    require(headEnd != std::string::npos, "a reply closes the connection and ends its head");
    const std::string_view body = std::string_view(reply).substr(headEnd + responseHeadEnd.size());
    require(reply.find("\r\nContent-Length: " + std::to_string(body.size()) + "\r\n") < headEnd,
            "the declared length is the body's length");
    if (const auto* paired = std::get_if<PairingHandler::Paired>(&outcome)) {
        require(PairingResponse::decode(body) == paired->response, "a 200 body decodes to the response");
    } else if (const auto* rejected = std::get_if<PairingHandler::Rejected>(&outcome)) {
        require(PairingError::decode(body) == PairingError{rejected->message},
                "an error body carries the message");
    } else {
        require(PairingError::decode(body) == PairingError{"code expired"},
                "a 410 body says the code expired");
    }
}

/// What the first request to a fresh handler must give, worked out from the request alone.
bool fromBrowser(const HttpRequest& request) {
    return std::any_of(request.headers.begin(), request.headers.end(), [](const auto& header) {
        return header.first == "origin" || header.first.starts_with("sec-fetch-");
    });
}

PairingHandler::Outcome expectedOutcome(const HttpRequest& request) {
    if (fromBrowser(request)) {
        return PairingHandler::Rejected{403, "requests from a browser are refused"};
    }
    if (request.method != "POST" || request.path != "/pair") {
        return PairingHandler::Rejected{404, "not found"};
    }
    const auto pairing = PairingRequest::decode(request.body);
    if (!pairing) {
        return PairingHandler::Rejected{400, "bad request"};
    }
    if (pairing->code != codeDigits) {
        return PairingHandler::Rejected{403, "wrong code"};
    }
    const std::string device = CompanionCore::Unicode::displaySafe(pairing->device);
    const auto line = AuthorizedKeys::normalize(pairing->publicKey, std::string(commentPrefix) + device);
    if (!line) {
        return PairingHandler::Rejected{400, "not a public key"};
    }
    return PairingHandler::Paired{identity(), !startsWithKey(AuthorizedKeys::keyIdentity(*line)), device,
                                  *line};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto request = HttpRequest::parse(std::string_view(reinterpret_cast<const char*>(bytes), size));
    if (!request) {
        return 0;
    }
    Sandbox& box = sandbox();
    int clockReads = 0;
    PairingHandler handler(PairingCode(std::string(codeDigits), issuedAt()), identity(), box.keys(), [&] {
        ++clockReads;
        return issuedAt() + secondsSinceIssue;
    });

    const auto outcome = handler.handle(*request);
    checkReply(outcome);
    require(outcome == expectedOutcome(*request), "the first request gets the outcome its content calls for");

    const bool decoded = !fromBrowser(*request) && request->method == "POST" && request->path == "/pair" &&
                         PairingRequest::decode(request->body);
    require(clockReads == (decoded ? 1 : 0), "the clock is read once for each request that reaches the code");
    require(handler.code().attempts() == (decoded ? 1 : 0),
            "only a request that reaches the code spends an attempt");
    const bool accepted = handler.code().used();

    const std::string after = box.contents();
    require(after.ends_with("\n"), "the file ends with a line feed");
    require(after.starts_with(startingKeys), "every line already in the file remains");
    const auto* paired = std::get_if<PairingHandler::Paired>(&outcome);
    if (paired != nullptr && paired->keyInstalled) {
        const auto pairing = PairingRequest::decode(request->body);
        const auto line =
            AuthorizedKeys::normalize(pairing->publicKey, std::string(commentPrefix) + pairing->device);
        require(after == std::string(startingKeys) + *line + "\n", "an installed key adds exactly its line");
    } else {
        require(after == startingKeys, "the file is untouched unless a key is added");
    }

    // The same request again: routing and decoding failures cost nothing, a wrong code costs one more
    // attempt, and an accepted code is spent whatever happened to the key.
    const auto second = handler.handle(*request);
    checkReply(second);
    if (!decoded) {
        require(second == outcome, "a request that never reaches the code gets the same answer again");
    } else if (accepted) {
        require(std::holds_alternative<PairingHandler::Exhausted>(second), "a spent code answers 410");
    } else {
        require(second == outcome, "a second wrong guess is still a wrong guess");
        require(std::holds_alternative<PairingHandler::Exhausted>(handler.handle(*request)),
                "the third wrong guess exhausts the code");
    }
    require(box.contents() == after, "a refused request leaves the file alone");

    if (after != startingKeys) {
        box.restore();
    }
    return 0;
}
