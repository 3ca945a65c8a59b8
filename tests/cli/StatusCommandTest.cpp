#include "cli/StatusCommand.h"
#include "Companion/CompanionModel.h"
#include "Companion/PlatformWords.h"
#include "Companion/Readiness.h"
#include "Companion/Translations.h"
#include "Companion/linux/LinuxSystemActions.h"
#include "cli/CommandLine.h"

#include "support/Executable.h"
#include "support/FakeSystemActions.h"
#include "support/ForeignNames.h"
#include "support/RefreshedModel.h"
#include "support/TemporaryDirectory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>

#include <gtest/gtest.h>

using Companion::CompanionModel;
using TestSupport::FakeSystemActions;
using TestSupport::writeScript;

namespace {

/// The table and the JSON of what `model` has found.
QString tableOf(const Companion::CompanionModel& model, Companion::SystemActions& actions) {
    return Cli::statusTable(model.checks(), model.readiness(), actions, Cli::TerminalStyle{.symbols = true});
}

QJsonObject jsonOf(const Companion::CompanionModel& model) {
    return Cli::statusJson(model.checks(), model.readiness());
}

class StatusCommandTest : public ::testing::Test {
protected:
    StatusCommandTest()
        : m_actions(std::make_shared<FakeSystemActions>()) {
        m_actions->setAddresses({"192.168.1.5"});
    }

    std::unique_ptr<CompanionModel> model() { return TestSupport::refreshedModel(m_actions, m_tools.path()); }

    TestSupport::TemporaryDirectory m_tools;
    std::shared_ptr<FakeSystemActions> m_actions;
};

} // namespace

TEST_F(StatusCommandTest, TheTableShowsEachCheckAsThePanelDoes) {
    m_actions->setRemoteLoginOn(true);
    writeScript(m_tools / "tmux", "exit 0");
    const auto table = tableOf(*model(), *m_actions);
    const auto tmux = QString::fromStdString((m_tools / "tmux").string());
    EXPECT_EQ(table.toStdString(),
              QStringLiteral("Inicio de sesión remoto (SSH)  ✓ activado\n"
                             "mosh-server                    ✗ no instalado\n"
                             "                                 [Instalar con Homebrew] brew install mosh\n"
                             "tmux                           ✓ %1\n"
                             "Drozak                         ✗ no instalado · fuera de casa hace falta\n"
                             "                                 [Descargar Drozak]\n"
                             "Direcciones                      studio.local, 192.168.1.5\n"
                             "Dirección de malla               ninguna\n")
                  .arg(tmux)
                  .toStdString());
}

