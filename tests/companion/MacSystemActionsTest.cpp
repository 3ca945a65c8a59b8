#include "Companion/macos/MacSystemActions.h"
#include "Companion/KeepAwake.h"

#include "support/Executable.h"
#include "support/FakeProcessRunner.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using Companion::MacSystemActions;
using Companion::ProcessCommand;
using Companion::ProcessResult;
using TestSupport::exited;
using TestSupport::FakeProcessRunner;

namespace {

const ProcessCommand launchctl{"/bin/launchctl", {"print", "system/com.openssh.sshd"}};

ProcessCommand osascript(const std::string& script) {
    return ProcessCommand{"/usr/bin/osascript", {"-e", script}, ProcessCommand::Output::captureMerged};
}

class MacSystemActionsTest : public ::testing::Test {
protected:
    MacSystemActionsTest()
        : m_runner(std::make_shared<FakeProcessRunner>())
        , m_actions(m_runner,
                    MacSystemActions::Options{{}, std::vector<std::string>{m_tools.path().string()}}) {}

    TestSupport::TemporaryDirectory m_tools;
    std::shared_ptr<FakeProcessRunner> m_runner;
    MacSystemActions m_actions;
};

} // namespace

TEST_F(MacSystemActionsTest, RemoteLoginIsOffWhenLaunchctlExitsNonZero) {
    m_runner->setResult(exited(113));
    EXPECT_FALSE(m_actions.remoteLoginEnabled());
    EXPECT_EQ(m_runner->runs(), (std::vector<ProcessCommand>{launchctl}));
}

TEST_F(MacSystemActionsTest, RemoteLoginIsOnWhenLaunchctlFindsTheService) {
    EXPECT_TRUE(m_actions.remoteLoginEnabled());
    EXPECT_EQ(m_runner->runs(), (std::vector<ProcessCommand>{launchctl}));
}

TEST_F(MacSystemActionsTest, RemoteLoginIsOffWhenLaunchctlCannotStart) {
    ProcessResult failed;
    failed.status = ProcessResult::Status::failedToStart;
    m_runner->setResult(failed);
    EXPECT_FALSE(m_actions.remoteLoginEnabled());
}

TEST_F(MacSystemActionsTest, TurningRemoteLoginOnRunsSystemsetupAsAdministratorThenLaunchctlSeesIt) {
    bool on = false;
    m_runner->setAnswer([&on](const ProcessCommand& command) {
        if (command.program == "/usr/bin/osascript") {
            on = true;
            return exited(0);
        }
        return exited(on ? 0 : 113);
    });
    EXPECT_FALSE(m_actions.remoteLoginEnabled());
    EXPECT_EQ(m_actions.setRemoteLogin(true, {}), std::nullopt);
    EXPECT_TRUE(m_actions.remoteLoginEnabled());
    const auto runs = m_runner->runs();
    ASSERT_EQ(runs.size(), 3U);
    EXPECT_EQ(runs[1], osascript("do shell script \"/usr/sbin/systemsetup -setremotelogin on\" with "
                                 "administrator privileges"));
}

TEST_F(MacSystemActionsTest, TheOffScriptSaysOff) {
    EXPECT_EQ(MacSystemActions::remoteLoginScript(false),
              "do shell script \"/usr/sbin/systemsetup -setremotelogin off\" with administrator privileges");
}

TEST_F(MacSystemActionsTest, CancellingTheAdministratorDialogGivesTheSystemsMessageAndChangesNothing) {
    m_runner->setAnswer([](const ProcessCommand& command) {
        if (command.program == "/usr/bin/osascript") {
            return exited(1, "0:88: execution error: User canceled. (-128)\n");
        }
        return exited(113);
    });
    EXPECT_EQ(m_actions.setRemoteLogin(true, {}), "User canceled.");
    EXPECT_FALSE(m_actions.remoteLoginEnabled());
}

TEST_F(MacSystemActionsTest, AScriptFailureOfAnotherFormIsShownAsItStands) {
    EXPECT_EQ(MacSystemActions::scriptErrorMessage("  something else went wrong\n"),
              "something else went wrong");
}

TEST_F(MacSystemActionsTest, TheTerminalScriptHasFourLinesAndEscapesDoubleQuotesOnly) {
    EXPECT_EQ(MacSystemActions::terminalScript("echo \"hola\" \\n"),
              "tell application \"Terminal\"\nactivate\ndo script \"echo \\\"hola\\\" \\n\"\nend tell");
}

TEST_F(MacSystemActionsTest, OpeningTerminalRunsTheScriptAndNothingElseWhenAllowed) {
    EXPECT_EQ(m_actions.openTerminal("brew install \"mosh\""), std::nullopt);
    EXPECT_EQ(m_runner->runs(), (std::vector<ProcessCommand>{osascript(
                                    "tell application \"Terminal\"\nactivate\ndo script \"brew install "
                                    "\\\"mosh\\\"\"\nend tell")}));
}

TEST_F(MacSystemActionsTest, RefusedAutomationCopiesTheUnescapedCommandOpensTerminalAndSaysSo) {
    m_runner->setAnswer([](const ProcessCommand& command) {
        if (command.program == "/usr/bin/osascript") {
            return exited(1, "execution error: Not authorized to send Apple events to Terminal. (-1743)");
        }
        return exited(0);
    });
    const std::string command = "echo \"a b\"";
    EXPECT_EQ(
        m_actions.openTerminal(command),
        "No puedo escribir en Terminal (permiso de Automatización). He copiado «echo \"a b\"»: pégalo en "
        "Terminal y pulsa Intro.");
    const auto runs = m_runner->runs();
    ASSERT_EQ(runs.size(), 3U);
    ProcessCommand copy{"/usr/bin/pbcopy", {}};
    copy.input = command;
    EXPECT_EQ(runs[1], copy);
    EXPECT_EQ(runs[2], (ProcessCommand{"/usr/bin/open", {"/System/Applications/Utilities/Terminal.app"}}));
}

