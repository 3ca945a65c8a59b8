#include "CompanionApp/ContentView.h"
#include "Companion/PairedPhones.h"
#include "Companion/QtProcessRunner.h"
#include "Companion/linux/DBusSleepInhibitor.h"
#include "CompanionApp/CheckRow.h"
#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/PairingSection.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/StatusSymbol.h"
#include "CompanionApp/Switch.h"
#include "CompanionApp/WatchRow.h"
#include "CompanionCore/Tools.h"
#include "support/Files.h"
#include "support/LoginUser.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"
#include "support/PrivateSessionBus.h"

#include <QDBusConnection>
#include <QLabel>
#include <QPushButton>
#include <QTcpServer>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

using Item = Companion::ReadinessCheck::Item;

using TestSupport::readFile;

using AppTestSupport::pairAsPhone;
using AppTestSupport::PanelWorld;
using AppTestSupport::saveArtifact;
using AppTestSupport::topIn;
using AppTestSupport::visibleElements;
namespace Pairing = CompanionCore::Pairing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* homeOnlyNote =
    "Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en el Mac y "
    "en el iPhone; entonces aparecerá aquí la dirección de malla. {orange}";
constexpr const char* explanation =
    "En nuvexa, toca «Buscar un Mac en la red», elige este Mac y escribe el código. Tu "
    "llave del iPhone quedará instalada aquí. {grey}";

std::string bin(const std::string& name) {
    return std::string(PanelWorld::systemBin) + "/" + name;
}

bool waitFor(const std::function<bool()>& done) {
    return QTest::qWaitFor(done, AppTestSupport::generousMilliseconds);
}

TEST(ContentViewTest, IsThreeHundredTwentyPointsOfContentWithFourteenOfPadding) {
    PanelWorld world;
    world.buildAndShow();
    EXPECT_EQ(world.panel().width(), 320 + 2 * 14);
    EXPECT_EQ(world.panel().title().mapTo(&world.panel(), QPoint(0, 0)), QPoint(14, 14));
    EXPECT_EQ(world.panel().quitButton().mapTo(&world.panel(), QPoint(0, 0)).x() +
                  world.panel().quitButton().width(),
              14 + 320);
    saveArtifact(world.panel());
}

TEST(ContentViewTest, IsDrawnWholeAtOneOneAndAHalfAndTwoPixelsAPoint) {
    PanelWorld world;
    world.buildAndShow();
    for (const qreal ratio : {1.0, 1.5, 2.0}) {
        const QImage picture = AppTestSupport::saveScaledArtifact(world.panel(), ratio);
        EXPECT_EQ(picture.size(), world.panel().size() * ratio);
    }
}

TEST(ContentViewTest, ShowsHeaderChecksPairingAndFooterInThatOrder) {
    PanelWorld world;
    world.buildAndShow();
    EXPECT_THAT(
        visibleElements(world.panel()),
        ElementsAre("nuvexa Companion", "Estudio de Ana · usuario ana {grey}", "estudio.local {grey}",
                    homeOnlyNote, "(✗) grey", "Inicio de sesión remoto (SSH)", "desactivado {grey}",
                    "⟨Activar…⟩", "(✗) grey", "mosh-server", "no instalado {grey}", "⟨Instalar con Homebrew⟩",
                    "(✗) grey", "tmux", "no instalado {grey}", "⟨Instalar con Homebrew⟩", "(✗) grey",
                    "Drozak", "no instalado · fuera de casa hace falta {grey}", "⟨Descargar Drozak⟩",
                    "☐ Mantener el Mac despierto", "☐ Mantener despierto mientras un teléfono esté conectado",
                    "☐ Avisarme cuando termine algo largo disabled",
                    "Necesita tmux y la sesión persistente de nuvexa. {grey}",
                    "⟨Emparejar con el iPhone⟩ disabled", explanation, "⟨Actualizar⟩", "⟨Registro⟩",
                    "⟨Salir⟩"));
    auto& panel = world.panel();
    // On screen too, top to bottom.
    EXPECT_LT(topIn(panel.title(), panel), topIn(panel.checkRow(Item::sshServer), panel));
    EXPECT_LT(topIn(panel.homeOnlyNote(), panel), topIn(panel.checkRow(Item::sshServer), panel));
    EXPECT_LT(topIn(panel.checkRow(Item::sshServer), panel), topIn(panel.checkRow(Item::moshServer), panel));
    EXPECT_LT(topIn(panel.checkRow(Item::moshServer), panel), topIn(panel.checkRow(Item::tmux), panel));
    EXPECT_LT(topIn(panel.checkRow(Item::tmux), panel), topIn(panel.checkRow(Item::drozak), panel));
    EXPECT_LT(topIn(panel.checkRow(Item::drozak), panel), topIn(panel.keepAwakeSwitch(), panel));
    EXPECT_LT(topIn(panel.keepAwakeSwitch(), panel), topIn(panel.watchRow(), panel));
    EXPECT_LT(topIn(panel.watchRow(), panel), topIn(panel.pairingSection(), panel));
    EXPECT_LT(topIn(panel.pairingSection(), panel), topIn(panel.refreshButton(), panel));
    EXPECT_EQ(topIn(panel.refreshButton(), panel), topIn(panel.quitButton(), panel));
    // Nothing is cut off: the panel is as tall as its content.
    EXPECT_EQ(topIn(panel.quitButton(), panel) + panel.quitButton().height() + 14, panel.height());
    saveArtifact(panel);
}

