#include "Companion/ReadinessFacts.h"

#include "CompanionCore/Addresses.h"

#include <algorithm>

namespace Companion {

namespace {

std::vector<std::string>::const_iterator firstMeshAddress(const std::vector<std::string>& addresses) {
    return std::find_if(addresses.begin(), addresses.end(), [](const std::string& address) {
        return CompanionCore::Addresses::classify(address) == CompanionCore::Addresses::Kind::mesh;
    });
}

} // namespace

std::optional<std::string> ReadinessFacts::meshAddress() const {
    if (drozakStatus && drozakStatus->connected && drozakStatus->ip && !drozakStatus->ip->empty()) {
        return drozakStatus->ip;
    }
    const auto listed = firstMeshAddress(addresses);
    if (listed == addresses.end()) {
        return std::nullopt;
    }
    return *listed;
}

bool ReadinessFacts::hasMeshAddress() const {
    return firstMeshAddress(addresses) != addresses.end();
}

} // namespace Companion
