#include "cli/LoginRecordsOption.h"

#include "Companion/AuthLogLoginRecords.h"

#include <filesystem>
#include <memory>

namespace Cli {

QCommandLineOption loginRecordsOption() {
    QCommandLineOption option("login-records", "Read the SSH server's records from the syslog <file>.",
                              "file");
    option.setFlags(QCommandLineOption::HiddenFromHelp);
    return option;
}

Companion::Host withLoginRecords(const Companion::Host& host, const CommandLine& commandLine,
                                 const QCommandLineOption& option) {
    Companion::Host chosen = host;
    if (commandLine.isSet(option)) {
        chosen.loginRecords = std::make_shared<Companion::AuthLogLoginRecords>(
            std::vector<std::filesystem::path>{commandLine.value(option).toStdString()}, host.clock,
            host.userName);
    }
    return chosen;
}

} // namespace Cli
