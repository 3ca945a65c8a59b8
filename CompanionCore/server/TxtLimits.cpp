#include "CompanionCore/server/TxtLimits.h"

namespace CompanionCore::TxtLimits {

namespace {

constexpr std::string_view hostsKey = "hosts";

bool fits(const std::string& key, const std::string& value) {
    return key.size() + 1 + value.size() <= maxEntryBytes;
}

std::string tooLong(const std::string& key, const std::string& value) {
    return "TXT entry " + key + " is " + std::to_string(key.size() + 1 + value.size()) +
           " bytes, more than the " + std::to_string(maxEntryBytes) + " DNS-SD allows";
}

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// Drops hosts from the end of a comma-separated list until the entry fits.
std::string fitHosts(const std::string& key, const std::string& value, std::vector<std::string>& notes) {
    std::vector<std::string> hosts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = value.find(',', start);
        hosts.push_back(value.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    std::vector<std::string> dropped;
    std::string kept = value;
    while (!fits(key, kept)) {
        dropped.insert(dropped.begin(), hosts.back());
        hosts.pop_back();
        kept.clear();
        for (std::size_t i = 0; i < hosts.size(); ++i) {
            kept += (i == 0 ? "" : ",") + hosts[i];
        }
    }
    std::string left;
    for (std::size_t i = 0; i < dropped.size(); ++i) {
        left += (i == 0 ? "" : ", ") + dropped[i];
    }
    notes.push_back(tooLong(key, value) + "; announcing it without its last " +
                    std::to_string(dropped.size()) + (dropped.size() == 1 ? " host: " : " hosts: ") + left);
    return kept;
}

std::string shorten(const std::string& key, const std::string& value, std::vector<std::string>& notes) {
    std::size_t length = maxEntryBytes - key.size() - 1;
    while (length > 0 && isContinuationByte(value[length])) {
        --length;
    }
    notes.push_back(tooLong(key, value) + "; announcing its first " + std::to_string(length) + " bytes");
    return value.substr(0, length);
}

} // namespace

Fitted fit(const std::map<std::string, std::string>& record) {
    Fitted fitted;
    for (const auto& [key, value] : record) {
        if (fits(key, value) || key.size() + 1 > maxEntryBytes) {
            // A key that alone is too long cannot be helped; the announcer reports its refusal.
            fitted.entries.emplace_back(key, value);
        } else if (key == hostsKey) {
            fitted.entries.emplace_back(key, fitHosts(key, value, fitted.notes));
        } else {
            fitted.entries.emplace_back(key, shorten(key, value, fitted.notes));
        }
    }
    return fitted;
}

} // namespace CompanionCore::TxtLimits
