#include "Companion/macos/SysctlLiveSessions.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Companion;
using namespace std::string_literals;

namespace {

/// A KERN_PROCARGS2 buffer as macOS hands it out.
std::string procArgs2(int count, const std::string& rest) {
    std::string buffer(sizeof count, '\0');
    std::memcpy(buffer.data(), &count, sizeof count);
    return buffer + rest;
}

} // namespace

TEST(SysctlLiveSessionsTest, ReadsTheSessionOfAProcessFromItsArguments) {
    EXPECT_EQ(
        SysctlLiveSessions::fromProcArgs2(
            41,
            procArgs2(1, "/bin/zsh\0\0\0-zsh\0TERM=xterm\0SSH_CONNECTION=10.0.0.2 50000 10.0.0.1 22\0\0"s)),
        (LiveSession{41, "10.0.0.2", 50000, false}));
}

TEST(SysctlLiveSessionsTest, KnowsAMoshServerByItsExecutable) {
    EXPECT_EQ(
        SysctlLiveSessions::fromProcArgs2(
            42, procArgs2(2, "/opt/homebrew/bin/mosh-server\0\0mosh-server\0new\0SSH_CONNECTION=10.0.0.2 "
                             "50000 10.0.0.1 22\0"s)),
        (LiveSession{42, "10.0.0.2", 50000, true}));
}

TEST(SysctlLiveSessionsTest, AProcessWithoutAConnectionOrACutBufferIsNoSession) {
    EXPECT_FALSE(SysctlLiveSessions::fromProcArgs2(43, procArgs2(1, "/bin/zsh\0\0-zsh\0TERM=xterm\0"s)));
    EXPECT_FALSE(SysctlLiveSessions::fromProcArgs2(44, procArgs2(2, "/bin/zsh\0\0-zsh\0"s)));
}
