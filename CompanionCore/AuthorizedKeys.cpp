#include "CompanionCore/AuthorizedKeys.h"

#include "CompanionCore/KeyFileSession.h"
#include "CompanionCore/SshPublicKey.h"
#include "CompanionCore/Unicode.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

namespace CompanionCore::AuthorizedKeys {

namespace {

bool isBase64Character(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Standard base64 with the padding the standard requires, nothing else tolerated.
bool isStandardBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return false;
    }
    const std::size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
    if (padding > 2) {
        return false;
    }
    return std::all_of(text.begin(), text.end() - static_cast<std::ptrdiff_t>(padding), isBase64Character);
}

bool containsIdentity(std::string_view text, const std::string& identity) {
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        const std::string_view line = text.substr(start, end - start);
        if (!line.empty() && keyIdentity(line) == identity) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

} // namespace

Expected<std::string, Failure> normalize(std::string_view key, std::string_view comment) {
    const auto pieces = Unicode::splitOnWhitespace(key);
    if (pieces.size() < 2) {
        return Failure::notAPublicKey;
    }
    if (std::find(keyTypes.begin(), keyTypes.end(), pieces[0]) == keyTypes.end()) {
        return Failure::notAPublicKey;
    }
    // A key the SSH server cannot use would spend the code and still keep the phone out.
    if (!isStandardBase64(pieces[1]) || !SshPublicKey::isUsable(pieces[0], pieces[1])) {
        return Failure::notAPublicKey;
    }
    std::string cleaned(comment);
    std::replace(cleaned.begin(), cleaned.end(), '\n', ' ');
    // The phone chose the comment: nothing in it may steer a terminal that shows the file.
    const auto trimmed = Unicode::displaySafe(Unicode::trim(cleaned, Unicode::isBlank));

    std::string line;
    line.reserve(pieces[0].size() + pieces[1].size() + trimmed.size() + 2);
    line.append(pieces[0]).append(" ").append(pieces[1]);
    if (!trimmed.empty()) {
        line.append(" ").append(trimmed);
    }
    return line;
}

std::string keyIdentity(std::string_view line) {
    const auto pieces = Unicode::splitOnWhitespace(line);
    if (pieces.empty()) {
        return {};
    }
    std::string identity(pieces[0]);
    if (pieces.size() > 1) {
        identity.append(" ").append(pieces[1]);
    }
    return identity;
}

bool install(std::string_view line, const std::filesystem::path& path, const std::stop_token& stop) {
    KeyFileSession session(path, stop);
    const std::string identity = keyIdentity(line);
    for (int round = 0; round < KeyFileSession::maximumRounds; ++round) {
        const auto snapshot = session.read();
        if (containsIdentity(snapshot.content, identity)) {
            return false;
        }
        switch (session.append(line, snapshot)) {
        case KeyFileSession::AppendResult::appended:
            return true;
        case KeyFileSession::AppendResult::changed:
            continue;
        case KeyFileSession::AppendResult::notWritable: {
            // A file its owner made read-only: replaced whole, keeping that mode and owner.
            std::string content = snapshot.content;
            if (!content.empty() && content.back() != '\n') {
                content += '\n';
            }
            content.append(line).append("\n");
            if (session.replace(content, snapshot)) {
                return true;
            }
            continue;
        }
        }
    }
    throw std::system_error(EAGAIN, std::generic_category(), session.target().string() + " keeps changing");
}

bool rewrite(const std::filesystem::path& path, const std::function<std::string(std::string_view)>& edit,
             const std::stop_token& stop) {
    KeyFileSession session(path, stop);
    for (int round = 0; round < KeyFileSession::maximumRounds; ++round) {
        const auto snapshot = session.read();
        const std::string content = edit(snapshot.content);
        if (content == snapshot.content) {
            return false;
        }
        if (session.replace(content, snapshot)) {
            return true;
        }
    }
    throw std::system_error(EAGAIN, std::generic_category(), session.target().string() + " keeps changing");
}

Expected<std::string, KeyFileFailure> read(const std::filesystem::path& path) {
    const auto snapshot = KeyFileSession::readFile(path);
    if (!snapshot) {
        return snapshot.failure();
    }
    return snapshot->content;
}

} // namespace CompanionCore::AuthorizedKeys
