// AuthorizedKeys::normalize on arbitrary bytes: the input is the key text, then a NUL byte, then the
// comment (no NUL means an empty comment). Checks the outcome against the key's own pieces.

#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/SshPublicKey.h"
#include "CompanionCore/Unicode.h"
#include "Invariant.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace AuthorizedKeys = CompanionCore::AuthorizedKeys;
namespace Unicode = CompanionCore::Unicode;
using CompanionFuzz::require;

namespace {

bool isBase64Letter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Standard base64: whole groups of four, padding only at the very end and at most two characters.
bool isStandardBase64(std::string_view text) {
    if (text.empty() || text.size() % 4 != 0) {
        return false;
    }
    std::size_t padding = 0;
    if (text.back() == '=') {
        padding = text[text.size() - 2] == '=' ? 2 : 1;
    }
    return std::all_of(text.begin(), text.end() - static_cast<std::ptrdiff_t>(padding), isBase64Letter);
}

bool isKeyType(std::string_view piece) {
    return std::find(AuthorizedKeys::keyTypes.begin(), AuthorizedKeys::keyTypes.end(), piece) !=
           AuthorizedKeys::keyTypes.end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    const std::size_t separator = input.find('\0');
    const std::string_view key = input.substr(0, separator);
    const std::string_view comment = separator == std::string_view::npos ? "" : input.substr(separator + 1);

    const auto pieces = Unicode::splitOnWhitespace(key);
    const bool acceptable = pieces.size() >= 2 && isKeyType(pieces[0]) && isStandardBase64(pieces[1]) &&
                            CompanionCore::SshPublicKey::isUsable(pieces[0], pieces[1]);
    const auto normalized = AuthorizedKeys::normalize(key, comment);
    require(normalized.hasValue() == acceptable,
            "a key is accepted exactly when type and blob are well formed and the server can use it");
    if (!normalized) {
        require(normalized.failure() == AuthorizedKeys::Failure::notAPublicKey,
                "a refusal says not a public key");
        return 0;
    }

    const std::string& line = *normalized;
    const std::string identity = std::string(pieces[0]) + " " + std::string(pieces[1]);
    require(line.find('\n') == std::string::npos, "a line holds no line feed");
    require(std::any_of(AuthorizedKeys::keyTypes.begin(), AuthorizedKeys::keyTypes.end(),
                        [&](std::string_view type) { return line.starts_with(std::string(type) + " "); }),
            "a line starts with a key type and a blank");
    require(line.starts_with(identity), "a line starts with the key's type and blob");
    require(AuthorizedKeys::keyIdentity(line) == identity, "the line keeps the key's identity");

    const std::string_view tail = std::string_view(line).substr(identity.size());
    require(tail.empty() || (tail.size() > 1 && tail[0] == ' '),
            "a comment follows one blank, and only when not empty");
    const std::string_view cleanedComment = tail.empty() ? tail : tail.substr(1);
    std::string blanked(comment);
    std::replace(blanked.begin(), blanked.end(), '\n', ' ');
    require(cleanedComment == Unicode::displaySafe(Unicode::trim(blanked, Unicode::isBlank)),
            "the comment is the given one, line feeds blanked, blanks trimmed, made display-safe");
    require(Unicode::displaySafe(line) == line, "nothing in a line can steer a terminal");

    require(AuthorizedKeys::normalize(line, comment) == normalized,
            "normalizing a normalized line changes nothing");
    require(AuthorizedKeys::normalize(key, cleanedComment) == normalized,
            "cleaning a clean comment changes nothing");
    require(*AuthorizedKeys::normalize(key, "") == identity, "without a comment the line is the identity");
    return 0;
}