TEST(ContentViewTest, RemoteLoginOnShowsGreenCheckActivadoAndNoButton) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::sshServer)),
                ElementsAre("(✓) green", "Inicio de sesión remoto (SSH)", "activado {grey}"));
    EXPECT_THAT(visibleElements(world.panel().pairingSection()),
                ElementsAre("⟨Emparejar con el iPhone⟩", explanation));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, RemoteLoginOffShowsGreyCrossAndActivarWhichTurnsItOn) {
    PanelWorld world;
    world.buildAndShow();
    auto& row = world.panel().checkRow(Item::sshServer);
    EXPECT_THAT(visibleElements(row),
                ElementsAre("(✗) grey", "Inicio de sesión remoto (SSH)", "desactivado {grey}", "⟨Activar…⟩"));
    // Pairing needs the SSH server: the start button is there but disabled, the explanation still shown.
    EXPECT_THAT(visibleElements(world.panel().pairingSection()),
                ElementsAre("⟨Emparejar con el iPhone⟩ disabled", explanation));
    saveArtifact(world.panel());

    QTest::mouseClick(&row.button(), Qt::LeftButton);
    world.waitForNextRefresh();
    EXPECT_EQ(world.actions->remoteLoginRequests(), std::vector<bool>{true});
    EXPECT_THAT(visibleElements(row),
                ElementsAre("(✓) green", "Inicio de sesión remoto (SSH)", "activado {grey}"));
    EXPECT_TRUE(world.panel().pairingSection().startButton().isEnabled());
    EXPECT_FALSE(world.panel().lastError().isVisibleTo(&world.panel()));
}

TEST(ContentViewTest, RefusedAdministratorDialogShowsItsMessageInRed) {
    PanelWorld world;
    world.actions->setRemoteLoginAnswer("Request dismissed");
    world.buildAndShow();
    world.panel().checkRow(Item::sshServer).button().click();
    world.waitForNextRefresh();
    EXPECT_TRUE(world.panel().lastError().isVisibleTo(&world.panel()));
    EXPECT_EQ(world.panel().lastError().text(), QStringLiteral("Request dismissed"));
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::sshServer)), Contains("desactivado {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, WithNoAddressesAtAllTheHeaderShowsOnlyTitleComputerLineAndHomeOnlyNote) {
    PanelWorld world;
    // Before the first refresh has been published the model knows no address at all.
    world.build();
    ASSERT_TRUE(world.model().addresses().empty());
    world.panel().show();
    EXPECT_THAT(visibleElements(*world.panel().findChild<QWidget*>(QStringLiteral("header"))),
                ElementsAre("nuvexa Companion", "Estudio de Ana · usuario ana {grey}", homeOnlyNote));
    EXPECT_TRUE(world.panel().addressLabels().empty());
    saveArtifact(world.panel());
}

TEST(ContentViewTest, AddressesAreSelectableMonospacedLinesInTheModelsOrder) {
    PanelWorld world;
    world.actions->setAddresses({"10.0.0.7", "192.168.1.20"});
    world.buildAndShow();
    EXPECT_THAT(visibleElements(*world.panel().findChild<QWidget*>(QStringLiteral("header"))),
                ElementsAre("nuvexa Companion", "Estudio de Ana · usuario ana {grey}", "estudio.local {grey}",
                            "10.0.0.7 {grey}", "192.168.1.20 {grey}", homeOnlyNote));
    for (QLabel* address : world.panel().addressLabels()) {
        EXPECT_TRUE(address->textInteractionFlags() & Qt::TextSelectableByMouse);
        EXPECT_TRUE(QFontInfo(address->font()).fixedPitch()) << address->text().toStdString();
        EXPECT_LT(address->font().pointSizeF(), world.panel().title().font().pointSizeF());
    }
    saveArtifact(world.panel());
}

