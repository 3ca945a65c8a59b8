#pragma once

#include "CompanionCore/server/PairingState.h"

#include <QString>

/// Why a pairing session failed, as both front ends tell the user.
namespace Companion::PairingFailureText {

/// The failure in the user's language, with the system's own words where it gave some (a listener's
/// error, a file system error) and the paths and accounts of an ownership refusal.
QString describe(const CompanionCore::Pairing::Failed& failed);

} // namespace Companion::PairingFailureText
