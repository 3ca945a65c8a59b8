// sshd's records on arbitrary bytes, as a syslog line, a unified log entry and a bare message: a
// record read from the end of a message keeps the fields sshd writes there exactly as written.
#include "CompanionCore/SshdRecord.h"
#include "Invariant.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

using CompanionCore::SshdRecord;
using CompanionFuzz::require;

namespace {

void checkRecord(std::string_view message, const SshdRecord& record) {
    require(!record.user.empty(), "a record names a user");
    require(record.user.rfind("invalid user ", 0) != 0, "an invalid user is never a record");
    require(record.port > 0 && record.port <= 65535, "the port is a port");
    require(record.fingerprint.rfind("SHA256:", 0) == 0, "the key is a SHA-256 fingerprint");
    require(record.address.find(' ') == std::string::npos, "the address is one word");
    const std::string tail = " from " + record.address + " port " + std::to_string(record.port) + " ssh2: ";
    require(message.find(tail) != std::string_view::npos, "the address and port are the message's own");
    require(message.find(record.fingerprint) != std::string_view::npos, "the key is the message's own");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view data(reinterpret_cast<const char*>(bytes), size);
    if (const auto record = SshdRecord::fromMessage(data, {})) {
        checkRecord(data, *record);
        require(SshdRecord::fromMessage(data, {}) == record, "reading is deterministic");
    }
    if (const auto line = SshdRecord::syslogLine(data, {})) {
        require(data.find(line->message) != std::string_view::npos, "the message is the line's own");
        const auto record = SshdRecord::fromSyslogLine(data, {});
        if (record) {
            require(SshdRecord::isSshdProgram(line->program), "only sshd's lines are records");
            checkRecord(line->message, *record);
        }
    }
    if (const auto record = SshdRecord::fromUnifiedLogEntry(data)) {
        require(record->port > 0, "an entry's record has a port");
    }
    return 0;
}
