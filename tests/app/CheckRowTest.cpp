#include "CompanionApp/CheckRow.h"
#include "CompanionApp/BusyIndicator.h"
#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/StatusSymbol.h"
#include "support/PanelElements.h"

#include <QLabel>
#include <QPushButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using AppTestSupport::saveArtifact;
using AppTestSupport::visibleElements;
using ::testing::ElementsAre;

struct Row {
    Row() {
        row.setFixedWidth(320);
        row.show();
    }
    CompanionApp::CheckRow row;
};

TEST(CheckRowTest, PassedCheckShowsAGreenCheckAndNoButton) {
    Row view;
    view.row.setContent({true, QStringLiteral("tmux"), QStringLiteral("/usr/bin/tmux"), std::nullopt, {}});
    EXPECT_THAT(visibleElements(view.row), ElementsAre("(✓) green", "tmux", "/usr/bin/tmux {grey}"));
    EXPECT_EQ(view.row.symbol().colour(),
              CompanionApp::PanelStyle::colour(CompanionApp::PanelStyle::Tone::positive, view.row.palette()));
    saveArtifact(view.row);
}

TEST(CheckRowTest, FailedCheckShowsAQuietGreyCrossAndItsButtonRunsTheAction) {
    Row view;
    int runs = 0;
    view.row.setContent({false, QStringLiteral("mosh-server"), QStringLiteral("no instalado"),
                         QStringLiteral("Instalar"), [&] { ++runs; }});
    EXPECT_THAT(visibleElements(view.row),
                ElementsAre("(✗) grey", "mosh-server", "no instalado {grey}", "⟨Instalar⟩"));
    view.row.button().click();
    EXPECT_EQ(runs, 1);
    saveArtifact(view.row);
}

TEST(CheckRowTest, ButtonSitsOnTheTrailingEdge) {
    Row view;
    view.row.setContent({false,
                         QStringLiteral("Drozak"),
                         QStringLiteral("instalado, sin conexión"),
                         QStringLiteral("Conectar"),
                         {}});
    const QRect button = view.row.button().geometry();
    EXPECT_EQ(button.right(), view.row.width() - 1);
}

TEST(CheckRowTest, LongDetailKeepsItsStartAndEndAndLosesItsMiddle) {
    Row view;
    const QString path =
        QStringLiteral("/opt/homebrew/Cellar/mosh/1.4.0_31/libexec/some/very/deep/folder/bin/mosh-server");
    view.row.setContent({true, QStringLiteral("mosh-server"), path, std::nullopt, {}});
    const QString shown = view.row.detailLabel().displayedText();
    EXPECT_NE(shown, path);
    EXPECT_TRUE(shown.startsWith(QStringLiteral("/opt/homebrew"))) << shown.toStdString();
    EXPECT_TRUE(shown.endsWith(QStringLiteral("mosh-server"))) << shown.toStdString();
    EXPECT_TRUE(shown.contains(QChar(0x2026)));
    EXPECT_LE(view.row.detailLabel().fontMetrics().horizontalAdvance(shown), view.row.detailLabel().width());
    // The row did not widen for it.
    EXPECT_EQ(view.row.width(), 320);
    saveArtifact(view.row);
}

TEST(CheckRowTest, ShortDetailIsShownWhole) {
    Row view;
    view.row.setContent({true, QStringLiteral("tmux"), QStringLiteral("/usr/bin/tmux"), std::nullopt, {}});
    EXPECT_EQ(view.row.detailLabel().displayedText(), QStringLiteral("/usr/bin/tmux"));
}

} // namespace

namespace {

TEST(CheckRowTest, ABusyRowShowsItsIndicatorAndItsButtonDoesNothing) {
    CompanionApp::CheckRow row;
    int runs = 0;
    row.setContent({false, "Servidor SSH", "desactivado", QString("Activar…"), [&runs] { ++runs; }, true});
    row.show();
    EXPECT_TRUE(row.busyIndicator().isVisible());
    EXPECT_FALSE(row.button().isEnabled());
    row.button().click();
    EXPECT_EQ(runs, 0);
    row.setContent({false, "Servidor SSH", "desactivado", QString("Activar…"), [&runs] { ++runs; }, false});
    EXPECT_FALSE(row.busyIndicator().isVisible());
    row.button().click();
    EXPECT_EQ(runs, 1);
}

} // namespace

TEST(CheckRowTest, FindingsShowWholeBelowTheStateAndAreSpoken) {
    Row view;
    CompanionApp::CheckRow::Content content{false,
                                            QStringLiteral("mosh-server"),
                                            QStringLiteral("instalado, pero una sesión SSH no lo encuentra"),
                                            std::nullopt,
                                            {}};
    content.findings =
        QStringLiteral("Enlázalo: sudo ln -s /opt/mosh/bin/mosh-server /usr/local/bin/mosh-server");
    view.row.setContent(content);
    EXPECT_THAT(visibleElements(view.row),
                ElementsAre("(✗) grey", "mosh-server",
                            "instalado, pero una sesión SSH no lo encuentra {grey}",
                            content.findings.toStdString() + " {grey}"));
    EXPECT_TRUE(view.row.findingsLabel().wordWrap());
    EXPECT_TRUE(view.row.accessibleDescription().contains(content.findings));
    saveArtifact(view.row);
}

TEST(CheckRowTest, WithoutFindingsTheirLineIsHidden) {
    Row view;
    view.row.setContent({true, QStringLiteral("tmux"), QStringLiteral("/usr/bin/tmux"), std::nullopt, {}});
    EXPECT_FALSE(view.row.findingsLabel().isVisibleTo(&view.row));
}
