#include "Companion/PairedPhones.h"

#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/SshPublicKey.h"

namespace Companion {

namespace PairedDevices = CompanionCore::PairedDevices;

PairedPhones::PairedPhones(std::filesystem::path authorizedKeys)
    : m_file(std::move(authorizedKeys)) {}

PairedPhones::Read<PairedDevices::Listing> PairedPhones::list() const {
    const auto content = CompanionCore::AuthorizedKeys::read(m_file);
    if (!content) {
        return content.failure();
    }
    return PairedDevices::list(*content);
}

PairedPhones::Read<std::vector<CompanionCore::PairedDevice>>
PairedPhones::find(std::string_view query) const {
    const auto listing = list();
    if (!listing) {
        return listing.failure();
    }
    return PairedDevices::matching(*listing, query);
}

PairedPhones::Read<std::vector<CompanionCore::KeyLine>>
PairedPhones::otherLinesHolding(const CompanionCore::PairedDevice& phone) const {
    const auto content = CompanionCore::AuthorizedKeys::read(m_file);
    if (!content) {
        return content.failure();
    }
    return PairedDevices::otherLinesHolding(*content, phone.keyType, phone.blob);
}

std::vector<CompanionCore::KeyLine> PairedPhones::revoke(const CompanionCore::PairedDevice& phone,
                                                         RevokeScope scope,
                                                         const std::stop_token& stop) const {
    std::string after;
    CompanionCore::AuthorizedKeys::rewrite(
        m_file,
        [&](std::string_view text) {
            switch (scope) {
            case RevokeScope::phoneLines:
                after = PairedDevices::withoutDevice(text, phone.keyType, phone.blob);
                break;
            case RevokeScope::everyLine:
                after = PairedDevices::withoutKey(text, phone.keyType, phone.blob);
                break;
            }
            return after;
        },
        stop);
    return PairedDevices::linesHolding(after, phone.keyType, phone.blob);
}

std::optional<std::string> PairedPhones::fingerprint(const CompanionCore::PairedDevice& phone) {
    return CompanionCore::SshPublicKey::fingerprint(phone.keyType, phone.blob);
}

} // namespace Companion
