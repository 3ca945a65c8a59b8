#include "CompanionCore/server/PairingState.h"

#include "CompanionCore/PairingHandler.h"

namespace CompanionCore::Pairing {

std::string describe(const Failed& failed) {
    switch (failed.reason) {
    case PairingFailure::keyFileNotTheUsers:
        return failed.ownership ? KeyFileOwnership::describe(*failed.ownership) : failed.detail;
    case PairingFailure::noFreePort:
        return "no free port";
    case PairingFailure::listenerFailed:
        return failed.detail;
    case PairingFailure::tooManyWrongCodes:
        return "too many wrong codes";
    case PairingFailure::keyNotInstalled:
        return std::string(PairingHandler::keyWriteFailure) + failed.detail;
    }
    return failed.detail;
}

} // namespace CompanionCore::Pairing