TEST_F(StatusCommandTest, EachFailedRowGivesThePanelsButtonAndDoctorsRemedy) {
    m_actions->setWording(Companion::Wording::linuxSystem);
    const auto table = tableOf(*model(), *m_actions);
    const auto checks = model()->checks();
    const auto ssh = std::find_if(checks.begin(), checks.end(), [](const Companion::ReadinessCheck& check) {
        return check.item == Companion::ReadinessCheck::Item::sshServer;
    });
    ASSERT_NE(ssh, checks.end());
    ASSERT_FALSE(ssh->ok);
    ASSERT_TRUE(ssh->actionTitle.has_value());
    // The button's words, then doctor's, wrapped under the detail.
    QString button = *ssh->actionTitle;
    button.remove(u'…');
    const QString remedy = QStringLiteral("[") + button + QStringLiteral("] ") +
                           Companion::PlatformWords::noSshServer(Companion::Wording::linuxSystem);
    const QStringList lines = table.split(u'\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_TRUE(lines.at(0).contains(QStringLiteral("✗"))) << table.toStdString();
    EXPECT_EQ((lines.at(1) + QStringLiteral(" ") + lines.at(2)).simplified(), remedy) << table.toStdString();
    for (const QString& line : lines) {
        EXPECT_LE(line.size(), Cli::terminalColumns - 1) << line.toStdString();
    }
}

TEST_F(StatusCommandTest, TheRelayRowFollowsTheRelayState) {
    writeScript(m_tools / "drozak",
                "echo '{\"connected\": false, \"state_detail\": \"Necesita iniciar sesión\"}'");
    EXPECT_TRUE(tableOf(*model(), *m_actions)
                    .contains(QStringLiteral("Drozak                         ✗ Necesita iniciar sesión\n")));
    writeScript(m_tools / "drozak", "echo '{\"connected\": false, \"state_detail\": \"\"}'");
    EXPECT_TRUE(tableOf(*model(), *m_actions).contains(QStringLiteral("✗ instalado, sin conexión\n")));
    writeScript(m_tools / "drozak",
                "echo '{\"connected\": true, \"ip\": \"100.101.2.3\", \"relay_connected\": true}'");
    const auto table = tableOf(*model(), *m_actions);
    EXPECT_TRUE(table.contains(QStringLiteral("✓ conectado · 100.101.2.3 · por relé\n")));
    EXPECT_TRUE(table.contains(QStringLiteral("Dirección de malla               100.101.2.3\n")));
}

TEST_F(StatusCommandTest, TheJsonHoldsTheSameReadinessInOneObject) {
    m_actions->setAddresses({"192.168.1.5", "100.70.1.2"});
    writeScript(m_tools / "drozak", "echo '{\"connected\": true, \"ip\": \"\"}'");
    const auto json = jsonOf(*model());
    const auto drozak = QString::fromStdString((m_tools / "drozak").string());
    const auto expected = QJsonDocument::fromJson(QStringLiteral(R"json({
        "ready": false, "remoteLogin": false, "moshPath": null, "tmuxPath": null, "drozakPath": "%1",
        "drozakStatus": {"connected": true, "state": null, "state_detail": null, "ip": "",
                         "relay_connected": null, "update_available": null},
        "addresses": ["studio.local", "192.168.1.5", "100.70.1.2"],
        "meshAddress": "100.70.1.2", "hasMeshAddress": true,
        "checks": [
            {"key": "sshServer", "ok": false, "title": "Inicio de sesión remoto (SSH)", "detail": "desactivado", "findings": []},
            {"key": "moshServer", "ok": false, "title": "mosh-server", "detail": "no instalado", "findings": []},
            {"key": "tmux", "ok": false, "title": "tmux", "detail": "no instalado", "findings": []},
            {"key": "drozak", "ok": true, "title": "Drozak", "detail": "conectado · 100.70.1.2", "findings": []}]})json")
                                                      .arg(drozak)
                                                      .toUtf8());
    EXPECT_EQ(QJsonDocument(json).toJson().toStdString(), expected.toJson().toStdString());
}

TEST_F(StatusCommandTest, AMoshServerTheLoginDoesNotFindIsAFailedRowWithItsFindingAndRemedy) {
    m_actions->setWording(Companion::Wording::linuxSystem);
    m_actions->setInstallCommand("sudo apt install");
    Companion::ReadinessFacts facts;
    facts.remoteLogin = true;
    facts.moshPath = "/opt/mosh/bin/mosh-server";
    facts.login =
        CompanionCore::LoginReport{std::nullopt, "/usr/bin:/bin", "C.UTF-8", std::nullopt, std::nullopt};
    const auto checks = Companion::Readiness::checks(facts, {}, *m_actions);
    const auto table = Cli::statusTable(checks, facts, *m_actions, Cli::TerminalStyle{.symbols = true});
    EXPECT_TRUE(
        table.contains(QStringLiteral("mosh-server         ✗ instalado, pero una sesión SSH no lo encuentra\n"
                                      "                      mosh-server está instalado en "
                                      "/opt/mosh/bin/mosh-server,\n")))
        << table.toStdString();
    EXPECT_TRUE(table.contains(QStringLiteral("/opt/mosh/bin/mosh-server /usr/local/bin/mosh-server\n")))
        << table.toStdString();

    const auto rows = Cli::statusJson(checks, facts).value(QStringLiteral("checks")).toArray();
    const auto mosh = rows.at(1).toObject();
    EXPECT_EQ(mosh.value(QStringLiteral("ok")).toBool(true), false);
    const auto findings = mosh.value(QStringLiteral("findings")).toArray();
    ASSERT_EQ(findings.size(), 1);
    const auto finding = findings.at(0).toObject();
    EXPECT_EQ(finding.keys(), (QStringList{"cause", "keepsPhoneOut", "remedy", "text"}));
    EXPECT_EQ(finding.value(QStringLiteral("cause")).toString(), QStringLiteral("moshServerNotInLoginPath"));
    EXPECT_EQ(finding.value(QStringLiteral("keepsPhoneOut")).toBool(), true);
    EXPECT_EQ(finding.value(QStringLiteral("text")).toString(), checks.at(1).findings.at(0).text);
    EXPECT_EQ(finding.value(QStringLiteral("remedy")).toString(),
              QStringLiteral(
                  "Instala el paquete de la distribución (sudo apt install mosh) o enlázalo donde una "
                  "sesión SSH lo busca: sudo ln -s /opt/mosh/bin/mosh-server /usr/local/bin/mosh-server"));
}

