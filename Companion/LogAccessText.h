#pragma once

#include <QString>

#include <string>

/// How the user can let the companion read the SSH server's records, one sentence per situation.
namespace Companion::LogAccessText {

/// Linux: the records are there but only the groups adm and systemd-journal may read them.
QString linuxGroups(const std::string& user);

/// Linux: the system keeps no record of the SSH server that can be read (no journal, no auth.log).
QString linuxNoRecords();

/// macOS: the unified log could not be read.
QString macosUnifiedLog();

} // namespace Companion::LogAccessText
