#include "CompanionApp/RevokeConfirmation.h"
#include "CompanionApp/ContentView.h"
#include "CompanionApp/PairedPhonesSection.h"
#include "support/Files.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"
#include "support/SampleKeys.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

namespace {

using AppTestSupport::PanelWorld;
namespace Keys = TestSupport::SampleKeys;

const std::string phoneLine = "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPhone de Ana";
const std::string laptopLine = "ssh-ed25519 " + Keys::skEd25519.substr(0, 12) + " ana@laptop";

/// What was seen of the dialog while it was open.
struct WhileAsking {
    bool asked = false;
    bool panelVisible = false;
    QString title;
};

/// Once the dialog is up, notes what is seen and presses `key` where its keyboard focus is.
void pressWhenAsked(Qt::Key key, QWidget& panel, WhileAsking& seen) {
    QTimer::singleShot(0, &panel, [key, &panel, &seen] {
        QWidget* dialog = QApplication::activeModalWidget();
        ASSERT_NE(dialog, nullptr) << "no dialog was shown";
        seen.asked = true;
        seen.panelVisible = panel.isVisible();
        seen.title = dialog->windowTitle();
        QWidget* target = dialog->focusWidget() != nullptr ? dialog->focusWidget() : dialog;
        QTest::keyClick(target, key);
        // A dialog that ignored the key is closed here, so the test ends either way.
        if (dialog->isVisible()) {
            dialog->close();
        }
    });
}

} // namespace

TEST(RevokeConfirmationTest, ReturnCancelsAndLeavesTheKeyFileByteIdentical) {
    PanelWorld world;
    world.realRevokeDialog = true;
    std::filesystem::create_directories(world.home / ".ssh");
    const auto keyFile = world.home / ".ssh" / "authorized_keys";
    // No final line feed: even the bytes a rewrite would normalise stay as they are.
    const std::string before = laptopLine + "\n" + phoneLine;
    TestSupport::writeFile(keyFile, before);
    world.build();
    // The panel as dropped from the tray.
    world.panel().setWindowFlags(Qt::Popup);
    world.panel().show();
    world.waitForRefreshes(2);
    const auto buttons = world.panel().pairedPhonesSection().revokeButtons();
    ASSERT_EQ(buttons.size(), 1u);

    WhileAsking seen;
    pressWhenAsked(Qt::Key_Return, world.panel(), seen);
    buttons.front()->click();
    ASSERT_TRUE(seen.asked);
    EXPECT_TRUE(seen.panelVisible) << "the panel closed under its dialog";
    EXPECT_TRUE(world.panel().isVisible());
    EXPECT_EQ(seen.title.toStdString(), "¿Quitar el acceso de «iPhone de Ana» a este ordenador?");
    // Anything the model's worker would do is published by the next refresh.
    world.model().refresh();
    world.waitForNextRefresh();
    EXPECT_EQ(TestSupport::readFile(keyFile), before);
    EXPECT_EQ(world.panel().pairedPhonesSection().revokeButtons().size(), 1u);
}

TEST(RevokeConfirmationTest, NamesThePhoneSaysWhatRevokingMeansAndWarnsWithCancelTheDefault) {
    const std::unique_ptr<QMessageBox> dialog(
        CompanionApp::RevokeConfirmation::build(nullptr, QStringLiteral("iPhone de Ana"), {}));
    EXPECT_EQ(dialog->icon(), QMessageBox::Warning);
    EXPECT_EQ(dialog->windowTitle().toStdString(), "¿Quitar el acceso de «iPhone de Ana» a este ordenador?");
    EXPECT_EQ(dialog->text().toStdString(),
              "¿Revocar «iPhone de Ana»? Ya no podrá iniciar sesión en este ordenador.");
    EXPECT_EQ(
        dialog->informativeText().toStdString(),
        "Su llave se quitará de ~/.ssh/authorized_keys. Para volver a conectar desde ese teléfono habrá "
        "que emparejarlo de nuevo.");
    EXPECT_EQ(dialog->textFormat(), Qt::PlainText);
    ASSERT_NE(dialog->defaultButton(), nullptr);
    EXPECT_EQ(dialog->defaultButton()->text().toStdString(), "Cancelar");
    EXPECT_EQ(dialog->escapeButton(), dialog->defaultButton());
    QStringList labels;
    for (QAbstractButton* button : dialog->buttons()) {
        labels << button->text();
    }
    EXPECT_TRUE(labels.contains(QStringLiteral("Revocar")));
}

TEST(RevokeConfirmationTest, WithOtherLinesBothWaysToRevokeAreOfferedAndCancelStaysTheDefault) {
    const std::unique_ptr<QMessageBox> dialog(
        CompanionApp::RevokeConfirmation::build(nullptr, QStringLiteral("iPhone de Ana"),
                                                {QStringLiteral("línea 3: restrict ssh-ed25519 … backup")}));
    EXPECT_EQ(
        dialog->text().toStdString(),
        "¿Revocar «iPhone de Ana»? Su llave también está en otras líneas del archivo:\nlínea 3: restrict "
        "ssh-ed25519 … backup\nSi no las quitas, podrá seguir iniciando sesión en este ordenador.");
    QStringList labels;
    for (QAbstractButton* button : dialog->buttons()) {
        labels << button->text();
    }
    EXPECT_TRUE(labels.contains(QStringLiteral("Revocar y quitarlas")));
    EXPECT_TRUE(labels.contains(QStringLiteral("Solo su línea")));
    ASSERT_NE(dialog->defaultButton(), nullptr);
    EXPECT_EQ(dialog->defaultButton()->text().toStdString(), "Cancelar");
}

TEST(RevokeConfirmationTest, ConfirmingRevokesThePhone) {
    PanelWorld world;
    world.realRevokeDialog = true;
    std::filesystem::create_directories(world.home / ".ssh");
    TestSupport::writeFile(world.home / ".ssh" / "authorized_keys", laptopLine + "\n" + phoneLine + "\n");
    world.buildAndShow();
    QTimer::singleShot(0, &world.panel(), [] {
        auto* dialog = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        for (QAbstractButton* button : dialog->buttons()) {
            if (button->text() == QStringLiteral("Revocar")) {
                button->click();
            }
        }
    });
    ASSERT_TRUE(world.clickRevoke(0));
    EXPECT_EQ(TestSupport::readFile(world.home / ".ssh" / "authorized_keys"), laptopLine + "\n");
}
