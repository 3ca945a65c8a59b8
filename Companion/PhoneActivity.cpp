#include "Companion/PhoneActivity.h"

// Stand-in until the records reader lands.
namespace Companion::PhoneActivities {

ActivityReading read(const Host&, const std::vector<CompanionCore::PairedDevice>& phones) {
    return ActivityReading{std::vector<PhoneActivity>(phones.size()), std::nullopt};
}

std::optional<LoginAttempt> firstLoginSince(LoginRecords&, const std::string&,
                                            std::chrono::system_clock::time_point) {
    return std::nullopt;
}

} // namespace Companion::PhoneActivities
