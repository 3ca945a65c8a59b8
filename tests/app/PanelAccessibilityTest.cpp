#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/BusyIndicator.h"
#include "CompanionApp/CheckRow.h"
#include "CompanionApp/ContentView.h"
#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/PairedPhonesSection.h"
#include "CompanionApp/PairingSection.h"
#include "CompanionApp/StatusSymbol.h"
#include "CompanionApp/Switch.h"
#include "support/Files.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"
#include "support/SampleKeys.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

using AppTestSupport::PanelWorld;
using AppTestSupport::saveArtifact;
using ::testing::ElementsAre;
using Item = Companion::ReadinessCheck::Item;
namespace Keys = TestSupport::SampleKeys;

QAccessibleInterface* accessible(QObject& object) {
    return QAccessible::queryAccessibleInterface(&object);
}

std::string nameOf(QObject& object) {
    return accessible(object)->text(QAccessible::Name).toStdString();
}

std::string descriptionOf(QObject& object) {
    return accessible(object)->text(QAccessible::Description).toStdString();
}

QAccessible::Role roleOf(QObject& object) {
    return accessible(object)->role();
}

/// The panel dropped from the tray: a popup, as on X11 and macOS.
void showAsPopup(PanelWorld& world) {
    world.build();
    world.panel().setWindowFlags(Qt::Popup);
    world.panel().show();
    world.waitForRefreshes(2);
}

void writeKeys(PanelWorld& world, const std::string& text) {
    std::filesystem::create_directories(world.home / ".ssh");
    TestSupport::writeFile(world.home / ".ssh" / "authorized_keys", text);
}

} // namespace

TEST(PanelAccessibilityTest, TheOpenPopupPanelIsANamedWindowOfTheApplication) {
    PanelWorld world;
    showAsPopup(world);
    QAccessibleInterface* application = accessible(*qApp);
    ASSERT_EQ(application->role(), QAccessible::Application);
    QAccessibleInterface* panel = accessible(world.panel());
    bool listed = false;
    for (int i = 0; i < application->childCount(); ++i) {
        listed = listed || application->child(i) == panel;
    }
    EXPECT_TRUE(listed) << "the popup panel is missing from the application's windows";
    EXPECT_EQ(application->indexOfChild(panel) >= 0, true);
    EXPECT_EQ(panel->parent(), application);
    EXPECT_EQ(panel->role(), QAccessible::Window);
    EXPECT_EQ(panel->text(QAccessible::Name).toStdString(), "nuvexa Companion");

    world.panel().hide();
    for (int i = 0; i < application->childCount(); ++i) {
        EXPECT_NE(application->child(i), panel) << "a closed popup is still listed";
    }
}

// That the activation reaches a screen reader is seen on the accessibility bus (tray/accessibility_test.py):
// the offscreen platform has no bridge to pass it to.
TEST(PanelAccessibilityTest, OpeningThePanelGivesItTheKeyboardFocusAndMakesItTheActiveWindow) {
    PanelWorld world;
    showAsPopup(world);
    EXPECT_EQ(QApplication::focusWidget(), &world.panel());
    EXPECT_TRUE(accessible(world.panel())->state().active);
    EXPECT_TRUE(accessible(world.panel())->state().focused);
}

TEST(PanelAccessibilityTest, EachCheckRowSaysWhetherItPassedAndItsSymbolIsANamedGraphic) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    auto& ssh = world.panel().checkRow(Item::sshServer);
    EXPECT_EQ(roleOf(ssh), QAccessible::Grouping);
    EXPECT_EQ(nameOf(ssh), "Inicio de sesión remoto (SSH): listo");
    EXPECT_EQ(descriptionOf(ssh), "activado");
    EXPECT_EQ(roleOf(ssh.symbol()), QAccessible::Graphic);
    EXPECT_EQ(nameOf(ssh.symbol()), "Listo");

    auto& tmux = world.panel().checkRow(Item::tmux);
    EXPECT_EQ(nameOf(tmux), "tmux: pendiente");
    EXPECT_EQ(descriptionOf(tmux), "no instalado");
    EXPECT_EQ(nameOf(tmux.symbol()), "Pendiente");
    EXPECT_EQ(roleOf(tmux.detailLabel()), QAccessible::StaticText);
    EXPECT_EQ(nameOf(tmux.detailLabel()), "no instalado");
    EXPECT_EQ(nameOf(tmux.button()), "Instalar con Homebrew");
    EXPECT_EQ(descriptionOf(tmux.button()), "tmux");
}

