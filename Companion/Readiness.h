#pragma once

#include "Companion/ReadinessCheck.h"

#include <vector>

namespace Companion {

class CompanionModel;

/// The readiness checks as both front ends show them, from the model's published fields. The texts
/// are the Spanish keys of the "Readiness" translation context.
namespace Readiness {

/// The SSH server, mosh-server, tmux and the relay tool, in that order.
std::vector<ReadinessCheck> checks(const CompanionModel& model);

/// Runs a row's repair on the model (nothing for `Action::none`).
void perform(CompanionModel& model, ReadinessCheck::Action action);

} // namespace Readiness

} // namespace Companion