TEST_F(MacSystemActionsTest, RefusedAutomationShowsACommandWithPercentSignsAsItIs) {
    m_runner->setResult(exited(1));
    EXPECT_EQ(m_actions.openTerminal("printf '%@ %1 %d'"),
              "No puedo escribir en Terminal (permiso de Automatización). He copiado «printf '%@ %1 %d'»: "
              "pégalo en Terminal y pulsa Intro.");
}

TEST_F(MacSystemActionsTest, RefusedAutomationUsesTheGuiClipboardWhenOneIsInstalled) {
    m_runner->setResult(exited(1));
    std::vector<std::string> copied;
    m_actions.setCopyText([&copied](const std::string& text) {
        copied.push_back(text);
        return true;
    });
    EXPECT_TRUE(m_actions.openTerminal("brew install tmux").has_value());
    EXPECT_EQ(copied, (std::vector<std::string>{"brew install tmux"}));
    for (const auto& run : m_runner->runs()) {
        EXPECT_NE(run.program, "/usr/bin/pbcopy");
    }
}

TEST_F(MacSystemActionsTest, InstallsWithTheBareBrewWordWhenHomebrewIsPresent) {
    TestSupport::writeScript(m_tools / "brew", "exit 0");
    EXPECT_EQ((m_actions.installCommandLine({"mosh", "tmux"})), "brew install mosh tmux");
    EXPECT_EQ((m_actions.installCommandLine({"tmux"})), "brew install tmux");
}

TEST_F(MacSystemActionsTest, WithoutHomebrewThereIsNoCommandAndTheMessageSaysWhereToGetIt) {
    EXPECT_EQ((m_actions.installCommandLine({"mosh", "tmux"})), std::nullopt);
    EXPECT_EQ(m_actions.packageManagerMissingMessage(),
              "Homebrew no está instalado. Instálalo desde brew.sh y vuelve a pulsar.");
}

TEST_F(MacSystemActionsTest, TheKeepAwakeSwitchHoldsOneCaffeinateHoweverOftenItIsTurnedOn) {
    Companion::KeepAwake keepAwake(m_actions.keepAwakeCommand(), m_runner);
    keepAwake.setEnabled(true);
    keepAwake.setEnabled(true);
    const auto started = m_runner->started();
    ASSERT_EQ(started.size(), 1U);
    EXPECT_EQ(started[0].command,
              (ProcessCommand{"/usr/bin/caffeinate", {"-i"}, ProcessCommand::Output::inherit}));
    keepAwake.setEnabled(false);
    EXPECT_EQ(m_runner->started()[0].terminations, 1);
    EXPECT_TRUE(m_runner->runs().empty());
}

TEST_F(MacSystemActionsTest, KeepsAwakeWithCaffeinatePreventingIdleSleep) {
    EXPECT_EQ(m_actions.keepAwakeCommand(),
              (ProcessCommand{"/usr/bin/caffeinate", {"-i"}, ProcessCommand::Output::inherit}));
}

TEST_F(MacSystemActionsTest, OpensWebAddressesWithOpen) {
    EXPECT_TRUE(m_actions.openUrl("https://drozak.net/downloads"));
    EXPECT_EQ(m_runner->detached(), (std::vector<ProcessCommand>{
                                        ProcessCommand{"/usr/bin/open", {"https://drozak.net/downloads"}}}));
}

TEST_F(MacSystemActionsTest, RemoteLoginLimitedToOthersAndAFirewallBlockingAllAreNamed) {
    m_runner->setAnswer([](const ProcessCommand& command) {
        if (command.program == "/usr/sbin/dseditgroup") {
            return exited(67, "no ana is NOT a member of com.apple.access_ssh\n");
        }
        return exited(0, "Firewall has block all state set to enabled.\n");
    });
    EXPECT_EQ(m_actions.accessObstacles("ana"),
              (std::vector<CompanionCore::Obstacle>{CompanionCore::Obstacle::remoteLoginAccess,
                                                    CompanionCore::Obstacle::firewallBlocksSsh,
                                                    CompanionCore::Obstacle::firewallBlocksPairing}));
    auto group = ProcessCommand{"/usr/sbin/dseditgroup",
                                {"-o", "checkmember", "-m", "ana", "com.apple.access_ssh"},
                                ProcessCommand::Output::captureMerged};
    group.timeout = MacSystemActions::accessCheckTimeout;
    auto firewall = ProcessCommand{"/usr/libexec/ApplicationFirewall/socketfilterfw",
                                   {"--getblockall"},
                                   ProcessCommand::Output::captureMerged};
    firewall.timeout = MacSystemActions::accessCheckTimeout;
    EXPECT_EQ(m_runner->runs(), (std::vector<ProcessCommand>{group, firewall}));
}

TEST_F(MacSystemActionsTest, AMissingAccessGroupLimitsNobody) {
    m_runner->setAnswer([](const ProcessCommand& command) {
        if (command.program == "/usr/sbin/dseditgroup") {
            return exited(64, "Group not found.\n");
        }
        return exited(0, "Firewall has block all state set to disabled.\n");
    });
    EXPECT_TRUE(m_actions.accessObstacles("ana").empty());
}
