#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Locale names as the C library reads them ("language_TERRITORY.codeset@modifier"), compared the way
/// it compares them: "en_US.UTF-8" and "en_US.utf8" name the same locale.
namespace CompanionCore::LocaleName {

/// `name` with its codeset in the C library's normal form: lower case, letters and digits only.
std::string normalized(std::string_view name);

/// Whether `name`'s codeset is UTF-8. "C" and "POSIX" are not.
bool isUtf8(std::string_view name);

/// Whether `name` is one of `available` (as `locale -a` lists them) or one every system has.
bool isAvailable(std::string_view name, const std::vector<std::string>& available);

/// The lines of `locale -a`.
std::vector<std::string> parseList(std::string_view output);

/// The locale that decides the character set: the first non-empty of LC_ALL, LC_CTYPE and LANG;
/// nothing means the C locale.
std::optional<std::string> effective(const std::optional<std::string>& lcAll,
                                     const std::optional<std::string>& lcCtype,
                                     const std::optional<std::string>& lang);

} // namespace CompanionCore::LocaleName
