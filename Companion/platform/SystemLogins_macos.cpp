#include "Companion/LiveSessions.h"
#include "Companion/LoginRecords.h"
#include "Companion/UnifiedLogLoginRecords.h"
#include "Companion/macos/SysctlLiveSessions.h"

namespace Companion {

std::shared_ptr<LoginRecords> systemLoginRecords(std::shared_ptr<ProcessRunner> runner) {
    return std::make_shared<UnifiedLogLoginRecords>(std::move(runner));
}

std::shared_ptr<LiveSessions> systemLiveSessions() {
    return std::make_shared<SysctlLiveSessions>();
}

} // namespace Companion
