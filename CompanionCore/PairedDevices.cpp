#include "CompanionCore/PairedDevices.h"

#include "CompanionCore/SshPublicKey.h"
#include "CompanionCore/Unicode.h"
#include "CompanionCore/WellKnown.h"

#include <map>
#include <optional>

namespace CompanionCore::PairedDevices {

namespace {

bool isSeparator(char c) {
    return c == ' ' || c == '\t';
}

std::string_view skipSeparators(std::string_view text) {
    while (!text.empty() && isSeparator(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

/// The next field and what follows it; a double-quoted stretch (in options) may hold separators.
std::pair<std::string_view, std::string_view> nextField(std::string_view text) {
    bool quoted = false;
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        const char c = text[end];
        if (c == '\\' && quoted && end + 1 < text.size()) {
            ++end;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && isSeparator(c)) {
            break;
        }
    }
    return {text.substr(0, end), skipSeparators(text.substr(end))};
}

/// What looks like a key type: the names the SSH server knows all start like this.
bool isKeyType(std::string_view field) {
    return field.starts_with("ssh-") || field.starts_with("ecdsa-sha2-") || field.starts_with("sk-") ||
           field.starts_with("rsa-sha2-");
}

/// The type the SSH server reads a key as: it takes the RSA signature names for the RSA key itself.
std::string_view plainType(std::string_view type) {
    return type == "rsa-sha2-256" || type == "rsa-sha2-512" ? std::string_view("ssh-rsa") : type;
}

struct LineKey {
    /// Empty when the line has none.
    std::string_view options;
    std::string_view type;
    std::string_view blob;
    std::string_view comment;

    bool holds(std::string_view keyType, std::string_view keyBlob) const {
        return blob == keyBlob && plainType(type) == plainType(keyType);
    }

    bool isPhone() const { return comment.starts_with(WellKnown::phoneCommentPrefix); }
};

/// The key of one line (without its line end), or nothing for a line without one.
std::optional<LineKey> parse(std::string_view line) {
    line = skipSeparators(line);
    if (line.empty() || line.front() == '#') {
        return std::nullopt;
    }
    std::string_view options;
    auto [first, rest] = nextField(line);
    if (!isKeyType(first)) {
        // Options come first; the key follows them.
        options = first;
        std::tie(first, rest) = nextField(rest);
        if (!isKeyType(first)) {
            return std::nullopt;
        }
    }
    const auto [blob, comment] = nextField(rest);
    if (blob.empty()) {
        return std::nullopt;
    }
    return LineKey{options, first, blob, comment};
}

/// `text` display-safe and, past `maximumExcerptPart` characters, cut short with "…".
std::string shortened(std::string_view text) {
    const std::string safe = Unicode::displaySafe(Unicode::trim(text, Unicode::isBlank));
    std::size_t at = 0;
    for (std::size_t count = 0; at < safe.size(); ++count) {
        if (count == maximumExcerptPart) {
            return safe.substr(0, at) + "…";
        }
        Unicode::decodeAt(safe, at);
    }
    return safe;
}

/// "restrict ssh-ed25519 … backup": the line as people recognise it, without the long blob.
std::string excerpt(const LineKey& key) {
    std::string text;
    if (!key.options.empty()) {
        text = shortened(key.options) + " ";
    }
    text += shortened(key.type) + " …";
    const std::string comment = shortened(key.comment);
    if (!comment.empty()) {
        text += " " + comment;
    }
    return text;
}

/// Calls `visit(line, lineEnd)` for each line: the line without its end, and the end itself ("\n",
/// "\r\n" or nothing for a last line without one).
template <typename Visitor>
void forEachLine(std::string_view text, Visitor visit) {
    while (!text.empty()) {
        const std::size_t feed = text.find('\n');
        std::string_view line = text.substr(0, feed);
        std::string_view end = feed == std::string_view::npos ? std::string_view() : text.substr(feed, 1);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
            end = text.substr(line.size(), end.size() + 1);
        }
        visit(line, end);
        text.remove_prefix(line.size() + end.size());
    }
}

/// `fileText` without the lines that hold the key and that `removed` picks.
template <typename Predicate>
std::string withoutLines(std::string_view fileText, std::string_view keyType, std::string_view blob,
                         Predicate removed) {
    std::string kept;
    kept.reserve(fileText.size());
    forEachLine(fileText, [&](std::string_view line, std::string_view end) {
        const auto key = parse(line);
        if (!key || !key->holds(keyType, blob) || !removed(*key)) {
            kept.append(line).append(end);
        }
    });
    return kept;
}

/// The lines that hold the key and that `wanted` picks, as people are shown them.
template <typename Predicate>
std::vector<KeyLine> holders(std::string_view fileText, std::string_view keyType, std::string_view blob,
                             Predicate wanted) {
    std::vector<KeyLine> found;
    std::size_t number = 0;
    forEachLine(fileText, [&](std::string_view line, std::string_view) {
        ++number;
        const auto key = parse(line);
        if (key && key->holds(keyType, blob) && wanted(*key)) {
            found.push_back(KeyLine{number, excerpt(*key)});
        }
    });
    return found;
}

} // namespace

Listing list(std::string_view fileText) {
    Listing listing;
    std::size_t number = 0;
    forEachLine(fileText, [&](std::string_view line, std::string_view) {
        ++number;
        const auto key = parse(line);
        if (!key) {
            return;
        }
        if (!key->isPhone()) {
            ++listing.otherKeys;
            return;
        }
        const auto name =
            Unicode::trim(key->comment.substr(WellKnown::phoneCommentPrefix.size()), Unicode::isBlank);
        listing.devices.push_back(PairedDevice{Unicode::displaySafe(name), std::string(key->type),
                                               std::string(key->blob), number, false});
    });
    std::map<std::string, std::size_t> latest;
    for (std::size_t i = 0; i < listing.devices.size(); ++i) {
        latest[listing.devices[i].name] = i;
    }
    for (std::size_t i = 0; i < listing.devices.size(); ++i) {
        listing.devices[i].older = latest[listing.devices[i].name] != i;
    }
    return listing;
}

std::vector<PairedDevice> matching(const Listing& listing, std::string_view query) {
    constexpr std::string_view prefix = "SHA256:";
    const std::string fingerprint =
        query.starts_with(prefix) ? std::string(query) : std::string(prefix) + std::string(query);
    std::vector<PairedDevice> found;
    for (const auto& device : listing.devices) {
        if (device.name == query ||
            (!query.empty() && SshPublicKey::fingerprint(device.keyType, device.blob) == fingerprint)) {
            found.push_back(device);
        }
    }
    return found;
}

std::vector<KeyLine> linesHolding(std::string_view fileText, std::string_view keyType,
                                  std::string_view blob) {
    return holders(fileText, keyType, blob, [](const LineKey&) { return true; });
}

std::vector<KeyLine> otherLinesHolding(std::string_view fileText, std::string_view keyType,
                                       std::string_view blob) {
    return holders(fileText, keyType, blob, [](const LineKey& key) { return !key.isPhone(); });
}

std::string withoutDevice(std::string_view fileText, std::string_view keyType, std::string_view blob) {
    return withoutLines(fileText, keyType, blob, [](const LineKey& key) { return key.isPhone(); });
}

std::string withoutKey(std::string_view fileText, std::string_view keyType, std::string_view blob) {
    return withoutLines(fileText, keyType, blob, [](const LineKey&) { return true; });
}

} // namespace CompanionCore::PairedDevices