TEST_F(StatusCommandTest, ReadyExactlyWhenTheSshServerIsOn) {
    EXPECT_EQ(Cli::statusExit(model()->readiness()), Cli::Exit::refused);
    m_actions->setRemoteLoginOn(true);
    auto ready = model();
    EXPECT_EQ(Cli::statusExit(ready->readiness()), Cli::Exit::done);
    EXPECT_EQ(jsonOf(*ready).value(QStringLiteral("ready")).toBool(), true);
}

TEST_F(StatusCommandTest, HelpAndUsageErrorsNeedNoModel) {
    EXPECT_EQ(Cli::runStatus(Companion::Host::system(), {QStringLiteral("--help")}), Cli::Exit::done);
    EXPECT_EQ(Cli::runStatus(Companion::Host::system(), {QStringLiteral("--bogus")}), Cli::Exit::usage);
    EXPECT_EQ(Cli::runStatus(Companion::Host::system(), {QStringLiteral("extra")}), Cli::Exit::usage);
}

TEST_F(StatusCommandTest, OnLinuxTheTableNamesNoOtherSystemInSpanishOrEnglish) {
    writeScript(m_tools / "apt", "exit 0");
    Companion::LinuxSystemActions::Options options;
    options.searchPaths = std::vector<std::string>{m_tools.path().string()};
    options.environment = [](const std::string&) -> std::optional<std::string> { return std::nullopt; };
    options.socketTables = std::vector<std::filesystem::path>{m_tools / "tcp"};
    writeScript(m_tools / "ssh.service", "");
    options.unitDirectories = std::vector<std::filesystem::path>{m_tools.path()};
    auto actions = std::make_shared<Companion::LinuxSystemActions>(
        std::make_shared<Companion::QtProcessRunner>(), std::move(options));
    const auto model = TestSupport::refreshedModel(actions, m_tools.path());

    const QString spanish = tableOf(*model, *actions);
    ASSERT_TRUE(Companion::Translations::install(*QCoreApplication::instance(),
                                                 QLocale(QLocale::English, QLocale::UnitedStates)));
    const QString english = tableOf(*model, *actions);
    Companion::Translations::install(*QCoreApplication::instance(), QLocale::c());

    EXPECT_TRUE(spanish.startsWith(QStringLiteral("Servidor SSH        ✗ desactivado\n")))
        << spanish.toStdString();
    EXPECT_TRUE(english.startsWith(QStringLiteral("SSH server    ✗ off\n"))) << english.toStdString();
    EXPECT_TRUE(english.contains(QStringLiteral("Mesh address  "))) << english.toStdString();
    for (const QString& table : {spanish, english}) {
        for (const QString& line : table.split(u'\n')) {
            EXPECT_TRUE(TestSupport::foreignNames(line.toStdString()).empty()) << line.toStdString();
        }
    }
}