TEST(ContentViewTest, AMeshAddressInTheListHidesTheHomeOnlyNoteAndConnectsTheRelayRow) {
    PanelWorld world;
    world.actions->setAddresses({"192.168.1.20", "100.88.1.2"});
    world.buildAndShow();
    EXPECT_THAT(visibleElements(*world.panel().findChild<QWidget*>(QStringLiteral("header"))),
                ElementsAre("nuvexa Companion", "Estudio de Ana · usuario ana {grey}", "estudio.local {grey}",
                            "192.168.1.20 {grey}", "100.88.1.2 {grey}"));
    // Not installed, yet connected through the address list: no relay note, no button.
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::drozak)),
                ElementsAre("(✓) green", "Drozak", "conectado · 100.88.1.2 {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, ConnectedRelayReportingAnAddressShowsItViaRelayWhileTheHeaderKeepsTheHomeOnlyNote) {
    PanelWorld world;
    world.actions->setAddresses({"192.168.1.20"});
    world.installDrozak(R"({"connected":true,"state":"Running","state_detail":"","ip":"100.101.102.103",)"
                        R"("relay_connected":true})");
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::drozak)),
                ElementsAre("(✓) green", "Drozak", "conectado · 100.101.102.103 · por relé {grey}"));
    EXPECT_TRUE(world.panel().homeOnlyNote().isVisibleTo(&world.panel()));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, ConnectedRelayWithoutRelayFlagShowsOnlyTheAddress) {
    PanelWorld world;
    world.installDrozak(R"({"connected":true,"ip":"100.101.102.103","relay_connected":false})");
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::drozak)),
                ElementsAre("(✓) green", "Drozak", "conectado · 100.101.102.103 {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, MissingRelayToolOffersItsDownloadPage) {
    PanelWorld world;
    world.buildAndShow();
    auto& row = world.panel().checkRow(Item::drozak);
    EXPECT_THAT(visibleElements(row),
                ElementsAre("(✗) grey", "Drozak", "no instalado · fuera de casa hace falta {grey}",
                            "⟨Descargar Drozak⟩"));
    saveArtifact(world.panel());
    QTest::mouseClick(&row.button(), Qt::LeftButton);
    EXPECT_EQ(world.actions->openedUrls(),
              std::vector<std::string>{std::string(CompanionCore::Tools::drozakDownload)});
    EXPECT_FALSE(world.panel().lastError().isVisibleTo(&world.panel()));
}

TEST(ContentViewTest, InstalledRelayShowsItsStateDetailAndConnect) {
    PanelWorld world;
    world.installDrozak(
        R"({"connected":false,"state":"NeedsLogin","state_detail":"Inicia sesión en drozak.net"})");
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::drozak)),
                ElementsAre("(✗) grey", "Drozak", "Inicia sesión en drozak.net {grey}", "⟨Conectar⟩"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, InstalledRelayWithEmptyStateDetailShowsInstalledWithoutConnection) {
    PanelWorld world;
    world.installDrozak(R"({"connected":false,"state":"Stopped","state_detail":""})");
    world.buildAndShow();
    ASSERT_TRUE(world.model().drozakStatus().has_value());
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::drozak)),
                ElementsAre("(✗) grey", "Drozak", "instalado, sin conexión {grey}", "⟨Conectar⟩"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, InstalledRelayWithoutAnyStatusShowsInstalledWithoutConnection) {
    PanelWorld world;
    world.installDrozak(std::nullopt);
    world.buildAndShow();
    ASSERT_FALSE(world.model().drozakStatus().has_value());
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::drozak)),
                ElementsAre("(✗) grey", "Drozak", "instalado, sin conexión {grey}", "⟨Conectar⟩"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, FailedRelayConnectShowsTheLastErrorInRedUnderTheChecks) {
    PanelWorld world;
    world.installDrozak(R"({"connected":false,"state_detail":""})");
    world.setDrozakConnectAnswer(TestSupport::exited(1, "  not logged in\n"));
    world.buildAndShow();
    world.panel().checkRow(Item::drozak).button().click();
    world.waitForNextRefresh();
    auto& checks = *world.panel().findChild<QWidget*>(QStringLiteral("checks"));
    const auto elements = visibleElements(checks);
    ASSERT_FALSE(elements.empty());
    EXPECT_EQ(elements.back(), "drozak connect: not logged in {red}");
    EXPECT_LT(CompanionApp::PanelStyle::captionFont().pointSizeF(), QApplication::font().pointSizeF());
    EXPECT_EQ(world.panel().lastError().font().pointSizeF(),
              CompanionApp::PanelStyle::captionFont().pointSizeF());
    saveArtifact(world.panel());
}

TEST(ContentViewTest, WithoutLastErrorNoEmptyRedLineIsDrawn) {
    PanelWorld world;
    world.buildAndShow();
    EXPECT_FALSE(world.panel().lastError().isVisibleTo(&world.panel()));
    EXPECT_THAT(visibleElements(world.panel()), Not(Contains(EndsWith("{red}"))));
    // The watch row is then the last element of the checks.
    auto& checks = *world.panel().findChild<QWidget*>(QStringLiteral("checks"));
    EXPECT_EQ(topIn(world.panel().watchRow(), checks) + world.panel().watchRow().height(), checks.height());
    saveArtifact(world.panel());
}

