#include "CompanionCore/LogText.h"

#include "CompanionCore/Unicode.h"

namespace CompanionCore::LogText {

namespace {

void appendEscaped(std::string& out, std::string_view text, bool escapeQuotes) {
    static constexpr char hex[] = "0123456789ABCDEF";
    std::size_t pos = 0;
    while (pos < text.size()) {
        const char32_t c = Unicode::decodeAt(text, pos);
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += escapeQuotes ? "\\\"" : "\"";
            break;
        case '\'':
            out += escapeQuotes ? "\\'" : "'";
            break;
        case '\0':
            out += "\\0";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (Unicode::isUnsafeForDisplay(c)) {
                out += "\\u{";
                for (int shift = c > 0xFF ? 12 : 4; shift >= 0; shift -= 4) {
                    out += hex[(c >> shift) & 0xF];
                }
                out += '}';
            } else {
                // Re-encoded, so an ill-formed byte is written as U+FFFD rather than as itself.
                Unicode::appendUtf8(out, c);
            }
        }
    }
}

} // namespace

std::string quoted(std::string_view text) {
    std::string out = "\"";
    appendEscaped(out, text, true);
    out += '"';
    return out;
}

std::string escapedControls(std::string_view text) {
    std::string out;
    appendEscaped(out, text, false);
    return out;
}

std::string quotedList(const std::vector<std::string>& texts) {
    std::string out = "[";
    for (std::size_t i = 0; i < texts.size(); ++i) {
        out += (i == 0 ? "" : ", ") + quoted(texts[i]);
    }
    return out + "]";
}

std::string numberList(const std::vector<std::uint16_t>& numbers) {
    std::string out = "[";
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        out += (i == 0 ? "" : ", ") + std::to_string(numbers[i]);
    }
    return out + "]";
}

std::string bounded(std::string_view text, std::size_t maxBytes) {
    std::string escaped = escapedControls(text);
    if (escaped.size() > maxBytes) {
        std::size_t cut = maxBytes;
        while (cut > 0 && (static_cast<unsigned char>(escaped[cut]) & 0xC0) == 0x80) {
            --cut;
        }
        escaped = escaped.substr(0, cut) + "\u2026 (" + std::to_string(text.size()) + " bytes)";
    }
    return escaped;
}

} // namespace CompanionCore::LogText
