#include "CompanionCore/server/LogLocation.h"

#include "CompanionCore/server/PairingServer.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

namespace LogLocation = CompanionCore::LogLocation;

TEST(LogLocationTest, MacosKeepsTheLogInLibraryLogs) {
    EXPECT_EQ(LogLocation::forMacos("/Users/ana"), "/Users/ana/Library/Logs/nuvexa-companion.log");
}

TEST(LogLocationTest, LinuxUsesXdgStateHome) {
    EXPECT_EQ(LogLocation::forLinux("/home/ana", "/var/state/ana"), "/var/state/ana/nuvexa-companion.log");
}

TEST(LogLocationTest, LinuxFallsBackToLocalStateWhenXdgStateHomeIsUnsetEmptyOrRelative) {
    const std::filesystem::path expected = "/home/ana/.local/state/nuvexa-companion.log";
    EXPECT_EQ(LogLocation::forLinux("/home/ana", nullptr), expected);
    EXPECT_EQ(LogLocation::forLinux("/home/ana", ""), expected);
    EXPECT_EQ(LogLocation::forLinux("/home/ana", "state"), expected);
}

TEST(LogLocationTest, ThisPlatformsDefaultFollowsItsRule) {
#ifdef __APPLE__
    EXPECT_EQ(LogLocation::platformDefault(), LogLocation::forMacos(LogLocation::homeDirectory()));
#else
    EXPECT_EQ(LogLocation::platformDefault(),
              LogLocation::forLinux(LogLocation::homeDirectory(), std::getenv("XDG_STATE_HOME")));
#endif
    EXPECT_EQ(CompanionCore::PairingServer::defaultLogFile(), LogLocation::platformDefault());
}

TEST(LogLocationTest, TheHomeIsAbsolute) {
    EXPECT_TRUE(LogLocation::homeDirectory().is_absolute());
}

} // namespace
