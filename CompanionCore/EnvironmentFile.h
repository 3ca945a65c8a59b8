#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Files of "NAME=value" lines that set a login's environment: /etc/environment and the system's
/// default locale (/etc/default/locale, /etc/locale.conf), as pam_env and systemd read them.
namespace CompanionCore::EnvironmentFile {

using Entry = std::pair<std::string, std::string>;

/// The assignments of `text` in order. Blank lines and '#' comments are skipped, a leading "export"
/// is allowed, and one pair of matching quotes around a value is removed; other lines are ignored.
std::vector<Entry> parse(std::string_view text);

} // namespace CompanionCore::EnvironmentFile
