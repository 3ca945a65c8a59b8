#include "Companion/SessionTree.h"

#include <algorithm>

namespace Companion::SessionTree {

std::vector<LiveSession> outermost(std::vector<LiveSession> sessions,
                                   const std::function<std::optional<int>(int pid)>& parentOf,
                                   const std::function<bool(int pid)>& isMoshServer) {
    const auto underMoshServer = [&](const LiveSession& session) {
        auto parent = parentOf(session.pid);
        for (int depth = 0; parent && *parent > 1 && depth < ancestorBound; ++depth) {
            if (isMoshServer(*parent)) {
                return true;
            }
            parent = parentOf(*parent);
        }
        return false;
    };
    sessions.erase(std::remove_if(sessions.begin(), sessions.end(), underMoshServer), sessions.end());
    return sessions;
}

} // namespace Companion::SessionTree
