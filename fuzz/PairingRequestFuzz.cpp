// PairingRequest::decode on arbitrary bytes; whatever decodes must survive encoding and decoding.

#include "CompanionCore/PairingRequest.h"
#include "Invariant.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

using CompanionCore::PairingRequest;
using CompanionFuzz::require;

namespace {

bool everySlashEscaped(std::string_view json) {
    for (std::size_t i = json.find('/'); i != std::string_view::npos; i = json.find('/', i + 1)) {
        if (i == 0 || json[i - 1] != '\\') {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view body(reinterpret_cast<const char*>(bytes), size);
    const auto request = PairingRequest::decode(body);
    if (!request) {
        return 0;
    }
    const std::string encoded = request->encode();
    require(encoded.starts_with("{\"code\":\""), "the code is encoded first");
    require(encoded.find('\n') == std::string::npos, "the encoding is one line");
    require(everySlashEscaped(encoded), "every slash is escaped");

    const auto again = PairingRequest::decode(encoded);
    require(again.has_value(), "an encoded request decodes");
    require(*again == *request, "decoding what was encoded gives the same request");
    require(again->encode() == encoded, "encoding is stable");
    return 0;
}
