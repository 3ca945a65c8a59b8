#include "Companion/QtProcessRunner.h"
#include "Companion/linux/LinuxSystemActions.h"
#include "server/support/PeerState.h"
#include "support/Executable.h"
#include "support/Files.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <pwd.h>

// The SSH server switch against the real pkexec and polkit daemon, asked by an ordinary user in a
// session where no polkit agent runs (as from a tray on a desktop without one): a clear message with
// the command to type, no password prompt, and nothing changed.
namespace {

using Companion::LinuxSystemActions;
using Companion::ProcessCommand;
using Companion::ProcessResult;

/// An ordinary user of this machine, created for the test.
constexpr const char* testUser = "nuvexa-polkit";

/// Runs every command as `testUser`, so the backend in this (root) test process asks pkexec the way
/// the companion of an ordinary user does.
class RunAsTestUser final : public Companion::ProcessRunner {
public:
    std::unique_ptr<Companion::RunningProcess> start(const ProcessCommand& command) override {
        return m_runner.start(asTestUser(command));
    }
    bool startDetached(const ProcessCommand& command) override {
        return m_runner.startDetached(asTestUser(command));
    }

protected:
    ProcessResult execute(const ProcessCommand& command, std::stop_token stop) override {
        return m_runner.run(asTestUser(command), stop);
    }

private:
    static ProcessCommand asTestUser(const ProcessCommand& command) {
        ProcessCommand wrapped = command;
        wrapped.program = "/usr/sbin/runuser";
        wrapped.arguments = {"-u", testUser, "--", command.program};
        wrapped.arguments.insert(wrapped.arguments.end(), command.arguments.begin(), command.arguments.end());
        return wrapped;
    }

    Companion::QtProcessRunner m_runner;
};

class PolkitWithoutAgentTest : public testing::Test {
protected:
    // The polkit daemon runs for these tests only: the system bus is shared with the Avahi tests,
    // which take the same CTest lock.
    static void SetUpTestSuite() {
        s_peer = std::make_unique<TestSupport::TemporaryDirectory>();
        TestSupport::runProgram(QStringLiteral(NUVEXA_POLKIT_SCRIPT),
                                {QStringLiteral("start"), QString::fromStdString(s_peer->path().string())});
    }
    static void TearDownTestSuite() {
        TestSupport::runProgram(QStringLiteral(NUVEXA_POLKIT_SCRIPT),
                                {QStringLiteral("stop"), QString::fromStdString(s_peer->path().string())});
        s_peer.reset();
    }

    void SetUp() override {
        ::setenv("NUVEXA_POLKIT_PEER", s_peer->path().c_str(), 1);
        const auto peer = TestSupport::peerState("NUVEXA_POLKIT_PEER");
        REQUIRE_PEER(peer);
        if (::getpwnam(testUser) == nullptr) {
            ASSERT_EQ(TestSupport::runProgram("/usr/sbin/useradd", {"--system", "--no-create-home", "-s",
                                                                    "/usr/sbin/nologin", testUser})
                          .exitCode,
                      0);
        }
        // pkexec is the system's; systemctl is a stand-in that leaves a mark, should pkexec ever run it.
        TestSupport::writeScript(m_bin / "systemctl", "touch '" + m_ran.string() + "'");
        std::filesystem::permissions(m_bin.path(), std::filesystem::perms(0755));
        TestSupport::writeFile(m_units / "ssh.service", "");
    }

    LinuxSystemActions backend() {
        LinuxSystemActions::Options options;
        options.searchPaths = std::vector<std::string>{m_bin.path().string(), "/usr/bin"};
        options.environment = [](const std::string&) -> std::optional<std::string> { return std::nullopt; };
        options.socketTables = std::vector<std::filesystem::path>{m_bin / "tcp"};
        options.unitDirectories = std::vector<std::filesystem::path>{m_units.path()};
        return LinuxSystemActions(std::make_shared<RunAsTestUser>(), options);
    }

    static inline std::unique_ptr<TestSupport::TemporaryDirectory> s_peer;
    TestSupport::TemporaryDirectory m_bin;
    TestSupport::TemporaryDirectory m_units;
    std::filesystem::path m_ran = m_bin / "systemctl-ran";
};

TEST_F(PolkitWithoutAgentTest, TurningTheServerOnSaysWhatToTypeWithoutAPromptAndChangesNothing) {
    const auto message = backend().setRemoteLogin(true, {});
    ASSERT_TRUE(message.has_value());
    EXPECT_EQ(*message,
              "Ningún agente de polkit puede pedir la contraseña de administrador en este escritorio. "
              "Escribe «sudo systemctl enable --now ssh.service» en una terminal.");
    EXPECT_FALSE(std::filesystem::exists(m_ran)) << "pkexec ran the command without authorisation";
}

TEST_F(PolkitWithoutAgentTest, TurningTheServerOffIsRefusedTheSameWay) {
    const auto message = backend().setRemoteLogin(false, {});
    ASSERT_TRUE(message.has_value());
    EXPECT_NE(message->find("«sudo systemctl disable --now ssh.service»"), std::string::npos) << *message;
    EXPECT_FALSE(std::filesystem::exists(m_ran));
}

} // namespace
