#pragma once

#include "Companion/Host.h"
#include "cli/CommandLine.h"

#include <QCommandLineOption>

namespace Cli {

/// The hidden "--login-records FILE" of the commands that read the SSH server's records: a syslog
/// file read in place of the system's records, so that tests judge records of their own.
QCommandLineOption loginRecordsOption();

/// `host`, reading the file `option` names when it is set.
Companion::Host withLoginRecords(const Companion::Host& host, const CommandLine& commandLine,
                                 const QCommandLineOption& option);

} // namespace Cli
