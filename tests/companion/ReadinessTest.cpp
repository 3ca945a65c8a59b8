#include "Companion/Readiness.h"
#include "Companion/CompanionModel.h"

#include "support/Executable.h"
#include "support/FakeSystemActions.h"
#include "support/RefreshedModel.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using Companion::ReadinessCheck;
using Action = Companion::ReadinessCheck::Action;
using TestSupport::writeScript;

namespace {

using Item = ReadinessCheck::Item;

class ReadinessTest : public ::testing::Test {
protected:
    ReadinessTest()
        : m_actions(std::make_shared<TestSupport::FakeSystemActions>()) {}

    std::vector<ReadinessCheck> checks() {
        m_model = TestSupport::refreshedModel(m_actions, m_tools.path());
        return m_model->checks();
    }

    QString toolPath(const char* name) const { return QString::fromStdString((m_tools / name).string()); }

    TestSupport::TemporaryDirectory m_tools;
    std::shared_ptr<TestSupport::FakeSystemActions> m_actions;
    std::unique_ptr<Companion::CompanionModel> m_model;
};

} // namespace

TEST_F(ReadinessTest, ANewComputerNeedsEveryRepair) {
    EXPECT_EQ(checks(), (std::vector<ReadinessCheck>{
                            {Item::sshServer,
                             false,
                             "Inicio de sesión remoto (SSH)",
                             "desactivado",
                             "Activar…",
                             Action::enableRemoteLogin,
                             false,
                             {}},
                            {Item::moshServer,
                             false,
                             "mosh-server",
                             "no instalado",
                             "Instalar con Homebrew",
                             Action::installTools,
                             false,
                             {}},
                            {Item::tmux,
                             false,
                             "tmux",
                             "no instalado",
                             "Instalar con Homebrew",
                             Action::installTools,
                             false,
                             {}},
                            {Item::drozak,
                             false,
                             "Drozak",
                             "no instalado · fuera de casa hace falta",
                             "Descargar Drozak",
                             Action::connectDrozak,
                             false,
                             {}},
                        }));
}

TEST_F(ReadinessTest, AReadyComputerOffersNoRepair) {
    m_actions->setRemoteLoginOn(true);
    writeScript(m_tools / "mosh-server", "exit 0");
    writeScript(m_tools / "tmux", "exit 0");
    writeScript(m_tools / "drozak", "echo '{\"connected\": true, \"ip\": \"100.101.2.3\"}'");
    EXPECT_EQ(checks(),
              (std::vector<ReadinessCheck>{
                  {Item::sshServer,
                   true,
                   "Inicio de sesión remoto (SSH)",
                   "activado",
                   std::nullopt,
                   Action::enableRemoteLogin,
                   false,
                   {}},
                  {Item::moshServer,
                   true,
                   "mosh-server",
                   toolPath("mosh-server"),
                   std::nullopt,
                   Action::installTools,
                   false,
                   {}},
                  {Item::tmux, true, "tmux", toolPath("tmux"), std::nullopt, Action::installTools, false, {}},
                  {Item::drozak,
                   true,
                   "Drozak",
                   "conectado · 100.101.2.3",
                   std::nullopt,
                   Action::connectDrozak,
                   false,
                   {}},
              }));
}

TEST_F(ReadinessTest, TheRelayRowSaysWhyItIsNotConnected) {
    writeScript(m_tools / "drozak",
                "echo '{\"connected\": false, \"state_detail\": \"Necesita iniciar sesión\"}'");
    EXPECT_EQ(checks().back(), (ReadinessCheck{Item::drozak,
                                               false,
                                               "Drozak",
                                               "Necesita iniciar sesión",
                                               "Conectar",
                                               Action::connectDrozak,
                                               false,
                                               {}}));
    writeScript(m_tools / "drozak", "echo '{\"connected\": false}'");
    EXPECT_EQ(checks().back().detail, "instalado, sin conexión");
}

TEST_F(ReadinessTest, TheRelayRowNamesTheRelayPath) {
    writeScript(m_tools / "drozak",
                "echo '{\"connected\": true, \"ip\": \"100.101.2.3\", \"relay_connected\": true}'");
    EXPECT_EQ(checks().back().detail, "conectado · 100.101.2.3 · por relé");
}

TEST_F(ReadinessTest, OnLinuxWithoutAnSshServerTheRowOffersToInstallItInATerminal) {
    m_actions->setWording(Companion::Wording::linuxSystem);
    m_actions->setSshServerInstalled(false);
    m_actions->setInstallCommand("sudo apt install");
    const auto row = checks().front();
    EXPECT_EQ(row, (ReadinessCheck{Item::sshServer,
                                   false,
                                   "Servidor SSH",
                                   "no instalado",
                                   "Instalar con apt",
                                   Action::installSshServer,
                                   false,
                                   {}}));
    m_model->perform(row.action);
    EXPECT_EQ(m_actions->terminalCommands(), std::vector<std::string>{"sudo apt install openssh-server"});
    EXPECT_TRUE(m_actions->remoteLoginRequests().empty());
}

TEST_F(ReadinessTest, OnLinuxAnInstalledServerThatIsOffOffersToTurnItOn) {
    m_actions->setWording(Companion::Wording::linuxSystem);
    EXPECT_EQ(checks().front(), (ReadinessCheck{Item::sshServer,
                                                false,
                                                "Servidor SSH",
                                                "desactivado",
                                                "Activar…",
                                                Action::enableRemoteLogin,
                                                false,
                                                {}}));
}