TEST(PanelAccessibilityTest, TheSwitchIsANamedCheckableControlThatSaysItsState) {
    PanelWorld world;
    world.buildAndShow();
    auto& keepAwake = world.panel().keepAwakeSwitch();
    QAccessibleInterface* control = accessible(keepAwake);
    EXPECT_EQ(control->role(), QAccessible::CheckBox);
    EXPECT_FALSE(control->text(QAccessible::Name).isEmpty());
    EXPECT_TRUE(control->state().checkable);
    EXPECT_FALSE(control->state().checked);
    keepAwake.click();
    EXPECT_TRUE(control->state().checked);
}

TEST(PanelAccessibilityTest, TheBusyIndicatorIsANamedBusyAnimation) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    auto& progress = world.panel().pairingSection().progress();
    progress.show();
    QAccessibleInterface* indicator = accessible(progress);
    EXPECT_EQ(indicator->role(), QAccessible::Animation);
    EXPECT_EQ(indicator->text(QAccessible::Name).toStdString(), "Trabajando…");
    EXPECT_TRUE(indicator->state().busy);
}

TEST(PanelAccessibilityTest, TheCodeIsReadDigitByDigitAndTheAnnouncementSymbolIsNamed) {
    PanelWorld world;
    world.actions->setRemoteLoginOn(true);
    world.buildAndShow();
    world.panel().pairingSection().startButton().click();
    const auto& digits = world.codes[0];
    std::string spoken;
    for (const char digit : digits) {
        spoken += spoken.empty() ? std::string(1, digit) : std::string(" ") + digit;
    }
    auto& section = world.panel().pairingSection();
    EXPECT_EQ(nameOf(section.code()), spoken);
    EXPECT_EQ(descriptionOf(section.code()), "Código para el iPhone");
    EXPECT_EQ(nameOf(section.announcementSymbol()), "En espera");
    world.announcers.front()->observer.registered("Estudio de Ana._nuvexa._tcp.local.");
    EXPECT_EQ(nameOf(section.announcementSymbol()), "Visible en la red local");
}

TEST(PanelAccessibilityTest, EachRevokeButtonNamesItsPhone) {
    PanelWorld world;
    writeKeys(world, "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPhone de Ana\n" + "ecdsa-sha2-nistp256 " +
                         Keys::ecdsa256 + " nuvexa:iPad\n");
    world.buildAndShow();
    const auto buttons = world.panel().pairedPhonesSection().revokeButtons();
    ASSERT_EQ(buttons.size(), 2u);
    EXPECT_EQ(buttons[0]->text().toStdString(), "Revocar…");
    EXPECT_EQ(nameOf(*buttons[0]), "Revocar «iPhone de Ana»…");
    EXPECT_EQ(nameOf(*buttons[1]), "Revocar «iPad»…");
    EXPECT_EQ(buttons[1]->toolTip().toStdString(), "Revocar «iPad»…");
}

TEST(PanelAccessibilityTest, TheDisabledPairingButtonSaysWhyWithoutChangingTheLayout) {
    PanelWorld world;
    world.buildAndShow();
    auto& start = world.panel().pairingSection().startButton();
    ASSERT_FALSE(start.isEnabled());
    const std::string why = "Para emparejar, activa antes el inicio de sesión remoto (SSH), más arriba.";
    EXPECT_EQ(start.toolTip().toStdString(), why);
    EXPECT_EQ(descriptionOf(start), why);
    EXPECT_EQ(start.text().toStdString(), "Emparejar con el iPhone");

    PanelWorld on;
    on.actions->setRemoteLoginOn(true);
    on.buildAndShow();
    EXPECT_TRUE(on.panel().pairingSection().startButton().toolTip().isEmpty());
    EXPECT_EQ(descriptionOf(on.panel().pairingSection().startButton()), "");
    saveArtifact(world.panel());
}
