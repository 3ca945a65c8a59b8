#include "CompanionCore/KeyFileFailure.h"

#include "CompanionCore/KeyFileSession.h"

namespace CompanionCore {

std::string KeyFileFailure::context() const {
    switch (kind) {
    case Kind::unreadable:
        return "cannot read " + path.string();
    case Kind::notRegularFile:
        return path.string() + " is not a regular file";
    case Kind::tooLarge:
        return path.string() + " is larger than " + std::to_string(KeyFileSession::maximumSize) + " bytes";
    }
    return "cannot read " + path.string();
}

std::string KeyFileFailure::message() const {
    return context() + ": " + error.message();
}

} // namespace CompanionCore
