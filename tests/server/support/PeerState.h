#pragma once

#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <string>

namespace TestSupport {

/// What a peer script (scripts/peers/*.sh) wrote into its state file: status=ready with the peer's
/// details, or status=unavailable with the reason.
struct PeerState {
    bool ready = false;
    /// Why the peer is not there, for the skip message.
    std::string reason;
    std::map<std::string, std::string> values;

    std::string value(const std::string& key) const {
        const auto found = values.find(key);
        return found == values.end() ? std::string() : found->second;
    }
};

/// The state of the peer whose folder is named by the environment variable `variable` (set by the
/// CTest fixture).
inline PeerState peerState(const char* variable) {
    PeerState state;
    const char* folder = std::getenv(variable);
    if (folder == nullptr) {
        state.reason = std::string(variable) +
                       " is not set: run this test through ctest, whose fixture starts "
                       "the peer";
        return state;
    }
    std::ifstream file(std::string(folder) + "/state");
    if (!file) {
        state.reason = std::string("the peer wrote no state into ") + folder;
        return state;
    }
    for (std::string line; std::getline(file, line);) {
        const auto equals = line.find('=');
        if (equals != std::string::npos) {
            state.values[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    state.ready = state.value("status") == "ready";
    if (!state.ready) {
        state.reason = state.value("reason").empty() ? "the peer did not start" : state.value("reason");
    }
    return state;
}

/// On CI the real peers must be there: a missing one is a failure, not a skip.
inline bool peersAreRequired() {
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::string(ci) == "true";
}

} // namespace TestSupport

/// Skips the test (or fails it on CI) when the peer is not ready; `state` must be a PeerState.
#define REQUIRE_PEER(state)                                                                                  \
    do {                                                                                                     \
        if (!(state).ready) {                                                                                \
            if (TestSupport::peersAreRequired()) {                                                           \
                FAIL() << "real peer required on CI: " << (state).reason;                                    \
            }                                                                                                \
            GTEST_SKIP() << "real peer unavailable: " << (state).reason;                                     \
        }                                                                                                    \
    } while (false)
