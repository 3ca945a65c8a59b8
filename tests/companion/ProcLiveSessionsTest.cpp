#include "Companion/linux/ProcLiveSessions.h"

#include "support/Files.h"
#include "support/Patience.h"
#include "support/TemporaryDirectory.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <algorithm>

using namespace Companion;
using namespace std::string_literals;

namespace {

class ProcLiveSessionsTest : public testing::Test {
protected:
    void process(int pid, const std::string& environment, const std::string& command, int parent = 1) {
        const auto folder = m_proc / std::to_string(pid);
        std::filesystem::create_directories(folder);
        TestSupport::writeFile(folder / "environ", environment);
        TestSupport::writeFile(folder / "comm", command + "\n");
        TestSupport::writeFile(folder / "stat", std::to_string(pid) + " (" + command + ") S " +
                                                    std::to_string(parent) + " 1 1 0 -1 4194560\n");
    }

    TestSupport::TemporaryDirectory m_proc;
};

} // namespace

TEST_F(ProcLiveSessionsTest, ListsTheProcessesWithAnSshConnection) {
    process(10, "HOME=/home/ana\0SSH_CONNECTION=192.168.1.20 50000 192.168.1.2 22\0"s, "bash");
    process(11, "HOME=/home/ana\0"s, "bash");
    process(12, "SSH_CONNECTION=::ffff:192.168.1.21 50001 ::ffff:192.168.1.2 22\0"s, "mosh-server");
    process(13, "SSH_CONNECTION=garbage\0"s, "bash");
    std::filesystem::create_directories(m_proc / "self");
    TestSupport::writeFile(m_proc / "uptime", "1.0 1.0\n");
    auto sessions = ProcLiveSessions(::geteuid(), m_proc.path()).list();
    std::sort(sessions.begin(), sessions.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
    EXPECT_EQ(sessions, (std::vector<LiveSession>{{10, "192.168.1.20", 50000, false},
                                                  {12, "::ffff:192.168.1.21", 50001, true}}));
}

// mosh-server waits for its first client in a forked copy of itself, which then runs the shell: all
// of it is one mosh session.
TEST_F(ProcLiveSessionsTest, ListsAMoshSessionOnceAsItsOutermostServer) {
    const auto connection = "SSH_CONNECTION=192.168.1.20 50000 192.168.1.2 22\0"s;
    process(20, connection, "mosh-server");
    process(21, connection, "mosh-server", 20);
    process(22, connection, "bash", 21);
    process(23, connection, "vim", 22);
    process(30, connection, "bash");
    auto sessions = ProcLiveSessions(::geteuid(), m_proc.path()).list();
    std::sort(sessions.begin(), sessions.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
    EXPECT_EQ(sessions, (std::vector<LiveSession>{{20, "192.168.1.20", 50000, true},
                                                  {30, "192.168.1.20", 50000, false}}));
}

TEST_F(ProcLiveSessionsTest, LeavesOutProcessesOfOtherUsers) {
    process(10, "SSH_CONNECTION=192.168.1.20 50000 192.168.1.2 22\0"s, "bash");
    EXPECT_TRUE(ProcLiveSessions(::geteuid() + 1, m_proc.path()).list().empty());
}

TEST_F(ProcLiveSessionsTest, ReadsNoMoreOfAnEnvironmentThanItsBound) {
    process(10,
            std::string(ProcLiveSessions::environmentBound, 'x') +
                "\0SSH_CONNECTION=192.168.1.20 5 192.168.1.2 22\0"s,
            "bash");
    EXPECT_TRUE(ProcLiveSessions(::geteuid(), m_proc.path()).list().empty());
}

TEST_F(ProcLiveSessionsTest, FindsAProcessOfThisUserInTheKernelsTable) {
    QProcess child;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SSH_CONNECTION", "192.0.2.7 41234 192.0.2.1 22");
    child.setProcessEnvironment(environment);
    child.start("/bin/sleep", {"600"});
    ASSERT_TRUE(child.waitForStarted());
    const auto pid = static_cast<int>(child.processId());
    const auto sessions = ProcLiveSessions().list();
    child.kill();
    child.waitForFinished();
    EXPECT_NE(std::find(sessions.begin(), sessions.end(), LiveSession{pid, "192.0.2.7", 41234, false}),
              sessions.end());
}
