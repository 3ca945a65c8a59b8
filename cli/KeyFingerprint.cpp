#include "cli/KeyFingerprint.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <cstdint>

namespace Cli {

namespace {

/// Reads the length-prefixed strings of the SSH wire format.
class BlobReader {
public:
    explicit BlobReader(const QByteArray& blob)
        : m_blob(blob) {}

    std::optional<QByteArray> next() {
        if (m_blob.size() - m_pos < 4) {
            return std::nullopt;
        }
        std::uint32_t length = 0;
        for (int i = 0; i < 4; ++i) {
            length = (length << 8) | static_cast<unsigned char>(m_blob[m_pos + i]);
        }
        m_pos += 4;
        if (static_cast<qsizetype>(length) > m_blob.size() - m_pos) {
            return std::nullopt;
        }
        QByteArray piece = m_blob.mid(m_pos, static_cast<qsizetype>(length));
        m_pos += static_cast<qsizetype>(length);
        return piece;
    }

private:
    const QByteArray& m_blob;
    qsizetype m_pos = 0;
};

/// Significant bits of a big-endian unsigned integer (an mpint's leading zero byte included).
int bitLength(const QByteArray& number) {
    qsizetype first = 0;
    while (first < number.size() && number[first] == '\0') {
        ++first;
    }
    if (first == number.size()) {
        return 0;
    }
    int bits = static_cast<int>(number.size() - first - 1) * 8;
    for (auto top = static_cast<unsigned char>(number[first]); top != 0; top >>= 1) {
        ++bits;
    }
    return bits;
}

struct KnownType {
    std::string_view name;
    std::string_view label;
    int bits;
};

constexpr KnownType knownTypes[] = {
    {"ssh-ed25519", "ED25519", 256},
    {"sk-ssh-ed25519@openssh.com", "ED25519-SK", 256},
    {"ecdsa-sha2-nistp256", "ECDSA", 256},
    {"ecdsa-sha2-nistp384", "ECDSA", 384},
    {"ecdsa-sha2-nistp521", "ECDSA", 521},
    {"sk-ecdsa-sha2-nistp256@openssh.com", "ECDSA-SK", 256},
    {"ssh-rsa", "RSA", 0},
};

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
    return std::to_string(bits) + " " + sha256 + " " + (comment.empty() ? "no comment" : comment) + " (" +
           keyType + ")";
}

std::optional<KeyFingerprint> KeyFingerprint::of(std::string_view line) {
    std::string_view rest = line;
    const std::string_view type = nextPiece(rest);
    const std::string_view encoded = nextPiece(rest);
    const auto decoded =
        QByteArray::fromBase64Encoding(QByteArray(encoded.data(), static_cast<qsizetype>(encoded.size())),
                                       QByteArray::AbortOnBase64DecodingErrors);
    if (type.empty() || !decoded) {
        return std::nullopt;
    }
    const QByteArray& blob = *decoded;
    BlobReader reader(blob);
    const auto named = reader.next();
    if (!named || named->toStdString() != type) {
        return std::nullopt;
    }
    KeyFingerprint fingerprint;
    bool known = false;
    for (const KnownType& candidate : knownTypes) {
        if (candidate.name == type) {
            fingerprint.keyType = candidate.label;
            fingerprint.bits = candidate.bits;
            known = true;
        }
    }
    if (!known) {
        return std::nullopt;
    }
    if (type == "ssh-rsa") {
        const auto exponent = reader.next();
        const auto modulus = reader.next();
        if (!exponent || !modulus) {
            return std::nullopt;
        }
        fingerprint.bits = bitLength(*modulus);
    }
    QByteArray digest =
        QCryptographicHash::hash(blob, QCryptographicHash::Sha256).toBase64(QByteArray::OmitTrailingEquals);
    fingerprint.sha256 = "SHA256:" + digest.toStdString();
    const std::size_t commentStart = rest.find_first_not_of(" \t");
    if (commentStart != std::string_view::npos) {
        fingerprint.comment = std::string(rest.substr(commentStart));
    }
    return fingerprint;
}

} // namespace Cli
