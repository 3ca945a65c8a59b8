#include "Companion/LiveSessions.h"
#include "Companion/LoginRecords.h"
#include "Companion/linux/LinuxLoginRecords.h"
#include "Companion/linux/ProcLiveSessions.h"

namespace Companion {

std::shared_ptr<LoginRecords> systemLoginRecords(std::shared_ptr<ProcessRunner>) {
    return std::make_shared<LinuxLoginRecords>();
}

std::shared_ptr<LiveSessions> systemLiveSessions() {
    return std::make_shared<ProcLiveSessions>();
}

} // namespace Companion
