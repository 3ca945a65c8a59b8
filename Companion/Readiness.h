#pragma once

#include "Companion/Host.h"
#include "Companion/ReadinessCheck.h"
#include "Companion/ReadinessFacts.h"
#include "Companion/SystemActions.h"

#include <functional>
#include <stop_token>
#include <vector>

/// Whether this computer is ready to be reached from the phone: one look at it, and the rows both
/// front ends show. The texts are the Spanish keys of the "Readiness" translation context.
namespace Companion::Readiness {

/// The repairs under way, which their rows show as busy.
struct Pending {
    bool remoteLogin = false;
    bool drozakConnect = false;
};

/// Looks at the SSH server, mosh-server and whether an SSH login finds it, tmux, the relay tool, its
/// status and the addresses, in that order, calling `progress` after each one with `earlier` updated by what
/// is known so far. Blocks on the system's answers. Once `stop` is requested it looks no further and the
/// facts are incomplete.
ReadinessFacts probe(const Host& host, const std::stop_token& stop = {},
                     const std::function<void(const ReadinessFacts&)>& progress = {},
                     ReadinessFacts earlier = {});

/// The rows, in the order people read them: the SSH server, mosh-server, tmux and the relay tool.
/// A mosh-server that an SSH login does not find is not ready, and its row carries the finding.
std::vector<ReadinessCheck> checks(const ReadinessFacts& facts, const Pending& pending,
                                   SystemActions& actions);

/// What the look at a login found on mosh-server's way: a mosh-server installed where an SSH login
/// does not find it, with where it is and how to let the login find it on `actions`' system.
std::vector<Finding> moshPathFindings(const ReadinessFacts& facts, SystemActions& actions);

} // namespace Companion::Readiness
