// Feeds any bytes to the paired-phone listing as the contents of an authorized keys file, then
// revokes each listed phone in turn and checks that exactly its lines go and every other byte stays,
// and that removing every line holding its key leaves none that holds it.
#include "CompanionCore/PairedDevices.h"
#include "CompanionCore/Unicode.h"
#include "Invariant.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

using CompanionFuzz::require;
using namespace CompanionCore;

namespace {

/// Whether `part` can be had from `whole` by dropping some of its bytes (in order).
bool isSubsequence(std::string_view part, std::string_view whole) {
    std::size_t at = 0;
    for (const char c : whole) {
        if (at < part.size() && part[at] == c) {
            ++at;
        }
    }
    return at == part.size();
}

std::size_t lineCount(std::string_view text) {
    std::size_t lines = 0;
    for (const char c : text) {
        lines += c == '\n' ? 1 : 0;
    }
    return lines + (text.empty() || text.back() == '\n' ? 0 : 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const auto listing = PairedDevices::list(text);
    const std::size_t lines = lineCount(text);
    require(listing.devices.size() + listing.otherKeys <= lines, "no line counts twice");
    std::size_t previousLine = 0;
    for (const auto& device : listing.devices) {
        require(device.lineNumber > previousLine && device.lineNumber <= lines, "phones come in file order");
        previousLine = device.lineNumber;
        require(Unicode::displaySafe(device.name) == device.name, "a phone's name is safe to show");
        require(!device.keyType.empty() && !device.blob.empty(), "a phone has a key");

        const std::string revoked = PairedDevices::withoutDevice(text, device.keyType, device.blob);
        require(revoked.size() < text.size(), "revoking a listed phone removes its line");
        require(isSubsequence(revoked, text), "revoking only removes bytes");
        const auto after = PairedDevices::list(revoked);
        require(after.otherKeys == listing.otherKeys, "revoking a phone leaves the other keys");
        for (const auto& left : after.devices) {
            require(left.keyType != device.keyType || left.blob != device.blob, "the revoked key is gone");
        }
        require(PairedDevices::withoutDevice(revoked, device.keyType, device.blob) == revoked,
                "revoking twice is revoking once");

        const auto others = PairedDevices::otherLinesHolding(text, device.keyType, device.blob);
        const auto left = PairedDevices::linesHolding(revoked, device.keyType, device.blob);
        require(left.size() == others.size(), "revoking a phone leaves exactly the other lines with its key");
        for (const auto& line : others) {
            require(Unicode::displaySafe(line.excerpt) == line.excerpt, "a line's excerpt is safe to show");
        }
        const std::string cleared = PairedDevices::withoutKey(text, device.keyType, device.blob);
        require(isSubsequence(cleared, text), "removing a key only removes bytes");
        require(PairedDevices::linesHolding(cleared, device.keyType, device.blob).empty(),
                "removing a key leaves no line that holds it");
        require(PairedDevices::withoutKey(revoked, device.keyType, device.blob) == cleared,
                "removing the key after the phone's lines is removing it at once");
    }
    require(PairedDevices::withoutDevice(text, "ssh-ed25519", "") == text, "revoking no key changes nothing");
    return 0;
}
