#include "Companion/PhoneActivity.h"

#include "Companion/PairedPhones.h"
#include "CompanionCore/SshConnection.h"

#include <algorithm>
#include <limits>
#include <set>

namespace Companion::PhoneActivities {

namespace {

bool sameClient(const LoginAttempt& login, const LiveSession& session) {
    using CompanionCore::SshConnection;
    return login.port == session.clientPort && SshConnection::normalizedAddress(login.address) ==
                                                   SshConnection::normalizedAddress(session.clientAddress);
}

PhoneActivity activityOf(const std::string& fingerprint, const std::string& user,
                         const std::vector<LoginAttempt>& attempts,
                         const std::vector<LiveSession>& sessions) {
    PhoneActivity activity;
    std::optional<LoginAttempt> newestAttempt;
    std::set<int> moshServers;
    for (const auto& attempt : attempts) {
        if (attempt.fingerprint != fingerprint || attempt.user != user) {
            continue;
        }
        if (!newestAttempt || attempt.time > newestAttempt->time) {
            newestAttempt = attempt;
        }
        if (!attempt.accepted) {
            continue;
        }
        if (!activity.lastLogin || attempt.time > activity.lastLogin->time) {
            activity.lastLogin = attempt;
        }
        for (const auto& session : sessions) {
            if (!sameClient(attempt, session)) {
                continue;
            }
            if (session.moshServer) {
                moshServers.insert(session.pid);
            } else {
                activity.connectedNow = true;
            }
        }
    }
    if (newestAttempt && !newestAttempt->accepted) {
        activity.refusedLast = newestAttempt;
    }
    activity.moshSessions = static_cast<int>(moshServers.size());
    return activity;
}

} // namespace

ActivityReading read(const Host& host, const std::vector<CompanionCore::PairedDevice>& phones) {
    std::vector<std::optional<std::string>> fingerprints;
    LoginRecords::Query query;
    for (const auto& phone : phones) {
        fingerprints.push_back(PairedPhones::fingerprint(phone));
        if (fingerprints.back() && std::find(query.fingerprints.begin(), query.fingerprints.end(),
                                             *fingerprints.back()) == query.fingerprints.end()) {
            query.fingerprints.push_back(*fingerprints.back());
        }
    }
    query.user = host.userName();
    query.since = host.clock() - lookBack;

    ActivityReading reading;
    reading.phones.resize(phones.size());
    if (query.fingerprints.empty()) {
        return reading;
    }
    const auto records = host.loginRecords->newest(query);
    if (!records) {
        reading.unreadable = records.failure().howToAllow;
        return reading;
    }
    const auto sessions = host.liveSessions->list();
    for (std::size_t index = 0; index < phones.size(); ++index) {
        if (fingerprints[index]) {
            reading.phones[index] = activityOf(*fingerprints[index], query.user, *records, sessions);
        }
    }
    return reading;
}

std::optional<LoginAttempt> firstLoginSince(LoginRecords& records, const std::string& fingerprint,
                                            std::chrono::system_clock::time_point since,
                                            const std::string& user) {
    LoginRecords::Query query;
    query.fingerprints = {fingerprint};
    query.user = user;
    query.since = since;
    // Every accepted login since then is read: the first is the oldest.
    query.acceptedPerKey = std::numeric_limits<std::size_t>::max();
    const auto reading = records.newest(query);
    if (!reading) {
        return std::nullopt;
    }
    std::optional<LoginAttempt> first;
    for (const auto& attempt : *reading) {
        if (attempt.accepted && attempt.fingerprint == fingerprint && attempt.time >= since &&
            (!first || attempt.time <= first->time)) {
            first = attempt;
        }
    }
    return first;
}

} // namespace Companion::PhoneActivities
