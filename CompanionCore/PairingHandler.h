#pragma once

#include "CompanionCore/HttpRequest.h"
#include "CompanionCore/PairingCode.h"
#include "CompanionCore/PairingResponse.h"
#include "CompanionCore/Timestamp.h"

#include <filesystem>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace CompanionCore {

/// Decides one pairing request and turns the decision into response bytes. It owns the current code
/// and pairs at most one phone; it does no networking.
class PairingHandler {
public:
    /// What a successful pairing tells the phone: the very record the 200 answer carries.
    using Identity = PairingResponse;

    /// The code was right and the key is in the file.
    struct Paired {
        PairingResponse response;
        /// False when the same key was already in the file.
        bool keyInstalled = false;
        /// The phone's name as it was written after "nuvexa:": safe to show (`Unicode::displaySafe`).
        std::string device;
        /// The authorized_keys line that holds the key (without its line break).
        std::string line;
        bool operator==(const Paired&) const = default;
    };

    /// The request failed; `message` is the error text sent to the phone.
    struct Rejected {
        int status = 0;
        std::string message;
        bool operator==(const Rejected&) const = default;
    };

    /// The code is stale, used or out of attempts.
    struct Exhausted {
        bool operator==(const Exhausted&) const = default;
    };

    using Outcome = std::variant<Paired, Rejected, Exhausted>;

    /// The code was right and the key is sound: what remains is writing it, which may wait for the
    /// key file's lock and so belongs off the event loop. Carries everything that takes.
    struct Accepted {
        Identity identity;
        std::filesystem::path authorizedKeys;
        /// As `Paired::device`.
        std::string device;
        /// The authorized_keys line to install.
        std::string line;
        bool operator==(const Accepted&) const = default;
    };

    /// Everything decided before the key file is touched.
    using Decision = std::variant<Accepted, Rejected, Exhausted>;

    /// The error sent to a request that a browser made: a web page must neither pair nor spend a
    /// guess, and the phone's app never sends the headers that give a browser away.
    static constexpr std::string_view browserRefusal = "requests from a browser are refused";
    /// What the error of a key that could not be written begins with; the system's message follows.
    static constexpr std::string_view keyWriteFailure = "could not write authorized_keys: ";

    /// `now` is read exactly once per request that reaches the code check.
    PairingHandler(PairingCode code, Identity identity, std::filesystem::path authorizedKeys,
                   Clock now = systemNow);

    /// Routes, decodes, checks the code, then normalizes and installs the key. Never throws: every
    /// failure is an outcome.
    Outcome handle(const HttpRequest& request);

    /// `handle` up to the write: refuses what a browser sent, routes, decodes, checks the code and
    /// normalizes the key. Never throws.
    Decision decide(const HttpRequest& request);

    /// Writes an accepted key. Touches nothing of a handler, so it may run on any thread; `stop`
    /// ends a wait for the file's lock early (the outcome is then a 500). Never throws.
    static Outcome install(const Accepted& accepted, const std::stop_token& stop = {});

    /// Whether `request` carries a header that only a browser sends (`Origin`, `Sec-Fetch-*`).
    static bool isFromBrowser(const HttpRequest& request);

    /// The complete response bytes for an outcome.
    static std::string reply(const Outcome& outcome);

    /// The current code, for showing its digits.
    const PairingCode& code() const { return m_code; }

private:
    PairingCode m_code;
    Identity m_identity;
    std::filesystem::path m_authorizedKeys;
    Clock m_now;
};

/// The outcome as the log writes it, for instance: rejected(status: 403, message: "wrong code").
std::string describe(const PairingHandler::Outcome& outcome);

} // namespace CompanionCore
