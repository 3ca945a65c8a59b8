#include "CompanionCore/Unicode.h"

#include <locale>
#include <stdexcept>

namespace CompanionCore::Unicode {

namespace {

/// Length and validity of the sequence starting at `pos`; 0 when ill-formed.
std::size_t sequenceLength(std::string_view bytes, std::size_t pos, char32_t& scalar) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[pos + i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        scalar = lead;
        return 1;
    }
    std::size_t length = 0;
    char32_t minimum = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2;
        scalar = lead & 0x1F;
        minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
        scalar = lead & 0x0F;
        minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
        scalar = lead & 0x07;
        minimum = 0x10000;
    } else {
        return 0;
    }
    if (pos + length > bytes.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
        scalar = (scalar << 6) | (byte(i) & 0x3F);
    }
    if (scalar < minimum || scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF)) {
        return 0;
    }
    return length;
}

const std::ctype<wchar_t>& unicodeCtype() {
    // The C library's tables know every cased script; any UTF-8 locale will do.
    static const std::locale locale = [] {
        for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8"}) {
            try {
                return std::locale(name);
            } catch (const std::runtime_error&) {
            }
        }
        return std::locale::classic();
    }();
    return std::use_facet<std::ctype<wchar_t>>(locale);
}

} // namespace

bool isValidUtf8(std::string_view bytes) {
    std::size_t pos = 0;
    while (pos < bytes.size()) {
        char32_t scalar = 0;
        const std::size_t length = sequenceLength(bytes, pos, scalar);
        if (length == 0) {
            return false;
        }
        pos += length;
    }
    return true;
}

char32_t decodeAt(std::string_view bytes, std::size_t& pos) {
    char32_t scalar = 0;
    const std::size_t length = sequenceLength(bytes, pos, scalar);
    if (length == 0) {
        ++pos;
        return replacementCharacter;
    }
    pos += length;
    return scalar;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::string sanitizedUtf8(std::string_view bytes) {
    if (isValidUtf8(bytes)) {
        return std::string(bytes);
    }
    std::string out;
    out.reserve(bytes.size());
    std::size_t pos = 0;
    while (pos < bytes.size()) {
        appendUtf8(out, decodeAt(bytes, pos));
    }
    return out;
}

bool isUnsafeForDisplay(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029 || c == 0x061C || c == 0x200E ||
           c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

std::string displaySafe(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const char32_t c = decodeAt(text, pos);
        if (c == '\n') {
            out += ' ';
        } else {
            // An ill-formed byte has decoded as U+FFFD already, so it is written as that.
            appendUtf8(out, isUnsafeForDisplay(c) ? replacementCharacter : c);
        }
    }
    return out;
}

bool isBlank(char32_t c) {
    switch (c) {
    case 0x09:
    case 0x20:
    case 0xA0:
    case 0x1680:
    case 0x202F:
    case 0x205F:
    case 0x3000:
        return true;
    default:
        return c >= 0x2000 && c <= 0x200A;
    }
}

bool isWhitespaceOrNewline(char32_t c) {
    return isBlank(c) || (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

std::string_view trim(std::string_view text, bool (*predicate)(char32_t)) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t next = begin;
        if (!predicate(decodeAt(text, next))) {
            break;
        }
        begin = next;
    }
    std::size_t end = begin;
    std::size_t pos = begin;
    while (pos < text.size()) {
        if (!predicate(decodeAt(text, pos))) {
            end = pos;
        }
    }
    return text.substr(begin, end - begin);
}

std::vector<std::string_view> splitOnWhitespace(std::string_view text) {
    std::vector<std::string_view> pieces;
    std::size_t pos = 0;
    std::size_t start = std::string_view::npos;
    while (pos < text.size()) {
        const std::size_t here = pos;
        const bool space = isWhitespaceOrNewline(decodeAt(text, pos));
        if (space && start != std::string_view::npos) {
            pieces.push_back(text.substr(start, here - start));
            start = std::string_view::npos;
        } else if (!space && start == std::string_view::npos) {
            start = here;
        }
    }
    if (start != std::string_view::npos) {
        pieces.push_back(text.substr(start));
    }
    return pieces;
}

std::string lowercased(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const auto& facet = unicodeCtype();
    std::size_t pos = 0;
    while (pos < text.size()) {
        const char32_t c = decodeAt(text, pos);
        if (c < 0x80) {
            out += static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
        } else if (c == 0x130) {
            // Capital I with dot lower-cases to two scalars, which no single-character table says.
            out += "i\xCC\x87";
        } else {
            static_assert(sizeof(wchar_t) >= 4, "wide characters must hold every scalar");
            appendUtf8(out, static_cast<char32_t>(facet.tolower(static_cast<wchar_t>(c))));
        }
    }
    return out;
}

} // namespace CompanionCore::Unicode
