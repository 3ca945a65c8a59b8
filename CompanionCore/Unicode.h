#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Text helpers over UTF-8 bytes, with the white space classes the exchange relies on.
namespace CompanionCore::Unicode {

/// True when the bytes are well-formed UTF-8 (no overlong forms, surrogates or values past U+10FFFF).
bool isValidUtf8(std::string_view bytes);

/// Decodes the scalar at `pos` and advances `pos` past it; an ill-formed byte decodes as U+FFFD and
/// advances by one, so any byte string can be walked.
char32_t decodeAt(std::string_view bytes, std::size_t& pos);

/// Appends the UTF-8 form of a scalar.
void appendUtf8(std::string& out, char32_t scalar);

/// Replaces ill-formed sequences by U+FFFD.
std::string sanitizedUtf8(std::string_view bytes);

/// What stands, visibly, for a character that must never reach a file, the log, a terminal or the
/// panel as itself.
inline constexpr char32_t replacementCharacter = 0xFFFD;

/// True for scalars that can steer a terminal or reorder the text around them: the C0 and C1
/// controls, DEL, the line and paragraph separators, and the bidirectional marks, embeddings,
/// overrides and isolates.
bool isUnsafeForDisplay(char32_t c);

/// `text` safe to write anywhere a person reads it: a line feed becomes a blank, every other unsafe
/// scalar and every ill-formed sequence becomes U+FFFD. Everything else is kept byte for byte.
std::string displaySafe(std::string_view text);

/// Space separators (general category Zs) and the tab: white space that is not a line break.
bool isBlank(char32_t c);

/// Every scalar with the White_Space property: blanks plus line feed, vertical tab, form feed,
/// carriage return, next line and the line and paragraph separators.
bool isWhitespaceOrNewline(char32_t c);

/// Trims scalars matching `predicate` from both ends.
std::string_view trim(std::string_view text, bool (*predicate)(char32_t));

/// Splits at runs of white space (line breaks included), dropping empty pieces.
std::vector<std::string_view> splitOnWhitespace(std::string_view text);

/// Full Unicode lower-casing of well-formed UTF-8 text.
std::string lowercased(std::string_view text);

} // namespace CompanionCore::Unicode
