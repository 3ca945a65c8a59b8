#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/CheckRow.h"
#include "CompanionApp/ContentView.h"
#include "CompanionApp/PairedPhonesSection.h"
#include "support/Files.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"
#include "support/SampleKeys.h"

#include <QApplication>
#include <QPushButton>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using AppTestSupport::PanelWorld;
using AppTestSupport::saveArtifact;
using Item = Companion::ReadinessCheck::Item;
namespace Keys = TestSupport::SampleKeys;

/// Every button under `root` that is shown.
std::vector<QPushButton*> shownButtons(QWidget& root) {
    std::vector<QPushButton*> buttons;
    for (QPushButton* button : root.findChildren<QPushButton*>()) {
        if (button->isVisibleTo(&root)) {
            buttons.push_back(button);
        }
    }
    return buttons;
}

} // namespace

TEST(ElidedLabelTest, ASentenceWrapsInsteadOfLosingItsMiddle) {
    CompanionApp::ElidedLabel label;
    label.setText(QStringLiteral("no instalado · fuera de casa hace falta"));
    const int width = label.fontMetrics().horizontalAdvance(label.text()) / 2;
    label.resize(width, label.heightForWidth(width));
    EXPECT_TRUE(label.wraps());
    EXPECT_EQ(label.displayedText(), label.text());
    EXPECT_GE(label.heightForWidth(width), 2 * label.fontMetrics().height());
}

TEST(ElidedLabelTest, ASingleWordKeepsOneLineAndLosesItsMiddle) {
    CompanionApp::ElidedLabel label;
    label.setText(QStringLiteral("/opt/homebrew/Cellar/nuvexa-tools/2024.11.3/libexec/bin/mosh-server"));
    const int width = label.fontMetrics().horizontalAdvance(label.text()) / 2;
    label.resize(width, label.heightForWidth(width));
    EXPECT_FALSE(label.wraps());
    EXPECT_EQ(label.heightForWidth(width), label.fontMetrics().height());
    EXPECT_TRUE(label.displayedText().startsWith(QStringLiteral("/opt/")));
    EXPECT_TRUE(label.displayedText().endsWith(QStringLiteral("mosh-server")));
}

TEST(ElidedLabelTest, ANameKeepsOneLineAndEndsInAnEllipsis) {
    CompanionApp::ElidedLabel label(CompanionApp::ElidedLabel::Overflow::name, nullptr);
    label.setText(QStringLiteral("iPhone de Ana con un nombre larguísimo que no cabe"));
    const int width = label.fontMetrics().horizontalAdvance(label.text()) / 2;
    label.resize(width, label.heightForWidth(width));
    EXPECT_EQ(label.heightForWidth(width), label.fontMetrics().height());
    EXPECT_TRUE(label.displayedText().startsWith(QStringLiteral("iPhone de")));
    EXPECT_TRUE(label.displayedText().endsWith(QChar(0x2026))) << label.displayedText().toStdString();
    EXPECT_EQ(label.accessibleName(), label.text());
}

TEST(ElidedLabelTest, TheRelayRowsDetailIsShownWhole) {
    PanelWorld world;
    world.buildAndShow();
    auto& detail = world.panel().checkRow(Item::drozak).detailLabel();
    EXPECT_EQ(detail.text().toStdString(), "no instalado · fuera de casa hace falta");
    EXPECT_EQ(detail.displayedText(), detail.text());
    EXPECT_GE(detail.height(), detail.heightForWidth(detail.width())) << "its last line is cut off";
    saveArtifact(world.panel());
}

TEST(ElidedLabelTest, ALongPhoneNameEndsInAnEllipsisAndLeavesItsButtonWhole) {
    PanelWorld world;
    std::filesystem::create_directories(world.home / ".ssh");
    TestSupport::writeFile(
        world.home / ".ssh" / "authorized_keys",
        "ssh-ed25519 " + Keys::ed25519 +
            " nuvexa:iPhone de Ana Sofía con un nombre larguísimo que no cabe en el panel\n");
    world.buildAndShow();
    auto* name = world.panel().pairedPhonesSection().findChild<CompanionApp::ElidedLabel*>(
        QStringLiteral("pairedPhoneName"));
    ASSERT_NE(name, nullptr);
    EXPECT_TRUE(name->displayedText().endsWith(QChar(0x2026))) << name->displayedText().toStdString();
    EXPECT_EQ(name->height(), name->fontMetrics().height());
    auto* button = world.panel().pairedPhonesSection().revokeButtons().at(0);
    EXPECT_GE(button->width(), button->sizeHint().width());
    EXPECT_LE(button->mapTo(&world.panel(), QPoint(button->width(), 0)).x(), 14 + 320);
    saveArtifact(world.panel());
}

TEST(ElidedLabelTest, EveryButtonKeepsRoomBesideItsText) {
    PanelWorld world;
    world.buildAndShow();
    for (QPushButton* button : shownButtons(world.panel())) {
        const int text = button->fontMetrics().horizontalAdvance(button->text());
        EXPECT_GE((button->width() - text) / 2, 8) << button->objectName().toStdString();
    }
}
