#include "CompanionCore/PairingHandler.h"

#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/HttpResponse.h"
#include "CompanionCore/LogText.h"
#include "CompanionCore/PairingRequest.h"
#include "CompanionCore/Unicode.h"
#include "CompanionCore/WellKnown.h"

namespace CompanionCore {

namespace {

constexpr std::string_view pairMethod = "POST";
constexpr std::string_view pairPath = "/pair";

std::string_view reasonFor(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 410:
        return "Gone";
    default:
        // Deliberately one word for every other status, 500 included.
        return "Error";
    }
}

} // namespace

PairingHandler::PairingHandler(PairingCode code, Identity identity, std::filesystem::path authorizedKeys,
                               Clock now)
    : m_code(std::move(code))
    , m_identity(std::move(identity))
    , m_authorizedKeys(std::move(authorizedKeys))
    , m_now(std::move(now)) {}

PairingHandler::Outcome PairingHandler::handle(const HttpRequest& request) {
    struct Visitor {
        Outcome operator()(const Accepted& accepted) const { return install(accepted); }
        Outcome operator()(const Rejected& rejected) const { return rejected; }
        Outcome operator()(const Exhausted& exhausted) const { return exhausted; }
    };
    return std::visit(Visitor{}, decide(request));
}

bool PairingHandler::isFromBrowser(const HttpRequest& request) {
    constexpr std::string_view fetchMetadataPrefix = "sec-fetch-";
    if (request.headers.contains("origin")) {
        return true;
    }
    // Header names are lower-cased and sorted: the fetch metadata headers sit together.
    const auto next = request.headers.lower_bound(std::string(fetchMetadataPrefix));
    return next != request.headers.end() && next->first.starts_with(fetchMetadataPrefix);
}

PairingHandler::Decision PairingHandler::decide(const HttpRequest& request) {
    // Before anything else: a page's request never reaches the code, so it spends no guess either.
    if (isFromBrowser(request)) {
        return Rejected{403, std::string(browserRefusal)};
    }
    if (request.method != pairMethod || request.path != pairPath) {
        return Rejected{404, "not found"};
    }
    const auto pairing = PairingRequest::decode(request.body);
    if (!pairing) {
        return Rejected{400, "bad request"};
    }
    switch (m_code.check(pairing->code, m_now())) {
    case PairingCode::Verdict::rejected:
        return Rejected{403, "wrong code"};
    case PairingCode::Verdict::exhausted:
        return Exhausted{};
    case PairingCode::Verdict::accepted:
        break;
    }
    // From here the code is spent, whatever happens to the key.
    // The name reaches the key file, the log, terminals and the panel: one safe form for all of them.
    std::string device = Unicode::displaySafe(pairing->device);
    auto line =
        AuthorizedKeys::normalize(pairing->publicKey, std::string(WellKnown::phoneCommentPrefix) + device);
    if (!line) {
        return Rejected{400, "not a public key"};
    }
    return Accepted{m_identity, m_authorizedKeys, std::move(device), std::move(*line)};
}

PairingHandler::Outcome PairingHandler::install(const Accepted& accepted, const std::stop_token& stop) {
    bool installed = false;
    try {
        installed = AuthorizedKeys::install(accepted.line, accepted.authorizedKeys, stop);
    } catch (const std::exception& error) {
        return Rejected{500, std::string(keyWriteFailure) + error.what()};
    }
    return Paired{accepted.identity, installed, accepted.device, accepted.line};
}

std::string PairingHandler::reply(const Outcome& outcome) {
    struct Visitor {
        std::string operator()(const Paired& paired) const { return HttpResponse::ok(paired.response); }
        std::string operator()(const Rejected& rejected) const {
            return HttpResponse::error(rejected.status, reasonFor(rejected.status), rejected.message);
        }
        std::string operator()(const Exhausted&) const {
            return HttpResponse::error(410, reasonFor(410), "code expired");
        }
    };
    return std::visit(Visitor{}, outcome);
}

std::string describe(const PairingHandler::Outcome& outcome) {
    struct Visitor {
        std::string operator()(const PairingHandler::Paired& paired) const {
            const auto& r = paired.response;
            return "paired(CompanionCore.PairingResponse(user: " + LogText::quoted(r.user) +
                   ", name: " + LogText::quoted(r.name) + ", sshPort: " + std::to_string(r.sshPort) +
                   ", hosts: " + LogText::quotedList(r.hosts) + ", mosh: " + (r.mosh ? "true" : "false") +
                   ", tmux: " + (r.tmux ? "true" : "false") +
                   "), keyInstalled: " + (paired.keyInstalled ? "true" : "false") + ")";
        }
        std::string operator()(const PairingHandler::Rejected& rejected) const {
            return "rejected(status: " + std::to_string(rejected.status) +
                   ", message: " + LogText::quoted(rejected.message) + ")";
        }
        std::string operator()(const PairingHandler::Exhausted&) const { return "exhausted"; }
    };
    return std::visit(Visitor{}, outcome);
}

} // namespace CompanionCore
