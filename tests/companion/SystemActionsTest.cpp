#include "Companion/SystemActions.h"
#include "Companion/QtProcessRunner.h"
#include "support/Patience.h"

#include "support/Executable.h"
#include "support/FakeProcessRunner.h"
#include "support/FakeSystemActions.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

using CompanionCore::DrozakStatus;
using TestSupport::FakeSystemActions;
using TestSupport::writeScript;

namespace {

using TestSupport::readFile;

class SystemActionsTest : public ::testing::Test {
protected:
    TestSupport::TemporaryDirectory m_directory;
    FakeSystemActions m_actions;
};

} // namespace

TEST_F(SystemActionsTest, RelayStatusRunsTheToolWithStatusAndJson) {
    const auto arguments = m_directory / "arguments";
    const auto tool =
        writeScript(m_directory / "drozak", "printf '%s\\n' \"$@\" > '" + arguments.string() +
                                                "'\necho '{\"connected\": true, \"ip\": \"100.64.0.7\"}'");
    const auto status = m_actions.drozakStatus(tool.string());
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status,
              (DrozakStatus{true, std::nullopt, std::nullopt, "100.64.0.7", std::nullopt, std::nullopt}));
    EXPECT_EQ(readFile(arguments), "status\n--json\n");
}

TEST_F(SystemActionsTest, RelayStatusIgnoresWhatTheToolWritesToItsErrors) {
    const auto tool =
        writeScript(m_directory / "drozak", "echo 'warning: old version' >&2\n"
                                            "echo '{\"connected\": false, \"state\": \"Stopped\"}'");
    const auto status = m_actions.drozakStatus(tool.string());
    ASSERT_TRUE(status.has_value());
    EXPECT_FALSE(status->connected);
    EXPECT_EQ(status->state, "Stopped");
}

TEST_F(SystemActionsTest, RelayStatusOfAToolThatHangsIsAbsentWithinTheLimitAndTheToolIsTerminated) {
    const auto pidFile = m_directory / "pid";
    const auto tool =
        writeScript(m_directory / "drozak", "echo $$ > '" + pidFile.string() + "'\nexec /bin/sleep 60");
    // The limit itself is the runner's deadline (checked with the exact command above); the runner
    // returns at it however the tool treats the terminate signal. Here: absent, and the tool ended.
    const auto status = m_actions.drozakStatus(tool.string());
    EXPECT_FALSE(status.has_value());
    const auto pid = std::stoll(readFile(pidFile));
    EXPECT_TRUE(
        TestSupport::pollUntil([pid] { return ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH; }));
}

TEST_F(SystemActionsTest, RelayStatusIsAbsentWhenTheToolPrintsValidJsonButExitsWithStatusOne) {
    const auto tool = writeScript(m_directory / "drozak", "echo '{\"connected\": true}'\nexit 1");
    EXPECT_FALSE(m_actions.drozakStatus(tool.string()).has_value());
}

TEST_F(SystemActionsTest, RelayStatusIsAbsentForAnUndecodableAnswer) {
    const auto tool = writeScript(m_directory / "drozak", "echo '{\"connected\": \"yes\"}'");
    EXPECT_FALSE(m_actions.drozakStatus(tool.string()).has_value());
}

TEST_F(SystemActionsTest, RelayStatusIsAbsentWhenTheToolCannotBeLaunched) {
    EXPECT_FALSE(m_actions.drozakStatus((m_directory / "drozak").string()).has_value());
}

TEST_F(SystemActionsTest, RelayStatusGivesTheRunnerTheExactCommand) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    runner->setResult(TestSupport::exited(0, "{\"connected\": true, \"relay_connected\": true}"));
    FakeSystemActions actions(runner);
    const auto status = actions.drozakStatus("/usr/local/bin/drozak");
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->relayConnected, true);
    Companion::ProcessCommand expected{
        "/usr/local/bin/drozak", {"status", "--json"}, Companion::ProcessCommand::Output::capture};
    expected.timeout = std::chrono::milliseconds(2000);
    EXPECT_EQ(runner->runs(), (std::vector<Companion::ProcessCommand>{expected}));
}

TEST(SystemActionsAddressesTest, ListsOnlyDottedQuadsWithoutLinkLocalOnes) {
    // The base class's own enumeration, through a backend that does not override it.
    struct Real final : Companion::SystemActions {
        Real()
            : SystemActions(std::make_shared<Companion::QtProcessRunner>()) {}
        Companion::Wording wording() const override { return Companion::Wording::linuxSystem; }
        std::optional<std::string> packageManagerName() const override { return std::nullopt; }
        bool remoteLoginEnabled() override { return false; }
        std::optional<std::string> setRemoteLogin(bool, std::stop_token) override { return std::nullopt; }
        std::optional<std::string> openTerminal(const std::string&) override { return std::nullopt; }
        std::optional<std::string> installCommandLine(const std::vector<std::string>&) override {
            return std::nullopt;
        }
        std::string packageManagerMissingMessage() const override { return {}; }
        std::optional<Companion::ProcessCommand> keepAwakeCommand() override { return std::nullopt; }
        bool openUrl(const std::string&) override { return false; }
    } real;
    for (const auto& address : real.ipv4Addresses()) {
        EXPECT_EQ(std::count(address.begin(), address.end(), '.'), 3) << address;
        EXPECT_FALSE(address.starts_with("169.254.")) << address;
        EXPECT_NE(address, "127.0.0.1");
    }
}
