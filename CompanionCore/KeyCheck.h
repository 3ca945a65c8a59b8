#pragma once

#include "CompanionCore/WellKnown.h"

#include <chrono>
#include <optional>
#include <string>

/// Asks an SSH server whether it would accept a public key for a user, the way a client does before
/// it signs anything: no private key is needed and nothing on the server changes.
namespace CompanionCore::KeyCheck {

/// What the server answered, or why no server answered.
enum class Verdict {
    /// The server would let this key in for this user.
    accepted,
    /// An SSH server answered and refused the key (or the user).
    refused,
    /// The address answered, but nothing listens on the port (connection refused).
    noServer,
    /// Nothing answered at all: the address is unreachable, filtered, or the handshake failed.
    unreachable,
};

/// How long one address may take to answer, connection and key query together.
inline constexpr std::chrono::seconds answerBound{10};

/// Where to ask and about what.
struct Query {
    std::string host;
    int port = WellKnown::sshPort;
    std::string user;
    /// The key's type name ("ssh-ed25519") and base64 blob, as in an authorized_keys line.
    std::string keyType;
    std::string keyBase64;
    std::chrono::milliseconds bound = answerBound;
};

struct Answer {
    Verdict verdict = Verdict::unreachable;
    /// The server's host key as `ssh-keygen -l` prints it ("SHA256:..."), whenever a server answered.
    std::optional<std::string> hostKeyFingerprint;
    /// The system's or the library's own words when no server answered, for the log.
    std::string detail;

    bool operator==(const Answer&) const = default;
};

/// Connects to `query.host` on `query.port` and asks. Blocks for at most about twice `query.bound`.
/// A key the library cannot read is answered as `refused` with a detail saying so.
Answer ask(const Query& query);

/// Asks only whether a TCP connection can be made: `accepted` when it can, `noServer` when refused,
/// `unreachable` otherwise. Used for the checks that need no key.
Verdict probe(const std::string& host, int port, std::chrono::milliseconds bound,
              std::string* detail = nullptr);

} // namespace CompanionCore::KeyCheck