TEST(ContentViewTest, SignalColoursFollowALightOrDarkPalette) {
    using CompanionApp::PanelStyle::Tone;
    PanelWorld world;
    world.buildAndShow();
    auto& note = world.panel().homeOnlyNote();
    EXPECT_EQ(note.palette().color(QPalette::WindowText),
              CompanionApp::PanelStyle::colour(Tone::warning, QApplication::palette()));

    const QPalette light = QApplication::palette();
    QPalette dark = light;
    dark.setColor(QPalette::Window, QColor(0x1e, 0x1e, 0x1e));
    dark.setColor(QPalette::WindowText, QColor(0xee, 0xee, 0xee));
    QApplication::setPalette(dark);
    QCoreApplication::processEvents();
    const QColor onDark = note.palette().color(QPalette::WindowText);
    QApplication::setPalette(light);
    QCoreApplication::processEvents();
    EXPECT_EQ(onDark, CompanionApp::PanelStyle::colour(Tone::warning, dark));
    EXPECT_NE(onDark, CompanionApp::PanelStyle::colour(Tone::warning, light));
    EXPECT_EQ(note.palette().color(QPalette::WindowText),
              CompanionApp::PanelStyle::colour(Tone::warning, light));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, LongToolPathStaysOnOneLineWithItsMiddleElided) {
    PanelWorld world;
    world.executables->add(std::string(PanelWorld::longPrefix) + "/mosh-server");
    world.executables->add(bin("tmux"));
    world.buildAndShow();
    auto& detail = world.panel().checkRow(Item::moshServer).detailLabel();
    const QString full = QString::fromLatin1(PanelWorld::longPrefix) + QStringLiteral("/mosh-server");
    EXPECT_EQ(detail.text(), full);
    const QString shown = detail.displayedText();
    EXPECT_TRUE(shown.contains(QChar(0x2026))) << shown.toStdString();
    EXPECT_TRUE(shown.startsWith(QStringLiteral("/opt/"))) << shown.toStdString();
    EXPECT_TRUE(shown.endsWith(QStringLiteral("mosh-server"))) << shown.toStdString();
    EXPECT_EQ(detail.height(), detail.fontMetrics().height());
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::moshServer)),
                ElementsAre("(✓) green", "mosh-server", full.toStdString() + " {grey}"));
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::tmux)),
                ElementsAre("(✓) green", "tmux", "/usr/bin/tmux {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, AMoshServerTheLoginDoesNotFindIsNotReadyAndTheRowSaysWhereAndHow) {
    PanelWorld world;
    const std::string mosh = std::string(PanelWorld::longPrefix) + "/mosh-server";
    world.executables->add(mosh);
    CompanionCore::LoginReport login;
    login.path = "/usr/bin:/bin:/usr/sbin:/sbin";
    login.lang = "en_US.UTF-8";
    world.login = login;
    world.buildAndShow();
    auto& row = world.panel().checkRow(Item::moshServer);
    EXPECT_FALSE(row.content().ok);
    EXPECT_EQ(row.detailLabel().text(), "instalado, pero una sesión SSH no lo encuentra");
    ASSERT_TRUE(row.findingsLabel().isVisible());
    EXPECT_EQ(
        row.findingsLabel().text(),
        QString::fromStdString("mosh-server está instalado en " + mosh +
                               ", pero una sesión SSH no lo encuentra: el teléfono no podrá entrar con "
                               "mosh.\nAñade su carpeta al PATH de las sesiones SSH: escribe export PATH=\"" +
                               PanelWorld::longPrefix + ":$PATH\" en ~/.zshenv."));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, ARealLoginWhosePathLacksMoshServerMakesTheRowSayItOnLinux) {
    const auto user = TestSupport::pathlessUser();
    if (!user) {
        GTEST_SKIP() << "a test user needs root (useradd)";
    }
    Companion::QtProcessRunner runner;
    PanelWorld world;
    world.platformActions = world.linuxActions();
    world.login = Companion::LoginShell::look(*user, world.platformActions->sshLogin(), runner);
    ASSERT_TRUE(world.login.has_value());
    const std::string mosh = std::string(PanelWorld::longPrefix) + "/mosh-server";
    world.executables->add(mosh);
    world.buildAndShow();
    auto& row = world.panel().checkRow(Item::moshServer);
    EXPECT_FALSE(row.content().ok);
    EXPECT_EQ(row.detailLabel().text(), "instalado, pero una sesión SSH no lo encuentra");
    EXPECT_TRUE(row.findingsLabel().text().contains(QString::fromStdString(mosh)));
    EXPECT_TRUE(row.findingsLabel().text().contains(
        QString::fromStdString("sudo ln -s " + mosh + " /usr/local/bin/mosh-server")));
    EXPECT_TRUE(row.findingsLabel().text().contains("sudo apt install mosh"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, MissingToolsAreInstalledWithOneHomebrewCommand) {
    PanelWorld world;
    world.buildAndShow();
    world.panel().checkRow(Item::tmux).button().click();
    EXPECT_EQ(world.actions->terminalCommands(), std::vector<std::string>{"brew install mosh tmux"});
    saveArtifact(world.panel());
}

TEST(ContentViewTest, KeepAwakeSwitchDrivesAndFollowsKeepAwake) {
    PanelWorld world;
    world.buildAndShow();
    auto& toggle = world.panel().keepAwakeSwitch();
    EXPECT_FALSE(toggle.isChecked());
    QTest::mouseClick(&toggle, Qt::LeftButton);
    EXPECT_TRUE(world.model().keepAwake().enabled());
    EXPECT_THAT(visibleElements(world.panel()), Contains("☑ Mantener el Mac despierto"));
    saveArtifact(world.panel());
    world.model().keepAwake().setEnabled(false);
    EXPECT_FALSE(toggle.isChecked());
}

TEST(ContentViewTest, KeepAwakeThatNothingCanHoldLeavesTheSwitchOffAndSaysWhyInRed) {
    // Private buses as the session and the system bus, with neither a portal nor logind on them.
    TestSupport::PrivateSessionBus session;
    TestSupport::PrivateSessionBus system;
    const auto sessionClient = QDBusConnection::connectToBus(session.address(), QStringLiteral("session"));
    const auto systemClient = QDBusConnection::connectToBus(system.address(), QStringLiteral("system"));
    {
        PanelWorld world;
        world.actions->setSleepInhibitor([&] {
            return std::make_unique<Companion::DBusSleepInhibitor>([sessionClient] { return sessionClient; },
                                                                   [systemClient] { return systemClient; },
                                                                   "nuvexa Companion", "test");
        });
        world.buildAndShow();
        auto& toggle = world.panel().keepAwakeSwitch();
        QTest::mouseClick(&toggle, Qt::LeftButton);
        ASSERT_TRUE(waitFor([&] { return world.model().lastError().has_value(); }));
        EXPECT_FALSE(world.model().keepAwake().enabled());
        EXPECT_FALSE(toggle.isChecked());
        EXPECT_THAT(
            visibleElements(world.panel()),
            Contains("No puedo mantener el ordenador despierto: ni el portal del escritorio ni logind "
                     "responden. {red}"));
        saveArtifact(world.panel());
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("session"));
    QDBusConnection::disconnectFromBus(QStringLiteral("system"));
}

TEST(ContentViewTest, WithoutTmuxTheWatchSwitchIsDisabledAndSaysWhatItNeeds) {
    PanelWorld world;
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().watchRow()),
                ElementsAre("☐ Avisarme cuando termine algo largo disabled",
                            "Necesita tmux y la sesión persistente de nuvexa. {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, WithTmuxAndWatchingOffOnlyTheSwitchIsShown) {
    PanelWorld world;
    world.executables->add(bin("tmux"));
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().watchRow()),
                ElementsAre("☐ Avisarme cuando termine algo largo"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, WatchingWithNothingRunningSaysSo) {
    PanelWorld world;
    world.executables->add(bin("tmux"));
    world.buildAndShow();
    QTest::mouseClick(&world.panel().watchRow().toggle(), Qt::LeftButton);
    EXPECT_TRUE(world.model().tmuxNotifier().enabled());
    world.waitForNextPoll();
    EXPECT_THAT(
        visibleElements(world.panel().watchRow()),
        ElementsAre("☑ Avisarme cuando termine algo largo", "nada en marcha en la sesión nuvexa {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, WatchingARunningCommandNamesIt) {
    PanelWorld world;
    world.executables->add(bin("tmux"));
    world.setTmuxForeground("make");
    world.buildAndShow();
    world.panel().watchRow().toggle().click();
    world.waitForNextPoll();
    EXPECT_THAT(visibleElements(world.panel().watchRow()),
                ElementsAre("☑ Avisarme cuando termine algo largo", "vigilando «make» {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, RefusedNotificationsAreNotedInOrangeWhileWatching) {
    PanelWorld world;
    world.executables->add(bin("tmux"));
    world.notifications->grantsPermission = false;
    world.setTmuxForeground("cargo");
    world.buildAndShow();
    world.panel().watchRow().toggle().click();
    world.waitForNextPoll();
    ASSERT_TRUE(waitFor([&] { return world.model().tmuxNotifier().notificationsRefused(); }));
    EXPECT_THAT(visibleElements(world.panel().watchRow()),
                ElementsAre("☑ Avisarme cuando termine algo largo", "vigilando «cargo» {grey}",
                            "Sin permiso de notificaciones: el aviso solo se verá aquí. {orange}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, AMissingNotificationServiceIsNotedInOrangeWhileWatching) {
    PanelWorld world;
    world.executables->add(bin("tmux"));
    world.notifications->available = false;
    world.setTmuxForeground("cargo");
    world.buildAndShow();
    world.panel().watchRow().toggle().click();
    world.waitForNextPoll();
    ASSERT_TRUE(waitFor([&] { return world.model().tmuxNotifier().notificationsUnavailable(); }));
    EXPECT_THAT(
        visibleElements(world.panel().watchRow()),
        ElementsAre("☑ Avisarme cuando termine algo largo", "vigilando «cargo» {grey}",
                    "Ningún servicio de notificaciones responde: el aviso solo se verá aquí. {orange}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, FinishedCommandIsRememberedInGreenAfterWatchingIsSwitchedOff) {
    PanelWorld world;
    world.executables->add(bin("tmux"));
    world.setTmuxForeground("make");
    world.buildAndShow();
    world.panel().watchRow().toggle().click();
    world.waitForNextPoll();
    world.clock.advance(95);
    world.setTmuxForeground("zsh");
    world.waitForNextPoll();
    ASSERT_TRUE(world.model().tmuxNotifier().lastFinished().has_value());
    const std::string finished = *world.model().tmuxNotifier().lastFinished();
    EXPECT_THAT(finished, HasSubstr("make"));
    EXPECT_THAT(visibleElements(world.panel().watchRow()),
                ElementsAre("☑ Avisarme cuando termine algo largo",
                            "nada en marcha en la sesión nuvexa {grey}", finished + " {green}"));

    world.panel().watchRow().toggle().click();
    EXPECT_FALSE(world.model().tmuxNotifier().enabled());
    EXPECT_THAT(visibleElements(world.panel().watchRow()),
                ElementsAre("☐ Avisarme cuando termine algo largo", finished + " {green}"));
    // Two points apart, with no room left where the hidden lines were.
    auto& row = world.panel().watchRow();
    EXPECT_EQ(topIn(row.lastFinished(), row), topIn(row.toggle(), row) + row.toggle().height() + 2);
    EXPECT_EQ(topIn(row.lastFinished(), row) + row.lastFinished().height(), row.height());
    saveArtifact(world.panel());
}

TEST(ContentViewTest, TmuxInstalledSinceTheLastRefreshMakesTheSwitchUsableBeforeItsCheckRowChanges) {
    PanelWorld world;
    world.buildAndShow();
    ASSERT_FALSE(world.panel().watchRow().toggle().isEnabled());
    world.executables->add(bin("tmux"));
    // Any change re-renders the panel; the check row still waits for "Actualizar".
    world.model().keepAwake().setEnabled(true);
    EXPECT_TRUE(world.panel().watchRow().toggle().isEnabled());
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::tmux)),
                ElementsAre("(✗) grey", "tmux", "no instalado {grey}", "⟨Instalar con Homebrew⟩"));
    saveArtifact(world.panel());

    world.panel().refreshButton().click();
    world.waitForNextRefresh();
    EXPECT_THAT(visibleElements(world.panel().checkRow(Item::tmux)),
                ElementsAre("(✓) green", "tmux", "/usr/bin/tmux {grey}"));
}

TEST(ContentViewTest, IdlePairingWithRemoteLoginOnOffersToPair) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel().pairingSection()),
                ElementsAre("⟨Emparejar con el iPhone⟩", explanation));
    EXPECT_TRUE(std::holds_alternative<Pairing::Idle>(world.pairing().state()));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, StartingPairingShowsOnlyABusyIndicator) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    std::vector<std::string> whileStarting;
    QObject observer;
    // Connected after the panel, so the panel has already rendered the change when this runs.
    QObject::connect(&world.pairing(), &CompanionCore::PairingServer::stateChanged, &observer, [&] {
        if (std::holds_alternative<Pairing::Starting>(world.pairing().state()) && whileStarting.empty()) {
            whileStarting = visibleElements(world.panel().pairingSection());
            saveArtifact(world.panel());
        }
    });
    world.panel().pairingSection().startButton().click();
    EXPECT_THAT(whileStarting, ElementsAre("[busy]"));
}

TEST(ContentViewTest, WaitingPairingShowsTheCodeThePortAndTheAnnouncement) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    const auto* state = std::get_if<Pairing::Waiting>(&world.pairing().state());
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->digits, world.codes[0]);
    EXPECT_THAT(visibleElements(world.panel().pairingSection()),
                ElementsAre("Código para el iPhone {grey}",
                            world.codes[0].substr(0, 3) + " " + world.codes[0].substr(3),
                            "Esperando al iPhone en el puerto " + std::to_string(state->port) +
                                " · caduca en 5 min {grey}",
                            "(hourglass) grey", "Anunciando en la red local… {grey}", "⟨Cancelar⟩"));
    auto& codeLabel = world.panel().pairingSection().code();
    EXPECT_TRUE(codeLabel.textInteractionFlags() & Qt::TextSelectableByMouse);
    EXPECT_EQ(codeLabel.font().pointSizeF(), 34);
    EXPECT_EQ(codeLabel.font().weight(), QFont::DemiBold);
    EXPECT_TRUE(QFontInfo(codeLabel.font()).fixedPitch());
    saveArtifact(world.panel());
}

TEST(ContentViewTest, AnnouncementTurningVisibleOnlySwapsTheHourglassForRadioWaves) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    ASSERT_EQ(world.announcers.size(), 1U);
    auto before = visibleElements(world.panel());

    world.announcers.front()->observer.registered("Estudio de Ana._nuvexa._tcp.local.");
    ASSERT_TRUE(world.pairing().announced());
    auto after = visibleElements(world.panel());
    ASSERT_EQ(before.size(), after.size());
    std::vector<std::pair<std::string, std::string>> changed;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] != after[i]) {
            changed.emplace_back(before[i], after[i]);
        }
    }
    EXPECT_THAT(changed, ElementsAre(std::pair<std::string, std::string>("(hourglass) grey", "(radio) green"),
                                     std::pair<std::string, std::string>(
                                         "Anunciando en la red local… {grey}",
                                         "Visible en la red local (Bonjour) {green}")));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, CancelLeadsBackToTheStartView) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    ASSERT_TRUE(std::holds_alternative<Pairing::Waiting>(world.pairing().state()));
    QTest::mouseClick(&world.panel().pairingSection().cancelButton(), Qt::LeftButton);
    EXPECT_TRUE(std::holds_alternative<Pairing::Idle>(world.pairing().state()));
    EXPECT_THAT(visibleElements(world.panel().pairingSection()),
                ElementsAre("⟨Emparejar con el iPhone⟩", explanation));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, APhoneThatPairsLeadsToThePairedViewAndPairAnotherStartsAgain) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    const auto* waiting = std::get_if<Pairing::Waiting>(&world.pairing().state());
    ASSERT_NE(waiting, nullptr);
    pairAsPhone(waiting->port, world.codes[0], "iPhone de Ana");
    ASSERT_TRUE(waitFor([&] { return std::holds_alternative<Pairing::Paired>(world.pairing().state()); }));
    EXPECT_THAT(readFile(world.home.path() / ".ssh" / "authorized_keys"), HasSubstr("nuvexa:iPhone de Ana"));
    ASSERT_TRUE(waitFor([&] {
        const auto& check = world.model().keyCheck();
        return check && check->stage == Companion::KeyCheckState::Stage::works;
    }));
    EXPECT_THAT(
        visibleElements(world.panel().pairingSection()),
        ElementsAre("(seal) green", "Emparejado con iPhone de Ana {green}",
                    "La llave está en ~/.ssh/authorized_keys. Ya puedes conectar desde nuvexa. {grey}",
                    "La llave funciona: comprobado con el servidor SSH {green}",
                    std::string("Huella del servidor SSH: ") + PanelWorld::hostKey + " {grey}",
                    "Esperando a que el teléfono inicie sesión… {grey}", "⟨Emparejar otro⟩"));
    saveArtifact(world.panel());

    world.panel().pairingSection().pairAnotherButton().click();
    const auto* again = std::get_if<Pairing::Waiting>(&world.pairing().state());
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->digits, world.codes[1]);
}

