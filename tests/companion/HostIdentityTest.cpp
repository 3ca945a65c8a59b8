#include "Companion/HostIdentity.h"
#include "Companion/Host.h"

#include "support/FakeProcessRunner.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <unistd.h>

namespace {

namespace HostIdentity = Companion::HostIdentity;

TEST(HostIdentityTest, EnsuresTheLocalSuffixCaseSensitively) {
    EXPECT_EQ(HostIdentity::localHostName("Studio"), "Studio.local");
    EXPECT_EQ(HostIdentity::localHostName("Studio.local"), "Studio.local");
    EXPECT_EQ(HostIdentity::localHostName("Studio.LOCAL"), "Studio.LOCAL.local");
}

TEST(HostIdentityTest, PutsTheLocalNameFirstAndOrdersTheAddresses) {
    EXPECT_EQ(HostIdentity::hosts("Mac", {"8.8.8.8", "100.70.1.2", "192.168.1.5", "192.168.1.5", "10.0.0.2"}),
              (std::vector<std::string>{"Mac.local", "192.168.1.5", "10.0.0.2", "100.70.1.2", "8.8.8.8"}));
    EXPECT_EQ(HostIdentity::hosts("Mac", {}), std::vector<std::string>{"Mac.local"});
}

TEST(HostIdentityTest, BuildsTheRecordFromItsParts) {
    const auto identity =
        HostIdentity::identity("ana", "Studio de Ana", "Studio", {"192.168.1.20"},
                               [](const std::string& path) { return path == "/usr/local/bin/mosh-server"; });
    EXPECT_EQ(identity, (CompanionCore::PairingHandler::Identity{
                            "ana", "Studio de Ana", 22, {"Studio.local", "192.168.1.20"}, true, false}));
    const auto withTmux = HostIdentity::identity("ana", "", "Studio", {},
                                                 [](const std::string& path) { return path == "/bin/tmux"; });
    EXPECT_EQ(withTmux.name, "Studio") << "the host name stands in for a missing computer name";
    EXPECT_FALSE(withTmux.mosh);
    EXPECT_TRUE(withTmux.tmux);
    EXPECT_EQ(withTmux.sshPort, 22);
}

TEST(HostIdentityTest, TheFirstLabelEndsAtTheFirstDot) {
    EXPECT_EQ(HostIdentity::firstLabel("box.example.org"), "box");
    EXPECT_EQ(HostIdentity::firstLabel("box"), "box");
    EXPECT_EQ(HostIdentity::firstLabel(""), "");
}

TEST(HostIdentityTest, AFullyQualifiedHostNameIsAnnouncedAsItsFirstLabelInLocal) {
    if (!HostIdentity::announcesFirstLabelOnly()) {
        GTEST_SKIP() << "this platform's DNS-SD daemon announces the host name as it is";
    }
    // Avahi cuts at the first dot, whatever follows, ".local" included.
    EXPECT_EQ(HostIdentity::announcedHostName("box.example.org"), "box.local");
    EXPECT_EQ(HostIdentity::announcedHostName("box.local"), "box.local");
    EXPECT_EQ(HostIdentity::announcedHostName("box.LOCAL"), "box.local");
    EXPECT_EQ(HostIdentity::announcedHostName("box"), "box.local");
    EXPECT_EQ(HostIdentity::hosts("box.example.org", {"192.168.1.20"}),
              (std::vector<std::string>{"box.local", "192.168.1.20"}));
}

TEST(HostIdentityTest, AFullyQualifiedHostNameNamesTheComputerByItsFirstLabel) {
    if (!HostIdentity::announcesFirstLabelOnly()) {
        GTEST_SKIP() << "this platform's DNS-SD daemon announces the host name as it is";
    }
    const auto identity = HostIdentity::identity("ana", "", "box.example.org", {"192.168.1.20"},
                                                 [](const std::string&) { return false; });
    EXPECT_EQ(identity.name, "box");
    EXPECT_EQ(identity.hosts, (std::vector<std::string>{"box.local", "192.168.1.20"}));
    // A name for people is kept as it is, dots and all.
    EXPECT_EQ(HostIdentity::identity("ana", "Box 2.0", "box.example.org", {},
                                     [](const std::string&) { return false; })
                  .name,
              "Box 2.0");
}

TEST(HostIdentityTest, WithoutAPrettyNameTheHeaderShowsTheFirstLabelOfTheHostName) {
    if (!HostIdentity::announcesFirstLabelOnly()) {
        GTEST_SKIP() << "on this platform the computer's name comes from elsewhere";
    }
    if (std::ifstream(std::filesystem::path("/etc/machine-info")).good()) {
        GTEST_SKIP() << "this machine has /etc/machine-info, whose pretty name would win";
    }
    TestSupport::FakeProcessRunner runner;
    EXPECT_EQ(HostIdentity::computerName("box.example.org", runner), "box");
}

TEST(HostIdentityTest, TheUserIsTheEffectiveUsersLoginName) {
    const passwd* entry = ::getpwuid(::geteuid());
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(HostIdentity::userName(), entry->pw_name);
    EXPECT_EQ(Companion::Host::system().identity().user, entry->pw_name);
}

TEST(HostIdentityTest, TheSystemRecordStartsWithTheLocalHostName) {
    const auto identity = Companion::Host::system().identity();
    ASSERT_FALSE(identity.hosts.empty());
    EXPECT_EQ(identity.hosts.front(), HostIdentity::announcedHostName(HostIdentity::hostName()));
    EXPECT_FALSE(identity.name.empty());
}

class LinuxComputerNameTest : public testing::Test {
protected:
    std::string nameFrom(const std::string& content) {
        std::ofstream(m_folder / "machine-info") << content;
        return HostIdentity::linuxComputerName(m_folder / "machine-info", "vm");
    }
    TestSupport::TemporaryDirectory m_folder;
};

TEST_F(LinuxComputerNameTest, ReadsThePrettyHostName) {
    EXPECT_EQ(nameFrom("PRETTY_HOSTNAME=\"Ana's \\\"Studio\\\"\"\nICON_NAME=computer\n"), "Ana's \"Studio\"");
    EXPECT_EQ(nameFrom("CHASSIS=laptop\nPRETTY_HOSTNAME='Estudio de Ana'\n"), "Estudio de Ana");
    EXPECT_EQ(nameFrom("PRETTY_HOSTNAME=Studio\n"), "Studio");
}

TEST_F(LinuxComputerNameTest, FallsBackToTheHostName) {
    EXPECT_EQ(nameFrom("ICON_NAME=computer\n"), "vm");
    EXPECT_EQ(nameFrom("PRETTY_HOSTNAME=\"\"\n"), "vm");
    EXPECT_EQ(HostIdentity::linuxComputerName(m_folder / "missing", "vm"), "vm");
}

TEST(MacosComputerNameTest, AsksScutilForTheComputerName) {
    TestSupport::FakeProcessRunner runner;
    Companion::ProcessResult answer;
    answer.output = "Estudio de Ana\n";
    runner.setResult(answer);
    EXPECT_EQ(HostIdentity::macosComputerName(runner, "Studio.local"), "Estudio de Ana");
    ASSERT_EQ(runner.runs().size(), 1u);
    EXPECT_EQ(runner.runs().front().program, "/usr/sbin/scutil");
    EXPECT_EQ(runner.runs().front().arguments, (std::vector<std::string>{"--get", "ComputerName"}));
    EXPECT_EQ(runner.runs().front().output, Companion::ProcessCommand::Output::capture);
}

TEST(MacosComputerNameTest, FallsBackToTheHostNameWhenScutilFails) {
    TestSupport::FakeProcessRunner runner;
    Companion::ProcessResult failure;
    failure.exitCode = 1;
    runner.setResult(failure);
    EXPECT_EQ(HostIdentity::macosComputerName(runner, "Studio.local"), "Studio.local");
    Companion::ProcessResult empty;
    runner.setResult(empty);
    EXPECT_EQ(HostIdentity::macosComputerName(runner, "Studio.local"), "Studio.local");
}

} // namespace
