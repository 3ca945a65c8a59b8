#pragma once

#include "Companion/LiveSessions.h"

#include <functional>
#include <optional>
#include <vector>

namespace Companion::SessionTree {

/// How far up the process tree a session's mosh-server is looked for.
inline constexpr int ancestorBound = 64;

/// `sessions` without the processes that run under a mosh-server: they inherit the login's
/// `SSH_CONNECTION` but belong to that server (which waits in a forked copy of itself for its
/// first client and then runs the shell there), and the server is listed itself. `parentOf` and
/// `isMoshServer` describe any process of the user.
std::vector<LiveSession> outermost(std::vector<LiveSession> sessions,
                                   const std::function<std::optional<int>(int pid)>& parentOf,
                                   const std::function<bool(int pid)>& isMoshServer);

} // namespace Companion::SessionTree
