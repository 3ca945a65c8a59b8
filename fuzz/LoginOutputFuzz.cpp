// Feeds any bytes, as a login shell's merged output, to the readers of what mosh-server new prints
// and of the login's own report, and checks that what they read is well formed and reads back the same.
#include "CompanionCore/LoginReport.h"
#include "CompanionCore/MoshConnect.h"
#include "Invariant.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

using CompanionFuzz::require;
using namespace CompanionCore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    if (const auto connect = MoshConnect::parse(text)) {
        require(connect->port > 0 && connect->port <= 65535, "a port is a UDP port");
        require(connect->key.size() == MoshConnect::keyLength, "a key has mosh's length");
        const std::string line = "MOSH CONNECT " + std::to_string(connect->port) + " " + connect->key + "\n";
        require(MoshConnect::parse(line) == connect, "a connect line reads back the same");
    }
    if (const auto pid = MoshConnect::detachedPid(text)) {
        require(*pid > 1, "a detached server is never init");
    }
    if (const auto report = LoginReport::parse(text)) {
        require(report->path.find('\n') == std::string::npos, "a value is one line");
        require(!report->moshServer || !report->moshServer->empty(), "an empty answer is no path");
        require(LoginReport::parse(std::string(text) + "\nnuvexa-login end\n").has_value(),
                "a repeated end changes nothing");
    }
    return 0;
}