TEST(ContentViewTest, AfterPairingThePanelWaitsForThePhonesFirstLoginAndThenSaysWhereItCameFrom) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    const auto* waiting = std::get_if<Pairing::Waiting>(&world.pairing().state());
    ASSERT_NE(waiting, nullptr);
    pairAsPhone(waiting->port, world.codes[0], "iPhone de Ana");
    auto& line = world.panel().pairingSection().loginProofLine();
    ASSERT_TRUE(waitFor([&] { return line.isVisible(); }));
    EXPECT_EQ(line.text().toStdString(), "Esperando a que el teléfono inicie sesión…");
    const int looksBefore = world.loginRecords->reads();
    ASSERT_TRUE(waitFor([&] { return world.loginRecords->reads() > looksBefore + 1; }))
        << "the records are looked at again while the login is awaited";
    EXPECT_TRUE(world.notifications->posted.empty());

    // A login of another key, and one of this key before the pairing, prove nothing.
    ASSERT_EQ(world.model().pairedPhones().size(), 1u);
    const auto fingerprint = Companion::PairedPhones::fingerprint(world.model().pairedPhones().front());
    ASSERT_TRUE(fingerprint.has_value());
    const auto now = std::chrono::system_clock::now();
    world.loginRecords->add({now, PanelWorld::user, "192.168.1.99", 50001,
                             "SHA256:4+rASyEQiRLXA79jMalYxgORnMBJ5Q2ST6DSC0dl0ic", true});
    world.loginRecords->add(
        {now - std::chrono::hours(1), PanelWorld::user, "192.168.1.98", 50002, *fingerprint, true});
    world.loginRecords->add({now, PanelWorld::user, "192.168.1.23", 50003, *fingerprint, true});
    ASSERT_TRUE(waitFor([&] { return line.text().toStdString() == "Ha iniciado sesión desde 192.168.1.23"; }))
        << line.text().toStdString();
    EXPECT_EQ(CompanionApp::PanelStyle::tone(line), CompanionApp::PanelStyle::Tone::positive);
    EXPECT_FALSE(line.toolTip().isEmpty()) << "the exact time";
    ASSERT_TRUE(waitFor([&] { return !world.notifications->posted.empty(); }));
    EXPECT_EQ(world.notifications->posted.back().second,
              "«iPhone de Ana» ha iniciado sesión desde 192.168.1.23.");
    // The list of paired phones follows the login at once.
    const auto lines = world.panel().pairedPhonesSection().activityLines();
    ASSERT_EQ(lines.size(), 1u);
    ASSERT_TRUE(waitFor([&] {
        return lines.front()->text() == QStringLiteral("último acceso hace un momento desde 192.168.1.23");
    })) << lines.front()->text().toStdString();
    // Once proven, the records are left alone by the wait.
    const int looksAfter = world.loginRecords->reads();
    QTest::qWait(100);
    EXPECT_EQ(world.loginRecords->reads(), looksAfter);
    saveArtifact(world.panel());
}

