#include "cli/KeyFingerprint.h"

namespace Cli {

namespace {

std::string_view nextPiece(std::string_view& text) {
    const std::size_t start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos) {
        text = {};
        return {};
    }
    const std::size_t end = text.find_first_of(" \t", start);
    const std::string_view piece =
        text.substr(start, end == std::string_view::npos ? text.npos : end - start);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end);
    return piece;
}

} // namespace

std::string KeyFingerprint::text() const {
    return std::to_string(key.bits) + " " + key.fingerprint + " " +
           (comment.empty() ? "no comment" : comment) + " (" + key.typeLabel + ")";
}

std::optional<KeyFingerprint> KeyFingerprint::of(std::string_view line) {
    std::string_view rest = line;
    const std::string_view type = nextPiece(rest);
    const std::string_view encoded = nextPiece(rest);
    auto described = CompanionCore::SshPublicKey::describe(type, encoded);
    if (!described) {
        return std::nullopt;
    }
    KeyFingerprint fingerprint{std::move(*described), {}};
    const std::size_t commentStart = rest.find_first_not_of(" \t");
    if (commentStart != std::string_view::npos) {
        fingerprint.comment = std::string(rest.substr(commentStart));
    }
    return fingerprint;
}

} // namespace Cli
