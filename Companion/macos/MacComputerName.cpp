#include "Companion/HostIdentity.h"

namespace Companion::HostIdentity {

namespace {

constexpr std::chrono::milliseconds scutilTimeout{2000};

} // namespace

std::string macosComputerName(ProcessRunner& runner, const std::string& fallback) {
    ProcessCommand command;
    command.program = "/usr/sbin/scutil";
    command.arguments = {"--get", "ComputerName"};
    command.output = ProcessCommand::Output::capture;
    command.timeout = scutilTimeout;
    const ProcessResult result = runner.run(command);
    if (!result.succeeded()) {
        return fallback;
    }
    std::string name = result.output;
    while (!name.empty() && (name.back() == '\n' || name.back() == '\r')) {
        name.pop_back();
    }
    return name.empty() ? fallback : name;
}

} // namespace Companion::HostIdentity