TEST(ContentViewTest, WhereTheRecordsCannotBeReadThePairedViewSaysHowToAllowItInsteadOfWaiting) {
    PanelWorld world;
    world.loginRecords->makeUnreadable(QStringLiteral("Añade tu usuario al grupo adm."));
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    const auto* waiting = std::get_if<Pairing::Waiting>(&world.pairing().state());
    ASSERT_NE(waiting, nullptr);
    pairAsPhone(waiting->port, world.codes[0], "iPhone de Ana");
    auto& line = world.panel().pairingSection().loginProofLine();
    ASSERT_TRUE(waitFor([&] { return line.text() == QStringLiteral("Añade tu usuario al grupo adm."); }))
        << line.text().toStdString();
    EXPECT_TRUE(world.notifications->posted.empty());
}

TEST(ContentViewTest, FailedPairingShowsTheReasonInRedUnderTheStartView) {
    // The only pairing port is taken by someone else.
    QTcpServer squatter;
    ASSERT_TRUE(squatter.listen(QHostAddress::LocalHost, 0));
    PanelWorld world;
    world.ports = {squatter.serverPort()};
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    ASSERT_TRUE(std::holds_alternative<Pairing::Failed>(world.pairing().state()));
    EXPECT_THAT(visibleElements(world.panel().pairingSection()),
                ElementsAre("⟨Emparejar con el iPhone⟩", explanation, "no hay ningún puerto libre {red}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, RefreshButtonRefreshesTheModel) {
    PanelWorld world;
    world.buildAndShow();
    world.actions->setRemoteLoginOn(true);
    world.panel().refreshButton().click();
    world.waitForNextRefresh();
    EXPECT_TRUE(world.panel().checkRow(Item::sshServer).content().ok);
    saveArtifact(world.panel());
}

TEST(ContentViewTest, EveryAppearanceRefreshesTheModel) {
    PanelWorld world;
    world.buildAndShow();
    world.panel().hide();
    world.actions->setAddresses({"192.168.7.7"});
    world.panel().show();
    world.waitForRefreshes(3);
    EXPECT_THAT(visibleElements(world.panel()), Contains("192.168.7.7 {grey}"));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, LogButtonOpensThePairingLogFile) {
    PanelWorld world;
    world.buildAndShow();
    QTest::mouseClick(&world.panel().logButton(), Qt::LeftButton);
    ASSERT_EQ(world.openedFiles.size(), 1U);
    EXPECT_EQ(world.openedFiles.front(), QUrl::fromLocalFile(QString::fromStdString(
                                             (world.home.path() / "nuvexa-companion.log").string())));
    saveArtifact(world.panel());
}

TEST(ContentViewTest, LogButtonBeforeAnyPairingOpensAnEmptyLogInPrivateFolders) {
    PanelWorld world;
    world.logFile = world.home.path() / "state" / "nuvexa" / "nuvexa-companion.log";
    world.buildAndShow();
    ASSERT_FALSE(std::filesystem::exists(world.home.path() / "state"));
    QTest::mouseClick(&world.panel().logButton(), Qt::LeftButton);
    ASSERT_EQ(world.openedFiles.size(), 1U);
    EXPECT_EQ(world.openedFiles.front(), QUrl::fromLocalFile(QString::fromStdString(world.logFile.string())));
    ASSERT_TRUE(std::filesystem::is_regular_file(world.logFile));
    EXPECT_EQ(std::filesystem::file_size(world.logFile), 0U);
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(world.logFile).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(world.home.path() / "state").permissions(), perms::owner_all);
    EXPECT_EQ(std::filesystem::status(world.logFile.parent_path()).permissions(), perms::owner_all);
}

TEST(ContentViewTest, LogButtonLeavesAnExistingLogAsItIs) {
    PanelWorld world;
    world.buildAndShow();
    const auto log = world.home.path() / "nuvexa-companion.log";
    const std::string lines = "2026-11-16T03:45:35Z pairing requested\n2026-11-16T03:45:36Z listening\n";
    {
        std::ofstream file(log);
        file << lines;
    }
    QTest::mouseClick(&world.panel().logButton(), Qt::LeftButton);
    QTest::mouseClick(&world.panel().logButton(), Qt::LeftButton);
    EXPECT_EQ(world.openedFiles.size(), 2U);
    EXPECT_EQ(readFile(log), lines);
}

TEST(ContentViewTest, LogButtonWithNothingToOpenTheLogSaysSoWithItsPath) {
    PanelWorld world;
    world.canOpenFiles = false;
    world.buildAndShow();
    QTest::mouseClick(&world.panel().logButton(), Qt::LeftButton);
    ASSERT_EQ(world.openedFiles.size(), 1U);
    EXPECT_TRUE(world.panel().lastError().isVisible());
    EXPECT_EQ(world.panel().lastError().text().toStdString(),
              "No hay ninguna aplicación para abrir el registro; está en " +
                  (world.home.path() / "nuvexa-companion.log").string());
    saveArtifact(world.panel());
}

TEST(ContentViewTest, QuitButtonEndsTheProgram) {
    PanelWorld world;
    world.buildAndShow();
    QTest::mouseClick(&world.panel().quitButton(), Qt::LeftButton);
    EXPECT_EQ(world.quits, 1);
    saveArtifact(world.panel());
}

} // namespace
