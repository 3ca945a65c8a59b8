#include "CompanionCore/KeyDiagnosis.h"

#include "CompanionCore/KeyFileModes.h"
#include "CompanionCore/KeyFileSession.h"

#include <arpa/inet.h>

#include <algorithm>

namespace CompanionCore::KeyDiagnosis {

namespace {

constexpr std::string_view loopbackAddress = "127.0.0.1";

bool isAddressLiteral(const std::string& host) {
    unsigned char bytes[sizeof(in6_addr)];
    return ::inet_pton(AF_INET, host.c_str(), bytes) == 1 || ::inet_pton(AF_INET6, host.c_str(), bytes) == 1;
}

bool isLoopback(const std::string& host) {
    return host.starts_with("127.") || host == "::1";
}

void add(std::vector<Obstacle>& list, Obstacle obstacle) {
    if (std::find(list.begin(), list.end(), obstacle) == list.end()) {
        list.push_back(obstacle);
    }
}

bool hasKey(const Subject& subject) {
    return !subject.keyType.empty() && !subject.keyBase64.empty();
}

Obstacle obstacleOf(KeyFileFailure::Kind kind) {
    switch (kind) {
    case KeyFileFailure::Kind::unreadable:
        return Obstacle::keyFileUnreadable;
    case KeyFileFailure::Kind::notRegularFile:
        return Obstacle::keyFileNotRegular;
    case KeyFileFailure::Kind::tooLarge:
        return Obstacle::keyFileTooLarge;
    }
    return Obstacle::keyFileUnreadable;
}

} // namespace

bool Result::works() const {
    return std::none_of(obstacles.begin(), obstacles.end(), keepsPhoneOut);
}

std::optional<KeyFileFailure> Result::failureBehind(Obstacle obstacle) const {
    if (!keyFileFailure || obstacleOf(keyFileFailure->kind) != obstacle) {
        return std::nullopt;
    }
    return keyFileFailure;
}

std::vector<Address> addresses(const std::vector<std::string>& hosts) {
    std::vector<Address> result{{std::string(loopbackAddress), true}};
    for (const auto& host : hosts) {
        if (isAddressLiteral(host) && !isLoopback(host) &&
            std::none_of(result.begin(), result.end(),
                         [&](const Address& known) { return known.host == host; })) {
            result.push_back({host, false});
        }
    }
    return result;
}

std::vector<Obstacle> causes(const Subject& subject, const std::vector<AddressAnswer>& answers,
                             const std::optional<SshdSettings>& settings) {
    std::vector<Obstacle> found;
    const auto loopback = std::find_if(answers.begin(), answers.end(),
                                       [](const AddressAnswer& answer) { return answer.address.loopback; });
    const bool loopbackAnswered =
        loopback != answers.end() && (loopback->answer.verdict == KeyCheck::Verdict::accepted ||
                                      loopback->answer.verdict == KeyCheck::Verdict::refused);
    bool refused = false;
    for (const auto& [address, answer] : answers) {
        switch (answer.verdict) {
        case KeyCheck::Verdict::accepted:
            break;
        case KeyCheck::Verdict::refused:
            refused = true;
            break;
        case KeyCheck::Verdict::noServer:
            if (!address.loopback && loopbackAnswered) {
                add(found, Obstacle::listensOnLoopbackOnly);
            } else {
                add(found, Obstacle::noSshServer);
            }
            break;
        case KeyCheck::Verdict::unreachable:
            add(found, Obstacle::addressUnreachable);
            break;
        }
    }
    if (!refused) {
        return found;
    }
    const auto before = found.size();
    if (settings) {
        for (const auto obstacle :
             settings->obstacles(subject.user, subject.groups, subject.home, subject.keyFile)) {
            add(found, obstacle);
        }
    }
    if (!settings || settings->strictModes) {
        for (const auto obstacle : KeyFileModes::obstacles(subject.home, subject.keyFile, subject.uid)) {
            add(found, obstacle);
        }
    }
    if (found.size() == before) {
        add(found, Obstacle::refusedForAnotherReason);
    }
    return found;
}

Result diagnose(const Subject& subject, const std::vector<Address>& addresses,
                const std::optional<SshdSettings>& settings, std::chrono::milliseconds bound) {
    Result result;
    for (const auto& address : addresses) {
        KeyCheck::Answer answer;
        if (hasKey(subject)) {
            answer = KeyCheck::ask(
                {address.host, subject.port, subject.user, subject.keyType, subject.keyBase64, bound});
        } else {
            answer.verdict = KeyCheck::probe(address.host, subject.port, bound, &answer.detail);
        }
        if (!result.hostKeyFingerprint && answer.hostKeyFingerprint) {
            result.hostKeyFingerprint = answer.hostKeyFingerprint;
        }
        result.answers.push_back({address, std::move(answer)});
    }
    result.obstacles = causes(subject, result.answers, settings);
    if (!hasKey(subject) && settings) {
        // Without a key the server cannot be asked, but its settings can still be read.
        for (const auto obstacle :
             settings->obstacles(subject.user, subject.groups, subject.home, subject.keyFile)) {
            add(result.obstacles, obstacle);
        }
        if (settings->strictModes) {
            for (const auto obstacle : KeyFileModes::obstacles(subject.home, subject.keyFile, subject.uid)) {
                add(result.obstacles, obstacle);
            }
        }
    }
    if (const auto read = KeyFileSession::readFile(subject.keyFile); !read) {
        result.keyFileFailure = read.failure();
        if (read.failure().kind != KeyFileFailure::Kind::tooLarge) {
            // The server cannot read it either: that is the reason it gave none for.
            std::erase(result.obstacles, Obstacle::refusedForAnotherReason);
        }
        add(result.obstacles, obstacleOf(read.failure().kind));
    }
    return result;
}

} // namespace CompanionCore::KeyDiagnosis
